// The command `recv`: what a server sends first.

#include <array>
#include <optional>

#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/exchange/conversation.h"
#include "tool/exchange/demo_server.h"

namespace fairlead::tool {
namespace {

constexpr auto kUses =
    Uses(OneOf(All(kHost, kPort), kDemo), kPrefixUses, kExchangeUses);

void Run(const ConversationSettings& settings, TimeLimit& limit,
         Display& display) {
  Conversation conversation(settings, limit, display, nullptr);
  conversation.Connect();
  conversation.Converse("", "");
  conversation.Close();
  conversation.CheckOutcome();
  display.Close();
}

ExitStatus Recv(const Arguments<kUses>& arguments, const Output& output) {
  ConversationSettings settings = ReadSettings(arguments);
  settings.host = arguments.Has(kDemo) ? "127.0.0.1" : arguments.Text(kHost);
  settings.port = arguments.Number(kPort);
  settings.reception.prefix = PrefixOf(arguments);
  SetQuiet(settings.quiet);
  Display display(output, settings.view, settings.out);
  TimeLimit limit(settings.command, settings.timeout);

  std::optional<DemoServer> demo;
  if (arguments.Has(kDemo))
    settings.port = demo.emplace("fairlead at your service\r\n", 0).port();

  limit.OnTimeout([&display](std::string_view text) {
    display.FailedAtOnce(kTimeIsOver, text);
  });
  try {
    Run(settings, limit, display);
  } catch (const Failure& failure) {
    display.Failed(failure.status(), failure.what());
    throw;
  }
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead recv -demo", "Prints the greeting of the built-in server."},
    {"fairlead recv -host localhost -port 22 -lines 1",
     "Prints the version that an SSH server announces."},
    {"fairlead recv -host box -port 7000 -prefix u8 -view hex -out box.txt",
     "Writes each message, which its length precedes, to box.txt in hex."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone,
     "success: the rules -messages, -bytes, -lines or -until are met, or "
     "without any, something was received"},
    {kAnswerIsNo, "the text of -until was not received"},
    {kWrongUsage, "wrong usage"},
    {kNotResolved, "the host name was not resolved"},
    {kNotConnected, "no connection could be made"},
    {kCutShort,
     "less was received than -messages, -bytes or -lines asks for, or a frame "
     "was cut"},
    {kCannotWrite, "standard output or the file of -out cannot be written"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kNothingAnswered, "connected, but received nothing"},
    {kReceivingFailed,
     "the server reset the connection, receiving failed, or a frame was "
     "malformed"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace

constinit const Command kRecvCommand = {
    .name = "recv",
    .summary = "connect and print what the server sends",
    .description =
        "Resolves the name, connects to the first of its addresses that "
        "answers, prints what is received to standard output or to the file of "
        "-out, and closes. "
        "Sends "
        "nothing. Prints nothing else: -verbose tells the steps. Stops when "
        "the "
        "server closes, when it has sent nothing for the time of -idle, or "
        "when "
        "-messages, -bytes, -lines or -until is met. A received message is "
        "never "
        "cut.",
    .action = ActionOf<kUses, Recv>(),
    .examples = kExamples,
    .statuses = kStatuses,
};

}  // namespace fairlead::tool
