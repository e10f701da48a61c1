// Tests of the time limit of a command.

#include "tool/traffic/time_limit.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>

namespace fairlead::tool::time_limit_test {
namespace {

std::ptrdiff_t Threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                       {});
}

// Exits with 1 if the time limit starts a thread.
[[noreturn]] void StartLimit(std::optional<std::chrono::milliseconds> limit) {
  const std::ptrdiff_t before = Threads();
  const TimeLimit started("send", limit);
  _exit(Threads() == before ? 0 : 1);
}

[[noreturn]] void WaitFor(std::chrono::milliseconds limit) {
  const TimeLimit ends_the_process("send", limit);
  pause();
  std::abort();
}

TEST(TimeLimitDeathTest, NoLimitNeedsNoThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(StartLimit(std::nullopt), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(StartLimit(std::chrono::hours(24)), testing::ExitedWithCode(1),
              "");
}

TEST(TimeLimitDeathTest, EndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(WaitFor(std::chrono::milliseconds(1)),
              testing::ExitedWithCode(28),
              "fairlead send: timed out after 1 ms while preparing; increase "
              "-timeout\n");
  EXPECT_EXIT(WaitFor(std::chrono::milliseconds(1000)),
              testing::ExitedWithCode(28), "after 1 s while preparing");
}

}  // namespace
}  // namespace fairlead::tool::time_limit_test
