// Tests of the starts of repeated runs.

#include "tool/exchange/schedule.h"

#include <gtest/gtest.h>

#include <chrono>

namespace fairlead::tool::schedule_test {
namespace {

using std::chrono::milliseconds;

constexpr Schedule::TimePoint At(int count) {
  return Schedule::TimePoint() + milliseconds(count);
}

TEST(ScheduleTest, CountsFromStartToStart) {
  Schedule schedule(At(50), milliseconds(100));
  EXPECT_EQ(schedule.Next(At(51)), At(150));
  EXPECT_EQ(schedule.Next(At(249)), At(250));
  EXPECT_EQ(schedule.Next(At(350)), At(350));
  EXPECT_EQ(schedule.Next(At(351)), At(450));
}

TEST(ScheduleTest, ALateRunStartsAtOnceAndTheOthersCountFromIt) {
  Schedule schedule(At(0), milliseconds(100));
  EXPECT_EQ(schedule.Next(At(230)), At(230));
  EXPECT_EQ(schedule.Next(At(240)), At(330));
}

TEST(ScheduleTest, WithoutAnIntervalEveryRunStartsAtOnce) {
  Schedule schedule(At(0), milliseconds(0));
  EXPECT_EQ(schedule.Next(At(7)), At(7));
  EXPECT_EQ(schedule.Next(At(7)), At(7));
}

}  // namespace
}  // namespace fairlead::tool::schedule_test
