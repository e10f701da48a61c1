// Numbers as text, as bytes and from text: listed cases, then random ones
// against printf and streams.

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/text/strings.h"
#include "fairlead/text/strings_testing.h"

namespace fairlead::internal::strings_numbers_test {
namespace {

using namespace std::string_literals;  // Texts may hold zero bytes.
using namespace std::string_view_literals;

constexpr int kRounds = 200'000;

template <typename Number>
std::string Printed(const char* format, Number number) {
  std::array<char, 64> text;
  const int length =
      std::snprintf(text.data(), text.size(), format, number);  // NOLINT
  return {text.data(), static_cast<std::size_t>(length)};
}

TEST(NumberToTextTest, WritesDecimals) {
  EXPECT_EQ(inttostr(0), "0");
  EXPECT_EQ(inttostr(-1), "-1");
  EXPECT_EQ(inttostr(10), "10");
  EXPECT_EQ(inttostr(4294967296), "4294967296");
  EXPECT_EQ(inttostr(99'999'999), "99999999");
  EXPECT_EQ(inttostr(100'000'000), "100000000");
  EXPECT_EQ(inttostr(-99'999'999), "-99999999");
  EXPECT_EQ(inttostr(-100'000'000), "-100000000");
  EXPECT_EQ(inttostr(9'999'999'999'999'999), "9999999999999999");
  EXPECT_EQ(inttostr(10'000'000'000'000'000), "10000000000000000");
  EXPECT_EQ(inttostr(-10'000'000'000'000'000), "-10000000000000000");
  EXPECT_EQ(inttostr(INT64_MAX), "9223372036854775807");
  EXPECT_EQ(inttostr(INT64_MIN), "-9223372036854775808");
}

TEST(NumberToTextTest, PadsToTwoCharacters) {
  EXPECT_EQ(lz2(7), "07");
  EXPECT_EQ(lz2(123), "123");
  EXPECT_EQ(lz2(-5), "-5");  // the sign counts
  EXPECT_EQ(lz2(0), "00");
  EXPECT_EQ(lz2(10), "10");
  EXPECT_EQ(lz2(-12), "-12");
  EXPECT_EQ(lz2(INT_MAX), "2147483647");
  EXPECT_EQ(lz2(INT_MIN), "-2147483648");
}

TEST(NumberToTextTest, PadsToSixCharacters) {
  EXPECT_EQ(lz6(42), "000042");
  EXPECT_EQ(lz6(-5), "-00005");
  EXPECT_EQ(lz6(0), "000000");
  EXPECT_EQ(lz6(99999), "099999");
  EXPECT_EQ(lz6(-99999), "-99999");
  EXPECT_EQ(lz6(100000), "100000");
  EXPECT_EQ(lz6(-100000), "-100000");
  EXPECT_EQ(lz6(1234567), "1234567");
  EXPECT_EQ(lz6(INT_MIN), "-2147483648");
}

TEST(NumberToTextTest, AgreesWithPrintf) {
  std::mt19937_64 random(13);
  for (int i = 0; i < kRounds; ++i) {
    // Shifted, so that every length occurs.
    const auto wide = static_cast<std::int64_t>(random()) >> (random() % 64);
    const auto number = static_cast<int>(wide);
    ASSERT_EQ(inttostr(wide), Printed("%lld", static_cast<long long>(wide)));
    ASSERT_EQ(lz2(number), Printed("%02d", number));
    ASSERT_EQ(lz6(number), Printed("%06d", number));
  }
}

TEST(NumberToBytesTest, TheTwoOrdersDiffer) {
  EXPECT_EQ(int2str(16909060), "\x01\x02\x03\x04");
  EXPECT_EQ(INT2STR(16909060), "\x04\x03\x02\x01");
  EXPECT_EQ(int2str(0), "\0\0\0\0"s);
  EXPECT_EQ(INT2STR(0), "\0\0\0\0"s);
  EXPECT_EQ(int2str(-1), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(INT2STR(-1), "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(int2str(-2), "\xFF\xFF\xFF\xFE");
  EXPECT_EQ(INT2STR(-2), "\xFE\xFF\xFF\xFF");
  EXPECT_EQ(int2str(256), "\0\0\x01\0"s);
  EXPECT_EQ(INT2STR(256), "\0\x01\0\0"s);
  EXPECT_EQ(int2str(INT_MIN), "\x80\0\0\0"s);
  EXPECT_EQ(INT2STR(INT_MIN), "\0\0\0\x80"s);
  EXPECT_EQ(int2str(INT_MAX), "\x7F\xFF\xFF\xFF");
}

TEST(NumberToBytesTest, RandomNumbersSurviveARoundTrip) {
  std::mt19937 random(14);
  for (int i = 0; i < kRounds / 10; ++i) {
    const auto number = static_cast<std::uint32_t>(random());
    const std::string big = int2str(static_cast<int>(number));
    ASSERT_EQ(big.size(), 4U);
    std::uint32_t back = 0;
    for (const char c : big) back = back * 256 + static_cast<unsigned char>(c);
    ASSERT_EQ(back, number);
    ASSERT_EQ(INT2STR(static_cast<int>(number)),
              std::string(big.rbegin(), big.rend()));
  }
}

struct GetvalCase {
  std::string_view text;
  bool read;
  int target;  // Afterwards; it starts at 77.
};

constexpr GetvalCase kGetvalCases[] = {
    {"12", true, 12},
    {"12abc", true, 12},  // what follows is ignored
    {"12 13", true, 12},
    {"12.9", true, 12},
    {"1,234", true, 1},
    {" 7", true, 7},
    {" \t\n\v\f\r7", true, 7},
    {"+7", true, 7},
    {"-3", true, -3},
    {"-0", true, 0},
    {"007", true, 7},
    {"0x10", true, 0},  // decimal only
    {"010", true, 10},
    {"2147483647", true, INT_MAX},
    {"-2147483648", true, INT_MIN},
    {"00000000000000000000000000005", true, 5},
    {"1234567", true, 1234567},
    {"12345678", true, 12345678},
    {"-12345678", true, -12345678},
    {"123456789", true, 123456789},
    {"1234567x9", true, 1234567},
    {"12345678x", true, 12345678},
    {"1234567/", true, 1234567},  // the bytes next to the digits
    {"1234567:", true, 1234567},
    {"/", false, 0},
    {":1234567", false, 0},
    {"5\0"sv, true, 5},
    {"5\xFF", true, 5},
    {"", false, 77},  // nothing was extracted: the target is kept
    {"   ", false, 77},
    {"\t\n", false, 77},
    {"abc", false, 0},  // no digit: zero
    {"x", false, 0},
    {" x", false, 0},
    {"-", false, 0},
    {"+", false, 0},
    {"--5", false, 0},
    {"+-5", false, 0},
    {"- 5", false, 0},
    {".5", false, 0},
    {"\0005"sv, false, 0},  // a zero byte is not whitespace
    {"\xA0"
     "5",
     false, 0},  // nor is any high byte
    {"\x85"
     "5",
     false, 0},
    {"2147483648", false, INT_MAX},  // out of range: the nearest
    {"-2147483649", false, INT_MIN},
    {"4294967296", false, INT_MAX},
    {"9223372036854775807", false, INT_MAX},
    {"9223372036854775808", false, INT_MAX},
    {"-9223372036854775808", false, INT_MIN},
    {"-9223372036854775809", false, INT_MIN},
    {"99999999999999999999999999999999", false, INT_MAX},
    {"-99999999999999999999999999999999", false, INT_MIN},
};

TEST(GetvalTest, ReadsANumberOrFailsLikeAStream) {
  for (const GetvalCase& c : kGetvalCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    int target = 77;
    EXPECT_EQ(getval<int>(c.text, target), c.read);
    EXPECT_EQ(target, c.target);
  }
}

TEST(GetvalTest, UsesTheDefaultOnFailure) {
  for (const GetvalCase& c : kGetvalCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    int target = 77;
    const bool read = getval<int, int>(c.text, target, 5);
    EXPECT_EQ(read, c.read);
    EXPECT_EQ(target, c.read ? c.target : 5);
  }
}

// Mostly digits and signs, sometimes a limit or any byte.
std::string RandomNumberText(std::mt19937& random) {
  static constexpr std::string_view kLimits[] = {
      "2147483647",          "2147483648",          "2147483649",
      "4294967295",          "4294967296",          "9223372036854775807",
      "9223372036854775808", "18446744073709551616"};
  std::string text =
      RandomText(random, " \t\n\v\f\r", random() % 4 == 0 ? 3 : 0);
  text += RandomText(random, "+-", random() % 4 == 0 ? 2 : 1);
  text += RandomText(random, "0", random() % 8 == 0 ? 20 : 0);
  switch (random() % 4) {
    case 0:
      text += kLimits[random() % std::size(kLimits)];
      if (random() % 4 == 0) text.pop_back();
      break;
    case 1:
      text += RandomText(random, " +-0159x,.\0\x80\xA0\xFF"sv, 4);
      break;
    default:
      text += RandomText(random, "0123456789", random() % 2 == 0 ? 22 : 12);
  }
  if (random() % 4 == 0 && !text.empty())
    text[random() % text.size()] = static_cast<char>(random());
  return text;
}

TEST(GetvalTest, RandomTextsAgreeWithAStream) {
  std::mt19937 random(16);
  int numbers = 0;
  for (int i = 0; i < kRounds; ++i) {
    const std::string text = RandomNumberText(random);
    const auto start = static_cast<int>(random());
    std::istringstream stream(text);
    int expected = start;
    stream >> expected;
    const bool read = !stream.fail() && !stream.bad();
    numbers += read ? 1 : 0;

    int target = start;
    ASSERT_EQ(getval<int>(text, target), read)
        << "seed 16, round " << i << ", text \"" << text << '"';
    ASSERT_EQ(target, expected)
        << "seed 16, round " << i << ", text \"" << text << '"';

    target = start;
    const auto fallback = static_cast<int>(random());
    const bool again = getval<int, int>(text, target, fallback);
    ASSERT_EQ(again, read);
    ASSERT_EQ(target, read ? expected : fallback);
  }
  EXPECT_GT(numbers, kRounds / 4);  // Both results are common.
  EXPECT_LT(numbers, kRounds / 4 * 3);
}

// A byte beyond the text would be one of the digits, or not the program's.
TEST(GetvalTest, NothingIsReadBeyondTheText) {
  constexpr std::string_view kDigits = "9876543219876543";
  int expected = 0;
  for (std::size_t size = 1; size <= 9; ++size) {
    const std::vector<char> text(kDigits.begin(),
                                 kDigits.begin() + static_cast<long>(size));
    expected = expected * 10 + (text.back() - '0');
    int target = 0;
    EXPECT_TRUE(getval<int>({text.data(), size}, target));
    EXPECT_EQ(target, expected);
    EXPECT_TRUE(getval<int>(kDigits.substr(0, size), target));
    EXPECT_EQ(target, expected);
  }
}

TEST(GetvalTest, AVeryLongNumberIsReadToItsEndWithoutOverflow) {
  int target = 0;
  EXPECT_FALSE(getval<int>(std::string(100'000, '9'), target));
  EXPECT_EQ(target, INT_MAX);
  EXPECT_TRUE(getval<int>(std::string(100'000, '0') + "8", target));
  EXPECT_EQ(target, 8);
}

}  // namespace
}  // namespace fairlead::internal::strings_numbers_test
