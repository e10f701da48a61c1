// The command `recv` as a process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tool/testing.h"

namespace fairlead::tool::recv_command_test {
namespace {

using testing::HasSubstr;

TEST(RecvCommandTest, PrintsTheGreetingOfTheBuiltInServer) {
  const Outcome outcome = Fairlead({"recv", "-demo", "-idle", "86400"});
  EXPECT_EQ(outcome.output, "fairlead at your service\r\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvCommandTest, PrintsABannerAndSendsNothing) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "220 ready\r\n");
    EXPECT_EQ(ReceiveAll(connection), "");
  });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") +
               Words{"-lines", "1", "-quiet", "-idle", "86400"});
  EXPECT_EQ(outcome.output, "220 ready\r\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// Returns the events of the log, without their timestamps.
std::string EventsIn(const std::string& path) {
  std::ifstream file(path);
  std::string events;
  for (std::string line; std::getline(file, line);)
    events += line.substr(line.find("] ") + 2) + "\n";
  return events;
}

TEST(RecvCommandTest, LogsItsEvents) {
  const TempFolder folder;
  const std::string log = folder.File("log", "");
  ScriptedServer server([](int connection) { SendAll(connection, "hello"); });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") + Words{"-log", log, "-crlf"});
  EXPECT_EQ(outcome.output, "hello");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(EventsIn(log),
            "resolving 127.0.0.1\r\nresolved 127.0.0.1: 127.0.0.1\r\n"
            "connected to 127.0.0.1:" +
                std::to_string(server.port()) +
                "\r\nsent 0 bytes\r\nreceived 5 bytes\r\nthe peer closed\r\n"
                "closed: 0 bytes sent, 5 received\r\n");
}

TEST(RecvCommandTest, LogsWhatFailed) {
  const TempFolder folder;
  const std::string log = folder.File("log", "");
  ScriptedServer server([](int) {});
  EXPECT_EQ(Fairlead(server.Arguments("recv") + Words{"-log", log}).status, 52);
  EXPECT_TRUE(EventsIn(log).ends_with(
      "failed: nothing was answered: the peer closed\n"));
}

TEST(RecvCommandTest, TakesAProfile) {
  const TempFolder folder;
  ScriptedServer server([](int connection) { SendAll(connection, "abc"); });
  const std::string settings = folder.File(
      "box.ini", "[box]\nhost=127.0.0.1\nport=" +
                     std::to_string(server.port()) + "\neol=crlf\nview=raw\n");
  const Outcome outcome =
      Fairlead({"recv", "-settings", settings, "-profile", "box"});
  EXPECT_EQ(outcome.output, "abc");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
}

TEST(RecvCommandTest, SavesAProfileAndKeepsTheKeysOfOthers) {
  const TempFolder folder;
  const std::string settings = folder.File("box.ini", "[box]\neol=crlf\n");
  ScriptedServer server([](int connection) { SendAll(connection, "abc"); });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") +
               Words{"-settings", settings, "-profile", "box", "-saveprofile"});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  std::ifstream file(settings);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(text, "[box]\neol=crlf\nhost=127.0.0.1\nport=" +
                      std::to_string(server.port()) + "\n");
}

TEST(RecvCommandTest, DecryptsWhatIsReceived) {
  const std::string key = "0123456789abcdef";
  const std::string encrypted =
      RunProgram({.arguments = {"crypt", "encrypt", "-aes", key, "-stdin"},
                  .input = "sixteen letters!"})
          .output;
  ScriptedServer whole([&](int connection) { SendAll(connection, encrypted); });
  const Outcome outcome =
      Fairlead(whole.Arguments("recv") + Words{"-aes", key});
  EXPECT_EQ(outcome.output, "sixteen letters!");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);

  ScriptedServer cut(
      [&](int connection) { SendAll(connection, encrypted.substr(1)); });
  EXPECT_EQ(Fairlead(cut.Arguments("recv") + Words{"-aes", key}).status, 56);
}

TEST(RecvCommandTest, DoesNotReadWhatItWrites) {
  const TempFolder folder;
  const std::string key = folder.File("key", "secret");
  for (const char* const written : {"-log", "-out"}) {
    const Outcome outcome = Fairlead(
        {"recv", "-demo", "-cipher", "rc4", "-keyfile", key, written, key});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.error, "fairlead recv: " + std::string(written) +
                                 " and -keyfile name the same file, '" + key +
                                 "'\n");
  }
}

TEST(RecvCommandTest, NeedsAServer) {
  EXPECT_EQ(Fairlead({"recv"}).error,
            "fairlead recv: missing -host NAME (or -demo, for a built-in "
            "server)\n");
  EXPECT_EQ(Fairlead({"recv", "-port", "1"}).error,
            "fairlead recv: missing -host NAME (or -demo, for a built-in "
            "server)\n");
  EXPECT_EQ(Fairlead({"recv", "-demo", "-host", "x"}).error,
            "fairlead recv: -host and -demo cannot be combined; see 'fairlead "
            "help recv'\n");
}

TEST(RecvCommandTest, AReceiveThatFailsIsReportedInTheSystemsWords) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  ScriptedServer server([](int connection) {
    SendAll(connection, "half");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      RunProgram({.arguments = WithFault("recvfrom:error=ENOMEM:when=2") +
                               (Words{Program()} + server.Arguments("recv") +
                                Words{"-idle", "86400"}),
                  .environment = {"ASAN_OPTIONS=detect_leaks=0"},
                  .program = "strace"});
  EXPECT_EQ(outcome.output, "half");
  EXPECT_EQ(outcome.error,
            "fairlead recv: receiving failed: Cannot allocate memory\n");
  EXPECT_EQ(outcome.status, 56);
}

// The time limit has a thread, which the system refuses.
TEST(RecvCommandTest, WithoutAThreadNoConnectionIsMade) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  for (const Words& command :
       {Words{"recv", "-demo"}, Words{"listen", "-port", "0"}}) {
    const Outcome outcome =
        RunProgram({.arguments = WithFault("clone3:error=EAGAIN") +
                                 (Words{Program()} + command),
                    .environment = {"ASAN_OPTIONS=detect_leaks=0"},
                    .program = "strace"});
    EXPECT_EQ(outcome.error,
              "fairlead " + command.front() +
                  ": cannot start a thread: Resource temporarily "
                  "unavailable\n");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_THAT(OneLine(Fairlead({"help", command.front()}).output),
                HasSubstr("or the system cannot start a thread"));
  }
}

TEST(RecvCommandTest, AThreadThatCannotStartIsAnEvent) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  for (const Words& command :
       {Words{"recv", "-demo"}, Words{"send", "-demo", "-text", "x"},
        Words{"listen", "-port", "0"}}) {
    const Outcome outcome = RunProgram(
        {.arguments = WithFault("clone3:error=EAGAIN") +
                      (Words{Program()} + command) + Words{"-view", "json"},
         .environment = {"ASAN_OPTIONS=detect_leaks=0"},
         .program = "strace"});
    EXPECT_THAT(outcome.output, HasSubstr(R"("event":"error")"));
    EXPECT_THAT(outcome.output, HasSubstr("cannot start a thread: "));
    EXPECT_EQ(outcome.status, 7);
  }
}

}  // namespace
}  // namespace fairlead::tool::recv_command_test
