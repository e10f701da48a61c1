#include "fairlead/time/the_time.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace fairlead {
namespace {

static_assert(sizeof(TheTime) == sizeof(timespec));
static_assert(std::is_standard_layout_v<TheTime>);
static_assert(std::is_trivially_copyable_v<TheTime>);
static_assert(std::is_trivially_destructible_v<TheTime>);
static_assert(!std::is_polymorphic_v<TheTime>);
static_assert(std::is_same_v<decltype(TheTime::ts), timespec>);
static_assert(sizeof(timespec::tv_sec) == 8 && sizeof(timespec::tv_nsec) == 8);

// Zones as POSIX rules, so that no zone files need be installed.
constexpr const char* kUtc = "UTC0";
constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";
constexpr const char* kLordHowe = "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0";
constexpr const char* kKathmandu = "<+0545>-5:45";
constexpr const char* kZones[] = {kUtc, kBerlin, kNewYork, kLordHowe,
                                  kKathmandu};

// The seed of every random test; the trace of a failure shows it.
constexpr unsigned kSeed = 20261114;

constexpr std::time_t kEvening = 1794689874;  // 2026-11-14 20:57:54 UTC

// Puts the process into a time zone for as long as it lives.
class InZone {
 public:
  explicit InZone(const char* zone) {
    const char* const before = std::getenv("TZ");
    had_zone_ = before != nullptr;
    if (had_zone_) before_ = before;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~InZone() {
    if (had_zone_)
      setenv("TZ", before_.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }
  InZone(const InZone&) = delete;
  InZone& operator=(const InZone&) = delete;

 private:
  bool had_zone_ = false;
  std::string before_;
};

TheTime At(std::time_t seconds, long nanoseconds = 0) {
  TheTime time;
  time.ts.tv_sec = seconds;
  time.ts.tv_nsec = nanoseconds;
  return time;
}

// What the system's own printf makes of numbers.
template <typename... Args>
std::string Printed(const char* format, Args... args) {
  char text[256];
  const int length = std::snprintf(text, sizeof text, format, args...);
  EXPECT_LT(length, static_cast<int>(sizeof text));
  return text;
}

TEST(TheTimeTest, ANewValueHoldsThePresent) {
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

// ---- Differences ----

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
    // Doubles of this century hold no single nanoseconds: 1.999999999 s are 2.
    {{kEvening + 1, 999999999}, {kEvening, 0}, 2, 2.0},
    {{kEvening + 1, 999999000}, {kEvening, 0}, 1, 1.9999990463256836},
    {{2147483647, 0}, {0, 0}, INT_MAX, 2147483647.0},
    {{2147483647, 999000000}, {0, 0}, INT_MAX, 2147483647.999},
};

TEST(TheTimeTest, DifferencesAreTruncatedTowardZeroBothWays) {
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

TEST(TheTimeTest, ADifferenceBeyondIntIsTheLeastInt) {
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

TEST(TheTimeTest, RandomDifferencesFollowTheArithmeticInDoubles) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  std::uniform_int_distribution<std::time_t> seconds(-3000000000, 3000000000);
  std::uniform_int_distribution<long> nanoseconds(0, 999999999);
  for (int i = 0; i < 100000; ++i) {
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

// ---- Moving ----

TEST(TheTimeTest, SetToPastMovesWholeSeconds) {
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

// ---- Days ----

TEST(TheTimeTest, DateChangedComparesTheLocalDayOfTheMonthAlone) {
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
  // The UTC day changes an hour later, which is nothing here.
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
      {kBerlin, 1792890000, 25, 7200},   // 02:00 for the second time
      {kBerlin, 1792886400, 25, 7200},   // and for the first
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.zone << " at " << c.at);
    const InZone zone(c.zone);
    unsigned seconds = 7;
    EXPECT_EQ(At(c.at, 999999999).GetDaySec(seconds), c.day);
    EXPECT_EQ(seconds, c.seconds);
  }
}

// ---- Text forms ----

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

TEST(TheTimeTest, TheTimeTakesAnySeparator) {
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

TEST(TheTimeTest, ShowsEveryYearThatTheSystemCanHold) {
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

TEST(TheTimeTest, AnInstantBeyondTheCalendarReadsAsZeros) {
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

TEST(TheTimeTest, RandomInstantsReadAsPrintfWritesThem) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  for (const char* const name : kZones) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    for (int i = 0; i < 4000; ++i) {
      // Of every magnitude, so that years have from one to eleven characters.
      const auto bits = static_cast<std::int64_t>(random());
      const std::int64_t at = bits >> (8 + random() % 40);
      ASSERT_NO_FATAL_FAILURE(ExpectPrintedForms(At(at)));
    }
  }
}

// ---- Reading ----

TEST(TheTimeTest, LoadsTheWholeFormAndTheDateAlone) {
  const InZone zone(kBerlin);
  TheTime time = At(1, 123456789);
  EXPECT_TRUE(time.LoadFromString("20261114"));
  EXPECT_EQ(time.ts.tv_sec, 1794610800);
  EXPECT_EQ(time.ts.tv_nsec, 123456789);
  EXPECT_EQ(time.SaveToString(), "20261114x000000");

  EXPECT_TRUE(time.LoadFromString(std::string("20261114x205754")));
  EXPECT_EQ(time.ts.tv_sec, kEvening - 3600);
  EXPECT_EQ(time.ts.tv_nsec, 123456789);
  EXPECT_EQ(time.SaveToString(), "20261114x205754");
}

enum class Outcome { kLoaded, kRefused, kThrown };

// Loads into a value that must stay as it was unless the text was taken.
Outcome Load(const std::string& text, std::time_t& seconds) {
  TheTime time = At(-12345, 67890);
  Outcome outcome = Outcome::kThrown;
  try {
    outcome = time.LoadFromString(text) ? Outcome::kLoaded : Outcome::kRefused;
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "basic_string::substr");
  }
  EXPECT_EQ(time.ts.tv_nsec, 67890);
  if (outcome != Outcome::kLoaded) {
    EXPECT_EQ(time.ts.tv_sec, -12345);
  }
  seconds = time.ts.tv_sec;
  return outcome;
}

TEST(TheTimeTest, LoadsTextsOfEveryLength) {
  const InZone zone(kUtc);
  struct Case {
    const char* text;
    Outcome outcome;
    std::time_t seconds;
  };
  constexpr Case kCases[] = {
      {"", Outcome::kRefused, -12345},
      {"2", Outcome::kThrown, -12345},
      {"20", Outcome::kThrown, -12345},
      {"202", Outcome::kThrown, -12345},
      {"2026", Outcome::kRefused, -12345},
      {"20261", Outcome::kThrown, -12345},
      {"202611", Outcome::kRefused, -12345},
      {"2026111", Outcome::kThrown, -12345},
      {"20261114", Outcome::kLoaded, kEvening - 75474},
      {"20261114x", Outcome::kRefused, -12345},
      {"20261114x2", Outcome::kThrown, -12345},
      {"20261114x20", Outcome::kRefused, -12345},
      {"20261114x205", Outcome::kThrown, -12345},
      {"20261114x2057", Outcome::kRefused, -12345},
      {"20261114x20575", Outcome::kLoaded, kEvening - 49},  // second 5
      {"20261114x205754", Outcome::kLoaded, kEvening},
      {"20261114x2057549", Outcome::kLoaded, kEvening},
      {"20261114x20575499", Outcome::kLoaded, kEvening},
      {"20261114x205754 UT", Outcome::kLoaded, kEvening},
      {"20261114x205754.123", Outcome::kLoaded, kEvening},
      {"20261114x205754+0100", Outcome::kLoaded, kEvening},
  };
  std::size_t length = 0;
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    ASSERT_EQ(std::string(c.text).size(), length++);
    std::time_t seconds = 0;
    EXPECT_EQ(Load(c.text, seconds), c.outcome);
    EXPECT_EQ(seconds, c.seconds);
  }
}

TEST(TheTimeTest, ReadsFieldsInOrderAndStopsAtTheFirstFailure) {
  const InZone zone(kUtc);
  struct Case {
    const char* text;
    Outcome outcome;
  };
  constexpr Case kCases[] = {
      {"x", Outcome::kRefused},  // no number comes before the text's end
      {"xx", Outcome::kRefused},
      {"xxx", Outcome::kRefused},
      {"xxxx1", Outcome::kRefused},
      {"2026x", Outcome::kRefused},
      {"202611x", Outcome::kRefused},
      {"20261114xx", Outcome::kRefused},
      {"20261114x20x", Outcome::kRefused},
      {"20261114x2057x", Outcome::kRefused},
      {"year1114", Outcome::kRefused},
      {"2026mo14", Outcome::kRefused},
      {"202611dy", Outcome::kRefused},
      {"20261114xhh5754", Outcome::kRefused},
      {"20261114x20mm54", Outcome::kRefused},
      {"20261114x2057ss", Outcome::kRefused},
      {"    1114", Outcome::kRefused},  // blanks alone are no number
      {"2026+-14", Outcome::kRefused},
      {"20261114T205754", Outcome::kLoaded},  // any ninth character
      {"202611149205754", Outcome::kLoaded},
      {"2026.11.14 20:57:54", Outcome::kRefused},  // the log form
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    std::time_t seconds = 0;
    EXPECT_EQ(Load(c.text, seconds), c.outcome);
    if (c.outcome == Outcome::kLoaded) {
      EXPECT_EQ(seconds, kEvening);
    }
  }
}

TEST(TheTimeTest, ReadsFieldsAsNumbersAndCarriesWhatIsOutOfRange) {
  const InZone zone(kUtc);
  struct Case {
    const char* text;
    const char* saved;
  };
  constexpr Case kCases[] = {
      {"2026 1 1", "20260101x000000"},
      {"20261 1 ", "20260101x000000"},
      {"2026+1+1", "20260101x000000"},
      {"20260101x+1+2+3", "20260101x010203"},
      {" 26 1 1 x 1 2 3", "00260101x010203"},
      {"12  0101", "00120101x000000"},
      {"1x230203", "00010203x000000"},  // a field may end in anything
      {"20261a1b", "20260101x000000"},
      {"20261/1:", "20260101x000000"},  // the neighbours of the digits
      {"20260631", "20260701x000000"},  // the 31st of June
      {"20260229", "20260301x000000"},
      {"20240229", "20240229x000000"},
      {"20261301", "20270101x000000"},
      {"20260001", "20251201x000000"},
      {"20260100", "20251231x000000"},
      {"2026-1-1", "20251030x000000"},  // month -1, day -1
      {"20269999", "20340607x000000"},
      {"20260101x240000", "20260102x000000"},
      {"20260101x996000", "20260105x040000"},
      {"20260101x000060", "20260101x000100"},
      {"20260101x-1-1-1", "20251231x225859"},
      {"00000101", "00000101x000000"},
      {"-0010101", "-0010101x000000"},
      {"-9990101x010203", "-9990101x010203"},
      {"99991231x235960", "100000101x000000"},
      {"19691231x235959", "19691231x235959"},  // the instant -1 is no failure
      {"20380119x031408", "20380119x031408"},
      {"2026\t1\n1x\v1\f2\r3", "20260101x010203"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    TheTime time = At(77, 0);
    EXPECT_TRUE(time.LoadFromString(c.text));
    EXPECT_EQ(time.SaveToString(), c.saved);
  }
}

TEST(TheTimeTest, AZeroByteIsACharacterOfTheText) {
  const InZone zone(kUtc);
  std::time_t seconds = 0;
  EXPECT_EQ(Load(std::string("20261114\0", 9), seconds), Outcome::kRefused);
  EXPECT_EQ(Load(std::string("20261114\000205754", 15), seconds),
            Outcome::kLoaded);
  EXPECT_EQ(seconds, kEvening);
}

// A second way to read the compact form, from streams and substrings.
Outcome ModelLoad(const std::string& text, std::time_t& seconds) {
  std::tm tm{};
  tm.tm_isdst = -1;
  const auto read = [&text](std::size_t start, std::size_t length, int& field) {
    std::istringstream in(text.substr(start, length));
    return static_cast<bool>(in >> field);
  };
  try {
    const bool date = read(0, 4, tm.tm_year) && read(4, 2, tm.tm_mon) &&
                      read(6, 2, tm.tm_mday);
    if (!date) return Outcome::kRefused;
    if (text.length() != 8 &&
        !(read(9, 2, tm.tm_hour) && read(11, 2, tm.tm_min) &&
          read(13, 2, tm.tm_sec)))
      return Outcome::kRefused;
  } catch (const std::out_of_range&) {
    return Outcome::kThrown;
  }
  tm.tm_year -= 1900;
  --tm.tm_mon;
  seconds = mktime(&tm);
  return Outcome::kLoaded;
}

// Mostly digits; the rest is what numbers are made of or stopped by.
std::string RandomText(std::mt19937_64& random, std::size_t length) {
  constexpr char kOthers[] = "+- \tx:.\0\xFF";
  const bool clean = random() % 4 != 0;
  std::string text;
  while (text.size() < length) {
    const bool digit = clean || random() % 6 != 0;
    text += digit ? static_cast<char>('0' + random() % 10)
                  : kOthers[random() % (sizeof kOthers - 1)];
  }
  return text;
}

TEST(TheTimeTest, RandomTextsLoadAsStreamsAndSubstringsWould) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  int outcomes[3] = {};
  for (const char* const name : kZones) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    for (int i = 0; i < 10000; ++i) {
      const std::string text = RandomText(random, random() % 21);
      SCOPED_TRACE(testing::Message() << testing::PrintToString(text));
      std::time_t expected = -12345;
      std::time_t seconds = 0;
      const Outcome outcome = ModelLoad(text, expected);
      ASSERT_EQ(Load(text, seconds), outcome);
      ASSERT_EQ(seconds, expected);
      ++outcomes[static_cast<int>(outcome)];
    }
  }
  EXPECT_THAT(outcomes, testing::Each(testing::Gt(5000)));
}

// ---- Round trips ----

TEST(TheTimeTest, EveryQuarterHourAroundClockChangesSurvivesARoundTrip) {
  for (const char* const name : kZones) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    // Every day of 2026, which has all the changes of all the zones.
    for (std::time_t at = 1767225600; at < 1798761600; at += 900) {
      const TheTime time = At(at);
      TheTime back = At(0);
      ASSERT_TRUE(back.LoadFromString(time.SaveToString()));
      ASSERT_EQ(back.SaveToString(), time.SaveToString());
      // An hour that occurs twice has two instants.
      ASSERT_LE(std::abs(back.Difference(time)), 3600);
    }
  }
}

TEST(TheTimeTest, AnHourThatNeverOccursIsMovedByTheChange) {
  struct Case {
    const char* zone;
    const char* text;
    const char* earlier;
    const char* later;
  };
  constexpr Case kCases[] = {
      {kBerlin, "20260329x023000", "20260329x013000", "20260329x033000"},
      {kNewYork, "20260308x023000", "20260308x013000", "20260308x033000"},
      {kLordHowe, "20261004x021500", "20261004x014500", "20261004x024500"},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.zone);
    const InZone zone(c.zone);
    TheTime time = At(0);
    EXPECT_TRUE(time.LoadFromString(c.text));
    EXPECT_THAT(time.SaveToString(), testing::AnyOf(c.earlier, c.later));
  }
}

TEST(TheTimeTest, RandomInstantsSurviveARoundTrip) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  // Zones without clock changes, years -999 to 9999: all that has one text of
  // 15 characters.
  std::uniform_int_distribution<std::time_t> instants(-93692505600,
                                                      253402214400);
  for (const char* const name : {kUtc, kKathmandu}) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    for (int i = 0; i < 20000; ++i) {
      const TheTime time = At(instants(random), 5);
      const std::string text = time.SaveToString();
      ASSERT_EQ(text.size(), 15U);
      ASSERT_EQ(text[8], 'x');
      TheTime back = At(0, 6);
      ASSERT_TRUE(back.LoadFromString(text));
      ASSERT_EQ(back.ts.tv_sec, time.ts.tv_sec);
      ASSERT_EQ(back.ts.tv_nsec, 6);
    }
  }
}

// ---- The current time ----

TEST(TheTimeTest, TheFreeFunctionsTellThePresent) {
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
}  // namespace fairlead
