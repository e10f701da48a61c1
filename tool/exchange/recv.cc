// The command `recv`: what a server says by itself.

#include <array>
#include <optional>

#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/exchange/demo_server.h"
#include "tool/exchange/exchange.h"

namespace fairlead::tool {
namespace {

ExitStatus Recv(const Arguments& arguments, const Output& output) {
  Settings settings = ReadSettings(arguments, Profile(arguments));
  TimeLimit limit(settings.command, settings.timeout);

  std::optional<DemoServer> demo;
  if (arguments.Has(kDemo))
    settings.port = demo.emplace("fairlead at your service\r\n", 0).port();

  ExchangeLog no_log;
  Exchange exchange(settings, limit, output, no_log);
  exchange.Connect();
  exchange.Drain();
  exchange.Close();
  exchange.Judge();
  return kDone;
}

constexpr std::array kParameters = {
    kHost,  kPort,  kDemo,  kTimeout, kIdle,  kMessages,
    kBytes, kLines, kUntil, kView,    kQuiet, kHelp,
};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead recv -demo",
     "Prints the greeting of a server inside the process."},
    {"fairlead recv -host localhost -port 22 -lines 1",
     "Prints the version that an SSH server announces."},
});

constexpr std::array kStatuses = {
    kDone,
    kAnswerIsNo,
    kWrongUsage,
    kNotResolved,
    kNotConnected,
    kCannotWrite,
    kTimeIsOver,
    kNothingAnswered,
    kReceivingFailed,
    kSilentlyNotResolved,
};

}  // namespace

constinit const Command kRecvCommand = {
    .name = "recv",
    .usage = "-host NAME -port N [-name value]...",
    .summary = "print what a server says by itself",
    .story =
        "Resolves the name, connects, prints to standard output what comes, "
        "and "
        "closes; nothing is sent. It ends as 'fairlead send' does.",
    .operand = nullptr,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Recv,
};

}  // namespace fairlead::tool
