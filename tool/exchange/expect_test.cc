// -expect and -reject of `send` and `recv`, with servers in the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <string_view>

#include "tool/testing.h"

namespace fairlead::tool::expect_test {
namespace {

using testing::HasSubstr;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

// Returns what `recv` makes of the pieces, after which the server waits.
Outcome Received(const Words& pieces, const Words& rules,
                 bool then_closes = false) {
  ScriptedServer server([&](int connection) {
    for (const std::string& piece : pieces) SendAll(connection, piece);
    if (!then_closes) ReceiveAll(connection);
  });
  return Fairlead(server.Arguments("recv") + rules + kForever);
}

struct ExpectCase {
  Words rules;
  std::string_view error;  // After "fairlead recv: "; "" for status 0.
};

TEST(ExpectTest, TheFirstTextDecidesAtOnce) {
  const ExpectCase cases[] = {
      {{"-expect", "ready"}, ""},
      {{"-expect", "ready", "-reject", "failed"}, ""},
      {{"-expect", "is\\x20re"}, ""},
      {{"-expect", "ready", "-lines", "3"}, ""},
      {{"-expect", "ready", "-until", "never"}, ""},
      {{"-reject", "ready"},
       "the text of -reject came: 'it is ready \\x1b[31mnow'\n"},
      {{"-expect", "failed", "-reject", "ready"},
       "the text of -reject came: 'it is ready \\x1b[31mnow'\n"},
      {{"-expect", "other", "-lines", "2"},
       "the text of -expect did not come: enough was received\n"},
  };
  const std::string sent = "one\nit is ready \x1b[31mnow\nfailed\n";
  for (const ExpectCase& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.rules));
    const Outcome outcome = Received({sent}, c.rules);
    EXPECT_EQ(outcome.output, sent);
    EXPECT_EQ(outcome.error,
              c.error.empty() ? "" : "fairlead recv: " + std::string(c.error));
    EXPECT_EQ(outcome.status, c.error.empty() ? 0 : 1);
  }
}

TEST(ExpectTest, ATextThatDoesNotComeIsAnAnswerOfNo) {
  const Outcome expected = Received({"one\n"}, {"-expect", "ready"}, true);
  EXPECT_EQ(expected.output, "one\n");
  EXPECT_EQ(expected.status, 1);
  EXPECT_EQ(expected.error,
            "fairlead recv: the text of -expect did not come: the peer "
            "closed\n");
  const Outcome rejected = Received({"one\n"}, {"-reject", "ready"}, true);
  EXPECT_EQ(rejected.output, "one\n");
  EXPECT_EQ(rejected.status, 0);
  EXPECT_EQ(Received({}, {"-expect", "ready"}, true).status, 52);
}

// A message has at most 1796 bytes, so the text spans two.
TEST(ExpectTest, TheTextMaySpanMessages) {
  const std::string filler(1796 - 2, '.');
  const Outcome outcome =
      Received({filler + "EN", "D and more"}, {"-expect", "END"});
  EXPECT_EQ(outcome.output, filler + "END and more");
  EXPECT_EQ(outcome.status, 0);
  const Outcome rejected =
      Received({filler + "EN", "D and more"}, {"-reject", "END"});
  EXPECT_EQ(rejected.error, "fairlead recv: the text of -reject came: '" +
                                std::string(100, '.') + "...'\n");
  EXPECT_EQ(rejected.status, 1);
}

// The server reads nothing, so the body cannot be sent.
TEST(ExpectTest, ARejectedBodyIsNotSentToItsEnd) {
  const TempFolder folder;
  const std::string body = folder.File("body", std::string(40'000'000, 'x'));
  std::promise<void> ended;
  ScriptedServer server([&](int connection) {
    SendAll(connection, "413 too large\n");
    ended.get_future().wait();
  });
  const Outcome outcome =
      Fairlead(server.Arguments("send") +
               Words{"-file", body, "-reject", "413"} + kForever);
  ended.set_value();
  EXPECT_EQ(outcome.output, "413 too large\n");
  EXPECT_EQ(outcome.error,
            "fairlead send: the text of -reject came: '413 too large'\n");
  EXPECT_EQ(outcome.status, 1);
}

TEST(ExpectTest, AnExpectedAnswerDoesNotCutTheBody) {
  const TempFolder folder;
  const std::string text(5'000'000, 'x');
  std::string received;
  {
    ScriptedServer server([&](int connection) {
      SendAll(connection, "ready\n");
      received = Receive(connection, text.size());
      SendAll(connection, "failed\n");
      ReceiveAll(connection);
    });
    const Outcome outcome =
        Fairlead(server.Arguments("send") +
                 Words{"-file", folder.File("body", text), "-expect", "ready",
                       "-reject", "failed"} +
                 kForever);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, 0);
  }
  EXPECT_TRUE(received == text);
}

TEST(ExpectTest, TheTextsSeeTheDecryptedBytes) {
  const Outcome outcome = Fairlead(Words{"send", "-demo", "-rc4", "secret",
                                         "-text", "plain", "-reject", "lai"} +
                                   kForever);
  EXPECT_EQ(outcome.output, "plain");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.error, HasSubstr("came: 'plain'"));
}

TEST(ExpectTest, FramesAreSearchedLikeOtherMessages) {
  const Outcome expected =
      Received({"\3one\2OK\3abc"}, {"-prefix", "u8", "-expect", "OK"});
  EXPECT_EQ(expected.output, "oneOK");
  EXPECT_EQ(expected.status, 0);
  // At once: the frame is not complete.
  const Outcome rejected =
      Received({"\3one\11ERR"}, {"-prefix", "u8", "-reject", "ERR"});
  EXPECT_EQ(rejected.output, "oneERR");
  EXPECT_EQ(rejected.status, 1);
}

TEST(ExpectTest, ARejectionIsLoggedLikeAnyEnd) {
  const TempFolder folder;
  const std::string log = folder.Path("log");
  EXPECT_EQ(Received({"ERR\n"}, {"-reject", "ERR", "-log", log}).status, 1);
  const std::string text = internal::ReadFile(log);
  for (const char* const event :
       {"] received 4 bytes\n", "] a rejected text was received\n",
        "] closed: 0 bytes sent, 4 received\n",
        "] failed: the text of -reject came: 'ERR'\n"})
    EXPECT_THAT(text, HasSubstr(event));
}

TEST(ExpectTest, AWrongEscapeIsAWrongUsage) {
  const Outcome outcome = Fairlead({"recv", "-demo", "-expect", "\\q"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.error, HasSubstr("-expect: '\\q' is not one of"));
}

}  // namespace
}  // namespace fairlead::tool::expect_test
