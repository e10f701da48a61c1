// The command `send`: a body to a server, and what the server answers.

#include <array>
#include <optional>

#include "tool/body.h"
#include "tool/command_list.h"
#include "tool/concat.h"
#include "tool/demo_server.h"
#include "tool/exchange.h"
#include "tool/exchange_log.h"
#include "tool/failure.h"
#include "tool/parameters.h"

namespace fairlead::tool {
namespace {

// What the log has of the end of an exchange that failed.
std::string Failed(std::string_view why) { return Concat("failed: ", why); }

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
  CheckLogUsage(arguments);
  profile.Save();
  ExchangeLog log;
  TimeLimit limit(settings.command, settings.timeout);
  limit.Enter("opening the log");
  log.Open(arguments);
  limit.TellAlso(
      [&log](std::string_view text) { log.AddAtOnce(Failed(text)); });
  limit.Enter("reading the body");
  const std::string body = ReadBody(arguments, eol);

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
    kHost,  kPort,  kSettings, kProfile, kSaveprofile, kDemo, kText,     kHex,
    kFile,  kStdin, kEol,      kPascal,  kTimeout,     kIdle, kMessages, kBytes,
    kLines, kUntil, kView,     kQuiet,   kLog,         kCrlf, kHelp,
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
        "above 1800 bytes goes out as several messages, in order.",
    .operand = nullptr,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Send,
};

}  // namespace fairlead::tool
