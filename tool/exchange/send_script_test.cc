// `send -script` as a process, with servers in the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <string_view>
#include <utility>

#include "tool/testing.h"

namespace fairlead::tool::send_script_test {
namespace {

using std::string_literals::operator""s;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

// A script in a file, run by `send`.
class SendScriptTest : public testing::Test {
 protected:
  Outcome Run(const ScriptedServer& server, const std::string& script,
              const Words& more = kForever) const {
    return Fairlead(server.Arguments("send") + Words{"-script", File(script)} +
                    more);
  }
  std::string File(const std::string& script) const {
    return folder_.File("script", script);
  }
  // Returns an error with the place in the script before it.
  std::string Error(std::string_view rest) const {
    return "fairlead send: " + folder_.Path("script") + ":" +
           std::string(rest) + "\n";
  }

  const TempFolder folder_;
};

// Returns a line without its CR LF.
std::string Line(int connection) {
  std::string line;
  while (!line.ends_with("\r\n")) {
    const std::string byte = Receive(connection, 1);
    if (byte.empty()) return line + " and then the end";
    line += byte;
  }
  return line.substr(0, line.size() - 2);
}

TEST_F(SendScriptTest, HoldsAWholeDialogue) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "220 hello\r\n");
    EXPECT_EQ(Line(connection), "EHLO me");
    SendAll(connection, "250-one\r\n250-two\r\n");
    SendAll(connection, "250 three\r\n");
    EXPECT_EQ(Line(connection), "a text");
    EXPECT_EQ(Line(connection), ".");
    SendAll(connection, "354 more\r\n");
    EXPECT_EQ(ReceiveAll(connection), "\x00\xff"s);
  });
  const Outcome outcome = Run(server,
                              "# A comment.\n"
                              "eol crlf\n"
                              "expect 220\n"
                              "send EHLO me\n"
                              "expect 250\n"
                              "\n"
                              "send a text\n"
                              "send .\n"
                              "expect 354\n"
                              "sendhex 00 ff\n");
  EXPECT_EQ(outcome.output,
            "220 hello\r\n250-one\r\n250-two\r\n250 three\r\n354 more\r\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(SendScriptTest, AnotherLineIsAnAnswerOfNo) {
  std::string received;
  {
    ScriptedServer server([&](int connection) {
      received = Receive(connection, 2);
      SendAll(connection, "550 no \x1b[31muser\r\nmore");
      received += ReceiveAll(connection);
    });
    const Outcome outcome =
        Run(server, "send a\n# Why not?\nexpect 250\nsend b\n");
    EXPECT_EQ(outcome.error,
              Error(R"(3: expected '250': got '550 no \x1b[31muser')"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "550 no \x1b[31muser\r\nmore");
  }
  EXPECT_EQ(received, "a\n");
}

TEST_F(SendScriptTest, APeerThatClosesCutsItShort) {
  for (const auto& [answer, got] :
       {std::pair{"", ""}, {"2", "got '2'; "}, {"250 ok", "got '250 ok'; "}}) {
    ScriptedServer server([&text = answer](int connection) {
      Receive(connection, 2);
      SendAll(connection, text);
    });
    const Outcome outcome = Run(server, "send a\nexpect 250");
    EXPECT_EQ(outcome.error,
              Error("2: expected '250': "s + got + "the peer closed"));
    EXPECT_EQ(outcome.status, 18);
    EXPECT_EQ(outcome.output, answer);
  }
}

TEST_F(SendScriptTest, ASilentPeerIsAnAnswerOfNo) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "login");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      Run(server, "until login: ", {"-idle", "1", "-timeout", "none"});
  EXPECT_EQ(outcome.error, Error("1: expected 'login: ': the peer was silent "
                                 "for 1 s"));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "login");
}

TEST_F(SendScriptTest, AResetHasItsStatus) {
  ScriptedServer server([](int connection) {
    Receive(connection, 2);
    Reset(connection);
  });
  const Outcome outcome = Run(server, "send a\nexpect 250");
  EXPECT_EQ(outcome.status, 56);
  EXPECT_EQ(outcome.error,
            "fairlead send: the peer reset the connection: 2 of 2 bytes sent, "
            "0 bytes received\n");
}

TEST_F(SendScriptTest, TheTimeLimitNamesTheStatement) {
  for (const char* const statement : {"expect x", "until x", "wait 1d"}) {
    ScriptedServer silent([](int connection) { ReceiveAll(connection); });
    const Outcome outcome = Run(silent, "send a\n"s + statement,
                                {"-idle", "none", "-timeout", "1"});
    EXPECT_EQ(outcome.status, 28);
    EXPECT_EQ(outcome.error,
              "fairlead send: timed out after 1 s while waiting for the "
              "peer at " +
                  folder_.Path("script") + ":2; increase -timeout\n");
  }
}

// Nothing of the peer wakes the pause then.
TEST_F(SendScriptTest, TheTimeLimitEndsAPauseAfterThePeerHasClosed) {
  ScriptedServer server([](int connection) { SendAll(connection, "bye\n"); });
  const Outcome outcome =
      Run(server, "expect bye\nwait 1d\n", {"-idle", "none", "-timeout", "1"});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.output, "bye\n");
  EXPECT_EQ(outcome.error,
            "fairlead send: timed out after 1 s while waiting for the peer "
            "at " +
                folder_.Path("script") + ":2; increase -timeout\n");
}

// The server is refused before anything is asked of it.
TEST_F(SendScriptTest, AWrongScriptConnectsNowhere) {
  const std::string port = std::to_string(ClosedPort());
  const auto run = [&](const std::string& path) {
    return Fairlead(
        {"send", "-host", "127.0.0.1", "-port", port, "-script", path});
  };
  const Outcome wrong = run(File("send a\nsay b\n"));
  EXPECT_EQ(wrong.error, Error("2: 'say' is no statement; expected send, "
                               "sendhex, expect, until, wait, eol"));
  EXPECT_EQ(wrong.status, 3);
  const Outcome missing = run(folder_.Path("none"));
  EXPECT_EQ(missing.status, 26);
  EXPECT_EQ(run(File("send a")).status, 7);
}

TEST_F(SendScriptTest, PrintsAndKeepsWhatComesInAPause) {
  ScriptedServer server([&](int connection) {
    EXPECT_EQ(Receive(connection, 2), "a\n");
    SendAll(connection, "early\n");
    EXPECT_EQ(Receive(connection, 2), "b\n");
    SendAll(connection, "late\nrest");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      Run(server, "send a\nwait 0.1\nsend b\nexpect early\nexpect late\n");
  EXPECT_EQ(outcome.output, "early\nlate\nrest");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// A pause goes on without the peer, which may still read.
TEST_F(SendScriptTest, SendsToAPeerThatSendsNoMore) {
  std::string received;
  {
    ScriptedServer server([&](int connection) {
      SendAll(connection, "last\n");
      shutdown(connection, SHUT_WR);
      received = ReceiveAll(connection);
    });
    const Outcome outcome = Run(
        server, "expect last\nwait 50ms\nsend a\nwait 50ms\nsend b\nsend c\n");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, 0);
  }
  EXPECT_EQ(received, "a\nb\nc\n");
}

// The server sends all of it back, and takes no more while that is not read.
TEST_F(SendScriptTest, ReceivesWhileItSends) {
  std::string script;
  for (int i = 0; i < 80; ++i)
    script += "send " + std::string(100'000, 'x') + "\n";
  for (const char* const end :
       {"send END\nuntil END\n", "send END\nwait 0\n"}) {
    const Outcome outcome = Fairlead(
        Words{"send", "-demo", "-script", File(script + end)} + kForever);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, 0);
  }
}

TEST_F(SendScriptTest, TheFirstLineEndIsThatOfEol) {
  const auto received = [&](const Words& eol) {
    std::string text;
    {
      ScriptedServer server([&](int connection) {
        while (!text.ends_with("b\r\n")) text += Receive(connection, 1);
        SendAll(connection, "ok\n");
      });
      EXPECT_EQ(
          Run(server, "send a\neol crlf\nsend b\nexpect ok", eol + kForever)
              .status,
          0);
    }
    return text;
  };
  EXPECT_EQ(received({}), "a\nb\r\n");
  EXPECT_EQ(received({"-eol", "none"}), "ab\r\n");
  EXPECT_EQ(received({"-eol", "crlf"}), "a\r\nb\r\n");
}

TEST_F(SendScriptTest, AKeyStreamGoesOnThroughTheDialogue) {
  const Outcome outcome =
      Fairlead(Words{"send", "-demo", "-rc4", "secret", "-script",
                     File("send one\nexpect one\nsend two\nexpect two\n")} +
               kForever);
  EXPECT_EQ(outcome.output, "one\ntwo\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(SendScriptTest, EachSendIsPaddedToABlock) {
  const Outcome outcome =
      Fairlead(Words{"send", "-demo", "-aes", "0123456789abcdef", "-script",
                     File("send one\nsend two\nuntil two\\n\n")} +
               kForever);
  EXPECT_EQ(outcome.output,
            "one\n\0\0\0\0\0\0\0\0\0\0\0\0"
            "two\n\0\0\0\0\0\0\0\0\0\0\0\0"s);
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(SendScriptTest, ViewsAndLogsAreThoseOfSend) {
  ScriptedServer server([](int connection) {
    EXPECT_EQ(Receive(connection, 2), "a\n");
    SendAll(connection, "no\n");
    ReceiveAll(connection);
  });
  const std::string log = folder_.Path("log");
  const Outcome outcome =
      Run(server, "send a\nexpect yes\n",
          Words{"-view", "hex", "-log", log, "-verbose"} + kForever);
  EXPECT_THAT(outcome.output, EndsWith("] 6e 6f 0a\n"));
  EXPECT_THAT(outcome.error, EndsWith(Error("2: expected 'yes': got 'no'")));
  const std::string text = internal::ReadFile(log);
  for (const char* const event :
       {"] sent 2 bytes\n", "] received 3 bytes\n",
        "] another line was received than the script expects\n",
        "] closed: 2 bytes sent, 3 received\n", "] failed: "})
    EXPECT_THAT(text, HasSubstr(event));
}

TEST_F(SendScriptTest, DoesNotGoWithRulesOrBodies) {
  for (const Words& other : {Words{"-text", "x"}, {"-none"}, {"-stdin"}}) {
    const Outcome outcome =
        Fairlead(Words{"send", "-demo", "-script", File("send a")} + other);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.error, HasSubstr(" and -script cannot be combined"));
  }
  for (const Words& other : {Words{"-lines", "1"},
                             {"-bytes", "1"},
                             {"-messages", "1"},
                             {"-until", "x"},
                             {"-expect", "x"},
                             {"-reject", "x"},
                             {"-sum", "5"},
                             {"-pascal"},
                             {"-prefix", "u8"},
                             {"-halfclose", "off"}}) {
    const Outcome outcome =
        Fairlead(Words{"send", "-demo", "-script", File("send a")} + other);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.error, StartsWith("fairlead send: -script and " +
                                          other[0] + " cannot be combined"));
  }
}

TEST_F(SendScriptTest, WithoutATimerItFails) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  for (const char* const call : {"timerfd_create", "timerfd_settime"}) {
    const Outcome outcome = RunProgram(
        {.arguments =
             WithFault(std::string(call) + ":error=ENOMEM") +
             Words{Program(), "send", "-demo", "-script", File("wait 1d\n")},
         .environment = {"ASAN_OPTIONS=detect_leaks=0"},
         .program = "strace"});
    EXPECT_THAT(outcome.error,
                EndsWith("cannot set a timer: Cannot allocate memory\n"));
    EXPECT_EQ(outcome.status, 55);
  }
}

}  // namespace
}  // namespace fairlead::tool::send_script_test
