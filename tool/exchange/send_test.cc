// The command `send` as a process, with servers in the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tool/testing.h"

namespace fairlead::tool::send_test {
namespace {

using std::string_literals::operator""s;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

// Longer than the timeout of a test: an exchange with these limits ends for
// another reason.
const Words kForever = {"-idle", "86400", "-timeout", "86400"};

// Echoes everything until the peer closes the connection.
void Echo(int connection) {
  for (std::string bytes; !(bytes = Receive(connection, 1)).empty();)
    SendAll(connection, bytes);
}

// Returns what a server receives from a `send` with these arguments.
std::string Received(const Words& arguments, std::size_t count,
                     const std::string& input = "") {
  std::string received;
  ScriptedServer server([&](int connection) {
    received = Receive(connection, count);
    SendAll(connection, "ok");
  });
  const Outcome outcome =
      RunProgram({.arguments = server.Arguments("send") + arguments + kForever,
                  .input = input});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_EQ(outcome.output, "ok");
  return received;
}

TEST(SendTest, TheDemoEchoesAndEndsAtOnce) {
  const Outcome outcome =
      Fairlead(Words{"send", "-demo", "-text", "hello"} + kForever);
  EXPECT_EQ(outcome.output, "hello");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.error, "");
}

TEST(SendTest, VerboseTellsTheSteps) {
  ScriptedServer server([](int connection) {
    Receive(connection, 1);
    SendAll(connection, "hi");
  });
  const std::string port = std::to_string(server.port());
  const Outcome outcome =
      Fairlead(Words{"send", "-host", "localhost", "-port", port, "-text", "x",
                     "-halfclose", "on", "-verbose"} +
               kForever);
  EXPECT_EQ(outcome.output, "hi");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.error,
            "fairlead send: resolved localhost: 127.0.0.1\n"
            "fairlead send: connected to 127.0.0.1:" +
                port +
                "\n"
                "fairlead send: 1 byte sent, 2 received; the peer closed\n");
}

TEST(SendTest, QuietPrintsNoNotes) {
  const Outcome outcome =
      Fairlead(Words{"send", "-demo", "-text", "hello", "-quiet"} + kForever);
  EXPECT_EQ(outcome.output, "hello");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendTest, ResolvesAName) {
  ScriptedServer server([](int connection) { SendAll(connection, "hi"); });
  const Outcome outcome =
      Fairlead(Words{"send", "-host", "localhost", "-port",
                     std::to_string(server.port()), "-text", ""} +
               kForever);
  EXPECT_EQ(outcome.output, "hi");
  EXPECT_EQ(outcome.error, "");
}

TEST(SendTest, TextHasEscapes) {
  EXPECT_EQ(Received({"-text", R"(a b\r\n\t\\\x2d\x00z)"}, 10),
            "a b\r\n\t\\-\0z"s);
}

TEST(SendTest, HexIsBytes) {
  EXPECT_EQ(Received({"-hex", "00ff 10"}, 3), "\0\xff\x10"s);
}

TEST(SendTest, AFileIsSentUnchanged) {
  const TempFolder folder;
  const std::string bytes = "line\r\n\0\xff\\n"s;
  EXPECT_EQ(Received({"-file", folder.File("a b", bytes)}, bytes.size()),
            bytes);
}

TEST(SendTest, StandardInputIsSentUnchanged) {
  const std::string bytes = RandomBytes(200'000);
  EXPECT_EQ(Received({"-stdin"}, bytes.size(), bytes), bytes);
}

TEST(SendTest, StandardInputIsNotReadWithoutStdin) {
  const Outcome outcome = RunProgram(
      {.arguments = {"send", "-demo", "-text", "x"}, .input_stays_open = true});
  EXPECT_EQ(outcome.output, "x");
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendTest, ASwitchThatIsOffIsNotASource) {
  EXPECT_EQ(Received({"-text", "x", "-stdin", "off"}, 1), "x");
}

TEST(SendTest, NoneDoesNotGoWithWhatIsAboutABodyOrAReply) {
  for (const Words& other : {Words{"-lines", "1"},
                             {"-bytes", "1"},
                             {"-messages", "1"},
                             {"-until", "x"},
                             {"-expect", "x"},
                             {"-reject", "x"},
                             {"-sum", "5"},
                             {"-eol", "lf"},
                             {"-pascal"},
                             {"-prefix", "u8"},
                             {"-halfclose", "on"},
                             {"-aes", "k"},
                             {"-rc4", "k"},
                             {"-cipher", "rc4", "-keyenv", "K"},
                             {"-logdata", "hex", "-log", "/dev/null"},
                             {"-changes", "-repeat", "2"}}) {
    const Outcome outcome = Fairlead(Words{"send", "-demo", "-none"} + other);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.error,
              "fairlead send: -none and " + other[0] +
                  " cannot be combined; see 'fairlead help send'\n");
    EXPECT_EQ(outcome.output, "");
  }
}

TEST(SendTest, ALineEndFollowsTheBody) {
  EXPECT_EQ(Received({"-text", "a", "-eol", "crlf"}, 3), "a\r\n");
  EXPECT_EQ(Received({"-text", "a", "-eol", "lf"}, 2), "a\n");
  EXPECT_EQ(Received({"-text", "a", "-eol", "none"}, 1), "a");
  EXPECT_EQ(Received({"-stdin", "-eol", "crlf"}, 2), "\r\n");
}

TEST(SendTest, PascalPutsTheLengthBeforeTheBody) {
  EXPECT_EQ(Received({"-text", "abc", "-pascal"}, 4), "\3abc");
  EXPECT_EQ(Received({"-text", "abc", "-eol", "lf", "-pascal"}, 5), "\4abc\n");
  EXPECT_EQ(Received({"-text", "", "-pascal"}, 1), "\0"s);
  const std::string longest(255, 'x');
  EXPECT_EQ(Received({"-text", longest, "-pascal"}, 256), "\xff" + longest);
}

TEST(SendTest, PascalRefusesALongBody) {
  const Outcome outcome =
      Fairlead({"send", "-demo", "-text", std::string(256, 'x'), "-pascal"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error,
            "fairlead send: the body has 256 bytes; -pascal accepts at most "
            "255\n");
}

TEST(SendTest, BodiesAroundTheLargestMessageArriveComplete) {
  for (const std::size_t size :
       {0U, 1U, 1796U, 1797U, 1799U, 1800U, 1801U, 3600U, 3601U, 100'000U}) {
    SCOPED_TRACE(size);
    const std::string bytes = RandomBytes(size);
    EXPECT_EQ(Received({"-stdin"}, size, bytes), bytes);
  }
}

TEST(SendTest, FiveMegabytesComeBackByteForByte) {
  const std::string bytes = RandomBytes(5'000'000);
  const Outcome outcome =
      RunProgram({.arguments = Words{"send", "-demo", "-stdin"} + kForever,
                  .input = bytes});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_TRUE(outcome.output == bytes);
  EXPECT_EQ(outcome.error, "");
}

TEST(SendTest, PrintsWhatArrivedBeforeThePeerClosed) {
  const std::string bytes = RandomBytes(300'000);
  ScriptedServer server([&](int connection) {
    Receive(connection, 1);
    SendAll(connection, bytes);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("send") + Words{"-text", "x"} + kForever);
  EXPECT_TRUE(outcome.output == bytes);
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendTest, EndsWhenThePeerIsSilent) {
  ScriptedServer server(Echo);
  const Outcome outcome =
      Fairlead(server.Arguments("send") + Words{"-text", "ping", "-idle", "1"});
  EXPECT_EQ(outcome.output, "ping");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.error, "");
}

// The peer replies at once and stays connected: only the stop rule ends the
// exchange.
Outcome StoppedBy(const Words& rule) {
  ScriptedServer server([](int connection) {
    SendAll(connection, Receive(connection, 5));
    ReceiveAll(connection);
  });
  return Fairlead(server.Arguments("send") + Words{"-text", "a\\nb\\nc"} +
                  rule + kForever);
}

TEST(SendTest, EachRuleStops) {
  for (const Words& rule : {Words{"-bytes", "5"},
                            {"-lines", "2"},
                            {"-until", "b\\nc"},
                            {"-until", "c", "-bytes", "100"}}) {
    SCOPED_TRACE(rule[0]);
    const Outcome outcome = StoppedBy(rule);
    EXPECT_EQ(outcome.output, "a\nb\nc");
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.error, "");
  }
}

TEST(SendTest, OneMessageStops) {
  const Outcome outcome = StoppedBy({"-messages", "1"});
  EXPECT_EQ(outcome.output.substr(0, 1), "a");
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendTest, AMessageIsNeverTruncated) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "one\ntwo\nthree");
    ReceiveAll(connection);
  });
  const Outcome outcome = Fairlead(
      server.Arguments("send") + Words{"-text", "x", "-lines", "1"} + kForever);
  EXPECT_EQ(outcome.output, "one\ntwo\nthree");
}

// A message has at most 1796 bytes, so the text spans two.
TEST(SendTest, TheTextOfUntilMaySpanMessages) {
  const std::string filler(1796 - 2, '.');
  ScriptedServer server([&](int connection) {
    SendAll(connection, filler + "EN");
    SendAll(connection, "D and more");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("send") + Words{"-text", "x", "-until", "END"} +
               kForever);
  EXPECT_EQ(outcome.output, filler + "END and more");
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendTest, ViewsShowOneEntryPerMessage) {
  const std::string stamp = R"(\[[0-9.]{10} [0-9:]{8}\] )";
  const auto shown = [](const std::string& view) {
    return Fairlead(Words{"send", "-demo", "-hex", "00ff41", "-view", view} +
                    kForever)
        .output;
  };
  EXPECT_EQ(shown("raw"),
            "\0\xff"
            "A"s);
  EXPECT_THAT(shown("text"), MatchesRegex(stamp + R"(\\x00\\xffA)" + "\n"));
  EXPECT_THAT(shown("hex"), MatchesRegex(stamp + "00 ff 41\n"));
  EXPECT_THAT(shown("dump"),
              MatchesRegex(stamp + "3 bytes\n00000000  00 ff 41 +\\|\\.\\.A\\|"
                                   "\n"));
  EXPECT_THAT(shown("json"), HasSubstr(R"("event":"received",)"));
  EXPECT_THAT(shown("json"), HasSubstr(R"("bytes":3,"data":"AP9B"})"
                                       "\n"));
}

TEST(SendTest, ALongReplyHasSeveralEntries) {
  const std::string bytes(10'000, 'x');
  const Outcome outcome = RunProgram(
      {.arguments =
           Words{"send", "-demo", "-stdin", "-view", "text"} + kForever,
       .input = bytes});
  std::string shown;
  int entries = 0;
  std::istringstream lines(outcome.output);
  for (std::string line; std::getline(lines, line); ++entries)
    shown += line.substr(line.find("] ") + 2);
  EXPECT_GE(entries, 6);  // 1796 bytes at most each.
  EXPECT_EQ(shown, bytes);
}

TEST(SendTest, PrintsWhatArrivedBeforeATimeout) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "early");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("send") + Words{"-text", "x", "-timeout", "1"});
  EXPECT_EQ(outcome.output, "early");
  EXPECT_EQ(outcome.status, 28);
}

}  // namespace
}  // namespace fairlead::tool::send_test
