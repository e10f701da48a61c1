// Tests of the once-only tracker in many threads.

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/log/only_once.h"
#include "fairlead/log/only_once_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::only_once_threads_test {
namespace {

constexpr int kThreads = 8;

// Runs `act` in every thread and returns the sum of the results.
int CountInThreads(const auto& act) {
  std::atomic<int> count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] { count += act(); });
  for (std::thread& thread : threads) thread.join();
  return count;
}

TEST(OnlyOnceThreadsTest, OneThreadReportsEachKey) {
  constexpr int kKeys = Rounds(20'000);
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  EXPECT_EQ(CountInThreads([&once] {
              int acts = 0;
              for (int i = 0; i < kKeys; ++i)
                if (once.Start(std::to_string(i), 10)) ++acts;
              return acts;
            }),
            kKeys);
}

TEST(OnlyOnceThreadsTest, OneThreadReportsEachIntervalAndWave) {
  constexpr int kRounds = 200;
  const Clock clock;
  COnlyOnce throttle(OnceThrottle);
  COnlyOnce wave_end(OnceWaveEnd);
  COnlyOnce wave_start(OnceWaveStart);
  // Each round has a quiet and a busy half; the last thread to arrive starts
  // the next half.
  int halves = 0;
  const auto turn = [&]() noexcept {
    ++halves;
    Clock::Set(halves * 11);
    if (halves % 2 != 0) return;
    wave_end.Update("key");
    wave_start.Update("key");
  };
  std::barrier barrier(kThreads, turn);
  EXPECT_EQ(CountInThreads([&] {
              int acts = 0;
              for (int i = 0; i < 2 * kRounds; ++i) {
                barrier.arrive_and_wait();
                for (int j = 0; j < 10; ++j)
                  for (COnlyOnce* once : {&throttle, &wave_end, &wave_start})
                    if (once->Start("key", 10)) ++acts;
              }
              return acts;
            }),
            // The throttle reports in every half. A wave ends in every quiet
            // half but the first, and starts in every busy half.
            2 * kRounds + (kRounds - 1) + kRounds);
}

TEST(OnlyOnceThreadsTest, ThreadsMayCallEverythingAtOnce) {
  constexpr int kKeys = 300;
  const Clock clock;
  COnlyOnce once(OnceWaveEnd);
  CountInThreads([&once] {
    for (int i = 0; i < 2000; ++i) {
      const std::string key = std::to_string(i % kKeys);
      once.Update(key);
      once.Start(key, 1);
      once.IgnoreWave(key);
    }
    return 0;
  });
  for (int i = 0; i <= kKeys; ++i) {  // The last was never added.
    SCOPED_TRACE(testing::Message() << "key " << i);
    const std::string key = std::to_string(i);
    EXPECT_FALSE(once.Start(key, -1));  // The end of the ignored wave.
    EXPECT_FALSE(once.Start(key, 1));   // Re-arms a known key.
    EXPECT_EQ(once.Start(key, -1), i < kKeys);
  }
}

}  // namespace
}  // namespace fairlead::internal::only_once_threads_test
