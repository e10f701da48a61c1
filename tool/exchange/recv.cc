// The command `recv`: what a server sends first.

#include <array>

#include "tool/command/command_table.h"
#include "tool/exchange/exchange_plan.h"
#include "tool/exchange/exchange_runner.h"

namespace fairlead::tool::recv_command {
namespace {

constexpr Parameter kReconnect = {
    .name = "reconnect",
    .kind = Kind::kSwitch,
    .group = Group::kHowLong,
    .help =
        "reconnect after -retrydelay when the peer closes, resets or vanishes; "
        "-timeout then covers all connections; it and -idle have no default"};

constexpr auto kUses = Uses(
    kServerUses, kOptionalCipherUses, kPrefixUses, kExchangeUses, kLogUses,
    Optional(kRetry), OnlyWith(kRetrydelay, When(kRetry), When(kReconnect)),
    AtMostOne(kRepeat, kReconnect), OnlyWith(kInterval, When(kRepeat)),
    OnlyWith(kChanges, When(kRepeat), When(kReconnect)));

ExitStatus Recv(const Arguments<kUses>& arguments, const Output& output) {
  ExchangePlan plan(arguments);
  plan.settings.reception.prefix = PrefixOf(arguments);
  if (arguments.Has(kReconnect)) plan.Reconnect();
  return RunExchange(
      plan, output, {.greeting = "fairlead at your service\r\n"},
      [&plan](Conversation& conversation, TimeLimit&) {
        conversation.Connect();
        conversation.Converse("", "");
        conversation.Close();
        if (plan.reconnects && conversation.outcome().PeerHasLeft()) {
          conversation.ReportCut();
          return true;
        }
        conversation.CheckOutcome();
        return false;
      });
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead recv -demo", "Prints the greeting of the built-in server."},
    {"fairlead recv -host localhost -port 22 -lines 1",
     "Prints the version that an SSH server announces."},
    {"fairlead recv -host box -port 7000 -prefix u8 -view hex -out box.txt",
     "Writes each message, which its length precedes, to box.txt in hex."},
    {"fairlead recv -host localhost -port 7000 -reconnect -out box.txt -append",
     "Collects what a device sends, also after it was switched off."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone,
     "success: one of the rules -messages, -bytes, -lines and -until was met, "
     "the text of -expect came, or, without any of these, something was "
     "received"},
    {kAnswerIsNo,
     "the text of -until or -expect did not come, that of -reject did, or the "
     "settings file has no such section"},
    {kWrongUsage, "wrong usage"},
    {kMalformedInput, "the settings file or the key file is malformed"},
    {kNotResolved, "the host name was not resolved"},
    {kNotConnected,
     "no connection could be made, or the system cannot start a thread"},
    {kCutShort,
     "something was received, but less than -messages, -bytes or -lines asks "
     "for, or a frame was cut"},
    {kCannotWrite,
     "standard output, the file of -out, the log or the settings cannot be "
     "written"},
    {kCannotRead, "the key or the settings cannot be read"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kNothingAnswered,
     "connected, but received nothing, whatever was asked for"},
    {kReceivingFailed,
     "the server reset the connection before what was awaited had come, "
     "receiving failed, a frame was malformed, or a block of AES was cut"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace
}  // namespace fairlead::tool::recv_command

namespace fairlead::tool {

constinit const Command kRecvCommand = {
    .name = "recv",
    .summary = "connect and print what the server sends",
    .description =
        "Resolves the name, connects to the first of its addresses that "
        "answers, prints what is received to standard output or to the "
        "file of -out, and closes. Sends nothing. Prints nothing else: "
        "-verbose reports the steps.\n"
        "Stops when the server closes, when it has sent nothing for the time "
        "of -idle, or when -messages, -bytes, -lines or -until is met; at once "
        "when the text of -expect or -reject comes. What was met counts, also "
        "if the server then resets the connection; a reset before that is "
        "status 56. A received message is never cut, except a frame in which "
        "the text of -expect or -reject comes.\n"
        "With -prefix, the status is 18 if a frame is cut, and 52 if nothing "
        "comes. A view other than raw shows frames of up to 256 KiB.\n"
        "Each attempt of -retry and each run of -repeat looks the name up and "
        "connects anew; -retry does not go on after status 28 once something "
        "was received.\n"
        "With -reconnect, a peer has vanished if it answers nothing for a "
        "minute. -messages, -bytes and -lines count what all connections "
        "receive; a text, a frame and a cipher begin anew on each. A frame, or "
        "a block of AES, that the end of a connection cuts is reported at "
        "once, and at the end the status is 18 or 56, unless -expect or "
        "-reject decides. -idle ends a connection that is silent, and, between "
        "connections, the wait for another one once nothing has come for that "
        "time. Only the first connection must be made, and 'recv' ends when a "
        "rule is met, at the time of -timeout or -idle, or by a signal.",
    .action = ActionOf<recv_command::kUses, recv_command::Recv>(),
    .examples = recv_command::kExamples,
    .statuses = recv_command::kStatuses,
};

}  // namespace fairlead::tool
