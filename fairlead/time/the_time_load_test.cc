// Reading an instant from its compact text: every length, order and failure.

#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

#include "fairlead/testing/sanitizers.h"
#include "fairlead/time/the_time.h"
#include "fairlead/time/the_time_testing.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace fairlead::internal::the_time_load_test {
namespace {

TEST(TheTimeLoadTest, LoadsDateAndTimeOrADateAlone) {
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

// Loads the text and checks that a failure leaves the value unchanged.
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

TEST(TheTimeLoadTest, LoadsTextsOfEveryLength) {
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

TEST(TheTimeLoadTest, ReadsFieldsInOrderAndStopsAtTheFirstFailure) {
  const InZone zone(kUtc);
  struct Case {
    const char* text;
    Outcome outcome;
  };
  constexpr Case kCases[] = {
      {"x", Outcome::kRefused},  // refused before the text's end matters
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
      {"    1114", Outcome::kRefused},  // spaces alone are no number
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

TEST(TheTimeLoadTest, ReadsFieldsAsNumbersAndCarriesValuesOutOfRange) {
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
      {"1x230203",
       "00010203x000000"},  // anything may follow the number in a field
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

TEST(TheTimeLoadTest, AZeroByteIsACharacterOfTheText) {
  const InZone zone(kUtc);
  std::time_t seconds = 0;
  EXPECT_EQ(Load(std::string("20261114\0", 9), seconds), Outcome::kRefused);
  EXPECT_EQ(Load(std::string("20261114\000205754", 15), seconds),
            Outcome::kLoaded);
  EXPECT_EQ(seconds, kEvening);
}

// Reads the compact form by streams and substrings.
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

// Mostly digits; sometimes signs, spaces and bytes that end a number.
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

TEST(TheTimeLoadTest, RandomTextsLoadAsByStreamsAndSubstrings) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  int outcomes[3] = {};
  for (const char* const name : kZones) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    for (int i = 0; i < Rounds(10000); ++i) {
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
  EXPECT_THAT(outcomes, testing::Each(testing::Gt(Rounds(5000))));
}

TEST(TheTimeLoadTest, EveryQuarterHourAroundClockChangesSurvivesARoundTrip) {
  for (const char* const name : kZones) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    // All of 2026, with every clock change of every zone.
    for (std::time_t at = 1767225600; at < 1798761600; at += 900) {
      const TheTime time = At(at);
      TheTime back = At(0);
      ASSERT_TRUE(back.LoadFromString(time.SaveToString()));
      ASSERT_EQ(back.SaveToString(), time.SaveToString());
      // A repeated hour is two instants.
      ASSERT_LE(std::abs(back.Difference(time)), 3600);
    }
  }
}

TEST(TheTimeLoadTest, ASkippedHourIsMovedByTheClockChange) {
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

TEST(TheTimeLoadTest, RandomInstantsSurviveARoundTrip) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937_64 random(kSeed);
  // Zones without clock changes, years -999 to 9999: every instant has its own
  // text of 15 characters.
  std::uniform_int_distribution<std::time_t> instants(-93692505600,
                                                      253402214400);
  for (const char* const name : {kUtc, kKathmandu}) {
    SCOPED_TRACE(name);
    const InZone zone(name);
    for (int i = 0; i < Rounds(20000); ++i) {
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

}  // namespace
}  // namespace fairlead::internal::the_time_load_test
