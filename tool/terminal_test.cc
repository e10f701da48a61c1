// What is different on a terminal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/listen/listen_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::terminal_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr const char* kEscape = "\033";
const Words kControl = {"send", "-demo", "-hex", "1b5b316d 41 0d0a 07",
                        "-quiet"};
const Words kStamped = {"send",  "-demo", "-text", "A",
                        "-view", "text",  "-quiet"};

class TerminalTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = WhyNoTerminal(); !why.empty())
      GTEST_SKIP() << why;
  }
};

TEST_F(TerminalTest, ControlBytesAreVisible) {
  EXPECT_EQ(
      RunProgram({.arguments = kControl, .output_is_terminal = true}).output,
      "\\x1b[1mA\\r\n\\x07");
}

TEST_F(TerminalTest, ControlBytesPassUnchangedElsewhere) {
  EXPECT_EQ(
      RunProgram({.arguments = kControl, .error_is_terminal = true}).output,
      "\033[1mA\r\n\007");
}

TEST_F(TerminalTest, TimestampsAreColoured) {
  EXPECT_THAT(
      RunProgram({.arguments = kStamped, .output_is_terminal = true}).output,
      MatchesRegex("\033\\[2m\\[.*\\] \033\\[0mA\n"));
}

TEST_F(TerminalTest, NothingIsColouredElsewhere) {
  EXPECT_THAT(RunProgram({.arguments = kStamped}).output,
              Not(HasSubstr(kEscape)));
  const Outcome refused = Fairlead({"send"});
  EXPECT_THAT(refused.error, Not(HasSubstr(kEscape)));
}

TEST_F(TerminalTest, NoColorIsObeyed) {
  const Words environment = {"NO_COLOR=1"};
  const Outcome stamped = RunProgram({.arguments = kStamped,
                                      .output_is_terminal = true,
                                      .environment = environment});
  EXPECT_THAT(stamped.output, MatchesRegex("\\[.*\\] A\n"));
  const Outcome refused = RunProgram({.arguments = {"send"},
                                      .error_is_terminal = true,
                                      .environment = environment});
  EXPECT_THAT(refused.error, Not(HasSubstr("\033[1m")));
  const Outcome empty = RunProgram({.arguments = {"send"},
                                    .error_is_terminal = true,
                                    .environment = {"NO_COLOR="}});
  EXPECT_THAT(empty.error, HasSubstr("\033[1m"));
}

TEST_F(TerminalTest, ADumbTerminalGetsPlainText) {
  const Outcome outcome = RunProgram({.arguments = {"send"},
                                      .error_is_terminal = true,
                                      .environment = {"TERM=dumb"}});
  EXPECT_THAT(outcome.error, Not(HasSubstr(kEscape)));
}

TEST_F(TerminalTest, ErrorsAreBold) {
  EXPECT_THAT(
      RunProgram({.arguments = {"send"}, .error_is_terminal = true}).error,
      HasSubstr("\033[1mfairlead send:\033[0m missing"));
}

// Returns what the user sees: standard output and error on one terminal.
std::string Seen(const Words& arguments, const std::string& input = "") {
  return RunProgram({.arguments = arguments,
                     .input = input,
                     .one_terminal = true,
                     .environment = {"NO_COLOR=1"}})
      .output;
}

// Each is of two bytes, behind one of a single byte: every message cuts one.
TEST_F(TerminalTest, CharactersThatMessagesCutAreWhole) {
  std::string text = "x";
  for (int i = 0; i < 5000; ++i) text += "\xc3\xbc";
  ScriptedServer server([&text](int connection) { SendAll(connection, text); });
  const TempFolder folder;
  EXPECT_EQ(
      Seen(server.Arguments("recv") + Words{"-log", folder.path() + "/log"}),
      text);
}

TEST_F(TerminalTest, ACharacterThatTheEndCutsIsEscaped) {
  ScriptedServer server(
      [](int connection) { SendAll(connection, "a\xe2\x82"); });
  EXPECT_EQ(Seen(server.Arguments("recv")), "a\\xe2\\x82");
}

TEST_F(TerminalTest, NoCharacterIsOfTwoPeers) {
  ListenProcess server({"-echo", "-count", "2"}, "",
                       {.output_is_terminal = true});
  {
    const ListenPeer one(server);
    const ListenPeer other(server);
    EXPECT_EQ(one.Echoed("\xc3"), "\xc3");
    EXPECT_EQ(other.Echoed("\xbc"), "\xbc");
  }
  EXPECT_EQ(server.Wait().output, "\\xc3\\xbc");
}

TEST_F(TerminalTest, MessagesBeginBelowTheReply) {
  EXPECT_EQ(Seen({"send", "-demo", "-text", "hello"}), "hello");
  EXPECT_EQ(Seen({"send", "-demo", "-text", "hello", "-lines", "1"}),
            "hello\n"
            "fairlead send: cut short: 0 of 1 line; the peer closed\n");
}

TEST_F(TerminalTest, NoEmptyLineFollowsACompleteReply) {
  EXPECT_EQ(
      Seen({"send", "-demo", "-text", "hello", "-eol", "lf", "-lines", "2"}),
      "hello\n"
      "fairlead send: cut short: 1 of 2 lines; the peer closed\n");
  EXPECT_EQ(Seen({"send"}).find_first_of("\r\n\033"),
            Seen({"send"}).size() - 1);
}

TEST_F(TerminalTest, ARedirectedReplyDoesNotChangeTheMessages) {
  const Words arguments = {"send", "-demo", "-text", "x", "-lines", "1"};
  const Outcome words = RunProgram({.arguments = arguments,
                                    .error_is_terminal = true,
                                    .environment = {"NO_COLOR=1"}});
  EXPECT_EQ(words.error,
            "fairlead send: cut short: 0 of 1 line; the peer closed\n");
  const Outcome data =
      RunProgram({.arguments = arguments, .output_is_terminal = true});
  EXPECT_EQ(data.error, words.error);
}

// The reply arrives while the bar is drawn, and replaces it.
TEST_F(TerminalTest, AnAnswerToABrokenSendReplacesTheBar) {
  ScriptedServer server([](int connection) {
    Receive(connection, 1'000'000);
    SendAll(connection, "no room");
    Receive(connection, 1'000'000);
    Reset(connection);
  });
  const TempFolder folder;
  const std::string body = folder.File("body", std::string(20'000'000, 'x'));
  EXPECT_THAT(Seen(server.Arguments("send") + Words{"-file", body}),
              HasSubstr("\r\033[Kno room\nfairlead send: the peer reset"));
}

TEST_F(TerminalTest, ALongSendDrawsAndErasesABar) {
  const TempFolder folder;
  const std::string body = folder.File("body", std::string(1'000'000, 'x'));
  ScriptedServer server([](int connection) { Receive(connection, 1'000'000); });
  const Outcome outcome =
      RunProgram({.arguments = server.Arguments("send") + Words{"-file", body},
                  .error_is_terminal = true});
  EXPECT_THAT(outcome.error,
              HasSubstr("] 100% of 1.0 MB\033[K\r\033[K\033[1mfairlead"));
}

TEST_F(TerminalTest, NoBarIsDrawnElsewhere) {
  const TempFolder folder;
  const std::string body = folder.File("body", std::string(1'000'000, 'x'));
  const Outcome quiet =
      RunProgram({.arguments = {"send", "-demo", "-file", body, "-quiet"},
                  .error_is_terminal = true});
  EXPECT_EQ(quiet.error, "");
  const Outcome pipe = Fairlead({"send", "-demo", "-file", body});
  EXPECT_THAT(pipe.error, Not(HasSubstr("%")));
  const Outcome small = RunProgram(
      {.arguments = {"send", "-demo", "-text", std::string(1800, 'x')},
       .error_is_terminal = true});
  EXPECT_THAT(small.error, Not(HasSubstr("%")));
}

}  // namespace
}  // namespace fairlead::tool::terminal_test
