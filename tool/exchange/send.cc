// The command `send`: a body to a server, and the server's reply.

#include <unistd.h>

#include <array>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/command/same_file.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/body.h"
#include "tool/exchange/body_stream.h"
#include "tool/exchange/conversation.h"
#include "tool/exchange/dialogue_script.h"
#include "tool/exchange/exchange_plan.h"
#include "tool/exchange/exchange_runner.h"
#include "tool/io/read_file.h"
#include "tool/listen/listener.h"

namespace fairlead::tool::send_command {
namespace {

constexpr auto kUses =
    Uses(kServerUses, kBodyUses, Optional(kHalfclose), kOptionalCipherUses,
         kExchangeUses, kLogUses, Optional(kRetry, Optional(kRetrydelay)),
         Optional(kRepeat, Optional(kInterval), Optional(kChanges)));

// The plan of a send, with every argument checked. Making one reads the
// profile and changes nothing.
class SendPlan {
 public:
  explicit SendPlan(const Arguments<kUses>& arguments)
      : exchange(arguments),
        body(ParseBody(arguments, exchange.profile.Chosen<LineEnd>(kEol))),
        is_read_once(arguments.Has(kStdin) ||
                     IsReadOnce(arguments.Text(kFile).c_str())),
        only_connects(arguments.Has(kNone)),
        script(arguments.Text(kScript)) {
    exchange.CheckIsOnlyRead(kFile, arguments.Text(kFile));
    exchange.CheckIsOnlyRead(kScript, script);
    if (arguments.Has(kStdin)) {
      exchange.CheckInputIsOnlyRead(kStdin);
      if (isatty(STDIN_FILENO) == 1) exchange.AwaitUser();
    }
    if (is_read_once && exchange.repeats) FailToRepeat(arguments);
    exchange.settings.reception.prefix = body.prefix;
    exchange.settings.input_is_unique = is_read_once && body.IsStreamed(0);
    exchange.settings.half_close =
        arguments.Has(kHalfclose)
            ? arguments.Chosen<HalfClose>(kHalfclose) == HalfClose::kOn
            : script.empty() && (exchange.demo || arguments.Has(kStdin));
  }

  const ConversationSettings& settings() const { return exchange.settings; }

  ExchangePlan exchange;
  const BodyPlan body;
  const bool is_read_once;
  const bool only_connects;
  const std::string script;  // Its file; empty for none.

  // Returns what ends the lines of a script at first.
  std::string_view FirstLineEnd() const {
    return exchange.profile.Has(kEol) ? body.line_end : "\n";
  }

 private:
  [[noreturn]] static void FailToRepeat(const Arguments<kUses>& arguments) {
    throw Failure(kWrongUsage,
                  Concat("-repeat cannot be combined with ",
                         arguments.Has(kStdin)
                             ? "-stdin"
                             : Concat("-file ", Quoted(arguments.Text(kFile))),
                         ", which can be read only once; use a regular file"));
  }
};

void NotePadding(const SendPlan& plan, std::size_t padding) {
  if (plan.settings().verbose && padding > 0)
    PrintNote("send", PaddingNote(padding));
}

// Returns why a line could not be sent, or "".
std::string WhyNot(const BodyStream& stream) {
  try {
    stream.Check();
    return "";
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

// A user who has seen enough has nothing more to type. Other inputs are sent to
// their end, whenever it comes.
void SendStream(const SendPlan& plan, Conversation& conversation,
                const Input& file) {
  BodyStream stream(plan.body, file, plan.settings().reception.cipher,
                    [&conversation](std::string_view piece, bool ends_message) {
                      conversation.ShowSent(piece, ends_message);
                    });
  conversation.Connect();
  const ExchangeInput input = {
      .descriptor = file.descriptor(),
      .filter = [&](std::string_view bytes,
                    bool at_end) { return stream.Take(bytes, at_end); },
      .await_end = isatty(file.descriptor()) != 1};
  conversation.Converse(input, file.name(), stream.sent_size());
  conversation.Close(WhyNot(stream));
  stream.Check();
  NotePadding(plan, stream.padding());
  conversation.CheckOutcome();
}

// Returns the body as it is sent; zero bytes may pad its last block.
std::string Encrypted(const SendPlan& plan, std::string body) {
  if (!plan.settings().reception.cipher) return body;
  CipherStream cipher(*plan.settings().reception.cipher, Direction::kEncrypt);
  std::string text(cipher.Take(body));
  NotePadding(plan, cipher.lacking());
  text += cipher.Fill();
  return text;
}

// Sends the body of a plan, over one connection after the other.
class Sender {
 public:
  explicit Sender(const SendPlan& plan) : plan_(plan) {}

  // What is read before there is a connection is found missing before, too.
  // Standard input and pipes can be read only once.
  void Run(Conversation& conversation, TimeLimit& limit) {
    if (!plan_.script.empty()) return HoldDialogue(conversation, limit);
    if (plan_.body.bytes) {
      Complete(*plan_.body.bytes);
    } else if (!plan_.is_read_once || message_.empty()) {
      limit.Enter("reading the body");
      const Input file(plan_.body.file);
      if (plan_.body.IsStreamed(file.size()))
        return SendStream(plan_, conversation, file);
      Complete(ReadBody(plan_.body, file));
    }
    conversation.Connect();
    if (!plan_.only_connects) return SendWhole(conversation);
    conversation.Close();
    conversation.ShowConnectTime();
  }

 private:
  void HoldDialogue(Conversation& conversation, TimeLimit& limit) {
    limit.Enter("reading the script");
    if (script_.empty())
      script_ = ParseDialogue(ReadFile(plan_.script), plan_.script,
                              plan_.FirstLineEnd());
    conversation.Connect();
    conversation.Converse(script_, plan_.script);
    conversation.Close();
    conversation.CheckOutcome();
  }

  void Complete(std::string body) {
    message_ = Completed(plan_.body, std::move(body), NewSum(plan_.body));
    body_ = Encrypted(plan_, Prefixed(plan_.body, message_));
  }

  void SendWhole(Conversation& conversation) {
    conversation.Converse(body_, message_);
    conversation.Close();
    conversation.CheckOutcome();
  }

  const SendPlan& plan_;
  std::string message_;  // Of the last attempt.
  std::string body_;     // It, as it is sent.
  DialogueScript script_;
};

ExitStatus Send(const Arguments<kUses>& arguments, const Output& output) {
  SendPlan plan(arguments);
  Sender sender(plan);
  return RunExchange(plan.exchange, output,
                     {.echoed = ListenerSettings::kUnlimited},
                     [&sender](Conversation& conversation, TimeLimit& limit) {
                       sender.Run(conversation, limit);
                       return false;
                     });
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
    {"fairlead send -host localhost -port 25 -eol crlf -script mail.txt",
     "Runs mail.txt, for example 'expect 220', 'send QUIT', 'expect 221'."},
    {"fairlead send -host localhost -port 7000 -none",
     "Prints how long connecting took; the status says if the port is open."},
    {"fairlead send -host localhost -port 7000 -none -retry 30",
     "Waits half a minute for a server to start."},
    {"fairlead send -host localhost -port 7000 -text state -repeat forever "
     "-changes",
     "Asks every second, and prints the answers that differ from the last."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone,
     "success: one of the rules -messages, -bytes, -lines and -until was met, "
     "the text of -expect came, the script was done, or, without any of these, "
     "something was received"},
    {kAnswerIsNo,
     "the text of -until or -expect did not come, that of -reject did, the "
     "script expects another line or waited in vain, or the settings file has "
     "no such section"},
    {kWrongUsage, "wrong usage"},
    {kMalformedInput,
     "the settings file, the key file or the script is malformed"},
    {kNotResolved, "the host name was not resolved"},
    {kNotConnected,
     "no connection could be made, or the system cannot start a thread"},
    {kCutShort,
     "something was received, but less than -messages, -bytes or -lines asks "
     "for, the server closed before the script was done, or a frame was cut"},
    {kCannotWrite,
     "standard output, the file of -out, the log or the settings cannot be "
     "written"},
    {kCannotRead,
     "the body, the script, the key or the settings cannot be read, or the "
     "file of the body changed its size while it was sent with -prefix"},
    {kTimeIsOver, "the time limit of -timeout was reached"},
    {kNothingAnswered,
     "connected, but received nothing, whatever was asked for but a script"},
    {kSendingFailed, "sending failed, or the server did not read"},
    {kReceivingFailed,
     "the server reset the connection before what was awaited had come, "
     "receiving failed, a frame was malformed, or a block of AES was cut"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace
}  // namespace fairlead::tool::send_command

namespace fairlead::tool {

constinit const Command kSendCommand = {
    .name = "send",
    .summary = "send a body to a server and print the reply",
    .description =
        "Resolves the name, connects to the first of its addresses that "
        "answers, sends the body, prints the reply to standard output, and "
        "closes. Prints nothing else: -verbose reports the steps.\n"
        "Stops when the server closes, when nothing passes for the time of "
        "-idle, or when -messages, -bytes, -lines or -until is met and all is "
        "sent; at once when the text of -expect or -reject comes. What was met "
        "counts, also if the server then resets the connection and takes no "
        "more: -verbose reports how much was sent. A reset before that is "
        "status 56. A server that has not acknowledged everything sent by the "
        "time of -idle, at least half a second, is status 55. A received "
        "message is never cut, except a frame in which the text of -expect or "
        "-reject comes.\n"
        "A pipe is sent up to its end, also after the server has closed its "
        "sending direction, and -idle does not count while it is quiet. At a "
        "terminal, a rule that is met ends 'send' at once, as the server's end "
        "does, and -timeout has no default.\n"
        "A file and standard input are sent while they are read, and what "
        "comes meanwhile is printed. With -prefix or -pascal, all of it is one "
        "message: what is not a regular file is first read to its end, up to "
        "1 MiB, so that nothing is sent before. With -perline, a line is sent "
        "once it is read; with a length before it, it has up to 1 MiB.\n"
        "With -prefix, the status is 18 if a frame is cut, and 52 if nothing "
        "comes. A view other than raw shows frames of up to 256 KiB.\n"
        "Each attempt of -retry and each run of -repeat looks the name up and "
        "connects anew. -retry repeats nothing that was printed or taken from "
        "standard input: status 28 is then final.\n"
        "A cipher encrypts everything sent, including -sum, -eol, -pascal and "
        "-prefix, and decrypts what is received before it is counted and "
        "printed. AES pads the last block sent with zero bytes; padding in "
        "replies is not removed, except after a frame, and a reply that ends "
        "within a block is status 56. RC4 uses the same key stream in both "
        "directions, so it hides nothing from someone who reads both. No "
        "cipher detects a wrong key or modified data.\n"
        "A script is a dialogue with one statement in each line; empty lines "
        "and those that begin with '#' are skipped. 'send TEXT' sends TEXT, "
        "with the escapes of -text, and the line end. 'sendhex DIGITS' sends "
        "bytes without a line end. 'eol none|lf|crlf' sets the line end; at "
        "first it is that of -eol, or lf. 'expect PREFIX' takes the next line, "
        "which must begin with PREFIX. A PREFIX of three digits takes a whole "
        "reply of SMTP or FTP: after '250-', every line up to one that begins "
        "with '250' without a '-'. 'until TEXT' skips up to the end of TEXT, "
        "with the same escapes. 'wait TIME' pauses.\n"
        "Each statement takes up what the one before has left, even within a "
        "line, and everything received is printed. AES pads each 'send'. After "
        "the last statement the connection is closed. A reset by the server is "
        "status 56 while an 'expect', an 'until' or a 'wait' of more than 0 "
        "waits, and else changes nothing: whether the server took what is sent "
        "last, only an 'expect' after it can show.",
    .action = ActionOf<send_command::kUses, send_command::Send>(),
    .examples = send_command::kExamples,
    .statuses = send_command::kStatuses,
};

}  // namespace fairlead::tool
