// The commands `send` and `recv` that repeat their exchange: -repeat, -changes.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tool/exchange/serial_server_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::send_repeat_test {
namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

// Returns the outcome of a `send` whose runs get these replies; one for "" is
// no reply.
Outcome Repeated(const Words& replies, const Words& arguments) {
  SerialServer server([&](int connection, int number) {
    const auto at = static_cast<std::size_t>(number - 1);
    EXPECT_EQ(Receive(connection, 1), "x");
    SendAll(connection, at < replies.size() ? replies[at] : "late");
  });
  const Outcome outcome =
      Fairlead(server.Arguments("send") +
               Words{"-text", "x", "-repeat", std::to_string(replies.size()),
                     "-interval", "1ms"} +
               arguments + kForever);
  EXPECT_EQ(server.count(), static_cast<int>(replies.size()));
  return outcome;
}

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos;
       ++at)
    ++found;
  return found;
}

TEST(SendRepeatTest, EachRunHasItsConnection) {
  const Outcome outcome = Repeated({"a", "b", "c"}, {});
  EXPECT_EQ(outcome.output, "abc");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendRepeatTest, TheDemoServesEveryRun) {
  const Outcome sent = Fairlead(
      Words{"send", "-demo", "-text", "hi", "-repeat", "3", "-interval", "0"} +
      kForever);
  EXPECT_EQ(sent.output, "hihihi");
  EXPECT_EQ(sent.status, 0);
  const Outcome received = Fairlead(
      Words{"recv", "-demo", "-repeat", "2", "-interval", "0"} + kForever);
  EXPECT_EQ(received.output,
            "fairlead at your service\r\nfairlead at your service\r\n");
  EXPECT_EQ(received.status, 0);
}

TEST(SendRepeatTest, GoesOnAfterAFailureAndReturnsTheLast) {
  const Outcome outcome = Repeated({"end", "", "en", "end"}, {"-bytes", "3"});
  EXPECT_EQ(outcome.output, "endenend");
  EXPECT_EQ(outcome.error,
            "fairlead send: nothing was answered: the peer closed\n"
            "fairlead send: cut short: 2 of 3 bytes; the peer closed\n");
  EXPECT_EQ(outcome.status, 18);
}

TEST(SendRepeatTest, AClosedPortFailsEveryRun) {
  const std::string port = std::to_string(ClosedPort());
  const Outcome outcome =
      Fairlead({"send", "-host", "127.0.0.1", "-port", port, "-text", "x",
                "-repeat", "2", "-interval", "0"});
  const std::string line = "fairlead send: cannot connect to 127.0.0.1 port " +
                           port + ": Connection refused\n";
  EXPECT_EQ(outcome.error, line + line);
  EXPECT_EQ(outcome.status, 7);
}

TEST(SendRepeatTest, EndsAtOnceWhereAnotherRunCannotHelp) {
  const Outcome unreadable = Fairlead({"send", "-demo", "-file", "/nonexistent",
                                       "-repeat", "2", "-interval", "0"});
  EXPECT_EQ(unreadable.status, 26);
  EXPECT_EQ(unreadable.error,
            "fairlead send: cannot open '/nonexistent': No such file or "
            "directory\n");
  const Outcome full =
      RunProgram({.arguments = {"send", "-demo", "-text", "x", "-repeat", "2"},
                  .output_path = "/dev/full"});
  EXPECT_EQ(full.status, 23);
  const Outcome unread = RunProgram(
      {.arguments = {"recv", "-demo", "-repeat", "forever", "-interval", "0"},
       .output_is_broken = true});
  EXPECT_EQ(unread.status, 141);
}

TEST(SendRepeatTest, EachRunHasItsOwnTimeout) {
  SerialServer server([](int connection, int number) {
    if (number == 2) SendAll(connection, "ok");
    ReceiveAll(connection);
  });
  const Outcome outcome = Fairlead(
      server.Arguments("recv") +
      Words{"-repeat", "2", "-interval", "0", "-timeout", "1", "-bytes", "2"});
  EXPECT_EQ(outcome.output, "ok");
  EXPECT_EQ(outcome.error,
            "fairlead recv: timed out after 1 s while waiting for the peer; "
            "increase -timeout\n");
  EXPECT_EQ(outcome.status, 28);
}

// The log is a pipe that nobody reads until the limit has passed.
TEST(SendRepeatTest, WhatIsPreparedTakesNoTimeFromARun) {
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
  int reader = -1;  // Open to the end, so that what is logged fits.
  std::thread opener([&] {
    usleep(1'500'000);
    reader = open(log.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  });
  SerialServer server([](int connection, int) { SendAll(connection, "ok\n"); });
  const Outcome outcome = Fairlead(
      server.Arguments("recv") +
      Words{"-repeat", "2", "-interval", "0", "-timeout", "1", "-log", log});
  opener.join();
  EXPECT_NE(reader, -1);
  close(reader);
  EXPECT_EQ(outcome.output, "ok\nok\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// The peer has closed, and the rest of the pause is too long.
TEST(SendRepeatTest, APauseThatIsTooLongFailsItsRunAlone) {
  const TempFolder folder;
  const std::string script = folder.File("script", "until hello\nwait 1d\n");
  SerialServer server(
      [](int connection, int) { SendAll(connection, "hello\n"); });
  const Outcome outcome = Fairlead(server.Arguments("send") +
                                   Words{"-script", script, "-repeat", "2",
                                         "-interval", "0", "-timeout", "1"});
  EXPECT_EQ(outcome.output, "hello\nhello\n");
  const std::string line =
      "fairlead send: timed out after 1 s while waiting for the peer at " +
      script + ":2; increase -timeout\n";
  EXPECT_EQ(outcome.error, line + line);
  EXPECT_EQ(outcome.status, 28);
}

// The limit is reached in any state: most often while the output is written.
TEST(SendRepeatTest, APeerThatNeverStopsFailsItsRunAlone) {
  SerialServer server([](int connection, int) {
    const std::string talk(10'000, 'x');
    while (send(connection, talk.data(), talk.size(), MSG_NOSIGNAL) > 0) {
    }
  });
  const Outcome outcome =
      RunProgram({.arguments = server.Arguments("recv") +
                               Words{"-repeat", "4", "-interval", "0",
                                     "-timeout", "500ms", "-view", "hex"},
                  .output_path = "/dev/null"});
  EXPECT_EQ(
      Count(outcome.error, "fairlead recv: timed out after 500 ms while "), 4U);
  EXPECT_EQ(outcome.status, 28);
}

// Another run could not write either.
TEST(SendRepeatTest, AnOutputThatBlocksEndsAllRuns) {
  SerialServer server([](int connection, int) {
    SendAll(connection, "x");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      RunProgram({.arguments = server.Arguments("recv") +
                               Words{"-repeat", "3", "-timeout", "1s"},
                  .output_is_stuck = true});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(Count(outcome.error, "fairlead recv: timed out after 1 s while "),
            1U);
  EXPECT_EQ(server.count(), 1);
}

TEST(SendRepeatTest, AFileIsReadForEveryRun) {
  const TempFolder folder;
  const Outcome outcome =
      Fairlead(Words{"send", "-demo", "-file", folder.File("body", "abc"),
                     "-repeat", "2", "-interval", "0"} +
               kForever);
  EXPECT_EQ(outcome.output, "abcabc");
}

TEST(SendRepeatTest, WhatIsReadOnceCannotBeRepeated) {
  const TempFolder folder;
  const std::string pipe = folder.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const Words& source :
       {Words{"-stdin"}, {"-file", "/dev/stdin"}, {"-file", pipe}}) {
    const Outcome outcome =
        Fairlead(Words{"send", "-demo", "-repeat", "2"} + source);
    EXPECT_EQ(outcome.status, 2);
    const std::string shown =
        source.size() == 1 ? "-stdin" : "-file '" + source[1] + "'";
    EXPECT_EQ(outcome.error,
              "fairlead send: -repeat cannot be combined with " + shown +
                  ", which can be read only once; use a regular file\n");
  }
}

TEST(SendRepeatTest, NonePrintsATimeForEveryRun) {
  const Outcome outcome =
      Fairlead({"send", "-demo", "-none", "-repeat", "2", "-interval", "0"});
  EXPECT_THAT(outcome.output,
              MatchesRegex("(connected in [0-9]+\\.[0-9][0-9] ms\n){2}"));
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendRepeatTest, ChangesPrintsAnAnswerOnlyIfItDiffers) {
  EXPECT_EQ(Repeated({"a", "a", "a"}, {"-changes"}).output, "a");
  EXPECT_EQ(Repeated({"a", "b", "b", "a"}, {"-changes"}).output, "aba");
  EXPECT_EQ(Repeated({"a", "a"}, {}).output, "aa");
  EXPECT_EQ(Repeated({"a", "a"}, {"-changes", "off"}).output, "aa");
}

TEST(SendRepeatTest, ChangesComparesWithTheLastAnswerThatWasPrinted) {
  const Outcome outcome = Repeated({"a", "", "a", "b"}, {"-changes"});
  EXPECT_EQ(outcome.output, "ab");
  EXPECT_EQ(outcome.error,
            "fairlead send: nothing was answered: the peer closed\n");
  EXPECT_EQ(outcome.status, 52);
}

TEST(SendRepeatTest, ChangesComparesTheBytesNotTheirTimes) {
  EXPECT_THAT(Repeated({"a", "a", "b"}, {"-changes", "-view", "hex"}).output,
              MatchesRegex("\\[[^]]+\\] 61\n\\[[^]]+\\] 62\n"));
}

TEST(SendRepeatTest, ChangesLogsAnAnswerOnlyIfItDiffers) {
  const TempFolder folder;
  const std::string log = folder.File("log", "");
  Repeated({"abc", "abc", "d"}, {"-changes", "-log", log});
  std::ifstream file(log);
  const std::string events{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(Count(events, "] received "), 2U) << events;
  EXPECT_THAT(events, HasSubstr("] received 3 bytes\n"));
  EXPECT_THAT(events, HasSubstr("] received 1 byte\n"));
}

// The prefix of the last frame is malformed.
TEST(SendRepeatTest, ChangesPrintsAndLogsWhatAFailureCuts) {
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  SerialServer server(
      [](int connection, int) { SendAll(connection, "\6abc\6def\1"); });
  const Outcome outcome = Fairlead(
      server.Arguments("recv") +
      Words{"-prefix", "u8", "-prefixadd", "3", "-repeat", "2", "-interval",
            "0", "-changes", "-log", log, "-logdata", "text"} +
      kForever);
  EXPECT_EQ(outcome.output, "abcdefabcdef");
  EXPECT_EQ(outcome.status, 56);
  const std::string events = internal::ReadFile(log);
  EXPECT_EQ(Count(events, "] received data: def\n"), 2U) << events;
  EXPECT_EQ(Count(events, "] received 9 bytes\n"), 2U);
  EXPECT_LT(events.find("] received 9 bytes"), events.find("] failed: "));
}

// What is cut cannot be printed either.
TEST(SendRepeatTest, TheFailureThatCutsAnAnswerIsReported) {
  SerialServer server([](int connection, int) {
    SendAll(connection,
            "\0\1\x11\x73"s + std::string(70'000, 'x') + "\0\0\0\0"s);
  });
  const Outcome outcome =
      RunProgram({.arguments = server.Arguments("recv") +
                               Words{"-prefix", "u32be", "-prefixadd", "3",
                                     "-repeat", "1", "-changes"} +
                               kForever,
                  .output_path = "/dev/full"});
  EXPECT_EQ(outcome.error,
            "fairlead recv: receiving failed: the prefix of a frame is 0, "
            "which is less than -prefixadd\n");
  EXPECT_EQ(outcome.status, 56);
}

TEST(SendRepeatTest, ChangesHoldsOfEveryViewAndOfTheLoggedData) {
  const TempFolder folder;
  const std::string log = folder.File("log", "");
  const Outcome outcome =
      Repeated({"abc", "abc"},
               {"-changes", "-view", "json", "-log", log, "-logdata", "text"});
  EXPECT_EQ(Count(outcome.output, "\"event\":\"connected\""), 2U);
  EXPECT_EQ(Count(outcome.output, "\"event\":\"received\""), 1U)
      << outcome.output;
  std::ifstream file(log);
  const std::string events{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(Count(events, "abc"), 1U) << events;
}

// The peer closes while there is still more of the file to send.
TEST(SendRepeatTest, APeerThatClosesFirstDoesNotEndTheOutput) {
  const TempFolder folder;
  const std::string body(5'000'000, 'x');
  SerialServer server([&](int connection, int number) {
    SendAll(connection, std::to_string(number));
    shutdown(connection, SHUT_WR);
    Receive(connection, body.size());
  });
  const Outcome outcome = Fairlead(server.Arguments("send") +
                                   Words{"-file", folder.File("body", body),
                                         "-repeat", "3", "-interval", "0"} +
                                   kForever);
  EXPECT_EQ(outcome.output, "123");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
}

TEST(SendRepeatTest, AnAnswerThatIsTooLongForChangesIsPrinted) {
  const std::string text((1U << 20U) + 1, 'x');
  const Outcome outcome = Repeated({text, text, "b", "b"}, {"-changes"});
  EXPECT_TRUE(outcome.output == text + text + "b");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendRepeatTest, ReportsAWrongUsage) {
  const auto refusal = [](const Words& arguments) {
    const Outcome outcome =
        Fairlead(Words{"send", "-demo", "-text", "x"} + arguments);
    EXPECT_EQ(outcome.status, 2);
    return outcome.error;
  };
  EXPECT_EQ(refusal({"-repeat", "0"}),
            "fairlead send: -repeat: 0 is out of range (expected 1 to "
            "2147483647 or forever)\n");
  EXPECT_EQ(refusal({"-interval", "1"}),
            "fairlead send: -interval needs -repeat N|forever; see 'fairlead "
            "help send'\n");
  EXPECT_EQ(refusal({"-changes"}),
            "fairlead send: -changes needs -repeat N|forever; see 'fairlead "
            "help send'\n");
}

}  // namespace
}  // namespace fairlead::tool::send_repeat_test
