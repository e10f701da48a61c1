// Tests of how the tracker compares elapsed times with intervals.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "fairlead/log/only_once.h"
#include "fairlead/log/only_once_testing.h"

namespace fairlead::internal::only_once_interval_test {
namespace {

struct EdgeCase {
  std::int64_t stamp;  // Nanoseconds since the epoch.
  std::int64_t now;
  double interval;
  bool elapsed;
};

constexpr EdgeCase kEdgeCases[] = {
    {0, 10 * kBillion, 10, false},
    {0, 10 * kBillion + 1, 10, true},
    {0, 10 * kBillion - 1, 10, false},
    {5, 5, 0, false},
    {5, 6, 0, true},
    {0, 1, 1e-9, false},
    {0, 2, 1e-9, true},
    {0, 3, 3e-9, false},  // 3 / 1e9 is 3e-9, and 3 * 1e-9 is a little more.
    {0, kBillion / 10, 0.1, false},
    {0, kBillion / 10 + 1, 0.1, true},
    {999999999, kBillion, 0, true},
    // Doubles of this century are 238 ns apart, and times are rounded to the
    // nearest one.
    {kToday, kToday + 10 * kBillion, 10, false},
    {kToday, kToday + 10 * kBillion + 119, 10, false},
    {kToday, kToday + 10 * kBillion + 120, 10, true},
    {kToday, kToday + 119, 0, false},
    {kToday, kToday + 120, 0, true},
    {kToday, kToday, -1e-300, true},
};

TEST(OnlyOnceIntervalTest, TheTimeElapsedMustBeGreaterThanTheInterval) {
  for (const EdgeCase& c : kEdgeCases) {
    SCOPED_TRACE(testing::Message() << "from " << c.stamp << " to " << c.now
                                    << " with " << c.interval);
    const Clock clock;
    for (const COnlyMode mode : {OnceThrottle, OnceWaveEnd}) {
      COnlyOnce once(mode);
      Clock::SetNanoseconds(c.stamp);
      once.Update("key");
      Clock::SetNanoseconds(c.now);
      EXPECT_EQ(once.Start("key", c.interval), c.elapsed);
    }
    COnlyOnce once(OnceWaveStart);
    Clock::SetNanoseconds(c.stamp);
    once.Update("key");
    Clock::SetNanoseconds(c.now);
    EXPECT_EQ(once.Start("key", c.interval), !c.elapsed);
  }
}

// Returns whether an interval that starts at one time has elapsed at another.
bool HasElapsed(double interval, double start, double end) {
  const Clock clock(start);
  COnlyOnce once(OnceThrottle);
  once.Update("key");
  Clock::Set(end);
  return once.Start("key", interval);
}

TEST(OnlyOnceIntervalTest, InfinityAndNaNNeverElapse) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(HasElapsed(kInfinity, 0, 9e8));
  EXPECT_FALSE(HasElapsed(std::numeric_limits<double>::quiet_NaN(), 0, 9e8));
  EXPECT_TRUE(HasElapsed(-kInfinity, 10, 0));
}

TEST(OnlyOnceIntervalTest, AnIntIntervalIsInSeconds) {
  constexpr int kIntervals[] = {0,
                                1,
                                10,
                                -1,
                                1 << 24,
                                std::numeric_limits<int>::max(),
                                std::numeric_limits<int>::min()};
  for (const int interval : kIntervals) {
    for (const std::int64_t extra : {-1000, 0, 1000}) {
      SCOPED_TRACE(testing::Message() << interval << " and " << extra);
      const Clock clock;
      COnlyOnce with_int(OnceThrottle);
      COnlyOnce with_double(OnceThrottle);
      with_int.Update("key");
      with_double.Update("key");
      Clock::SetNanoseconds(
          std::max<std::int64_t>(0, interval * kBillion + extra));
      EXPECT_EQ(with_int.Start("key", interval),
                with_double.Start("key", static_cast<double>(interval)));
    }
  }
}

// Checks that the interval is 60 seconds.
template <typename Seconds>
void ExpectSixtySeconds(Seconds interval) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  EXPECT_TRUE(once.Start("key", interval));
  Clock::Set(60);
  EXPECT_FALSE(once.Start("key", interval));
  Clock::Set(60.5);
  EXPECT_TRUE(once.Start("key", interval));
}

TEST(OnlyOnceIntervalTest, AnIntervalMayHaveAnyArithmeticType) {
  ExpectSixtySeconds(60);
  ExpectSixtySeconds(60U);
  ExpectSixtySeconds(60L);
  ExpectSixtySeconds(60UL);
  ExpectSixtySeconds(60LL);
  ExpectSixtySeconds(60ULL);
  ExpectSixtySeconds(60.0F);
  ExpectSixtySeconds(60.0);
  ExpectSixtySeconds(60.0L);
  ExpectSixtySeconds(std::int64_t{60});
  ExpectSixtySeconds(std::uint8_t{60});
  ExpectSixtySeconds(short{60});
  ExpectSixtySeconds('<');  // 60 in ASCII.
}

TEST(OnlyOnceIntervalTest, AnIntervalAboveIntMaxIsNotTruncated) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  EXPECT_TRUE(once.Start("key", 1));
  Clock::Set(1000);
  EXPECT_FALSE(once.Start("key", std::int64_t{1} << 32));
  EXPECT_FALSE(once.Start("key", std::numeric_limits<std::uint64_t>::max()));
  EXPECT_TRUE(once.Start("key", std::numeric_limits<std::int64_t>::min()));
}

// The overloads that are not templates exist with their exact types.
[[maybe_unused]] constexpr bool (COnlyOnce::*kStartOfDouble)(
    std::string_view, double) = &COnlyOnce::Start;
[[maybe_unused]] constexpr bool (COnlyOnce::*kStartOfInt)(
    std::string_view, int) = &COnlyOnce::Start;

}  // namespace
}  // namespace fairlead::internal::only_once_interval_test
