// The command `send` that tries again: -retry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>

#include "tool/exchange/serial_server_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::send_retry_test {
namespace {

using testing::HasSubstr;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

TEST(SendRetryTest, GivesUpAfterTheLastAttempt) {
  const std::string port = std::to_string(ClosedPort());
  const Words send = {"send", "-host",       "127.0.0.1", "-port",
                      port,   "-text",       "x",         "-retry",
                      "2",    "-retrydelay", "1ms"};
  const std::string refused =
      "cannot connect to 127.0.0.1 port " + port + ": Connection refused\n";
  const Outcome outcome = Fairlead(send);
  EXPECT_EQ(outcome.status, 7);
  EXPECT_EQ(outcome.error, "fairlead send: " + refused);

  const Outcome verbose = Fairlead(send + Words{"-verbose"});
  const std::string each =
      "fairlead send: resolved 127.0.0.1: 127.0.0.1\n"
      "fairlead send: no connection to 127.0.0.1 port " +
      port + ": Connection refused\n";
  EXPECT_EQ(verbose.error,
            each + "fairlead send: attempt 2 of 3 in 1 ms: " + refused + each +
                "fairlead send: attempt 3 of 3 in 1 ms: " + refused + each +
                "fairlead send: " + refused);
  EXPECT_EQ(verbose.status, 7);
}

TEST(SendRetryTest, LooksAnUnknownNameUpAgain) {
  const TempFolder folder;
  const std::string log = folder.File("log", "");
  const Outcome outcome =
      Fairlead({"send", "-host", "nosuch.invalid", "-port", "1", "-text", "x",
                "-retry", "1", "-retrydelay", "0", "-log", log});
  EXPECT_EQ(outcome.status, 6);
  std::ifstream lines(log);
  std::string events;
  for (std::string line; std::getline(lines, line);)
    events += line.substr(line.find(']') + 2) + "\n";
  const std::string unknown =
      "no IPv4 address is known for 'nosuch.invalid': Name or service not "
      "known\n";
  EXPECT_EQ(events,
            "resolving nosuch.invalid\nattempt 2 of 2 in 0 ms: " + unknown +
                "resolving nosuch.invalid\nfailed: " + unknown);
}

// The server listens once the log, which is a pipe, has the third attempt.
TEST(SendRetryTest, SucceedsOnceTheServerListens) {
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
  const int listener = BoundSocket(0);
  std::string received;
  std::optional<LateServer> server;
  server.emplace(listener, [&received](int connection) {
    received = Receive(connection, 1);
    SendAll(connection, "ok");
  });
  std::thread reader([&] {
    std::ifstream events(log);
    bool is_third = false;
    for (std::string line; std::getline(events, line);) {
      if (is_third ||
          line.find("attempt 3 of 1000001 in 1 ms: ") == std::string::npos) {
        EXPECT_TRUE(is_third || line.find("connected to") == std::string::npos);
        continue;
      }
      is_third = true;
      EXPECT_EQ(listen(listener, 1), 0);
    }
    EXPECT_TRUE(is_third);
  });
  const Outcome outcome =
      Fairlead(Words{"send", "-host", "127.0.0.1", "-port",
                     std::to_string(PortOf(listener)), "-text", "x", "-retry",
                     "1000000", "-retrydelay", "1ms", "-log", log} +
               kForever);
  reader.join();
  server.reset();
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_EQ(outcome.output, "ok");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(received, "x");
}

// Sends to a server that is silent on its first connection, and returns what it
// received on its second. Each attempt has a time limit; a slow machine may
// need more of them.
std::string ReceivedAfterATimeout(const Words& arguments,
                                  const std::string& input = "") {
  std::string received;
  SerialServer server([&](int connection, int number) {
    if (number == 1) {
      ReceiveAll(connection);
      return;
    }
    received = Receive(connection, 3);
    SendAll(connection, "ok");
  });
  const Outcome outcome = RunProgram(
      {.arguments = server.Arguments("send") + arguments +
                    Words{"-retry", "1000", "-retrydelay", "0", "-timeout",
                          "300ms", "-idle", "none", "-verbose"},
       .input = input});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_EQ(outcome.output, "ok");
  EXPECT_THAT(outcome.error,
              HasSubstr("fairlead send: attempt 2 of 1001 in 0 ms: timed out "
                        "after 300 ms while "));
  return received;
}

TEST(SendRetryTest, EachAttemptHasItsOwnTimeout) {
  EXPECT_EQ(ReceivedAfterATimeout({"-text", "abc"}), "abc");
}

TEST(SendRetryTest, AFileIsReadAgain) {
  const TempFolder folder;
  EXPECT_EQ(ReceivedAfterATimeout({"-file", folder.File("body", "abc")}),
            "abc");
}

TEST(SendRetryTest, ABodyThatWasReadWholeIsSentAgain) {
  EXPECT_EQ(
      ReceivedAfterATimeout({"-stdin", "-pascal", "-halfclose", "off"}, "ab"),
      "\2ab");
}

// A pipe with a name, into which a text is written once.
class WrittenPipe {
 public:
  explicit WrittenPipe(const std::string& text) {
    if (mkfifo(path().c_str(), 0600) != 0) std::abort();
    writer_ = std::thread([this, text] { std::ofstream(path()) << text; });
  }
  ~WrittenPipe() { writer_.join(); }
  WrittenPipe(const WrittenPipe&) = delete;
  WrittenPipe& operator=(const WrittenPipe&) = delete;

  std::string path() const { return folder_.path() + "/pipe"; }

 private:
  const TempFolder folder_;
  std::thread writer_;
};

TEST(SendRetryTest, APipeThatWasReadWholeIsSentAgain) {
  const WrittenPipe pipe("ab");
  EXPECT_EQ(ReceivedAfterATimeout(
                {"-file", pipe.path(), "-pascal", "-halfclose", "off"}),
            "\2ab");
}

TEST(SendRetryTest, APipeIsNotSentTwice) {
  const WrittenPipe pipe("x");
  SerialServer server([](int connection, int) { ReceiveAll(connection); });
  const Outcome outcome = Fairlead(server.Arguments("send") +
                                   Words{"-file", pipe.path(), "-timeout", "1",
                                         "-retry", "3", "-idle", "none"});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(server.count(), 1);
}

TEST(SendRetryTest, APartOfAReplyIsNotPrintedTwice) {
  SerialServer server([](int connection, int) {
    SendAll(connection, "half");
    ReceiveAll(connection);
  });
  const Outcome outcome = Fairlead(
      server.Arguments("send") +
      Words{"-text", "x", "-timeout", "1", "-retry", "3", "-retrydelay", "0"});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.output, "half");
  EXPECT_EQ(outcome.error,
            "fairlead send: timed out after 1 s while waiting for the peer; "
            "increase -timeout\n");
}

TEST(SendRetryTest, StandardInputIsNotSentTwice) {
  SerialServer server([](int connection, int) { ReceiveAll(connection); });
  const Outcome outcome =
      RunProgram({.arguments = server.Arguments("send") +
                               Words{"-stdin", "-timeout", "1", "-retry", "3"},
                  .input = "x",
                  .input_stays_open = true});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.error,
            "fairlead send: timed out after 1 s while waiting for standard "
            "input or the peer; increase -timeout\n");
  EXPECT_EQ(server.count(), 1);
}

TEST(SendRetryTest, NothingIsTakenFromStandardInputBeforeAConnection) {
  const Outcome outcome =
      RunProgram({.arguments = {"send", "-host", "127.0.0.1", "-port",
                                std::to_string(ClosedPort()), "-stdin",
                                "-retry", "1", "-retrydelay", "0", "-verbose"},
                  .input = "x"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_THAT(outcome.error, HasSubstr("attempt 2 of 2 in 0 ms: "));
}

TEST(SendRetryTest, NoOtherFailureIsRetried) {
  SerialServer server(
      [](int connection, int) { EXPECT_EQ(Receive(connection, 1), "x"); });
  const Outcome outcome = Fairlead(
      server.Arguments("send") +
      Words{"-text", "x", "-retry", "3", "-retrydelay", "0"} + kForever);
  EXPECT_EQ(outcome.status, 52);
  EXPECT_EQ(server.count(), 1);
}

TEST(SendRetryTest, TheDelayNeedsRetry) {
  EXPECT_EQ(
      Fairlead({"send", "-demo", "-text", "x", "-retrydelay", "1"}).error,
      "fairlead send: -retrydelay needs -retry N; see 'fairlead help send'\n");
}

}  // namespace
}  // namespace fairlead::tool::send_retry_test
