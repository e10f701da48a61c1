// Times of day: every second of a day, every short text, and the extremes.

#include "fairlead/time/time_of_day.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "fairlead/testing/sanitizers.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace fairlead::time_of_day_test {
namespace {

constexpr unsigned kSeed = 20261114;
constexpr int kMax = std::numeric_limits<int>::max();
constexpr int kMin = std::numeric_limits<int>::min();

static_assert(sizeof(CTimeOfDay) == 4);
static_assert(std::is_same_v<decltype(CTimeOfDay::seconds), std::int32_t>);
static_assert(std::is_same_v<decltype(CTimeOfDay().GetSeconds()), int>);
static_assert(std::is_same_v<decltype(CTimeOfDay().GetStamp()), unsigned int>);
static_assert(std::is_trivially_copyable_v<CTimeOfDay>);
static_assert(std::is_standard_layout_v<CTimeOfDay>);

struct Loaded {
  bool taken;
  int seconds;

  bool operator==(const Loaded& other) const = default;
};

void PrintTo(const Loaded& loaded, std::ostream* out) {
  *out << (loaded.taken ? "taken, " : "refused, ") << loaded.seconds;
}

constexpr int kBefore = -7654321;

Loaded Load(std::string_view text) {
  CTimeOfDay time{kBefore};
  const bool taken = time.LoadFromString(text);
  return {taken, time.GetSeconds()};
}

// What a stream reads from the text.
Loaded ByStream(std::string text) {
  if (text.empty()) return {false, kBefore};
  const bool plain = text.find(':') == std::string::npos;
  std::replace(text.begin(), text.end(), ':', ' ');
  std::istringstream in(text);
  int number = 0;
  if (plain) {
    const bool read = !(in >> number).fail();
    return {read, read ? number : 0};
  }

  std::vector<std::int64_t> numbers;
  while (numbers.size() < 3 && !in.eof() && !in.fail()) {
    in >> number;
    if (!in.fail()) numbers.push_back(number);
  }
  std::int64_t weight = 1;
  std::int64_t total = 0;
  for (; !numbers.empty(); numbers.pop_back()) {
    total += weight * numbers.back();
    weight *= 60;
  }
  return {true, static_cast<std::int32_t>(total)};  // Modulo 2^32.
}

std::string Printed(std::int64_t hours, std::int64_t minutes,
                    std::int64_t seconds) {
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d",
                static_cast<int>(hours), static_cast<int>(minutes),
                static_cast<int>(seconds));
  return text.data();
}

TEST(TimeOfDayTest, StartsAtMidnight) {
  const CTimeOfDay time;
  EXPECT_EQ(time.seconds, 0);
  EXPECT_EQ(time.GetStampString(), "00:00:00");
}

TEST(TimeOfDayTest, WritesEverySecondOfADay) {
  CTimeOfDay time;
  for (unsigned hour = 0; hour < 24; ++hour) {
    for (unsigned minute = 0; minute < 60; ++minute) {
      for (unsigned second = 0; second < 60; ++second) {
        ASSERT_EQ(time.GetStamp(), hour * 10000 + minute * 100 + second);
        const std::string text = Printed(hour, minute, second);
        ASSERT_EQ(time.GetStampString(), text);
        CTimeOfDay back;
        ASSERT_TRUE(back.LoadFromString(text));
        ASSERT_EQ(back.seconds, time.seconds);
        ++time.seconds;
      }
    }
  }
  EXPECT_EQ(time.seconds, 86400);
}

struct TextCase {
  int seconds;
  const char* plain;
  unsigned stamp;
  const char* text;
};

constexpr TextCase kTextCases[] = {
    {0, "0", 0, "00:00:00"},
    {3723, "3723", 10203, "01:02:03"},
    {47109, "47109", 130509, "13:05:09"},
    {86399, "86399", 235959, "23:59:59"},
    {86400, "86400", 240000, "24:00:00"},
    {90000, "90000", 250000, "25:00:00"},  // hours are not limited
    {359999, "359999", 995959, "99:59:59"},
    {360000, "360000", 1000000, "100:00:00"},
    {3600000, "3600000", 10000000, "1000:00:00"},
    {-1, "-1", 4294967295, "00:00:-1"},  // each part has its own sign
    {-59, "-59", 4294967237, "00:00:-59"},
    {-60, "-60", 4294967196, "00:-1:00"},
    {-3600, "-3600", 4294957296, "-1:00:00"},
    {-3723, "-3723", 4294957093, "-1:-2:-3"},
    {-86399, "-86399", 4294731337, "-23:-59:-59"},
    // Hours * 10000 exceeds 32 bits.
    {1546189199, "1546189199", 4294965959, "429496:59:59"},
    {1546189200, "1546189200", 2704, "429497:00:00"},
    {kMax, "2147483647", 1670264111, "596523:14:07"},
    {kMin, "-2147483648", 2624703184, "-596523:-14:-8"},
};

TEST(TimeOfDayTest, WritesAnyCount) {
  for (const TextCase& c : kTextCases) {
    SCOPED_TRACE(c.seconds);
    const CTimeOfDay time{c.seconds};
    EXPECT_EQ(time.GetSeconds(), c.seconds);
    EXPECT_EQ(time.GetSecondsString(), c.plain);
    EXPECT_EQ(time.GetStamp(), c.stamp);
    EXPECT_EQ(time.GetStampString(), c.text);
  }
}

TEST(TimeOfDayTest, WritesRandomCountsAsByWideArithmetic) {
  std::mt19937 random(kSeed);
  for (int i = 0; i < internal::Rounds(100'000); ++i) {
    const CTimeOfDay time{static_cast<std::int32_t>(random()) >> random() % 24};
    SCOPED_TRACE(testing::Message()
                 << "seed " << kSeed << ", " << time.seconds);
    const std::int64_t sign = time.seconds < 0 ? -1 : 1;
    std::int64_t rest = sign * time.seconds;
    const std::int64_t hours = sign * (rest / 3600);
    rest %= 3600;
    const std::int64_t minutes = sign * (rest / 60);
    const std::int64_t seconds = sign * (rest % 60);
    ASSERT_EQ(time.GetStampString(), Printed(hours, minutes, seconds));
    ASSERT_EQ(time.GetStamp(), static_cast<std::uint32_t>(
                                   hours * 10000 + minutes * 100 + seconds));
    ASSERT_EQ(time.GetSecondsString(), std::to_string(time.seconds));
  }
}

TEST(TimeOfDayTest, AddsAndSubtractsPastMidnight) {
  const CTimeOfDay late{86399};
  const CTimeOfDay two{2};
  EXPECT_EQ((late + two).seconds, 86401);
  EXPECT_EQ((late + two).GetStampString(), "24:00:01");
  EXPECT_EQ((late - two).seconds, 86397);
  EXPECT_EQ((two - late).seconds, -86397);
  EXPECT_EQ(late.seconds, 86399);
  EXPECT_EQ(two.seconds, 2);
}

TEST(TimeOfDayTest, WrapsAroundAtTheEndsOfTheRange) {
  EXPECT_EQ((CTimeOfDay{kMax} + CTimeOfDay{1}).seconds, kMin);
  EXPECT_EQ((CTimeOfDay{kMin} - CTimeOfDay{1}).seconds, kMax);
  EXPECT_EQ((CTimeOfDay{kMin} + CTimeOfDay{kMin}).seconds, 0);
  EXPECT_EQ((CTimeOfDay{0} - CTimeOfDay{kMin}).seconds, kMin);
}

struct LoadCase {
  const char* text;
  Loaded loaded;
};

constexpr LoadCase kLoadCases[] = {
    {"", {false, kBefore}},  // the count is kept
    {"abc", {false, 0}},     // no colon and no number
    {" ", {false, 0}},       // nor here
    {"-", {false, 0}},
    {"2147483648", {false, 0}},  // more than an int holds
    {"-2147483649", {false, 0}},
    {"45", {true, 45}},  // plain seconds
    {" \t\n\v\f\r+45x", {true, 45}},
    {"-45", {true, -45}},
    {"2147483647", {true, kMax}},
    {"-2147483648", {true, kMin}},
    {"45 12", {true, 45}},  // without a colon there is one number
    {":", {true, 0}},       // nothing around the colon
    {":::", {true, 0}},
    {": abc", {true, 0}},
    {"abc:", {true, 0}},  // any text with a colon is taken
    {"abc:5", {true, 0}},
    {"45:", {true, 45}},  // one number counts seconds
    {":45", {true, 45}},
    {"::45::", {true, 45}},
    {"12:34", {true, 754}},         // minutes, seconds
    {"1:02:03", {true, 3723}},      // hours, minutes, seconds
    {"1:02:03:04", {true, 3723}},   // a fourth number is not read
    {"1:02:03x:04", {true, 3723}},  // nor is what follows the third
    {"1:x:3", {true, 1}},           // reading ends at what is not a number
    {"1:2:x", {true, 62}},
    {"1:2x:3", {true, 62}},  // within a number, too
    {"1:2:3x", {true, 3723}},
    {"1 2:3", {true, 3723}},  // a space separates like a colon
    {"1:\t\n\v\f\r2", {true, 62}},
    {"1:-30", {true, 30}},
    {"-1:-2:-3", {true, -3723}},
    {"1-2:3", {true, 3483}},  // a sign starts a number
    {"+1:+2:+3", {true, 3723}},
    {"1:+ 2", {true, 1}},
    {"1:+-2", {true, 1}},
    {"1:-+2", {true, 1}},
    {"1:++2", {true, 1}},
    {"1:+", {true, 1}},
    {"1:-", {true, 1}},
    {"0x1F:2", {true, 0}},  // a zero, then no number
    {"007:08", {true, 428}},
    {"0:90", {true, 90}},
    {"1:2147483648:3", {true, 1}},  // a failed number does not count
    {"1:-2147483649", {true, 1}},
    {"99999999999999999999:1", {true, 0}},
    {"1:2147483647", {true, kMin + 59}},  // the sum wraps
    {"2147483647:0", {true, -60}},
    {"2147483647:0:0", {true, -3600}},
    {"-2147483648:0:1", {true, 1}},
    {"596523:14:07", {true, kMax}},
    {"596523:14:08", {true, kMin}},
    {"-596523:-14:-8", {true, kMin}},
};

TEST(TimeOfDayTest, LoadsEveryForm) {
  for (const LoadCase& c : kLoadCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    EXPECT_EQ(Load(c.text), c.loaded);
    EXPECT_EQ(ByStream(c.text), c.loaded);
  }
}

TEST(TimeOfDayTest, LoadsStringsLiteralsAndTextsWithZeroBytes) {
  CTimeOfDay time;
  EXPECT_TRUE(time.LoadFromString("1:02"));
  EXPECT_EQ(time.seconds, 62);
  EXPECT_TRUE(time.LoadFromString(std::string("1:03")));
  EXPECT_EQ(time.seconds, 63);
  const std::string zero("1\0:2:3",
                         6);  // A zero byte is neither an end nor a space.
  EXPECT_EQ(Load(zero), (Loaded{true, 1}));
  EXPECT_EQ(ByStream(zero), (Loaded{true, 1}));
}

TEST(TimeOfDayTest, ReadsNothingBeyondTheView) {
  EXPECT_EQ(Load(std::string_view("1:2345").substr(0, 4)), (Loaded{true, 83}));
  EXPECT_EQ(Load(std::string_view("12:34").substr(0, 2)), (Loaded{true, 12}));
  // A byte more would be outside of this memory, which a sanitizer reports.
  const std::vector<char> sign = {'1', ':', '+'};
  EXPECT_EQ(Load({sign.data(), sign.size()}), (Loaded{true, 1}));
}

TEST(TimeOfDayTest, LoadsEveryShortTextAsAStreamDoes) {
  constexpr std::string_view kCharacters = "019:x -";
  std::vector<std::string> texts = {""};
  for (std::size_t i = 0; texts[i].size() <= 5; ++i) {
    const std::string text = texts[i];
    ASSERT_EQ(Load(text), ByStream(text)) << '"' << text << '"';
    for (const char c : kCharacters) texts.push_back(text + c);
  }
}

TEST(TimeOfDayTest, LoadsRandomTextsAsAStreamDoes) {
  using std::string_literals::operator""s;
  const std::string pieces[] = {":",
                                ":",
                                ":",
                                " ",
                                "0",
                                "7",
                                "59",
                                "+",
                                "-",
                                "x",
                                "\t",
                                "\n",
                                "\v",
                                "\f",
                                "\r",
                                "2147483647",
                                "2147483648",
                                "-2147483648",
                                "-2147483649",
                                "9999999999",
                                "0000000001",
                                "12345678901",
                                "-1234567890",
                                "0x1F",
                                "1e3",
                                "1,000",
                                ".",
                                "\0"s,
                                "\xA0",
                                "\xFF",
                                "123456789012345678901234567890"};
  std::mt19937 random(kSeed);
  for (int i = 0; i < internal::Rounds(100'000); ++i) {
    std::string text;
    for (auto left = random() % 10; left > 0; --left)
      text += pieces[random() % std::size(pieces)];
    ASSERT_EQ(Load(text), ByStream(text))
        << "seed " << kSeed << ", text \"" << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace fairlead::time_of_day_test
