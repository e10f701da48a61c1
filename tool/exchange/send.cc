// The command `send`: a body to a server, and what the server answers.

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/command/same_file.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/body.h"
#include "tool/exchange/demo_server.h"
#include "tool/exchange/exchange.h"
#include "tool/exchange/exchange_log.h"

namespace fairlead::tool {
namespace {

// What the log has of the end of an exchange that failed.
std::string Failed(std::string_view why) { return Concat("failed: ", why); }

// The body as it goes out; zero bytes may fill its last block.
std::string Enciphered(const CipherKey& key, std::string_view body) {
  CipherStream cipher(key, Direction::kEncrypt);
  std::string text(cipher.Take(body));
  if (const std::size_t padding = cipher.lacking(); padding > 0) {
    text += cipher.Fill();
    Tell("send", PaddingNote(padding));
  }
  return text;
}

void Run(Exchange& exchange, std::string_view body) {
  exchange.Connect();
  exchange.Send(body);
  exchange.Drain();
  exchange.Close();
  exchange.Judge();
}

ExitStatus Send(const Arguments& arguments, const Output& output) {
  const Profile profile(arguments);
  Settings settings = ReadSettings(arguments, profile);
  const std::string eol = profile.Text(kEol);
  CheckDoors(arguments);
  CheckCipherUsage(arguments);
  CheckLogUsage(arguments);
  for (const Parameter* const read : {&kKeyfile, &kSettings, &kFile})
    CheckDistinct(arguments, kLog, *read);
  profile.Save();
  ExchangeLog log;
  TimeLimit limit(settings.command, settings.timeout);
  limit.Enter("opening the log");
  log.Open(arguments);
  limit.TellAlso(
      [&log](std::string_view text) { log.AddAtOnce(Failed(text)); });
  limit.Enter("reading the key");
  settings.cipher = ReadCipherKey(arguments);
  limit.Enter("reading the body");
  std::string body = ReadBody(arguments, eol);
  if (settings.cipher) body = Enciphered(*settings.cipher, body);

  std::optional<DemoServer> demo;
  if (arguments.Has(kDemo))
    settings.port = demo.emplace("", body.size()).port();

  Exchange exchange(settings, limit, output, log);
  try {
    Run(exchange, body);
  } catch (const Failure& failure) {
    log.Add(Failed(failure.what()));
    throw;
  }
  log.Check();
  return kDone;
}

constexpr std::array kParameters = {
    kHost,   kPort,    kSettings, kProfile,  kSaveprofile, kDemo,
    kText,   kHex,     kFile,     kStdin,    kSum,         kEol,
    kPascal, kAes,     kRc4,      kCipher,   kKeyfile,     kKeyenv,
    kBits,   kTimeout, kIdle,     kMessages, kBytes,       kLines,
    kUntil,  kView,    kQuiet,    kLog,      kCrlf,        kHelp,
};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead send -demo -text hello",
     "Prints hello, which a server inside the process sends back."},
    {"fairlead send -host localhost -port 6379 -text PING -eol crlf -lines 1",
     "Asks a redis server on this machine; prints +PONG."},
    {"fairlead send -settings box.ini -profile server -text hello",
     "Takes host and port from the section [server] of box.ini."},
    {"fairlead send -demo -hex 00ff10 -view dump",
     "Shows the bytes that come back, with the time at which they came."},
    {"fairlead send -demo -rc4 secret -text hello",
     "Prints hello, which went there and back enciphered."},
    {"fairlead send -demo -text hello -sum 5 -view hex",
     "Shows the bytes of hello, and behind them the 8 of its check value."},
    {"fairlead send -host localhost -port 7000 -text hello -log box.log",
     "Appends to box.log when it connected, sent, received and closed."},
});

constexpr std::array kStatuses = {
    kDone,
    kAnswerIsNo,
    kWrongUsage,
    kMalformedInput,
    kNotResolved,
    kNotConnected,
    kCannotWrite,
    kCannotRead,
    kTimeIsOver,
    kNothingAnswered,
    kSendingFailed,
    kReceivingFailed,
    kSilentlyNotResolved,
};

}  // namespace

constinit const Command kSendCommand = {
    .name = "send",
    .usage = "-host NAME -port N -text WORDS [-name value]...",
    .summary = "send a body to a server and print what it answers",
    .story =
        "Resolves the name, connects, sends the body, prints the replies to "
        "standard output, and closes. It ends when the server closes, has been "
        "silent for the time of -idle, or has sent what -messages, -bytes, "
        "-lines or -until asks for, whichever comes first. A received message "
        "is never cut: all of the one that ends the exchange is printed. A "
        "body "
        "above 1800 bytes goes out as several messages, in order. With a "
        "cipher, all that goes out is enciphered, -sum, -eol and -pascal "
        "included, and what comes is deciphered before it is counted and "
        "shown. AES has zero bytes fill the last block of what goes out, which "
        "is told, and shows those of a reply like other bytes; a reply that "
        "ends within a block is status 56. RC4 starts the same stream in "
        "either direction, as its peers do, which hides nothing from who "
        "reads both. No cipher notices a wrong key or bytes that were changed.",
    .operand = nullptr,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Send,
};

}  // namespace fairlead::tool
