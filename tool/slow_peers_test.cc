// The command against servers that take their time, or flood it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <future>
#include <string>
#include <thread>

#include "tool/testing.h"

namespace fairlead::tool::slow_peers_test {
namespace {

using std::chrono::milliseconds;

void Sleep(int time) { std::this_thread::sleep_for(milliseconds(time)); }

TEST(SlowPeersTest, APauseInALongBodyIsWaitedFor) {
  const TempFolder folder;
  const std::string body = RandomBytes(20'000'000);
  std::string received;
  {
    ScriptedServer server([&](int connection) {
      received = Receive(connection, 1'000'000);
      Sleep(3500);
      received += Receive(connection, body.size() - received.size());
      SendAll(connection, "ok\n");
    });
    const Outcome outcome =
        Fairlead(server.Arguments("send") +
                 Words{"-file", folder.File("body", body), "-lines", "1"});
    EXPECT_EQ(outcome.output, "ok\n");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, 0);
  }
  EXPECT_TRUE(received == body);
}

TEST(SlowPeersTest, APauseInALongAnswerIsWaitedFor) {
  const std::string answer = RandomBytes(20'000'000);
  ScriptedServer server([&](int connection) {
    SendAll(connection, answer.substr(0, 1'000'000));
    Sleep(3500);
    SendAll(connection, answer.substr(1'000'000));
  });
  const Outcome outcome = Fairlead(server.Arguments("recv"));
  EXPECT_TRUE(outcome.output == answer);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// Each byte begins the idle time anew.
TEST(SlowPeersTest, AByteASecondIsNoSilence) {
  ScriptedServer server([](int connection) {
    for (const char* const byte : {"o", "k", "\n"}) {
      SendAll(connection, byte);
      Sleep(1000);
    }
  });
  const Outcome outcome = Fairlead(server.Arguments("recv") +
                                   Words{"-lines", "1", "-idle", "2500ms"});
  EXPECT_EQ(outcome.output, "ok\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(SlowPeersTest, APauseOfTheIdleTimeIsSilence) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "o");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") + Words{"-lines", "1", "-idle", "1"});
  EXPECT_EQ(outcome.output, "o");
  EXPECT_EQ(outcome.error,
            "fairlead recv: cut short: 0 of 1 line; the peer was silent for "
            "1 s\n");
  EXPECT_EQ(outcome.status, 18);
}

TEST(SlowPeersTest, AFloodNeedsLittleMemory) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more memory";
  std::promise<void> sent;
  std::promise<void> measured;
  ScriptedServer server([&](int connection) {
    const std::string piece(1'000'000, 'x');
    for (int i = 0; i < 500; ++i) SendAll(connection, piece);
    sent.set_value();
    measured.get_future().wait();
  });
  Process process(
      {.arguments = server.Arguments("recv") +
                    Words{"-idle", "60", "-timeout", "60", "-verbose"},
       .output_path = "/dev/null"});
  sent.get_future().wait();
  const int kilobytes = MostMemoryOf(process.pid());
  measured.set_value();
  const Outcome outcome = process.Wait();
  EXPECT_THAT(outcome.error, testing::HasSubstr(" 500000000 received; the peer "
                                                "closed\n"));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_GT(kilobytes, 0);
  EXPECT_LT(kilobytes, 20'000);
}

}  // namespace
}  // namespace fairlead::tool::slow_peers_test
