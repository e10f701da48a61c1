// The text helpers: every listed case, then random texts against a second way.
#include "fairlead/text/strings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace fairlead {
namespace {

using namespace std::string_literals;       // Texts may hold zero bytes.
using namespace std::string_view_literals;  // So may sets.

using testing::Each;

constexpr char kDigits[] = "0123456789";

constexpr int kRounds = 200'000;

// A text of at most `longest` bytes of `alphabet`.
std::string RandomText(std::mt19937& random, std::string_view alphabet,
                       std::size_t longest) {
  std::string text(random() % (longest + 1), '\0');
  for (char& c : text) c = alphabet[random() % alphabet.size()];
  return text;
}

std::string AllBytes() {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  return bytes;
}

template <typename Number>
std::string Printed(const char* format, Number number) {
  std::array<char, 64> text;
  const int length =
      std::snprintf(text.data(), text.size(), format, number);  // NOLINT
  return {text.data(), static_cast<std::size_t>(length)};
}

// --- Trim, TrimStr ---------------------------------------------------------

struct TrimCase {
  std::string_view text;
  std::string_view set;
  int mode;
  std::string_view trimmed;
};

constexpr TrimCase kTrimCases[] = {
    {"  a b  ", " ", 0, "a b"},
    {"  a b  ", " ", 1, "a b  "},
    {"  a b  ", " ", 2, "  a b"},
    {"  a b  ", " ", -1, "a b"},
    {"  a b  ", " ", 3, "  a b"},
    {"  a b  ", " ", INT_MAX, "  a b"},
    {"  a b  ", " ", INT_MIN, "a b"},
    {"   ", " ", 0, ""},  // nothing but the set: empty, whatever the mode
    {"   ", " ", 1, ""},
    {"   ", " ", 2, ""},
    {"   ", " ", -1, ""},
    {"", " ", 0, ""},
    {"", " ", 1, ""},
    {"", " ", 2, ""},
    {"", "", 0, ""},
    {" a ", "", 0, " a "},  // an empty set cuts nothing
    {"a", " ", 0, "a"},
    {"a", "a", 1, ""},
    {"xyaxbyx", "xy", 0, "axb"},  // the set is unordered
    {"xyaxbyx", "yxxy", 0, "axb"},
    {" \tx\t ", "\t ", 1, "x\t "},
    {" \tx\t ", "\t ", 2, " \tx"},
    {"\0 a\0b \0"sv, "\0 "sv, 0, "a\0b"sv},  // zero is a byte like others
    {"\0a\0"sv, " ", 0, "\0a\0"sv},
    {"\x80\xFF-\xFF\x80", "\xFF\x80", 0, "-"},  // and so are the high ones
    {"\x7F\x80\xFF", "\xFF", 2, "\x7F\x80"},
};

TEST(TrimTest, CutsWhatTheModeSays) {
  for (const TrimCase& c : kTrimCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << "\" set \""
                                    << c.set << "\" mode " << c.mode);
    std::string text(c.text);
    Trim(text, c.set, c.mode);
    EXPECT_EQ(text, c.trimmed);
    EXPECT_EQ(TrimStr(c.text, c.set, c.mode), c.trimmed);
  }
}

TEST(TrimTest, TheSetMayBeTheTextItself) {
  std::string text = "abc";
  Trim(text, text, 1);
  EXPECT_EQ(text, "");
}

TEST(TrimTest, ALongTextIsCutInPlace) {
  std::string text = std::string(500, ' ') + std::string(500, 'x') + "  ";
  const char* const buffer = text.data();
  Trim(text, " ", 0);
  EXPECT_EQ(text, std::string(500, 'x'));
  EXPECT_EQ(text.data(), buffer);
}

// Byte by byte, with a std::set and no search function.
std::string NaiveTrim(std::string text, const std::string& set, int mode) {
  const std::set<char> members(set.begin(), set.end());
  if (std::all_of(text.begin(), text.end(),
                  [&](char c) { return members.contains(c); }))
    return "";
  const bool left = mode == 1 || mode <= 0;
  const bool right = mode >= 2 || mode <= 0;
  while (left && members.contains(text.front())) text.erase(text.begin());
  while (right && members.contains(text.back())) text.pop_back();
  return text;
}

TEST(TrimTest, RandomTextsAgreeWithANaiveTrim) {
  std::mt19937 random(11);
  for (int i = 0; i < kRounds / 2; ++i) {
    const std::string text = RandomText(random, "ab \0\x80\xFF"sv, 12);
    const std::string set = RandomText(random, "ab \0\x80\xFF"sv, 3);
    const int mode = static_cast<int>(random() % 6) - 2;
    std::string ours = text;
    Trim(ours, set, mode);
    ASSERT_EQ(ours, NaiveTrim(text, set, mode)) << "seed 11, round " << i;
    ASSERT_EQ(TrimStr(text, set, mode), ours) << "seed 11, round " << i;
  }
}

// --- DecTrim ---------------------------------------------------------------

struct DecTrimCase {
  std::string_view text;
  std::string_view set;
  std::string_view kept;
};

constexpr DecTrimCase kDecTrimCases[] = {
    {"ab12x34cd", kDigits, "12x34"},
    {"abc", kDigits, ""},
    {"7", kDigits, "7"},
    {"", kDigits, ""},
    {"a7", kDigits, "7"},
    {"7a", kDigits, "7"},
    {"123", kDigits, "123"},
    {"abc", "", ""},
    {"", "", ""},
    {"a\0b1"sv, "1", "1"},
    {"1\0b1a"sv, "1", "1\0b1"sv},  // a zero in the text is kept
    {"x\0y1z"sv, "1\0xy"sv, "1"},  // one in the set ends it
    {"x\0y"sv, "\0x"sv, ""},       // even at its start
    {"a\xFF-\x80z", "\x80\xFF", "\xFF-\x80"},
};

TEST(DecTrimTest, KeepsFromTheFirstToTheLastMember) {
  for (const DecTrimCase& c : kDecTrimCases) {
    SCOPED_TRACE(testing::Message()
                 << "text \"" << c.text << "\" set \"" << c.set << '"');
    EXPECT_EQ(DecTrim(c.text, c.set), c.kept);
  }
}

std::string NaiveDecTrim(std::string text, const std::string& set) {
  std::set<char> members;
  for (std::size_t i = 0; i < set.size() && set[i] != '\0'; ++i)
    members.insert(set[i]);
  while (!text.empty() && !members.contains(text.front()))
    text.erase(text.begin());
  while (!text.empty() && !members.contains(text.back())) text.pop_back();
  return text;
}

TEST(DecTrimTest, RandomTextsAgreeWithANaiveOne) {
  std::mt19937 random(12);
  for (int i = 0; i < kRounds / 2; ++i) {
    const std::string text = RandomText(random, "ab1\0\x80\xFF"sv, 12);
    const std::string set = RandomText(random, "ab1\0\x80\xFF"sv, 3);
    ASSERT_EQ(DecTrim(text, set), NaiveDecTrim(text, set))
        << "seed 12, round " << i;
  }
}

// --- MakeUpper, MakeLower --------------------------------------------------

TEST(CaseTest, OnlyLettersChange) {
  EXPECT_EQ(MakeUpper("az AZ 09 [`{@"), "AZ AZ 09 [`{@");
  EXPECT_EQ(MakeLower("az AZ 09 [`{@"), "az az 09 [`{@");
  EXPECT_EQ(MakeUpper(""), "");
  EXPECT_EQ(MakeLower(""), "");
  EXPECT_EQ(MakeUpper("a\0b"s), "A\0B"s);
  EXPECT_EQ(MakeLower("A\0B"s), "a\0b"s);
  EXPECT_EQ(MakeUpper("\xE4\xFF\x80"), "\xE4\xFF\x80");
  EXPECT_EQ(MakeLower("\xC4\xFF\x80"), "\xC4\xFF\x80");
}

TEST(CaseTest, EveryByteIsTheSystemsAnswer) {
  const std::string bytes = AllBytes();
  const std::string upper = MakeUpper(bytes);
  const std::string lower = MakeLower(bytes);
  ASSERT_EQ(upper.size(), 256U);
  ASSERT_EQ(lower.size(), 256U);
  for (std::size_t i = 0; i < 256; ++i) {
    const auto c = static_cast<unsigned char>(i);
    EXPECT_EQ(upper[i], c >= 'a' && c <= 'z' ? bytes[i - 32] : bytes[i]) << i;
    EXPECT_EQ(lower[i], c >= 'A' && c <= 'Z' ? bytes[i + 32] : bytes[i]) << i;
    EXPECT_EQ(upper[i], static_cast<char>(std::toupper(c))) << i;
    EXPECT_EQ(lower[i], static_cast<char>(std::tolower(c))) << i;
  }
}

// --- Numbers as text -------------------------------------------------------

TEST(NumberToTextTest, Inttostr) {
  EXPECT_EQ(inttostr(0), "0");
  EXPECT_EQ(inttostr(-1), "-1");
  EXPECT_EQ(inttostr(10), "10");
  EXPECT_EQ(inttostr(4294967296), "4294967296");
  EXPECT_EQ(inttostr(INT64_MAX), "9223372036854775807");
  EXPECT_EQ(inttostr(INT64_MIN), "-9223372036854775808");
}

TEST(NumberToTextTest, TwoDigits) {
  EXPECT_EQ(lz2(7), "07");
  EXPECT_EQ(lz2(123), "123");
  EXPECT_EQ(lz2(-5), "-5");  // the sign counts
  EXPECT_EQ(lz2(0), "00");
  EXPECT_EQ(lz2(10), "10");
  EXPECT_EQ(lz2(-12), "-12");
  EXPECT_EQ(lz2(INT_MAX), "2147483647");
  EXPECT_EQ(lz2(INT_MIN), "-2147483648");
}

TEST(NumberToTextTest, SixDigits) {
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
    // Shifted, so that every length comes up.
    const auto wide = static_cast<std::int64_t>(random()) >> (random() % 64);
    const auto number = static_cast<int>(wide);
    ASSERT_EQ(inttostr(wide), Printed("%lld", static_cast<long long>(wide)));
    ASSERT_EQ(lz2(number), Printed("%02d", number));
    ASSERT_EQ(lz6(number), Printed("%06d", number));
  }
}

// --- Numbers as bytes ------------------------------------------------------

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

TEST(NumberToBytesTest, RandomNumbersComeBack) {
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

// --- Pascal strings --------------------------------------------------------

constexpr unsigned char kUntouched = 0xA5;

std::vector<unsigned char> Buffer() {
  std::vector<unsigned char> buffer(300, kUntouched);
  return buffer;
}

TEST(PascalStringTest, EveryLengthComesBackAndNothingMoreIsWritten) {
  std::mt19937 random(15);
  for (std::size_t length = 0; length <= 255; ++length) {
    std::string text(length, '\0');
    for (char& c : text) c = static_cast<char>(random());
    std::vector<unsigned char> buffer = Buffer();
    ASSERT_EQ(WritePascalString(buffer.data(), text),
              static_cast<int>(length) + 1);
    EXPECT_EQ(buffer[0], length);
    EXPECT_THAT(std::vector(buffer.begin() + static_cast<int>(length) + 1,
                            buffer.end()),
                Each(kUntouched));

    std::string back = "replaced";
    EXPECT_EQ(ReadPascalString(buffer.data(), back), static_cast<int>(length));
    EXPECT_EQ(back, text);
  }
}

TEST(PascalStringTest, ALongTextIsCutTo255Bytes) {
  for (const std::size_t length : {256U, 300U, 100'000U}) {
    std::string text(length, 'x');
    text[254] = 'y';
    std::vector<unsigned char> buffer = Buffer();
    EXPECT_EQ(WritePascalString(buffer.data(), text), 256);
    EXPECT_EQ(buffer[0], 255);
    EXPECT_EQ(buffer[256], kUntouched);
    std::string back;
    EXPECT_EQ(ReadPascalString(buffer.data(), back), 255);
    EXPECT_EQ(back, text.substr(0, 255));
  }
}

TEST(PascalStringTest, AnEmptyTextIsOneZeroByte) {
  std::vector<unsigned char> buffer = Buffer();
  EXPECT_EQ(WritePascalString(buffer.data(), ""), 1);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(buffer[1], kUntouched);
  std::string back = "replaced";
  EXPECT_EQ(ReadPascalString(buffer.data(), back), 0);
  EXPECT_EQ(back, "");
}

TEST(PascalStringTest, ZeroBytesAreText) {
  std::vector<unsigned char> buffer = Buffer();
  EXPECT_EQ(WritePascalString(buffer.data(), "\0a\0"s), 4);
  EXPECT_THAT(std::vector(buffer.begin(), buffer.begin() + 5),
              testing::ElementsAre(3, 0, 'a', 0, kUntouched));
  std::string back;
  EXPECT_EQ(ReadPascalString(buffer.data(), back), 3);
  EXPECT_EQ(back, "\0a\0"s);
}

TEST(PascalStringTest, ABufferIsWalkedByAddingOne) {
  std::vector<unsigned char> buffer = Buffer();
  int at = 0;
  for (const char* text : {"one", "", "three"})
    at += WritePascalString(buffer.data() + at, text);
  EXPECT_EQ(at, 11);

  std::vector<std::string> texts(3);
  at = 0;
  for (std::string& text : texts)
    at += ReadPascalString(buffer.data() + at, text) + 1;
  EXPECT_EQ(at, 11);
  EXPECT_THAT(texts, testing::ElementsAre("one", "", "three"));
}

TEST(PascalStringTest, TheTextMayStandInTheBuffer) {
  std::array<unsigned char, 5> buffer = {'a', 'b', 'c', 'd', kUntouched};
  const std::string_view text(reinterpret_cast<const char*>(buffer.data()), 3);
  EXPECT_EQ(WritePascalString(buffer.data(), text), 4);
  EXPECT_THAT(buffer, testing::ElementsAre(3, 'a', 'b', 'c', kUntouched));
}

// --- getval ----------------------------------------------------------------

struct GetvalCase {
  std::string_view text;
  bool read;
  int target;  // Afterwards; it starts at 77.
};

constexpr GetvalCase kGetvalCases[] = {
    {"12", true, 12},
    {"12abc", true, 12},  // what follows is not looked at
    {"12 13", true, 12},
    {"12.9", true, 12},
    {"1,234", true, 1},
    {" 7", true, 7},
    {" \t\n\v\f\r7", true, 7},
    {"+7", true, 7},
    {"-3", true, -3},
    {"-0", true, 0},
    {"007", true, 7},
    {"0x10", true, 0},  // decimal alone
    {"010", true, 10},
    {"2147483647", true, INT_MAX},
    {"-2147483648", true, INT_MIN},
    {"00000000000000000000000000005", true, 5},
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
    {"\0005"sv, false, 0},  // a zero byte is no white space
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

TEST(GetvalTest, ReadsANumberOrLeavesWhatAStreamWould) {
  for (const GetvalCase& c : kGetvalCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    int target = 77;
    EXPECT_EQ(getval<int>(c.text, target), c.read);
    EXPECT_EQ(target, c.target);
  }
}

TEST(GetvalTest, FallsBackOnTheDefault) {
  for (const GetvalCase& c : kGetvalCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    int target = 77;
    const bool read = getval<int, int>(c.text, target, 5);
    EXPECT_EQ(read, c.read);
    EXPECT_EQ(target, c.read ? c.target : 5);
  }
}

// Mostly what a number could be made of, sometimes a limit or any byte.
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
      text += RandomText(random, kDigits, random() % 2 == 0 ? 22 : 12);
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
  EXPECT_GT(numbers, kRounds / 4);  // Both outcomes are common.
  EXPECT_LT(numbers, kRounds / 4 * 3);
}

TEST(GetvalTest, AVeryLongNumberIsReadToItsEndWithoutOverflow) {
  int target = 0;
  EXPECT_FALSE(getval<int>(std::string(100'000, '9'), target));
  EXPECT_EQ(target, INT_MAX);
  EXPECT_TRUE(getval<int>(std::string(100'000, '0') + "8", target));
  EXPECT_EQ(target, 8);
}

// --- What may be passed ----------------------------------------------------

// Every kind of text a caller may hold is taken by every function.
template <typename Text>
void TakesText(const Text& text, const Text& set) {
  std::string trimmed = "xax";
  Trim(trimmed, set, 0);
  EXPECT_EQ(trimmed, "a");
  EXPECT_EQ(TrimStr(text, set, 0), "7");
  EXPECT_EQ(DecTrim(text, set), "x7x");
  EXPECT_EQ(MakeUpper(text), "X7X");
  EXPECT_EQ(MakeLower(text), "x7x");
  std::array<unsigned char, 4> buffer{};
  EXPECT_EQ(WritePascalString(buffer.data(), text), 4);
  int target = 1;
  EXPECT_FALSE(getval<int>(text, target));
  EXPECT_EQ(target, 0);
  const bool read = getval<int, int>(text, target, 9);
  EXPECT_FALSE(read);
  EXPECT_EQ(target, 9);
}

TEST(ParametersTest, StringsLiteralsAndViewsAreTaken) {
  TakesText("x7x"s, "x"s);
  TakesText("x7x"sv, "x"sv);
  TakesText<const char*>("x7x", "x");
  EXPECT_EQ(TrimStr("  a ", " ", 0), "a");
  EXPECT_EQ(MakeUpper(MakeLower("aB")), "AB");
}

}  // namespace
}  // namespace fairlead
