// The command `send`: a body to a server, and the server's reply.

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/command/same_file.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/body.h"
#include "tool/exchange/demo_server.h"
#include "tool/exchange/exchange.h"
#include "tool/exchange/exchange_log.h"
#include "tool/exchange/send_profile.h"

namespace fairlead::tool {
namespace {

constexpr auto kUses =
    Uses(OneOf(All(Expected(kHost), Expected(kPort)), kDemo),
         Optional(kSettings, kProfile, Optional(kSaveprofile)), kBodyUses,
         AtMostOne(kAes, kRc4, kCipherWithKey), kAesBits, kExchangeUses,
         Optional(kLog, Optional(kLogCrlf)));

// The plan of a send, with every argument checked. Making one reads the
// profile and changes nothing.
class SendPlan {
 public:
  explicit SendPlan(const Arguments<kUses>& arguments)
      : profile(arguments),
        settings(ReadSettings(arguments)),
        body(ParseBody(arguments, profile.Chosen<LineEnd>(kEol))),
        cipher(arguments),
        demo(arguments.Has(kDemo)),
        log(arguments.Text(kLog)),
        crlf(arguments.Has(kLogCrlf)) {
    TakeFromProfile();
    for (const auto& [parameter, path] :
         {std::pair(&kKeyfile, arguments.Text(kKeyfile)),
          {&kSettings, arguments.Text(kSettings)},
          {&kFile, arguments.Text(kFile)}})
      CheckDistinct(kLog, log, *parameter, path);
  }

  const Profile profile;
  ExchangeSettings settings;
  const BodyPlan body;
  const Arguments<kCipherUses> cipher;
  const bool demo;
  const std::string log;  // The file of -log; empty for none.
  const bool crlf;

 private:
  void TakeFromProfile() {
    settings.timeout = profile.Duration(kTimeout);
    settings.idle = profile.Duration(kIdle);
    settings.view = profile.Chosen<View>(kView);
    settings.host = demo ? "127.0.0.1" : Needed(kHost);
    settings.port = demo ? 0 : static_cast<int>(NumberIn(Needed(kPort)));
  }

  std::string Needed(Profile::Listed parameter) const {
    if (profile.Has(parameter)) return profile.Text(parameter);
    throw Failure(kWrongUsage, Concat("missing ", Spelling(*parameter),
                                      " (or -demo, for a built-in server)"));
  }
};

// What the log has of the end of an exchange that failed.
std::string Failed(std::string_view why) { return Concat("failed: ", why); }

// Returns the body as it is sent; zero bytes may pad its last block.
std::string Encrypted(const CipherKey& key, std::string_view body) {
  CipherStream cipher(key, Direction::kEncrypt);
  std::string text(cipher.Take(body));
  if (const std::size_t padding = cipher.lacking(); padding > 0) {
    text += cipher.Fill();
    PrintNote("send", PaddingNote(padding));
  }
  return text;
}

void Run(Exchange& exchange, std::string_view body) {
  exchange.Connect();
  exchange.Send(body);
  exchange.Drain();
  exchange.Close();
  exchange.CheckOutcome();
}

// Runs the exchange. The log, if there is one, gets the reason of a failure.
void RunLogged(Exchange& exchange, std::string_view body, ExchangeLog* log) {
  try {
    Run(exchange, body);
  } catch (const Failure& failure) {
    if (log != nullptr) log->Add(Failed(failure.what()));
    throw;
  }
  if (log != nullptr) log->Check();
}

// Opens the log of -log, which then also gets the end by the time limit.
std::unique_ptr<ExchangeLog> OpenLog(const SendPlan& plan, TimeLimit& limit) {
  if (plan.log.empty()) return nullptr;
  limit.Enter("opening the log");
  auto log = std::make_unique<ExchangeLog>(plan.log, plan.crlf);
  limit.OnTimeout(
      [&log = *log](std::string_view text) { log.AddAtOnce(Failed(text)); });
  return log;
}

// Returns the body as it is sent, and reads the key.
std::string PreparedBody(SendPlan& plan, TimeLimit& limit) {
  limit.Enter("reading the key");
  plan.settings.cipher = ReadCipherKey(plan.cipher);
  limit.Enter("reading the body");
  std::string body = ReadBody(plan.body);
  return plan.settings.cipher ? Encrypted(*plan.settings.cipher, body) : body;
}

ExitStatus Send(const Arguments<kUses>& arguments, const Output& output) {
  SendPlan plan(arguments);
  ApplyQuiet(plan.settings.quiet);
  plan.profile.Save();
  std::unique_ptr<ExchangeLog> log;  // Outlives the clock that writes to it.
  TimeLimit limit(plan.settings.command, plan.settings.timeout);
  log = OpenLog(plan, limit);
  const std::string body = PreparedBody(plan, limit);

  std::optional<DemoServer> demo;
  if (plan.demo) plan.settings.port = demo.emplace("", body.size()).port();
  Exchange exchange(plan.settings, limit, output, log.get());
  RunLogged(exchange, body, log.get());
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead send -demo -text hello",
     "Prints hello, which the built-in server sends back."},
    {"fairlead send -host localhost -port 6379 -text PING -eol crlf -lines 1",
     "Asks a redis server on this machine; prints +PONG."},
    {"fairlead send -settings box.ini -profile server -text hello",
     "Takes host and port from the section [server] of box.ini."},
    {"fairlead send -demo -hex 00ff10 -view dump",
     "Prints the reply as a hex dump with its time of receipt."},
    {"fairlead send -demo -rc4 secret -text hello",
     "Prints hello, which was encrypted on the way there and back."},
    {"fairlead send -demo -text hello -sum 5 -view hex",
     "Prints the bytes of hello, and after them the 8 of its checksum."},
    {"fairlead send -host localhost -port 7000 -text hello -log box.log",
     "Appends to box.log when it connected, sent, received and closed."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success: something was received"},
    {kAnswerIsNo,
     "the text of -until was not received, or the settings file has no such "
     "section"},
    {kWrongUsage, "wrong usage"},
    {kMalformedInput, "the settings file or the key file is malformed"},
    {kNotResolved, "the host name was not resolved"},
    {kNotConnected, "no connection could be made"},
    {kCannotWrite,
     "standard output, the log or the settings cannot be written"},
    {kCannotRead, "the body, the key or the settings cannot be read"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kNothingAnswered, "connected, but received nothing"},
    {kSendingFailed, "sending failed"},
    {kReceivingFailed,
     "receiving failed, for example because the peer reset the connection"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
    {kSilentlyNotResolved, "the host name was not resolved, with -quiet"},
});

}  // namespace

constinit const Command kSendCommand = {
    .name = "send",
    .summary = "send a body to a server and print the reply",
    .description =
        "Resolves the name, connects, sends the body, prints the reply to "
        "standard output, and closes. Stops when the server closes, when it "
        "has sent nothing for the time of -idle, or when -messages, -bytes, "
        "-lines or -until is met. A received message is never cut. A body of "
        "more than 1800 bytes is sent as several messages, in order. A cipher "
        "encrypts everything sent, including -sum, -eol and -pascal, and "
        "decrypts what is received before it is counted and printed. AES pads "
        "the last block sent with zero bytes and prints a note; padding in "
        "replies is not removed, and a reply that ends within a block is "
        "status 56. RC4 uses the same key stream in both directions, so it "
        "hides nothing from someone who reads both. No cipher detects a wrong "
        "key or modified data.",
    .action = ActionOf<kUses, Send>(),
    .examples = kExamples,
    .statuses = kStatuses,
};

}  // namespace fairlead::tool
