// `send -stdin` where a user types the input.

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <iterator>
#include <string>

#include "tool/testing.h"

namespace fairlead::tool::send_terminal_test {
namespace {

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

class SendTerminalTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = WhyNoTerminal(); !why.empty())
      GTEST_SKIP() << why;
  }

  // Returns how to type `input` and nothing more.
  static Launch Typed(const ScriptedServer& server, const Words& more,
                      const std::string& input = "") {
    return {.arguments = server.Arguments("send") + Words{"-stdin"} + more,
            .input = input,
            .input_stays_open = true,
            .input_is_terminal = true};
  }
};

TEST_F(SendTerminalTest, ARuleThatIsMetEndsItAtOnce) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "220 hi\n");
    ReceiveAll(connection);
  });
  const Outcome outcome =
      RunProgram(Typed(server, Words{"-lines", "1"} + kForever));
  EXPECT_EQ(outcome.output, "220 hi\n");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
}

TEST_F(SendTerminalTest, ThePeersEndEndsIt) {
  ScriptedServer server([](int connection) { SendAll(connection, "bye\n"); });
  const Outcome outcome = RunProgram(Typed(server, kForever));
  EXPECT_EQ(outcome.output, "bye\n");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
}

// Returns how many threads a `send` has that waits for what is typed next: one
// of them watches the limit of time, if there is one.
int CountThreads(const Words& limit) {
  std::promise<void> begun;
  std::promise<void> counted;
  ScriptedServer server([&](int connection) {
    EXPECT_EQ(Receive(connection, 3), "hi\n");
    begun.set_value();
    counted.get_future().wait();
    SendAll(connection, "bye\n");
  });
  Process process(
      {.arguments = server.Arguments("send") + Words{"-stdin"} + limit,
       .input = "hi\n",
       .input_stays_open = true,
       .input_is_terminal = true});
  begun.get_future().wait();
  const auto threads = std::filesystem::directory_iterator(
      "/proc/" + std::to_string(process.pid()) + "/task");
  const auto count = std::distance(begin(threads), end(threads));
  counted.set_value();
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.output, "bye\n");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  return static_cast<int>(count);
}

TEST_F(SendTerminalTest, AUserMayTakeAnyTimeUnlessALimitIsGiven) {
  const int unlimited = CountThreads({"-timeout", "none"});
  EXPECT_EQ(CountThreads({}), unlimited);
  EXPECT_EQ(CountThreads({"-timeout", "60"}), unlimited + 1);
}

}  // namespace
}  // namespace fairlead::tool::send_terminal_test
