// Tests of the modes of the once-only tracker, call by call.

#include "fairlead/log/only_once.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <type_traits>
#include <vector>

#include "fairlead/log/only_once_testing.h"

namespace fairlead::internal::only_once_test {
namespace {

static_assert(!std::is_copy_constructible_v<COnlyOnce>);
static_assert(!std::is_copy_assignable_v<COnlyOnce>);
static_assert(OnceThrottle == 0);
static_assert(OnceWaveEnd == 1);
static_assert(OnceWaveStart == 2);
static_assert(sizeof(COnlyMode) == 4);
static_assert(std::is_convertible_v<COnlyMode, int>);
static_assert(std::is_same_v<decltype(COnceItem::stamp), timespec>);
static_assert(std::is_same_v<decltype(COnceItem::state), std::int32_t>);

TEST(OnlyOnceTest, ANewItemIsAllZeros) {
  const COnceItem item;
  EXPECT_EQ(item.stamp.tv_sec, 0);
  EXPECT_EQ(item.stamp.tv_nsec, 0);
  EXPECT_EQ(item.state, 0);
}

enum class Call { kStart, kUpdate, kIgnore };

struct Step {
  double time;
  Call call;
  bool result = false;  // Of Start().
};

constexpr Call kStart = Call::kStart;
constexpr Call kUpdate = Call::kUpdate;
constexpr Call kIgnore = Call::kIgnore;

// Makes the calls on one key and checks the results.
void Play(COnlyMode mode, double interval, const std::vector<Step>& steps) {
  const Clock clock;
  COnlyOnce once(mode);
  for (const Step& step : steps) {
    SCOPED_TRACE(testing::Message() << "at " << step.time);
    Clock::Set(step.time);
    if (step.call == kUpdate)
      once.Update("key");
    else if (step.call == kIgnore)
      once.IgnoreWave("key");
    else
      EXPECT_EQ(once.Start("key", interval), step.result);
  }
}

TEST(OnlyOnceTest, ThrottleReturnsTrueOncePerInterval) {
  Play(OnceThrottle, 10,
       {{0, kStart, true},
        {5, kStart, false},
        {10, kStart, false},
        {10.5, kStart, true},
        {15, kStart, false},
        {20.5, kStart, false},
        {20.75, kStart, true},
        {1000, kStart, true},
        {1000, kStart, false}});
}

TEST(OnlyOnceTest, ThrottleIntervalStartsAtTheLastTrue) {
  Play(OnceThrottle, 10,
       {{0, kStart, true},
        {9, kStart, false},
        {10.5, kStart, true},
        {20, kStart, false},
        {20.75, kStart, true}});
}

TEST(OnlyOnceTest, ThrottleIntervalRestartsAtAnUpdate) {
  Play(OnceThrottle, 10,
       {{0, kUpdate},
        {5, kStart, false},
        {10.5, kStart, true},
        {20, kUpdate},
        {29, kStart, false},
        {30.5, kStart, true}});
}

TEST(OnlyOnceTest, ThrottleHasNoIgnoreWave) {
  Play(OnceThrottle, 10,
       {{0, kIgnore},
        {1, kStart, true},  // The key is still unknown.
        {5, kIgnore},
        {11.5, kStart, true}});
}

TEST(OnlyOnceTest, ThrottleCanReturnTrueEveryTime) {
  Play(OnceThrottle, -1, {{0, kStart, true}, {0, kStart, true}});
  Play(OnceThrottle, 0, {{0, kStart, true}, {0, kStart, false}});
}

TEST(OnlyOnceTest, WaveEndReturnsFalseForAKeyNeverUpdated) {
  Play(OnceWaveEnd, 2,
       {{0, kStart, false},
        {5, kStart, false},
        {9, kUpdate},  // Adds the key; the calls before did not.
        {10, kStart, false},
        {12, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndReturnsTrueOnceAfterAWave) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {1, kStart, false},
        {3, kStart, true},
        {4, kStart, false},
        {5, kUpdate},
        {5.5, kStart, false},  // Re-arms.
        {8, kStart, true},
        {9, kStart, false}});
}

TEST(OnlyOnceTest, WaveEndNeedsNoPollDuringTheFirstWave) {
  Play(OnceWaveEnd, 2, {{0, kUpdate}, {100, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndDoesNotReportAWaveWithoutPoll) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {3, kStart, true},
        {4, kUpdate},
        {7, kStart, false},
        {8, kUpdate},
        {8, kStart, false},
        {10.5, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndUpdatesProlongAWave) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {2, kUpdate},
        {4, kUpdate},
        {6, kStart, false},  // Exactly the interval has not elapsed.
        {6.25, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndDoesNotReportAnIgnoredWave) {
  Play(OnceWaveEnd, 2,
       {{0, kIgnore},
        {3, kStart, false},
        {4, kUpdate},
        {4.5, kStart, false},
        {7, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndIgnoresAWaveToItsEnd) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {1, kIgnore},
        {2, kStart, false},
        {3, kStart, false},  // Within 2 s of IgnoreWave().
        {3, kUpdate},        // Update() does not cancel it.
        {4, kStart, false},
        {6, kStart, false},  // The wave ends, ignored.
        {7, kStart, false},
        {8, kUpdate},
        {9, kStart, false},
        {11, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndCanIgnoreAWaveAfterAReport) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {3, kStart, true},
        {4, kIgnore},
        {5, kStart, false},
        {7, kStart, false},
        {8, kUpdate},
        {9, kStart, false},
        {11, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndIgnoresTheNextWaveTooWithoutAPollBetween) {
  Play(OnceWaveEnd, 2,
       {{0, kIgnore}, {10, kUpdate}, {11, kStart, false}, {13, kStart, false}});
}

TEST(OnlyOnceTest, WaveStartReturnsTrueAtTheFirstPollOfAWave) {
  Play(OnceWaveStart, 2,
       {{0, kUpdate},
        {1, kStart, true},
        {1.5, kStart, false},
        {2, kStart, false},
        {3, kStart, false},  // The wave is over.
        {4, kStart, false},
        {5, kUpdate},
        {5, kStart, true},
        {6, kUpdate},
        {8, kStart, false}});
}

TEST(OnlyOnceTest, WaveStartReturnsFalseForAKeyNeverUpdated) {
  Play(OnceWaveStart, 2, {{0, kStart, false}, {1, kUpdate}, {1, kStart, true}});
}

TEST(OnlyOnceTest, WaveStartNeedsAPollBetweenTwoWaves) {
  Play(OnceWaveStart, 2,
       {{0, kUpdate},
        {1, kStart, true},
        {10, kUpdate},
        {10, kStart, false},
        {13, kStart, false},
        {14, kUpdate},
        {14, kStart, true}});
}

TEST(OnlyOnceTest, WaveStartHasNoIgnoreWave) {
  Play(OnceWaveStart, 2,
       {{0, kIgnore},
        {0, kStart, false},  // The key is still unknown.
        {1, kUpdate},
        {1, kIgnore},
        {1, kStart, true}});
}

TEST(OnlyOnceTest, AnUnknownModeAlwaysReturnsFalse) {
  for (const COnlyMode mode : {kUnnamedMode, kNegativeMode})
    Play(mode, 2,
         {{0, kStart, false},
          {1, kUpdate},
          {2, kStart, false},
          {4, kStart, false},
          {5, kIgnore},
          {9, kStart, false}});
}

TEST(OnlyOnceTest, TheClockMayStepBack) {
  Play(OnceThrottle, 10,
       {{100, kStart, true},
        {50, kStart, false},
        {109, kStart, false},
        {110.5, kStart, true}});
  Play(OnceWaveEnd, 2,
       {{100, kUpdate},
        {103, kStart, true},
        {50, kStart, false},  // Looks like a recent occurrence: re-arms.
        {103, kStart, true}});
  Play(OnceWaveStart, 2,
       {{100, kUpdate}, {50, kStart, true}, {101, kStart, false}});
}

}  // namespace
}  // namespace fairlead::internal::only_once_test
