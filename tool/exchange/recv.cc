// The command `recv`: what a server sends first.

#include <array>
#include <optional>

#include "tool/command/command_table.h"
#include "tool/exchange/demo_server.h"
#include "tool/exchange/exchange.h"

namespace fairlead::tool {
namespace {

constexpr auto kUses = Uses(OneOf(All(kHost, kPort), kDemo), kExchangeUses);

ExitStatus Recv(const Arguments<kUses>& arguments, const Output& output) {
  ExchangeSettings settings = ReadSettings(arguments);
  settings.host = arguments.Has(kDemo) ? "127.0.0.1" : arguments.Text(kHost);
  settings.port = arguments.Number(kPort);
  ApplyQuiet(settings.quiet);
  TimeLimit limit(settings.command, settings.timeout);

  std::optional<DemoServer> demo;
  if (arguments.Has(kDemo))
    settings.port = demo.emplace("fairlead at your service\r\n", 0).port();

  Exchange exchange(settings, limit, output, nullptr);
  exchange.Connect();
  exchange.Drain();
  exchange.Close();
  exchange.CheckOutcome();
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead recv -demo", "Prints the greeting of the built-in server."},
    {"fairlead recv -host localhost -port 22 -lines 1",
     "Prints the version that an SSH server announces."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success: something was received"},
    {kAnswerIsNo, "the text of -until was not received"},
    {kWrongUsage, "wrong usage"},
    {kNotResolved, "the host name was not resolved"},
    {kNotConnected, "no connection could be made"},
    {kCannotWrite, "standard output cannot be written"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kNothingAnswered, "connected, but received nothing"},
    {kReceivingFailed,
     "receiving failed, for example because the peer reset the connection"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
    {kSilentlyNotResolved, "the host name was not resolved, with -quiet"},
});

}  // namespace

constinit const Command kRecvCommand = {
    .name = "recv",
    .summary = "connect and print what the server sends",
    .description =
        "Resolves the name, connects, prints what is received to standard "
        "output, and closes. Sends nothing. Stops when the server closes, when "
        "it has sent nothing for the time of -idle, or when -messages, -bytes, "
        "-lines or -until is met. A received message is never cut.",
    .action = ActionOf<kUses, Recv>(),
    .examples = kExamples,
    .statuses = kStatuses,
};

}  // namespace fairlead::tool
