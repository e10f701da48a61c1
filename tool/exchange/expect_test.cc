// -expect and -reject of `send` and `recv`, with servers in the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <string_view>

#include "tool/testing.h"

namespace fairlead::tool::expect_test {
namespace {

using testing::ContainsRegex;
using testing::EndsWith;
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
       "the text of -expect did not come: 'other'; enough was received\n"},
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
            "fairlead recv: the text of -expect did not come: 'ready'; the "
            "peer closed\n");
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

// Returns what `send` makes of an answer to a body of which the server reads
// nothing, so that it cannot be sent.
Outcome Answered(const std::string& answer, const Words& rules) {
  const TempFolder folder;
  const std::string body = folder.File("body", std::string(40'000'000, 'x'));
  std::promise<void> ended;
  ScriptedServer server([&](int connection) {
    SendAll(connection, answer);
    ended.get_future().wait();
  });
  const Outcome outcome = Fairlead(server.Arguments("send") +
                                   Words{"-file", body} + rules + kForever);
  ended.set_value();
  EXPECT_EQ(outcome.output, answer);
  return outcome;
}

TEST(ExpectTest, TheBodyIsNotSentToItsEnd) {
  const Outcome rejected = Answered("413 too large\n", {"-reject", "413"});
  EXPECT_EQ(rejected.error,
            "fairlead send: the text of -reject came: '413 too large'\n");
  EXPECT_EQ(rejected.status, 1);
  const Outcome expected = Answered("201 have it\n", {"-expect", "201"});
  EXPECT_EQ(expected.error, "");
  EXPECT_EQ(expected.status, 0);
}

TEST(ExpectTest, VerboseReportsTheLineThatDecided) {
  const Outcome text = Received({"one\nit is ready now\nmore\n"},
                                {"-expect", "ready", "-verbose"});
  EXPECT_THAT(text.error,
              EndsWith("fairlead recv: 0 bytes sent, 25 received; the text of "
                       "-expect came: 'it is ready now'\n"));
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(Answered("201 have it\n", {"-expect", "201", "-verbose"}).error,
              ContainsRegex("send: [0-9]+ of 40000000 bytes sent, 12 received; "
                            "the text of -expect came: '201 have it'\n$"));
}

TEST(ExpectTest, AnEventHasTheLineThatDecided) {
  const Outcome expected =
      Received({"it is ready\n"}, {"-expect", "ready", "-view", "json"});
  EXPECT_THAT(
      expected.output,
      HasSubstr(R"("reason":"the text of -expect came: 'it is ready'")"));
  const Outcome rejected =
      Received({"it is ready\n"}, {"-reject", "ready", "-view", "json"});
  EXPECT_THAT(
      rejected.output,
      HasSubstr(R"("message":"the text of -reject came: 'it is ready'")"));
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
  const Outcome begun =
      Received({"\3one\11OK"}, {"-prefix", "u8", "-expect", "OK"});
  EXPECT_EQ(begun.output, "oneOK");
  EXPECT_EQ(begun.status, 0);
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
