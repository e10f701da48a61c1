// Tests of durations as users write them.

#include "tool/command/duration.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "tool/base/concat.h"

namespace fairlead::tool::duration_test {
namespace {

using std::chrono::milliseconds;

struct ReadCase {
  const char* text;
  std::int64_t milliseconds;
};

constexpr ReadCase kReadCases[] = {
    {"30", 30'000},
    {"0.5", 500},
    {"500ms", 500},
    {"30s", 30'000},
    {"2m", 120'000},
    {"1h", 3'600'000},
    {"1d", 86'400'000},
    {"0", 0},
    {"0.0ms", 0},
    {"0.001", 1},
    {"0.001s", 1},
    {"1.5m", 90'000},
    {"0.00001h", 36},
    {"0007", 7000},
    {".5", 500},
    {"5.", 5000},
    {".5m", 30'000},
    {"5.ms", 5},
    {"1.50000000000000000000000000", 1500},  // as many zeros as one likes
    {"0.1", 100},                            // not exact in binary
    {"1.1", 1100},
    {"4.035", 4035},            // 4034.9999999999995 if computed in binary
    {"0.0009765625d", 84'375},  // 1/1024 of a day: ten digits
    {"9223372036854775807ms", INT64_MAX},
    {"9223372036854775.807", INT64_MAX},
    {"106751991167d", 9'223'372'036'828'800'000},
};

TEST(DurationTest, ReadsEveryFormExactly) {
  for (const auto& [text, count] : kReadCases) {
    SCOPED_TRACE(text);
    const auto read = ReadDuration(text);
    ASSERT_TRUE(std::holds_alternative<milliseconds>(read));
    EXPECT_EQ(std::get<milliseconds>(read).count(), count);
  }
}

TEST(DurationTest, RefusesWhatIsNoDuration) {
  for (const char* const text :
       {"",   ".",   ".ms",  "..5", "1.2.3", "ms",   "m",   "5 ",
        " 5", "5 s", "5S",   "5M",  "5min",  "5sec", "5us", "+5",
        "-5", "1e3", "0x10", "1,5", "1m30s", "none", "5ms0"}) {
    SCOPED_TRACE(text);
    const auto read = ReadDuration(text);
    ASSERT_TRUE(std::holds_alternative<DurationError>(read));
    EXPECT_EQ(std::get<DurationError>(read), DurationError::kMalformed);
  }
}

TEST(DurationTest, RefusesAFractionOfAMillisecond) {
  for (const char* const text :
       {"0.0005", "0.5ms", "1.0001", "0.00001m", "0.00000001d",
        "0.00097656251d", "0.333333333333333333333"}) {
    SCOPED_TRACE(text);
    const auto read = ReadDuration(text);
    ASSERT_TRUE(std::holds_alternative<DurationError>(read));
    EXPECT_EQ(std::get<DurationError>(read), DurationError::kTooFine);
  }
}

TEST(DurationTest, RefusesWhatMillisecondsCannotHold) {
  for (const char* const text :
       {"9223372036854775808ms", "9223372036854775.808", "106751991168d",
        "106751991167.5d", "99999999999999999999", "18446744073709551616ms"}) {
    SCOPED_TRACE(text);
    const auto read = ReadDuration(text);
    ASSERT_TRUE(std::holds_alternative<DurationError>(read));
    EXPECT_EQ(std::get<DurationError>(read), DurationError::kTooLong);
  }
}

// Every count of milliseconds up to 70 s, as a number of seconds.
TEST(DurationTest, DecimalSecondsAreExact) {
  for (int count = 0; count < 70'000; ++count) {
    const std::string decimals = std::to_string(1000 + count % 1000).substr(1);
    const auto read = ReadDuration(Concat(count / 1000, ".", decimals));
    ASSERT_EQ(std::get<milliseconds>(read).count(), count);
  }
}

TEST(DurationTest, NoneAndNothingAreNoDuration) {
  EXPECT_EQ(DurationIn("none"), std::nullopt);
  EXPECT_EQ(DurationIn(""), std::nullopt);
  EXPECT_EQ(DurationIn("0"), milliseconds(0));
  EXPECT_EQ(DurationIn("2m"), milliseconds(120'000));
}

TEST(DurationTest, AnArgumentHasTheLargestWholeUnit) {
  for (const auto& [count, text] :
       {std::pair<std::int64_t, const char*>{0, "0"},
        {1, "1ms"},
        {999, "999ms"},
        {1000, "1s"},
        {1500, "1500ms"},
        {60'000, "1m"},
        {90'000, "90s"},
        {3'600'000, "1h"},
        {5'400'000, "90m"},
        {86'400'000, "1d"},
        {31'536'000'000, "365d"}})
    EXPECT_EQ(DurationArgument(milliseconds(count)), text);
}

TEST(DurationTest, AMessageHasMillisecondsOrSeconds) {
  for (const auto& [count, text] :
       {std::pair<std::int64_t, const char*>{0, "0 ms"},
        {1, "1 ms"},
        {500, "500 ms"},
        {999, "999 ms"},
        {1000, "1 s"},
        {1001, "1.001 s"},
        {1050, "1.05 s"},
        {1500, "1.5 s"},
        {10'000, "10 s"},
        {86'400'000, "86400 s"}})
    EXPECT_EQ(DurationText(milliseconds(count)), text);
}

TEST(DurationTest, MillisecondsHaveTwoDecimals) {
  using std::chrono::nanoseconds;
  EXPECT_EQ(MillisecondsText(nanoseconds(0)), "0.00");
  EXPECT_EQ(MillisecondsText(nanoseconds(59'999)), "0.05");
  EXPECT_EQ(MillisecondsText(nanoseconds(410'000)), "0.41");
  EXPECT_EQ(MillisecondsText(nanoseconds(30'000'990'000)), "30000.99");
}

}  // namespace
}  // namespace fairlead::tool::duration_test
