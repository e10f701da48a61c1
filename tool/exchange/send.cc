// The command `send`: a body to a server, and the server's reply.

#include <array>
#include <chrono>
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
#include "tool/exchange/body_stream.h"
#include "tool/exchange/conversation.h"
#include "tool/exchange/demo_server.h"
#include "tool/exchange/exchange_log.h"
#include "tool/exchange/send_profile.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

enum class HalfClose { kOn, kOff };

constexpr auto kHalfCloses =
    std::to_array<Choice>({{HalfClose::kOn, "on"}, {HalfClose::kOff, "off"}});

constexpr Parameter kHalfclose = {
    .name = "halfclose",
    .kind = Kind::kChoice,
    .group = Group::kWhat,
    .help =
        "close the sending direction after the body, so that the server sees "
        "its end; the default is on with -stdin and -demo, else off",
    .choices = kHalfCloses};

constexpr auto kUses =
    Uses(OneOf(All(Expected(kHost), Expected(kPort)), kDemo),
         Optional(kSettings, kProfile, Optional(kSaveprofile)), kBodyUses,
         Optional(kHalfclose), AtMostOne(kAes, kRc4, kCipherWithKey), kAesBits,
         kExchangeUses, Optional(kLog, Optional(kLogCrlf), Optional(kLogdata)));

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
        only_connects(arguments.Has(kNone)),
        log(arguments.Text(kLog)),
        crlf(arguments.Has(kLogCrlf)) {
    settings.half_close =
        arguments.Has(kHalfclose)
            ? arguments.Chosen<HalfClose>(kHalfclose) == HalfClose::kOn
            : demo || arguments.Has(kStdin);
    settings.reception.prefix = body.prefix;
    TakeFromProfile();
    for (const auto& [parameter, path] :
         {std::pair(&kKeyfile, arguments.Text(kKeyfile)),
          {&kSettings, arguments.Text(kSettings)},
          {&kFile, arguments.Text(kFile)}}) {
      CheckDistinct(kLog, log, *parameter, path);
      CheckDistinct(kOut, settings.out.path, *parameter, path);
    }
  }

  const Profile profile;
  ConversationSettings settings;
  const BodyPlan body;
  const Arguments<kCipherUses> cipher;
  const bool demo;
  const bool only_connects;
  const std::string log;  // The file of -log; empty for none.
  const bool crlf;

 private:
  void TakeFromProfile() {
    settings.timeout = profile.Duration(kTimeout);
    settings.limits.idle = profile.Duration(kIdle);
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

// What the log has of the end of a conversation that failed.
std::string Failed(std::string_view why) { return Concat("failed: ", why); }

void NotePadding(const SendPlan& plan, std::size_t padding) {
  if (plan.settings.verbose && padding > 0)
    PrintNote("send", PaddingNote(padding));
}

void SendStream(const SendPlan& plan, Conversation& conversation,
                Display& display, const Input& file) {
  BodyStream stream(
      plan.body, plan.settings.reception.cipher,
      [&display](std::string_view message) { display.Sent(message); });
  const ExchangeInput input = {
      .descriptor = file.descriptor(),
      .filter = [&](std::string_view bytes, bool at_end) {
        return stream.Take(bytes, at_end);
      }};
  conversation.Converse(input, file);
  conversation.Close();
  stream.Check();
  NotePadding(plan, stream.padding());
  conversation.CheckOutcome();
}

// Returns the body as it is sent; zero bytes may pad its last block.
std::string Encrypted(const SendPlan& plan, std::string body) {
  if (!plan.settings.reception.cipher) return body;
  CipherStream cipher(*plan.settings.reception.cipher, Direction::kEncrypt);
  std::string text(cipher.Take(body));
  NotePadding(plan, cipher.lacking());
  text += cipher.Fill();
  return text;
}

// What is read before there is a connection is found missing before, too.
void Run(const SendPlan& plan, Conversation& conversation, Display& display,
         TimeLimit& limit) {
  if (plan.body.IsStreamed()) {
    const Input file(plan.body.file);
    conversation.Connect();
    return SendStream(plan, conversation, display, file);
  }
  limit.Enter("reading the body");
  const std::string message = ReadBody(plan.body);
  const std::string body = Encrypted(plan, Prefixed(plan.body, message));
  conversation.Connect();
  if (!plan.only_connects) conversation.Converse(body, message);
  conversation.Close();
  if (!plan.only_connects) conversation.CheckOutcome();
}

// Runs the conversation. The log, if there is one, gets the reason of a
// failure.
void RunLogged(const SendPlan& plan, Display& display, TimeLimit& limit,
               ExchangeLog* log) {
  try {
    Conversation conversation(plan.settings, limit, display, log);
    Run(plan, conversation, display, limit);
    display.Close();
  } catch (const Failure& failure) {
    if (log != nullptr) log->Add(Failed(failure.what()));
    display.Failed(failure.status(), failure.what());
    throw;
  }
  if (log != nullptr) log->Check();
}

// Opens the log of -log.
std::unique_ptr<ExchangeLog> OpenLog(const SendPlan& plan, TimeLimit& limit) {
  if (plan.log.empty()) return nullptr;
  limit.Enter("opening the log");
  auto log = std::make_unique<ExchangeLog>(plan.log, plan.crlf);
  return log;
}

ExitStatus Send(const Arguments<kUses>& arguments, const Output& output) {
  SendPlan plan(arguments);
  SetQuiet(plan.settings.quiet);
  plan.profile.Save();
  Display display(output, plan.settings.view, plan.settings.out);
  std::unique_ptr<ExchangeLog> log;  // Outlives the clock that writes to it.
  TimeLimit limit(plan.settings.command, plan.settings.timeout);
  log = OpenLog(plan, limit);
  limit.OnTimeout([&log, &display](std::string_view text) {
    if (log) log->AddAtOnce(Failed(text));
    display.FailedAtOnce(kTimeIsOver, text);
  });
  CheckDistinct(kOut, plan.settings.out.path, kLog, plan.log);
  if (arguments.Has(kLogdata))
    display.LogData(*log, arguments.Chosen<DataForm>(kLogdata));
  limit.Enter("reading the key");
  plan.settings.reception.cipher = ReadCipherKey(plan.cipher);

  std::optional<DemoServer> demo;
  if (plan.demo)
    plan.settings.port = demo.emplace("", ListenerSettings::kUnlimited).port();
  RunLogged(plan, display, limit, log.get());
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
    {"fairlead send -demo -text hello -prefix u16be -messages 1",
     "Sends hello after its length in two bytes, and prints it without them."},
    {"fairlead send -demo -text hello -view json",
     "Prints each step, and the bytes sent and received, as JSON."},
    {"fairlead send -host localhost -port 7000 -text hello -log box.log",
     "Appends to box.log when it connected, sent, received and closed."},
    {"fairlead send -host localhost -port 7000 -stdin",
     "Sends what is typed and prints the answers, until Ctrl-D."},
    {"fairlead send -host localhost -port 7000 -none",
     "Tells by its status whether the port is open."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone,
     "success: the rules -messages, -bytes, -lines or -until are met, or "
     "without any, something was received"},
    {kAnswerIsNo,
     "the text of -until was not received, or the settings file has no such "
     "section"},
    {kWrongUsage, "wrong usage"},
    {kMalformedInput, "the settings file or the key file is malformed"},
    {kNotResolved, "the host name was not resolved"},
    {kNotConnected, "no connection could be made"},
    {kCutShort,
     "less was received than -messages, -bytes or -lines asks for, or a frame "
     "was cut"},
    {kCannotWrite,
     "standard output, the file of -out, the log or the settings cannot be "
     "written"},
    {kCannotRead, "the body, the key or the settings cannot be read"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kNothingAnswered, "connected, but received nothing"},
    {kSendingFailed, "sending failed, or the server did not read"},
    {kReceivingFailed,
     "the server reset the connection, receiving failed, or a frame was "
     "malformed"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace

constinit const Command kSendCommand = {
    .name = "send",
    .summary = "send a body to a server and print the reply",
    .description =
        "Resolves the name, connects to the first of its addresses that "
        "answers, sends the body, prints the reply to standard output, and "
        "closes. Prints nothing else: -verbose tells the steps. Stops when the "
        "server closes, when nothing passes for the time of -idle, or when "
        "-messages, -bytes, -lines or -until is met and all is sent. A "
        "received "
        "message is never cut. A file and standard input are sent while they "
        "are read, and what comes meanwhile is printed. A cipher encrypts "
        "everything sent, including -sum, -eol, -pascal and -prefix, and "
        "decrypts what "
        "is received before it is counted and printed. AES pads the last block "
        "sent with zero bytes; padding in replies is not removed, except after "
        "a frame, and a reply "
        "that ends within a block is status 56. RC4 uses the same key stream "
        "in "
        "both directions, so it hides nothing from someone who reads both. No "
        "cipher detects a wrong key or modified data.",
    .action = ActionOf<kUses, Send>(),
    .examples = kExamples,
    .statuses = kStatuses,
};

}  // namespace fairlead::tool
