// Every exit status of the command, and its message.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "tool/base/concat.h"
#include "tool/help/man_page.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

// Expects status 2, the message and no output.
void ExpectRefused(const Words& arguments, const std::string& message) {
  SCOPED_TRACE(message);
  const Outcome outcome = Fairlead(arguments);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.error, HasSubstr(message));
  EXPECT_EQ(outcome.output, "");
}

TEST(EndingsTest, WithoutArgumentsItPrintsItsUsage) {
  ExpectRefused({}, "usage: fairlead COMMAND");
}

TEST(EndingsTest, ReportsAnUnknownCommand) {
  ExpectRefused({"sned"},
                "fairlead: unknown command 'sned'; did you mean 'send'?\n");
  ExpectRefused({"SEND"},
                "fairlead: unknown command 'SEND'; did you mean 'send'?\n");
  ExpectRefused({""}, "fairlead: unknown command ''; see 'fairlead help'\n");
  ExpectRefused({"-port", "1"},
                "expected a command before '-port': fairlead COMMAND");
  ExpectRefused({"help", "sned"}, "unknown command 'sned'; did you mean");
  ExpectRefused({"help", "ini", "gett"},
                "fairlead help: unknown subcommand 'gett'; did you mean "
                "'get'?\n");
  ExpectRefused({"help", "send", "x"}, "'send' has no subcommands");
  ExpectRefused({"ini", "gett"},
                "fairlead ini: unknown subcommand 'gett'; did you mean "
                "'get'?\n");
  ExpectRefused({"ini", "GET"}, "did you mean 'get'?");
  ExpectRefused({"ini", "zzzzz"},
                "unknown subcommand 'zzzzz'; see 'fairlead help ini'\n");
  ExpectRefused({"ini"},
                "fairlead ini: missing subcommand; see 'fairlead help ini'\n");
  ExpectRefused({"ini", "-file", "x"}, "fairlead ini: missing subcommand");
}

TEST(EndingsTest, ReportsAWrongUsage) {
  ExpectRefused({"send"},
                "fairlead send: missing -text TEXT, -hex DIGITS, -file FILE, "
                "-stdin, -none or -script FILE; see 'fairlead help send'\n");
  ExpectRefused({"send", "-text", "x"},
                "fairlead send: missing -host NAME (or -demo");
  ExpectRefused({"send", "-text", "x", "-host", "x"},
                "fairlead send: missing -port N");
  ExpectRefused({"send", "-host", "x", "-port", "70000"},
                "fairlead send: -port: 70000 is out of range (expected 1 to "
                "65535)\n");
  ExpectRefused({"recv", "-demo", "-idle", "5x"},
                "fairlead recv: -idle: '5x' is not a time (expected 1ms to "
                "365d: 30 or 0.5 for seconds, 500ms, 2m, 1h, 1d, or none)\n");
  ExpectRefused({"resolve", "-host", "x", "-timeout", "366d"},
                "fairlead resolve: -timeout: '366d' is out of range");
  ExpectRefused({"send", "-host=x"},
                "fairlead send: unknown option -host=...; write -host NAME\n");
  ExpectRefused({"send", "-demo", "-text", "x", "-hex", "00"},
                "-text and -hex cannot be combined");
  ExpectRefused({"send", "-demo", "-file", "x", "-stdin"},
                "-file and -stdin cannot be combined");
  ExpectRefused({"send", "-demo", "-text", "x", "-host", "x"},
                "-host and -demo cannot be combined");
  ExpectRefused({"send", "-demo", "-text", "x", "-port", "1"},
                "-port and -demo cannot be combined");
  ExpectRefused({"send", "-demo", "-text", "\\q"},
                "-text: '\\q' is not one of");
  ExpectRefused({"send", "-demo", "-text", "x", "-until", "\\q"},
                "-until: '\\q' is not one of");
  ExpectRefused({"send", "-demo", "-hex", "0"},
                "-hex: '0' is not a pair of hexadecimal digits");
  ExpectRefused({"send", "-demo", "hello"},
                "-demo is a switch and cannot be followed by a value");
  ExpectRefused({"send", "-demo", "-text", "two", "words"},
                "unexpected argument after the value of -text; quote values");
  ExpectRefused({"recv", "-demo", "-text", "x"}, "unknown option -text");
  ExpectRefused({"recv"}, "missing -host NAME (or -demo");
  ExpectRefused({"recv", "-host", "x"}, "missing -port N (or -demo");
  ExpectRefused({"resolve"}, "fairlead resolve: missing -host NAME");
  ExpectRefused({"completion"}, "fairlead completion: missing bash|zsh");
  ExpectRefused({"completion", "fish"},
                "'fish' is not valid; choose bash or zsh");
  ExpectRefused({"version", "x"}, "unexpected argument 'x'");
}

TEST(EndingsTest, AWrongUsageDoesNotReadStandardInput) {
  const Outcome outcome =
      RunProgram({.arguments = {"send", "-stdin"}, .input_stays_open = true});
  EXPECT_EQ(outcome.status, 2);
}

// Expects that a host has no address, whose name is shown as `shown`.
void ExpectUnresolved(const Words& host, const std::string& shown) {
  for (const std::string command : {"recv", "resolve"}) {
    Words arguments = Words{command, "-host"} + host;
    if (command == "recv") arguments = arguments + Words{"-port", "1"};
    const Outcome outcome = Fairlead(arguments);
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.error, "fairlead " + command +
                                 ": no IPv4 address is known for '" + shown +
                                 "': Name or service not known\n");
    EXPECT_EQ(outcome.output, "");
  }
}

TEST(EndingsTest, AnUnresolvedName) {
  ExpectUnresolved({"nosuch.invalid"}, "nosuch.invalid");
}

// -quiet changes no status and hides no reason. A name from outside never
// reaches a terminal raw.
TEST(EndingsTest, AnUnresolvedNameWithQuiet) {
  ExpectUnresolved({"no\033[31m.invalid", "-quiet"}, "no\\x1b[31m.invalid");
}

TEST(EndingsTest, AServerThatDoesNotListen) {
  const std::string port = std::to_string(ClosedPort());
  const Outcome outcome =
      Fairlead({"send", "-host", "127.0.0.1", "-port", port, "-text", "x"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_EQ(outcome.error, "fairlead send: cannot connect to 127.0.0.1 port " +
                               port + ": Connection refused\n");
  EXPECT_EQ(outcome.output, "");
}

TEST(EndingsTest, AFailedStandardOutput) {
  for (const Words& arguments :
       {Words{"send", "-demo", "-text", "x"}, Words{"help"}, Words{"version"},
        Words{"send", "-help"}, Words{"resolve", "-host", "127.0.0.1"},
        Words{"completion", "bash"}}) {
    SCOPED_TRACE(arguments[0]);
    const Outcome full =
        RunProgram({.arguments = arguments, .output_path = "/dev/full"});
    EXPECT_EQ(full.status, 23);
    EXPECT_THAT(full.error,
                HasSubstr("cannot write standard output: No space"));

    const Outcome broken =
        RunProgram({.arguments = arguments, .output_is_broken = true});
    EXPECT_EQ(broken.status, 141);
    EXPECT_THAT(broken.error, Not(HasSubstr("fairlead")));

    const Outcome closed = RunProgram({.arguments = arguments, .closed = {1}});
    EXPECT_EQ(closed.status, 23);
    EXPECT_THAT(closed.error,
                HasSubstr("cannot write standard output: Bad file descriptor"));
  }
}

// The output does not fit into the pipe, so it is still being written when the
// reader ends.
TEST(EndingsTest, AReaderThatEndsEndsItQuietly) {
  const TempFolder folder;
  std::string text = "[a]\n";
  for (int i = 0; i < 100'000; ++i) text += "key=value\n";
  const Outcome outcome = RunProgram(
      {.arguments = {"-c",
                     "{ \"$0\" ini show -file \"$1\"; echo status $? >&2; } | "
                     "head -1",
                     Program(), folder.File("long.ini", text)},
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.output, "[a]\n");
  EXPECT_EQ(outcome.error, "status 141\n");
}

TEST(EndingsTest, AnUnreadableBody) {
  const TempFolder folder;
  const std::string missing = folder.path() + "/missing";
  const Outcome none = Fairlead({"send", "-demo", "-file", missing});
  EXPECT_EQ(none.status, 26);
  EXPECT_EQ(none.error, "fairlead send: cannot open '" + missing +
                            "': No such file or directory\n");

  const Outcome directory = Fairlead({"send", "-demo", "-file", folder.path()});
  EXPECT_EQ(directory.status, 26);
  EXPECT_EQ(directory.error, "fairlead send: cannot read '" + folder.path() +
                                 "': Is a directory\n");

  const Outcome closed =
      RunProgram({.arguments = {"send", "-demo", "-stdin"}, .closed = {0}});
  EXPECT_EQ(closed.status, 26);
  EXPECT_EQ(closed.error,
            "fairlead send: cannot read standard input: Bad file descriptor\n");
}

TEST(EndingsTest, ClosedDescriptorsAreHarmless) {
  const Outcome outcome = RunProgram(
      {.arguments = {"send", "-demo", "-text", "hello"}, .closed = {0, 2}});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "hello");
}

TEST(EndingsTest, TimesOutWhileWaiting) {
  ScriptedServer server([](int connection) { ReceiveAll(connection); });
  const Outcome outcome =
      Fairlead(server.Arguments("send") + Words{"-text", "x", "-timeout", "1"});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.error,
            "fairlead send: timed out after 1 s while waiting for the peer; "
            "increase -timeout\n");
}

TEST(EndingsTest, TimesOutAfterAPartOfASecond) {
  for (const auto& [limit, shown] :
       {std::pair{"50ms", "50 ms"}, {"0.05", "50 ms"}, {"1.005", "1.005 s"}}) {
    ScriptedServer server([](int connection) { ReceiveAll(connection); });
    const Outcome outcome =
        Fairlead(server.Arguments("recv") + Words{"-timeout", limit});
    EXPECT_EQ(outcome.status, 28);
    EXPECT_THAT(
        outcome.error,
        HasSubstr(Concat("fairlead recv: timed out after ", shown, " while ")));
  }
}

TEST(EndingsTest, NoTimeLimitAndNoIdleTime) {
  ScriptedServer server([](int connection) { SendAll(connection, "x"); });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") +
               Words{"-timeout", "none", "-idle", "none", "-quiet"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "x");
  EXPECT_EQ(
      Fairlead({"resolve", "-host", "127.0.0.1", "-timeout", "none"}).output,
      "127.0.0.1\n");
}

// A peer that never stops is not silent: only the time limit ends this.
TEST(EndingsTest, TimesOutWhileThePeerSends) {
  ScriptedServer server([](int connection) {
    const std::string talk(10'000, 'x');
    while (send(connection, talk.data(), talk.size(), MSG_NOSIGNAL) > 0) {
    }
  });
  const Outcome outcome = RunProgram(
      {.arguments = server.Arguments("recv") + Words{"-timeout", "1"},
       .output_path = "/dev/null"});
  EXPECT_EQ(outcome.status, 28);
}

// Connecting to a listener with a full queue blocks.
TEST(EndingsTest, TimesOutWhileConnecting) {
  const int listener = ListenOnLoopback(0);
  const int port = PortOf(listener);
  const int only = ConnectToPort(port);
  const Outcome outcome = Fairlead({"recv", "-host", "127.0.0.1", "-port",
                                    std::to_string(port), "-timeout", "1"});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_THAT(outcome.error,
              HasSubstr("timed out after 1 s while connecting to 127.0.0.1 "
                        "port " +
                        std::to_string(port)));
  close(only);
  close(listener);
}

TEST(EndingsTest, TimesOutWhileReadingStandardInput) {
  const Outcome outcome =
      RunProgram({.arguments = {"send", "-demo", "-stdin", "-timeout", "1"},
                  .input = "begun",
                  .input_stays_open = true});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.output, "begun");
  EXPECT_EQ(outcome.error,
            "fairlead send: timed out after 1 s while waiting for standard "
            "input or the peer; increase -timeout\n");
}

// With -view json, it is written to from the first step on.
TEST(EndingsTest, TimesOutWhileTheOutputBlocks) {
  for (const std::string view : {"raw", "json"}) {
    ScriptedServer server([](int connection) {
      SendAll(connection, "x");
      ReceiveAll(connection);
    });
    const Outcome output =
        RunProgram({.arguments = server.Arguments("recv") +
                                 Words{"-timeout", "1", "-view", view},
                    .output_is_stuck = true});
    EXPECT_EQ(output.status, 28);
    EXPECT_EQ(output.error,
              "fairlead recv: timed out after 1 s while writing standard "
              "output; increase -timeout\n");
  }
}

TEST(EndingsTest, TimesOutWhileStandardErrorBlocks) {
  if (HasThreadSanitizer())
    GTEST_SKIP() << "the thread sanitizer flushes standard output in _exit";
  const Outcome outcome =
      RunProgram({.arguments = {"recv", "-demo", "-timeout", "1", "-verbose"},
                  .error_is_stuck = true});
  EXPECT_EQ(outcome.status, 28);
}

TEST(EndingsTest, NoAnswer) {
  ScriptedServer server([](int connection) { Receive(connection, 1); });
  const Outcome outcome =
      Fairlead(server.Arguments("send") + Words{"-text", "x"} + kForever);
  EXPECT_EQ(outcome.status, 52);
  EXPECT_THAT(outcome.error,
              HasSubstr("nothing was answered: the peer closed"));

  ScriptedServer silent_server([](int connection) { ReceiveAll(connection); });
  const Outcome silent = Fairlead(silent_server.Arguments("recv") +
                                  Words{"-idle", "1", "-until", "x"});
  EXPECT_EQ(silent.status, 52);
  EXPECT_THAT(silent.error,
              HasSubstr("nothing was answered: the peer was silent"));
}

TEST(EndingsTest, TheTextOfUntilDoesNotArrive) {
  const Outcome closed =
      Fairlead(Words{"send", "-demo", "-text", "x", "-until", "y"} + kForever);
  EXPECT_EQ(closed.status, 1);
  EXPECT_EQ(closed.output, "x");
  EXPECT_THAT(
      closed.error,
      HasSubstr("the text of -until did not come: 'y'; the peer closed"));

  const Outcome stopped = Fairlead(
      Words{"send", "-demo", "-text", "x", "-until", "y", "-bytes", "1"} +
      kForever);
  EXPECT_EQ(stopped.status, 1);
  EXPECT_THAT(stopped.error,
              HasSubstr("did not come: 'y'; enough was received"));
}

TEST(EndingsTest, LessThanAskedForIsCutShort) {
  const auto ask = [](const Words& rule) {
    const Outcome outcome =
        Fairlead(Words{"send", "-demo", "-text", "x\\n"} + rule + kForever);
    EXPECT_EQ(outcome.status, 18);
    EXPECT_EQ(outcome.output, "x\n");
    return outcome.error;
  };
  EXPECT_EQ(ask({"-bytes", "100"}),
            "fairlead send: cut short: 2 of 100 bytes; the peer closed\n");
  EXPECT_EQ(ask({"-lines", "3"}),
            "fairlead send: cut short: 1 of 3 lines; the peer closed\n");
  EXPECT_EQ(ask({"-messages", "5", "-lines", "2"}),
            "fairlead send: cut short: 1 of 5 messages, 1 of 2 lines; the peer "
            "closed\n");
  ScriptedServer server([](int connection) {
    SendAll(connection, "first half");
    ReceiveAll(connection);
  });
  const Outcome silent =
      Fairlead(server.Arguments("recv") + Words{"-lines", "1", "-idle", "1"});
  EXPECT_EQ(silent.status, 18);
  EXPECT_EQ(silent.error,
            "fairlead recv: cut short: 0 of 1 line; the peer was silent for 1 "
            "s\n");
}

TEST(EndingsTest, SendingFailsWhenThePeerDoesNotRead) {
  std::promise<void> ended;
  ScriptedServer server([&](int) { ended.get_future().wait(); });
  const Outcome outcome = RunProgram(
      {.arguments = server.Arguments("send") + Words{"-stdin", "-idle", "1"},
       .input = std::string(40'000'000, 'x')});
  ended.set_value();
  EXPECT_EQ(outcome.status, 55);
  EXPECT_THAT(outcome.error,
              AllOf(StartsWith("fairlead send: sending failed after "),
                    HasSubstr(" bytes: the peer did not read for 1 s\n")));
}

// With these stack sizes, memory suffices for one thread but not for two: for
// the timer, but not for the receiver.
TEST(EndingsTest, WithoutAReceiveThreadNothingIsConnected) {
  if (IsSanitized())
    GTEST_SKIP() << "a sanitizer needs more memory than the limit leaves";
  ScriptedServer server([](int connection) { ReceiveAll(connection); });
  const Outcome outcome =
      RunProgram({.arguments = Words{"-c",
                                     "ulimit -s 400000 && ulimit -v 700000 && "
                                     "exec \"$0\" \"$@\"",
                                     Program()} +
                               server.Arguments("recv") + kForever,
                  .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_THAT(outcome.error, HasSubstr("cannot connect to 127.0.0.1 port "));
}

TEST(EndingsTest, WithoutAnyThreadNothingIsConnected) {
  if (IsSanitized())
    GTEST_SKIP() << "a sanitizer needs more memory than the limit leaves";
  const Outcome outcome =
      RunProgram({.arguments = {"-c",
                                "ulimit -s 400000 && ulimit -v 300000 && "
                                "exec \"$0\" \"$@\"",
                                Program(), "send", "-demo", "-text", "x"},
                  .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_THAT(outcome.error, StartsWith("fairlead send: "));
}

TEST(EndingsTest, AnInterruptEndsAtOnce) {
  std::promise<void> connected;
  ScriptedServer server([&](int connection) {
    connected.set_value();
    ReceiveAll(connection);
  });
  Process process({.arguments = server.Arguments("recv") + kForever});
  connected.get_future().wait();
  kill(process.pid(), SIGINT);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.signal, SIGINT);  // 130 in a shell.
  EXPECT_THAT(Fairlead({"send", "-help"}).output,
              HasSubstr("\n  130  interrupted"));
  EXPECT_THAT(ManPage(), HasSubstr(".B 130\ninterrupted"));
}

}  // namespace
}  // namespace fairlead::tool
