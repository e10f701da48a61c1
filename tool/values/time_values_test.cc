// Tests of the parsing of stamps and times of day, against an oracle.

#include "tool/values/time_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <random>
#include <string>

#include "tool/base/failure.h"

namespace fairlead::tool::time_command::time_values_test {
namespace {

constexpr Parameter kText = {.name = "text",
                             .placeholder = "TEXT",
                             .kind = Kind::kText,
                             .group = Group::kWhat,
                             .help = "any"};

std::optional<std::int64_t> TimeIn(const std::string& text) {
  try {
    return TimeOfDayIn(kText, text).GetSeconds();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kMalformedInput);
    return std::nullopt;
  }
}

std::optional<std::int64_t> MomentIn(const std::string& text) {
  try {
    const TheTime moment = StampIn(kText, text);
    EXPECT_EQ(moment.ts.tv_nsec, 0);
    return moment.ts.tv_sec;
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kMalformedInput);
    return std::nullopt;
  }
}

std::optional<std::int64_t> ExpectedTime(const std::string& text) {
  static const auto has_form = testing::Matches(
      testing::MatchesRegex("[0-9]{1,10}(:[0-5]?[0-9])?(:[0-5]?[0-9])?"));
  if (!has_form(text)) return std::nullopt;
  long long a = 0;
  long long b = 0;
  long long c = 0;
  const int count =
      std::sscanf(text.c_str(), "%lld:%lld:%lld", &a, &b, &c);  // NOLINT
  const std::int64_t seconds = count == 1   ? a
                               : count == 2 ? a * 60 + b
                                            : a * 3600 + b * 60 + c;
  return seconds > INT32_MAX ? std::nullopt : std::optional(seconds);
}

// The days of the Gregorian calendar are counted one by one.
bool IsDate(int year, int month, int day) {
  if (month < 1 || month > 12 || day < 1) return false;
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  constexpr std::array kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const int days = kDays.at(static_cast<std::size_t>(month - 1));
  return day <= days + (leap && month == 2 ? 1 : 0);
}

bool IsMoment(const std::string& text) {
  static const auto has_form =
      testing::Matches(testing::MatchesRegex("[0-9]{8}(x[0-9]{6})?"));
  if (!has_form(text)) return false;
  const auto field = [&](std::size_t at, std::size_t length) {
    return at < text.size() ? std::stoi(text.substr(at, length)) : 0;
  };
  return IsDate(field(0, 4), field(4, 2), field(6, 2)) && field(9, 2) < 24 &&
         field(11, 2) < 60 && field(13, 2) < 60;
}

class TimeValuesTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(setenv("TZ", "UTC0", 1), 0);  // NOLINT: before any thread.
    tzset();
  }

  std::size_t Below(std::size_t bound) { return random_() % bound; }

  // Letters of `alphabet`, up to `longest` of them.
  std::string Text(std::string_view alphabet, std::size_t longest) {
    std::string text(1 + Below(longest), ' ');
    for (char& c : text) c = alphabet[Below(alphabet.size())];
    return text[0] == '-' ? "0" + text : text;
  }

 private:
  std::mt19937 random_{20261114};  // NOLINT: the same texts each time.
};

TEST_F(TimeValuesTest, TimesOfDayAreParsedCompletelyOrRefused) {
  int taken = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = Text(i % 2 == 0 ? "0123456789::" : "0159: -+x", 9);
    const std::optional<std::int64_t> expected = ExpectedTime(text);
    ASSERT_EQ(TimeIn(text), expected) << text;
    taken += expected.has_value() ? 1 : 0;
  }
  EXPECT_GT(taken, 2000);
}

TEST_F(TimeValuesTest, StampsAreParsedCompletelyOrRefused) {
  int taken = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string text = Below(2) == 0 ? "20000101" : "20000101x000000";
    for (std::size_t changes = 1 + Below(8); changes > 0; --changes) {
      const std::size_t at = Below(text.size());
      if (text[at] != 'x' || Below(8) == 0)
        text[at] = "0011223456789x "[Below(Below(8) == 0 ? 15 : 13)];
    }
    if (Below(16) == 0) text.resize(1 + Below(text.size()));
    const bool expected = IsMoment(text);
    const std::optional<std::int64_t> moment = MomentIn(text);
    ASSERT_EQ(moment.has_value(), expected) << text;
    taken += expected ? 1 : 0;
    if (!expected) continue;
    TheTime again;
    again.ts = {.tv_sec = *moment, .tv_nsec = 0};
    ASSERT_EQ(again.SaveToString().substr(0, text.size()), text);
    ASSERT_TRUE(text.size() == 15 || *moment % 86400 == 0) << text;
  }
  EXPECT_GT(taken, 1000);
}

// A date, a time of day without colons up to seven digits, and the rest.
TEST_F(TimeValuesTest, LooksLikeStamp) {
  for (const char* const text : {"20261114", "20261114x205754", "123456789",
                                 "20261114T205754", "yesterday"})
    EXPECT_TRUE(LooksLikeStamp(text)) << text;
  for (const char* const text : {"", "0", "1234567", "596523:14:07", "1:x:3"})
    EXPECT_FALSE(LooksLikeStamp(text)) << text;
}

}  // namespace
}  // namespace fairlead::tool::time_command::time_values_test
