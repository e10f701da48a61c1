// Instants: differences, days and every text, in several zones.

#include "fairlead/time/the_time.h"

#include <climits>
#include <cstdint>
#include <ctime>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

#include "fairlead/testing/sanitizers.h"
#include "fairlead/time/the_time_testing.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace fairlead::internal::the_time_test {
namespace {

static_assert(sizeof(TheTime) == sizeof(timespec));
static_assert(std::is_standard_layout_v<TheTime>);
static_assert(std::is_trivially_copyable_v<TheTime>);
static_assert(std::is_trivially_destructible_v<TheTime>);
static_assert(!std::is_polymorphic_v<TheTime>);
static_assert(std::is_same_v<decltype(TheTime::ts), timespec>);
static_assert(sizeof(timespec::tv_sec) == 8 && sizeof(timespec::tv_nsec) == 8);

TEST(TheTimeTest, ANewValueIsTheCurrentTime) {
  timespec before;
  timespec after;
  clock_gettime(CLOCK_REALTIME, &before);
  const TheTime time;
  clock_gettime(CLOCK_REALTIME, &after);

  const auto pair = [](const timespec& ts) {
    return std::pair(ts.tv_sec, ts.tv_nsec);
  };
  EXPECT_LE(pair(before), pair(time.ts));
  EXPECT_LE(pair(time.ts), pair(after));
}

TEST(TheTimeTest, UpdateReadsTheClockAgain) {
  TheTime time = At(0, 7);
  EXPECT_EQ(time.Update(), 0);
  EXPECT_GT(time.ts.tv_sec, 1700000000);
}

TEST(TheTimeTest, CopiesBothFields) {
  const TheTime time = At(-3, 999999999);
  TheTime copy = time;
  EXPECT_EQ(copy.ts.tv_sec, -3);
  EXPECT_EQ(copy.ts.tv_nsec, 999999999);
  copy = At(4, 5);
  EXPECT_EQ(copy.ts.tv_sec, 4);
  EXPECT_EQ(copy.ts.tv_nsec, 5);
  EXPECT_EQ(time.ts.tv_sec, -3);
}

struct DifferenceCase {
  timespec later;
  timespec earlier;
  int difference;
  double exact;
};

constexpr DifferenceCase kDifferenceCases[] = {
    {{0, 0}, {0, 0}, 0, 0.0},
    {{1, 999999999}, {0, 0}, 1, 1.999999999},
    {{2, 900000000}, {0, 0}, 2, 2.9},
    {{100, 250000000}, {100, 0}, 0, 0.25},
    {{kEvening, 500000000}, {kEvening - 86400, 0}, 86400, 86400.5},
    {{0, 500000000}, {-2, 0}, 2, 2.5},  // across the epoch
    // In this century a double cannot hold a nanosecond: 1.999999999 s
    // become 2.
    {{kEvening + 1, 999999999}, {kEvening, 0}, 2, 2.0},
    {{kEvening + 1, 999999000}, {kEvening, 0}, 1, 1.9999990463256836},
    {{2147483647, 0}, {0, 0}, INT_MAX, 2147483647.0},
    {{2147483647, 999000000}, {0, 0}, INT_MAX, 2147483647.999},
};

TEST(TheTimeTest, DifferencesAreRoundedTowardZeroInBothDirections) {
  for (const DifferenceCase& c : kDifferenceCases) {
    const TheTime later = At(c.later.tv_sec, c.later.tv_nsec);
    const TheTime earlier = At(c.earlier.tv_sec, c.earlier.tv_nsec);
    SCOPED_TRACE(testing::Message() << "exactly " << c.exact);
    EXPECT_EQ(later.Difference(earlier), c.difference);
    EXPECT_EQ(earlier.Difference(later), -c.difference);
    EXPECT_EQ(later.DifferenceFloat(earlier), c.exact);
    EXPECT_EQ(earlier.DifferenceFloat(later), -c.exact);
  }
}

TEST(TheTimeTest, ADifferenceBeyondIntIsIntMin) {
  const TheTime zero = At(0);
  EXPECT_EQ(At(2147483648).Difference(zero), INT_MIN);
  EXPECT_EQ(zero.Difference(At(2147483648)), INT_MIN);  // -2^31 itself
  EXPECT_EQ(zero.Difference(At(2147483648, 999000000)), INT_MIN);
  EXPECT_EQ(zero.Difference(At(2147483649)), INT_MIN);
  EXPECT_EQ(At(INT64_MAX).Difference(At(INT64_MIN)), INT_MIN);
  EXPECT_EQ(At(INT64_MIN).Difference(At(INT64_MAX)), INT_MIN);
  EXPECT_EQ(At(INT64_MAX).DifferenceFloat(At(INT64_MIN)),
            18446744073709551616.);
}

TEST(TheTimeTest, RandomDifferencesAgreeWithArithmeticInDoubles) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  std::uniform_int_distribution<std::time_t> seconds(-3000000000, 3000000000);
  std::uniform_int_distribution<long> nanoseconds(0, 999999999);
  for (int i = 0; i < Rounds(100000); ++i) {
    const TheTime a = At(seconds(random), nanoseconds(random));
    const TheTime b = At(seconds(random), nanoseconds(random));
    const double from = static_cast<double>(b.ts.tv_sec) +
                        static_cast<double>(b.ts.tv_nsec) / 1000000000.0;
    const double to = static_cast<double>(a.ts.tv_sec) +
                      static_cast<double>(a.ts.tv_nsec) / 1000000000.0;
    ASSERT_EQ(a.DifferenceFloat(b), to - from);
    const auto whole = static_cast<std::int64_t>(to - from);
    const bool fits = whole >= INT_MIN && whole <= INT_MAX;
    ASSERT_EQ(a.Difference(b), fits ? whole : INT_MIN);
  }
}

TEST(TheTimeTest, SetToPastMovesBackByWholeSeconds) {
  struct Case {
    std::time_t start;
    int seconds;
    std::time_t end;
  };
  constexpr Case kCases[] = {
      {100, 0, 100},
      {100, 5, 95},
      {100, -5, 105},
      {3, 5, -2},
      {0, INT_MAX, -2147483647},
      {0, INT_MIN, 2147483648},
      {INT64_MIN, 1, INT64_MAX},  // wraps
      {INT64_MAX, -1, INT64_MIN},
      {INT64_MIN, 0, INT64_MIN},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.start << " back by " << c.seconds);
    TheTime time = At(c.start, 123456789);
    time.SetToPast(c.seconds);
    EXPECT_EQ(time.ts.tv_sec, c.end);
    EXPECT_EQ(time.ts.tv_nsec, 123456789);
  }
}

TEST(TheTimeTest, DateChangedComparesOnlyTheLocalDayOfTheMonth) {
  const InZone zone(kBerlin);
  const std::time_t midnight = 1794610800;  // 2026-11-14 00:00:00 CET
  EXPECT_TRUE(At(midnight).DateChanged(At(midnight - 1)));
  EXPECT_TRUE(At(midnight - 1).DateChanged(At(midnight)));
  EXPECT_FALSE(At(midnight).DateChanged(At(midnight + 86399)));
  EXPECT_FALSE(At(midnight).DateChanged(At(midnight, 999999999)));
  // 30 days on: the 14th of November and of December.
  EXPECT_FALSE(At(midnight).DateChanged(At(midnight + 30 * 86400)));
  // 365 days on: the 14th of November of the next year.
  EXPECT_FALSE(At(midnight).DateChanged(At(midnight + 365 * 86400)));
  // 31 days on: the 15th of December.
  EXPECT_TRUE(At(midnight).DateChanged(At(midnight + 31 * 86400)));
  // The UTC day changes an hour later and is ignored.
  EXPECT_FALSE(At(midnight + 3599).DateChanged(At(midnight + 3600)));
}

TEST(TheTimeTest, GetDaySecCountsFromLocalMidnight) {
  struct Case {
    const char* zone;
    std::time_t at;
    int day;
    unsigned seconds;
  };
  constexpr Case kCases[] = {
      {kUtc, 0, 1, 0},
      {kUtc, -1, 31, 86399},
      {kUtc, kEvening, 14, 75474},
      {kBerlin, kEvening, 14, 79074},
      {kNewYork, kEvening, 14, 57474},
      {kLordHowe, kEvening, 15, 28674},  // 07:57:54 the next morning
      {kKathmandu, kEvening, 15, 9774},  // 02:42:54
      {kBerlin, 1774746000, 29, 10800},  // 03:00, an hour after 01:59:59
      {kBerlin, 1792890000, 25, 7200},   // 02:00, the second time
      {kBerlin, 1792886400, 25, 7200},   // and the first
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.zone << " at " << c.at);
    const InZone zone(c.zone);
    unsigned seconds = 7;
    EXPECT_EQ(At(c.at, 999999999).GetDaySec(seconds), c.day);
    EXPECT_EQ(seconds, c.seconds);
  }
}

TEST(TheTimeTest, WritesEveryForm) {
  const InZone zone(kUtc);
  const TheTime time = At(kEvening, 999999999);
  EXPECT_EQ(time.SaveToString(), "20261114x205754");
  EXPECT_EQ(time.GetStr(true), "[2026.11.14 20:57:54] ");
  EXPECT_EQ(time.GetStr(false), "2026.11.14 20:57:54");
  EXPECT_EQ(time.GetHumanStr(), "on 2026.11.14 at 20:57:54");
  EXPECT_EQ(time.GetDateStr(), "20261114");
  EXPECT_EQ(time.GetDateStr2(), "14112026");
  EXPECT_EQ(time.GetTimeStr(":"), "20:57:54");
}

TEST(TheTimeTest, PadsEveryFieldWithZeros) {
  const InZone zone(kUtc);
  const TheTime time = At(-62135596800 + 3723);  // 0001-01-01 01:02:03
  EXPECT_EQ(time.SaveToString(), "00010101x010203");
  EXPECT_EQ(time.GetStr(true), "[0001.01.01 01:02:03] ");
  EXPECT_EQ(time.GetStr(false), "0001.01.01 01:02:03");
  EXPECT_EQ(time.GetHumanStr(), "on 0001.01.01 at 01:02:03");
  EXPECT_EQ(time.GetDateStr(), "00010101");
  EXPECT_EQ(time.GetDateStr2(), "01010001");
  EXPECT_EQ(time.GetTimeStr(""), "010203");
}

TEST(TheTimeTest, GetTimeStrAcceptsAnySeparator) {
  const InZone zone(kUtc);
  const TheTime time = At(kEvening);
  EXPECT_EQ(time.GetTimeStr(""), "205754");
  EXPECT_EQ(time.GetTimeStr("-"), "20-57-54");
  EXPECT_EQ(time.GetTimeStr(std::string("h m")), "20h m57h m54");
  EXPECT_EQ(time.GetTimeStr("%s%n"), "20%s%n57%s%n54");
  // A zero byte ends it.
  EXPECT_EQ(time.GetTimeStr(std::string("-\0-", 3)), "20-57-54");
  EXPECT_EQ(time.GetTimeStr(std::string("\0:", 2)), "205754");
  const std::string separator(1000000, 's');
  EXPECT_EQ(time.GetTimeStr(separator),
            "20" + separator + "57" + separator + "54");
}

struct ZoneCase {
  const char* zone;
  std::time_t at;
  const char* text;
};

constexpr ZoneCase kZoneCases[] = {
    {kUtc, 0, "1970.01.01 00:00:00"},
    {kUtc, -1, "1969.12.31 23:59:59"},
    {kUtc, -2208988800, "1900.01.01 00:00:00"},
    {kUtc, 2147483647, "2038.01.19 03:14:07"},
    {kUtc, 2147483648, "2038.01.19 03:14:08"},
    {kUtc, 253402300799, "9999.12.31 23:59:59"},
    {kUtc, 253402300800, "10000.01.01 00:00:00"},
    {kUtc, -62135596801, "0000.12.31 23:59:59"},
    {kUtc, -62167219200, "0000.01.01 00:00:00"},
    {kUtc, -62167219201, "-001.12.31 23:59:59"},
    {kUtc, 1709164800, "2024.02.29 00:00:00"},
    {kBerlin, kEvening - 3600, "2026.11.14 20:57:54"},
    {kBerlin, -29894400, "1969.01.20 01:00:00"},
    {kBerlin, 4118126400, "2100.07.01 14:00:00"},
    {kBerlin, 1774745999, "2026.03.29 01:59:59"},  // the clocks go forward
    {kBerlin, 1774746000, "2026.03.29 03:00:00"},
    {kBerlin, 1792889999, "2026.10.25 02:59:59"},  // and back
    {kBerlin, 1792890000, "2026.10.25 02:00:00"},
    {kNewYork, kEvening, "2026.11.14 15:57:54"},
    {kNewYork, -29894400, "1969.01.19 19:00:00"},
    {kNewYork, 4118126400, "2100.07.01 08:00:00"},
    {kNewYork, 1772953199, "2026.03.08 01:59:59"},
    {kNewYork, 1772953200, "2026.03.08 03:00:00"},
    {kNewYork, 1793512799, "2026.11.01 01:59:59"},
    {kNewYork, 1793512800, "2026.11.01 01:00:00"},
    {kLordHowe, kEvening, "2026.11.15 07:57:54"},
    {kLordHowe, -29894400, "1969.01.20 11:00:00"},
    {kLordHowe, 4118126400, "2100.07.01 22:30:00"},
    {kLordHowe, 1775314799, "2026.04.05 01:59:59"},  // by half an hour
    {kLordHowe, 1775314800, "2026.04.05 01:30:00"},
    {kLordHowe, 1791041399, "2026.10.04 01:59:59"},
    {kLordHowe, 1791041400, "2026.10.04 02:30:00"},
    {kKathmandu, kEvening, "2026.11.15 02:42:54"},
    {kKathmandu, -14182940, "1969.07.21 02:02:40"},
    {kKathmandu, 253402300799, "10000.01.01 05:44:59"},
};

TEST(TheTimeTest, WritesLocalTimeInEveryZone) {
  for (const ZoneCase& c : kZoneCases) {
    SCOPED_TRACE(testing::Message() << c.zone << " at " << c.at);
    const InZone zone(c.zone);
    EXPECT_EQ(At(c.at).GetStr(false), c.text);
  }
}

TEST(TheTimeTest, WritesTheFirstAndTheLastYearOfTheSystem) {
  const InZone zone(kUtc);
  const TheTime last = At(67768036191676799);
  EXPECT_EQ(last.SaveToString(), "21474855471231x235959");
  EXPECT_EQ(last.GetStr(true), "[2147485547.12.31 23:59:59] ");
  EXPECT_EQ(last.GetDateStr2(), "31122147485547");
  const TheTime first = At(-67768040609740800);
  EXPECT_EQ(first.SaveToString(), "-21474817480101x000000");
  EXPECT_EQ(first.GetHumanStr(), "on -2147481748.01.01 at 00:00:00");
  EXPECT_EQ(first.GetDateStr2(), "0101-2147481748");
}

TEST(TheTimeTest, AnInstantBeyondTheLastYearHasAZeroDate) {
  const InZone zone(kUtc);
  for (const std::time_t at :
       {std::time_t{67768036191676800}, std::time_t{-67768040609740801},
        std::time_t{INT64_MAX}, std::time_t{INT64_MIN}}) {
    SCOPED_TRACE(testing::Message() << "at " << at);
    const TheTime time = At(at);
    EXPECT_EQ(time.SaveToString(), "19000100x000000");
    EXPECT_EQ(time.GetStr(true), "[1900.01.00 00:00:00] ");
    EXPECT_EQ(time.GetStr(false), "1900.01.00 00:00:00");
    EXPECT_EQ(time.GetHumanStr(), "on 1900.01.00 at 00:00:00");
    EXPECT_EQ(time.GetDateStr(), "19000100");
    EXPECT_EQ(time.GetDateStr2(), "00011900");
    EXPECT_EQ(time.GetTimeStr(":"), "00:00:00");
    unsigned seconds = 7;
    EXPECT_EQ(time.GetDaySec(seconds), 0);
    EXPECT_EQ(seconds, 0U);
    EXPECT_TRUE(time.DateChanged(At(0)));
    EXPECT_FALSE(time.DateChanged(At(INT64_MAX)));
  }
}

void ExpectPrintedForms(const TheTime& time) {
  std::tm tm{};
  ASSERT_NE(localtime_r(&time.ts.tv_sec, &tm), nullptr);
  const long long y = 1900LL + tm.tm_year;
  const int mo = tm.tm_mon + 1;
  const int d = tm.tm_mday;
  const int h = tm.tm_hour;
  const int mi = tm.tm_min;
  const int s = tm.tm_sec;
  ASSERT_EQ(time.SaveToString(),
            Printed("%04lld%02d%02dx%02d%02d%02d", y, mo, d, h, mi, s));
  ASSERT_EQ(time.GetStr(true),
            Printed("[%04lld.%02d.%02d %02d:%02d:%02d] ", y, mo, d, h, mi, s));
  ASSERT_EQ(time.GetStr(false),
            Printed("%04lld.%02d.%02d %02d:%02d:%02d", y, mo, d, h, mi, s));
  ASSERT_EQ(time.GetHumanStr(), Printed("on %04lld.%02d.%02d at %02d:%02d:%02d",
                                        y, mo, d, h, mi, s));
  ASSERT_EQ(time.GetDateStr(), Printed("%04lld%02d%02d", y, mo, d));
  ASSERT_EQ(time.GetDateStr2(), Printed("%02d%02d%04lld", d, mo, y));
  ASSERT_EQ(time.GetTimeStr("<>"),
            Printed("%02d%s%02d%s%02d", h, "<>", mi, "<>", s));
}

TEST(TheTimeTest, RandomInstantsAreWrittenAsByPrintf) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  for (const char* const name : kZones) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    for (int i = 0; i < Rounds(4000); ++i) {
      // Of every size, so that years have one to eleven characters.
      const auto bits = static_cast<std::int64_t>(random());
      const std::int64_t at = bits >> (8 + random() % 40);
      ASSERT_NO_FATAL_FAILURE(ExpectPrintedForms(At(at)));
    }
  }
}

TEST(TheTimeTest, TheFreeFunctionsReturnTheCurrentTime) {
  const TheTime before;
  const std::string stamp = strtime();
  const std::string clock = strtimeonly();
  const std::string date = strdateonly();
  const int day = intdayonly();
  const TheTime after;

  EXPECT_THAT(stamp, testing::MatchesRegex("\\[....:..:.. ..:..:..\\] "));
  EXPECT_EQ(stamp.size(), 22U);
  EXPECT_THAT(clock, testing::MatchesRegex("[0-9]+"));
  EXPECT_EQ(clock.size(), 6U);
  EXPECT_THAT(date, testing::AnyOf(before.GetDateStr(), after.GetDateStr()));
  unsigned seconds = 0;
  EXPECT_THAT(
      day, testing::AnyOf(before.GetDaySec(seconds), after.GetDaySec(seconds)));
}

}  // namespace
}  // namespace fairlead::internal::the_time_test
