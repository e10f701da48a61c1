// The log of an exchange: `send -log FILE`.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tool/exchange/serial_server_testing.h"
#include "tool/testing.h"
#include "tool/traffic/exchange_log_testing.h"

namespace fairlead::tool::send_log_test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

class SendLogTest : public LogFileTest {
 protected:
  // The arguments of -log.
  Words Log() const { return {"-log", path_}; }
};

TEST_F(SendLogTest, LogsEveryEventOfTheExchange) {
  ScriptedServer server(
      [](int connection) { SendAll(connection, Receive(connection, 5)); });
  const Outcome outcome = Fairlead(server.Arguments("send") +
                                   Words{"-text", "hello"} + Log() + kForever);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(
      Events(),
      ElementsAre("resolving 127.0.0.1", "resolved 127.0.0.1: 127.0.0.1",
                  "connected to 127.0.0.1:" + std::to_string(server.port()),
                  "sent 5 bytes", "received 5 bytes", "the peer closed",
                  "closed: 5 bytes sent, 5 received"));
}

TEST_F(SendLogTest, IsNotAFileThatIsRead) {
  std::ofstream(path_) << "[a]\nhost=127.0.0.1\n";
  for (const Words& words :
       {Words{"-file", path_}, Words{"-settings", path_, "-profile", "a"},
        Words{"-text", "a", "-cipher", "rc4", "-keyfile", path_}}) {
    const Outcome outcome =
        RunProgram({.arguments = Words{"send", "-demo"} + words + Log()});
    EXPECT_EQ(outcome.status, 2) << outcome.error;
    EXPECT_EQ(File(), "[a]\nhost=127.0.0.1\n");
  }
}

TEST_F(SendLogTest, DoesNotChangeWhatIsPrinted) {
  const Words send = Words{"send", "-demo", "-text", "hello"} + kForever;
  const Outcome with = Fairlead(send + Log());
  const Outcome without = Fairlead(send);
  EXPECT_EQ(with.output, "hello");
  EXPECT_EQ(with.error, without.error);
  EXPECT_EQ(with.status, 0);
  const Outcome quiet = Fairlead(send + Log() + Words{"-quiet"});
  EXPECT_EQ(quiet.error, "");
  EXPECT_EQ(quiet.output, "hello");
  EXPECT_EQ(Events().size(), 14U);  // Both exchanges, one after the other.
}

TEST_F(SendLogTest, CrlfEndsEveryLine) {
  Fairlead(Words{"send", "-demo", "-text", "hello", "-crlf"} + Log() +
           kForever);
  EXPECT_THAT(Events("\r\n"), Contains("sent 5 bytes"));
  EXPECT_THAT(Events("\r\n").back(), StartsWith("closed: "));
}

TEST_F(SendLogTest, NothingOfTheBodiesIsLogged) {
  Fairlead(Words{"send", "-demo", "-text", "secret", "-until", "another",
                 "-view", "text"} +
           Log() + kForever);
  EXPECT_THAT(Events(), Contains("received 6 bytes"));
  EXPECT_THAT(File(), Not(HasSubstr("secret")));

  std::filesystem::remove(path_);
  Fairlead(Words{"send", "-demo", "-text", "secret\\q"} + Log());
  EXPECT_EQ(File(), "");
}

TEST_F(SendLogTest, EveryReceivedMessageHasItsLine) {
  RunProgram({.arguments = Words{"send", "-demo", "-stdin"} + Log() + kForever,
              .input = std::string(10'000, 'x')});
  const std::vector<std::string> events = Events();
  EXPECT_THAT(events, Contains("sent 10000 bytes"));
  int received = 0;
  for (const std::string& event : events)
    if (event.starts_with("received ")) received += std::stoi(event.substr(9));
  EXPECT_EQ(received, 10'000);
  EXPECT_EQ(events.back(), "closed: 10000 bytes sent, 10000 received");
}

TEST_F(SendLogTest, LogsWhyTheExchangeStopped) {
  const auto talk = [](int connection) {
    SendAll(connection, "one\n");
    ReceiveAll(connection);
  };
  ScriptedServer server(talk);
  Fairlead(server.Arguments("send") + Words{"-text", "x", "-lines", "1"} +
           Log() + kForever);
  EXPECT_THAT(Events(), Contains("enough was received"));

  std::filesystem::remove(path_);
  ScriptedServer silent(talk);
  Fairlead(silent.Arguments("send") + Words{"-text", "x", "-idle", "1"} +
           Log());
  EXPECT_THAT(Events(), Contains("the peer was silent for 1 s"));
}

TEST_F(SendLogTest, LogsThatItOnlyConnected) {
  ScriptedServer server([](int connection) { ReceiveAll(connection); });
  EXPECT_EQ(Fairlead(server.Arguments("send") + Words{"-none"} + Log()).status,
            0);
  EXPECT_THAT(Events(), Contains("only connected"));
}

TEST_F(SendLogTest, LogsWhatFailed) {
  const auto last = [this](const Words& arguments) {
    std::filesystem::remove(path_);
    Fairlead(Words{"send", "-text", "x"} + arguments + Log());
    return Events().back();
  };
  const std::string port = std::to_string(ClosedPort());
  EXPECT_EQ(last({"-host", "127.0.0.1", "-port", port}),
            "failed: cannot connect to 127.0.0.1 port " + port +
                ": Connection refused");
  EXPECT_EQ(last({"-host", "nosuch.invalid", "-port", "1"}),
            "failed: no IPv4 address is known for 'nosuch.invalid': Name or "
            "service not known");
  EXPECT_EQ(last({"-demo", "-until", "y"}),
            "failed: the text of -until did not come: 'y'; the peer closed");
  ScriptedServer mute([](int connection) { Receive(connection, 1); });
  EXPECT_EQ(last({"-host", "127.0.0.1", "-port", std::to_string(mute.port())}),
            "failed: nothing was answered: the peer closed");
}

// The peer takes only some of the line, which is longer than what the system
// buffers, so that the reset comes within it.
TEST_F(SendLogTest, ALineThatAResetCutsIsLoggedWithItsConnection) {
  SerialServer server([](int connection, int) {
    Receive(connection, 1000);
    Reset(connection);
  });
  const std::string lines = folder_.File("lines", std::string(20 << 20, 'x'));
  const Outcome outcome =
      Fairlead(server.Arguments("send") +
               Words{"-file", lines, "-perline", "-logdata", "text", "-repeat",
                     "2", "-interval", "0"} +
               Log() + kForever);
  EXPECT_EQ(outcome.status, 56);
  std::string order;
  for (const std::string& event : Events())
    for (const char* const kind : {"connected to", "sent data: ", "closed: "})
      if (event.starts_with(kind)) order += kind;
  EXPECT_EQ(order,
            "connected tosent data: closed: connected tosent data: closed: ");
}

TEST_F(SendLogTest, LogsAFailedOutput) {
  const Outcome outcome =
      RunProgram({.arguments = Words{"send", "-demo", "-text", "x"} + Log(),
                  .output_path = "/dev/full"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_EQ(Events().back(),
            "failed: cannot write standard output: No space left on device");
}

TEST_F(SendLogTest, LogsATimeout) {
  ScriptedServer server([](int connection) { ReceiveAll(connection); });
  const Outcome outcome = Fairlead(
      server.Arguments("send") + Words{"-text", "x", "-timeout", "1"} + Log());
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(Events().back(),
            "failed: timed out after 1 s while waiting for the peer; increase "
            "-timeout");
}

TEST_F(SendLogTest, AHostNameIsLoggedOnOneLine) {
  Fairlead(Words{"send", "-host", "no\nsuch\033.invalid", "-port", "1", "-text",
                 "x"} +
           Log());
  EXPECT_EQ(Events().front(), "resolving no\\nsuch\\x1b.invalid");
}

TEST_F(SendLogTest, OpensTheLogBeforeConnecting) {
  const int listener = ListenOnLoopback(1);
  const std::string port = std::to_string(PortOf(listener));
  for (const auto& [path, why] :
       {std::pair{folder_.path(), "cannot open '%': Is a directory"},
        {folder_.path() + "/no/log",
         "cannot open '%': No such file or "
         "directory"},
        {std::string("/dev/full"),
         "cannot write '%': No space left on "
         "device"}}) {
    SCOPED_TRACE(path);
    std::string message = why;
    message.replace(message.find('%'), 1, path);
    const Outcome outcome = Fairlead({"send", "-host", "127.0.0.1", "-port",
                                      port, "-text", "x", "-log", path});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_EQ(outcome.error, "fairlead send: " + message + "\n");
    EXPECT_EQ(outcome.output, "");
  }
  pollfd connection{.fd = listener, .events = POLLIN, .revents = 0};
  EXPECT_EQ(poll(&connection, 1, 0), 0);
  close(listener);
}

// A limit on the size of files simulates a full disk.
TEST_F(SendLogTest, MissingEventsAreAnError) {
  folder_.File("box.log", std::string(8192, '\n'));
  const Outcome outcome =
      RunProgram({.arguments = Words{"-c", "ulimit -f 8; exec \"$0\" \"$@\"",
                                     Program(), "send", "-demo", "-text", "x"} +
                               Log() + kForever,
                  .program = "/bin/sh"});
  EXPECT_EQ(outcome.output, "x");
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error,
              MatchesRegex(".*fairlead send: [0-9]+ of [0-9]+ bytes written "
                           "to '" +
                           path_ + "' are missing: .*\n"));
}

TEST_F(SendLogTest, ABlockedLogTimesOut) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const Words send =
      Words{"send", "-demo", "-text", "x", "-timeout", "1"} + Log();
  const Outcome unread = Fairlead(send);
  EXPECT_EQ(unread.status, 28);
  EXPECT_THAT(unread.error,
              HasSubstr("timed out after 1 s while opening the log"));

  const int pipe = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  while (write(pipe, "x", 1) == 1) {
  }
  const Outcome stuck = Fairlead(send);
  EXPECT_EQ(stuck.status, 28);
  EXPECT_THAT(stuck.error, HasSubstr("timed out after 1 s while "));
  close(pipe);
}

// Of a frame that is not whole.
TEST_F(SendLogTest, ATimeLimitLogsTheDataOfAnIncompleteMessage) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "\5abc");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      RunProgram({.arguments = server.Arguments("recv") +
                               Words{"-prefix", "u8", "-logdata", "text",
                                     "-idle", "86400", "-timeout", "300ms"} +
                               Log(),
                  .output_is_stuck = true});
  EXPECT_EQ(outcome.status, 28);
  const std::vector<std::string> events = Events();
  ASSERT_GE(events.size(), 2U);
  EXPECT_EQ(events[events.size() - 2], "received data: abc");
  EXPECT_THAT(events.back(), StartsWith("failed: timed out after 300 ms"));
}

TEST_F(SendLogTest, CrlfNeedsLog) {
  const Outcome outcome = Fairlead({"send", "-demo", "-text", "x", "-crlf"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error,
            "fairlead send: -crlf needs -log FILE; see 'fairlead help send'\n");
  EXPECT_EQ(Fairlead({"send", "-demo", "-text", "x", "-crlf", "off"}).status,
            0);
}

TEST_F(SendLogTest, HelpDocumentsWhatIsLogged) {
  const std::string help = Fairlead({"send", "-help"}).output;
  EXPECT_THAT(help, AllOf(HasSubstr("\n  -log FILE "), HasSubstr("\n  -crlf "),
                          HasSubstr("one timestamped line per event")));
}

}  // namespace
}  // namespace fairlead::tool::send_log_test
