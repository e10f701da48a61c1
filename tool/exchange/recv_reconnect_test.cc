// The command `recv` that connects again: -reconnect.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

#include "tool/exchange/serial_server_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::recv_reconnect_test {
namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const Words kAgain = {"-reconnect", "-retrydelay", "1ms"};

// Sends the number of the connection, but resets the second one instead.
void SendNumber(int connection, int number) {
  if (number == 2)
    Reset(connection);
  else
    SendAll(connection, std::to_string(number) + "\n");
}

// Returns a socket that has begun to connect to the loopback port.
int BeginConnection(int port) {
  const int begun =
      socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  connect(begun, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return begun;
}

// The answers of the connections, one after the other; the last one waits.
class Answers {
 public:
  explicit Answers(Words answers)
      : answers_(std::move(answers)),
        server_([this](int connection, int number) {
          const auto at = static_cast<std::size_t>(number - 1);
          SendAll(connection, answers_[at]);
          if (at + 1 == answers_.size()) ReceiveAll(connection);
        }) {}

  Outcome Received(const Words& arguments) const {
    return Fairlead(server_.Arguments("recv") + kAgain + arguments);
  }

 private:
  const Words answers_;
  SerialServer server_;
};

TEST(RecvReconnectTest, ConnectsAgainUntilARuleIsMet) {
  SerialServer server(SendNumber);
  const Outcome outcome =
      Fairlead(server.Arguments("recv") + kAgain + Words{"-lines", "3"});
  EXPECT_EQ(outcome.output, "1\n3\n4\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(server.count(), 4);
}

// The system gives up a peer that does not answer its questions. The fault
// meets the first receive of each connection.
TEST(RecvReconnectTest, APeerThatVanishesHasLeft) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  SerialServer server(SendNumber);
  const Outcome outcome = RunProgram(
      {.arguments = WithFault("recvfrom:error=ETIMEDOUT:when=1") +
                    (Words{Program()} + server.Arguments("recv") +
                     Words{"-reconnect", "-timeout", "2", "-verbose"}),
       .environment = {"ASAN_OPTIONS=detect_leaks=0"},
       .program = "strace"});
  EXPECT_THAT(outcome.error,
              HasSubstr("connecting again in 1 s: receiving failed: Connection "
                        "timed out\n"));
  EXPECT_EQ(outcome.status, 28);
}

TEST(RecvReconnectTest, VerboseTellsWhy) {
  SerialServer server(SendNumber);
  const Outcome outcome = Fairlead(server.Arguments("recv") + kAgain +
                                   Words{"-lines", "2", "-verbose"});
  EXPECT_THAT(outcome.error,
              HasSubstr("fairlead recv: connecting again in 1 ms: the peer "
                        "closed\n"));
  EXPECT_THAT(outcome.error,
              HasSubstr("fairlead recv: connecting again in 1 ms: the peer "
                        "reset the connection\n"));
}

// The second server listens once the log, which is a pipe, has a refusal.
TEST(RecvReconnectTest, WaitsForAServerThatIsGone) {
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
  const int first = BoundSocket(0);
  const int port = PortOf(first);
  const int second = BoundSocket(port);
  EXPECT_EQ(listen(first, 1), 0);
  const LateServer server(first,
                          [](int connection) { SendAll(connection, "a\n"); });
  const LateServer successor(
      second, [](int connection) { SendAll(connection, "b\n"); });
  std::thread reader([&] {
    const std::string refusal =
        "connecting again in 1 ms: cannot connect to 127.0.0.1 port " +
        std::to_string(port) + ": Connection refused";
    std::ifstream events(log);
    bool is_refused = false;
    for (std::string line; std::getline(events, line);) {
      if (is_refused || !line.ends_with(refusal)) continue;
      is_refused = true;
      EXPECT_EQ(listen(second, 1), 0);
    }
    EXPECT_TRUE(is_refused);
  });
  const Outcome outcome =
      Fairlead(Words{"recv", "-host", "127.0.0.1", "-port",
                     std::to_string(port), "-lines", "2", "-log", log} +
               kAgain);
  reader.join();
  EXPECT_EQ(outcome.output, "a\nb\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvReconnectTest, TheFirstConnectionMustBeMade) {
  const Outcome outcome =
      Fairlead(Words{"recv", "-host", "127.0.0.1", "-port",
                     std::to_string(ClosedPort()), "-retry", "1", "-verbose"} +
               kAgain);
  EXPECT_EQ(outcome.status, 7);
  EXPECT_THAT(outcome.error, HasSubstr("attempt 2 of 2 in 1 ms: "));
}

TEST(RecvReconnectTest, TheTimeoutIsForAllConnections) {
  SerialServer server(SendNumber);
  const Outcome outcome =
      Fairlead(server.Arguments("recv") +
               Words{"-reconnect", "-retrydelay", "1d", "-timeout", "1"});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.output, "1\n");
  EXPECT_EQ(outcome.error,
            "fairlead recv: timed out after 1 s while waiting to connect "
            "again; increase -timeout\n");
}

TEST(RecvReconnectTest, SilenceEndsItOnlyIfIdleIsGiven) {
  SerialServer server([](int connection, int number) {
    SendAll(connection, std::to_string(number));
    if (number == 2) ReceiveAll(connection);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") + kAgain + Words{"-idle", "1"});
  EXPECT_EQ(outcome.output, "12");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvReconnectTest, PeersThatSendNothingEndItAfterTheTimeOfIdle) {
  SerialServer server([](int, int) {});
  const Outcome outcome = Fairlead(server.Arguments("recv") + kAgain +
                                   Words{"-idle", "300ms", "-timeout", "30"});
  EXPECT_EQ(outcome.error,
            "fairlead recv: nothing was answered: the peer was silent for 300 "
            "ms\n");
  EXPECT_EQ(outcome.status, 52);
  EXPECT_GT(server.count(), 1);
}

TEST(RecvReconnectTest, TheTimeOfIdleCountsFromTheLastByteOfAnyConnection) {
  SerialServer server([](int connection, int number) {
    if (number <= 2) SendAll(connection, std::to_string(number));
    if (number > 2) Reset(connection);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") + kAgain +
               Words{"-idle", "300ms", "-timeout", "30", "-verbose"});
  EXPECT_EQ(outcome.output, "12");
  EXPECT_THAT(outcome.error,
              EndsWith("0 bytes sent, 0 received; the peer was silent for 300 "
                       "ms\n"));
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvReconnectTest, TheTimeOfIdleCutsTheWaitForTheNextConnection) {
  const TempFolder folder;
  const std::string log = folder.Path("log");
  const Answers answers({"\3on", "\3two"});
  const Outcome outcome =
      answers.Received({"-prefix", "u8", "-retrydelay", "1d", "-idle", "300ms",
                        "-timeout", "30", "-log", log});
  EXPECT_EQ(outcome.error,
            "fairlead recv: cut short: 2 of 3 bytes of a frame; the peer "
            "closed\n"
            "fairlead recv: 1 message was cut when the peer left; the peer was "
            "silent for 300 ms\n");
  EXPECT_EQ(outcome.status, 18);
  EXPECT_THAT(internal::ReadFile(log),
              HasSubstr("] the peer was silent for 300 ms\n"));
}

TEST(RecvReconnectTest, TheTimeOfIdleEndsTheWaitForAServerThatIsGone) {
  const int socket = BoundSocket(0);
  const int port = PortOf(socket);
  EXPECT_EQ(listen(socket, 1), 0);
  const LateServer server(socket,
                          [](int connection) { SendAll(connection, "a"); });
  const Outcome outcome =
      Fairlead(Words{"recv", "-host", "127.0.0.1", "-port",
                     std::to_string(port), "-idle", "300ms", "-timeout", "30"} +
               kAgain);
  EXPECT_EQ(outcome.output, "a");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// Its backlog is full: the system neither takes nor refuses a connection.
TEST(RecvReconnectTest, TheTimeOfIdleEndsAConnectionThatIsNotMade) {
  const int listener = ListenOnLoopback(0);
  const int port = PortOf(listener);
  std::array<int, 3> waiting{};
  std::thread server([&] {
    const int connection = accept(listener, nullptr, nullptr);
    for (int& other : waiting) other = BeginConnection(port);
    SendAll(connection, "a");
    close(connection);
  });
  const Outcome outcome =
      Fairlead(Words{"recv", "-host", "127.0.0.1", "-port",
                     std::to_string(port), "-idle", "500ms", "-verbose"} +
               kAgain);
  server.join();
  for (const int other : waiting) close(other);
  close(listener);
  EXPECT_EQ(outcome.output, "a");
  EXPECT_THAT(outcome.error, HasSubstr("Connection timed out"));
  EXPECT_THAT(outcome.error, EndsWith("the peer was silent for 500 ms\n"));
  EXPECT_EQ(outcome.status, 0);
}

// The second connection is made shortly before the end of that time: if it had
// the whole of it again, the third byte would still be received.
TEST(RecvReconnectTest, TheTimeOfIdleGoesOnOverTheNextConnection) {
  SerialServer server([](int connection, int number) {
    SendAll(connection, number == 1 ? "a" : "");
    if (number == 1) return;
    usleep(900'000);
    send(connection, "b", 1, MSG_NOSIGNAL);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") +
               Words{"-reconnect", "-retrydelay", "700ms", "-idle", "1"});
  EXPECT_EQ(outcome.output, "a");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvReconnectTest, ChangesComparesWhatEachConnectionSends) {
  SerialServer server([](int connection, int number) {
    SendAll(connection, number == 3 ? "b\n" : "a\n");
  });
  const Outcome outcome = Fairlead(server.Arguments("recv") + kAgain +
                                   Words{"-changes", "-lines", "4"});
  EXPECT_EQ(outcome.output, "a\nb\na\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvReconnectTest, ACipherBeginsAnewOnEachConnection) {
  const std::string encrypted =
      RunProgram({.arguments = {"crypt", "encrypt", "-rc4", "k", "-stdin"},
                  .input = "hello"})
          .output;
  SerialServer server(
      [&](int connection, int) { SendAll(connection, encrypted); });
  const Outcome outcome = Fairlead(server.Arguments("recv") + kAgain +
                                   Words{"-rc4", "k", "-bytes", "10"});
  EXPECT_EQ(outcome.output, "hellohello");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvReconnectTest, AFrameThatIsCutIsReportedAndFailsInTheEnd) {
  const Answers answers({"\3one\5tw", "\3two\5th", "\5three"});
  const Outcome outcome =
      answers.Received({"-prefix", "u8", "-view", "text", "-messages", "3"});
  EXPECT_THAT(outcome.output, ContainsRegex("] one\n.*] two\n.*] three\n$"));
  EXPECT_EQ(outcome.error,
            "fairlead recv: cut short: 2 of 5 bytes of a frame; the peer "
            "closed\n"
            "fairlead recv: cut short: 2 of 5 bytes of a frame; the peer "
            "closed\n"
            "fairlead recv: 2 messages were cut when the peer left; enough was "
            "received\n");
  EXPECT_EQ(outcome.status, 18);
}

TEST(RecvReconnectTest, ACutFrameFailsASilentEnd) {
  const Answers answers({"\3on", "\3two"});
  const Outcome outcome =
      answers.Received({"-prefix", "u8", "-idle", "1", "-quiet"});
  EXPECT_EQ(outcome.output, "ontwo");
  EXPECT_EQ(outcome.error,
            "fairlead recv: cut short: 2 of 3 bytes of a frame; the peer "
            "closed\n"
            "fairlead recv: 1 message was cut when the peer left; the peer was "
            "silent for 1 s\n");
  EXPECT_EQ(outcome.status, 18);
}

TEST(RecvReconnectTest, ACutFrameComesBeforeAMissingText) {
  for (const std::string rule : {"-until", "-expect"}) {
    const Answers answers({"\3on", "\3two"});
    const Outcome outcome = answers.Received(
        {"-prefix", "u8", "-idle", "1", "-quiet", rule, "three"});
    EXPECT_THAT(outcome.error,
                HasSubstr("recv: 1 message was cut when the peer left; the "
                          "peer was silent for 1 s\n"))
        << rule;
    EXPECT_EQ(outcome.status, 18);
  }
}

TEST(RecvReconnectTest, ABlockThatIsCutIsReportedAndFailsInTheEnd) {
  const std::string block =
      RunProgram({.arguments = {"crypt", "encrypt", "-aes", "k", "-stdin"},
                  .input = "hello"})
          .output;
  const Answers answers({block.substr(0, 10), block});
  const Outcome outcome = answers.Received({"-aes", "k", "-bytes", "16"});
  EXPECT_THAT(outcome.output, StartsWith("hello"));
  EXPECT_EQ(outcome.error,
            "fairlead recv: receiving failed: the last 10 bytes are an "
            "incomplete block of 16, which AES cannot decrypt; the peer "
            "closed\n"
            "fairlead recv: 1 message was cut when the peer left; enough was "
            "received\n");
  EXPECT_EQ(outcome.status, 56);
}

TEST(RecvReconnectTest, AnEventAndTheLogReportACut) {
  const TempFolder folder;
  const std::string log = folder.Path("log");
  const Answers answers({"\3on", "\3two"});
  const Outcome outcome = answers.Received(
      {"-prefix", "u8", "-messages", "1", "-view", "json", "-log", log});
  const std::string cut = "cut short: 2 of 3 bytes of a frame; the peer closed";
  EXPECT_THAT(outcome.output,
              HasSubstr(R"("status":18,"message":")" + cut + "\"}\n"));
  EXPECT_THAT(internal::ReadFile(log), HasSubstr("] failed: " + cut + "\n"));
  EXPECT_EQ(outcome.status, 18);
}

TEST(RecvReconnectTest, ATextDoesNotSpanConnections) {
  for (const std::string rule : {"-until", "-expect", "-reject"}) {
    const Answers answers({"EN", "D EN", "D END"});
    const Outcome outcome = answers.Received({rule, "END"});
    EXPECT_EQ(outcome.output, "END END END") << rule;
    EXPECT_EQ(outcome.status, rule == "-reject" ? 1 : 0);
  }
}

// Though a frame was cut before.
TEST(RecvReconnectTest, ATextDecidesInTheEnd) {
  const Answers answers({"\3on", "\2OK"});
  const Outcome outcome = answers.Received({"-prefix", "u8", "-expect", "OK"});
  EXPECT_EQ(outcome.error,
            "fairlead recv: cut short: 2 of 3 bytes of a frame; the peer "
            "closed\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvReconnectTest, DoesNotGoWithRepeat) {
  const Outcome outcome =
      Fairlead({"recv", "-demo", "-reconnect", "-repeat", "2"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error,
            "fairlead recv: -repeat and -reconnect cannot be combined; see "
            "'fairlead help recv'\n");
}

}  // namespace
}  // namespace fairlead::tool::recv_reconnect_test
