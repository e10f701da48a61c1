// Trimming, case and Pascal strings: listed cases, then random texts against a
// naive implementation.

#include "fairlead/text/strings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/text/strings_testing.h"

namespace fairlead::internal::strings_test {
namespace {

using namespace std::string_literals;       // Texts may hold zero bytes.
using namespace std::string_view_literals;  // So may sets.

using testing::Each;

constexpr char kDigits[] = "0123456789";

constexpr int kRounds = 100'000;

std::string AllBytes() {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  return bytes;
}

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
    {"   ", " ", 0, ""},  // nothing but the set: empty in every mode
    {"   ", " ", 1, ""},
    {"   ", " ", 2, ""},
    {"   ", " ", -1, ""},
    {"", " ", 0, ""},
    {"", " ", 1, ""},
    {"", " ", 2, ""},
    {"", "", 0, ""},
    {" a ", "", 0, " a "},  // an empty set removes nothing
    {"a", " ", 0, "a"},
    {"a", "a", 1, ""},
    {"xyaxbyx", "xy", 0, "axb"},  // the set is unordered
    {"xyaxbyx", "yxxy", 0, "axb"},
    {" \tx\t ", "\t ", 1, "x\t "},
    {" \tx\t ", "\t ", 2, " \tx"},
    {"\0 a\0b \0"sv, "\0 "sv, 0, "a\0b"sv},  // zero is a byte like any other
    {"\0a\0"sv, " ", 0, "\0a\0"sv},
    {"\x80\xFF-\xFF\x80", "\xFF\x80", 0, "-"},  // and so are high bytes
    {"\x7F\x80\xFF", "\xFF", 2, "\x7F\x80"},
};

TEST(TrimTest, TrimsTheEndsThatTheModeNames) {
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

TEST(TrimTest, ALongTextIsTrimmedInPlace) {
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

TEST(TrimTest, ASetOfAnySizeIsSearched) {
  const std::string text = "abcdefghij-jihgfedcba";
  EXPECT_EQ(TrimStr(text, "abcdefg", 0), "hij-jih");
  EXPECT_EQ(TrimStr(text, "abcdefgh", 0), "ij-ji");
  EXPECT_EQ(TrimStr(text, "abcdefghi", 0), "j-j");
  EXPECT_EQ(TrimStr("\0a\0"s, "ab", 0), "\0a\0"s);  // no member is a zero
}

TEST(TrimTest, RandomTextsAgreeWithANaiveTrim) {
  std::mt19937 random(11);
  for (int i = 0; i < kRounds; ++i) {
    // The first and last eight bytes are searched in one step.
    const std::string text = RandomText(random, "ab \0\x80\xFF"sv, 12) +
                             RandomText(random, "a", i % 8 == 0 ? 20 : 0);
    // Up to eight members are searched in one step.
    const std::string set =
        RandomText(random, "ab \0\x80\xFF\x7F\x01\x81"sv, i % 2 == 0 ? 3 : 10);
    const int mode = static_cast<int>(random() % 6) - 2;
    std::string ours = text;
    Trim(ours, set, mode);
    ASSERT_EQ(ours, NaiveTrim(text, set, mode)) << "seed 11, round " << i;
    ASSERT_EQ(TrimStr(text, set, mode), ours) << "seed 11, round " << i;
  }
}

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

TEST(DecTrimTest, RandomTextsAgreeWithANaiveSearch) {
  std::mt19937 random(12);
  for (int i = 0; i < kRounds; ++i) {
    const std::string text = RandomText(random, "ab1\0\x80\xFF"sv, 12);
    const std::string set = RandomText(random, "ab1\0\x80\xFF"sv, 3);
    ASSERT_EQ(DecTrim(text, set), NaiveDecTrim(text, set))
        << "seed 12, round " << i;
  }
}

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

TEST(CaseTest, EveryByteIsConvertedAsTheSystemDoes) {
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

// The system's UTF-8 locale converts single bytes as "C" does, by other tables.
class CTypeLocale {
 public:
  explicit CTypeLocale(const char* name)
      : locale_(newlocale(LC_CTYPE_MASK, name, nullptr)) {
    if (locale_ != nullptr) uselocale(locale_);
  }
  ~CTypeLocale() {
    uselocale(LC_GLOBAL_LOCALE);
    if (locale_ != nullptr) freelocale(locale_);
  }
  CTypeLocale(const CTypeLocale&) = delete;
  CTypeLocale& operator=(const CTypeLocale&) = delete;

 private:
  const locale_t locale_;
};

TEST(CaseTest, RandomTextsAreConvertedAsTheSystemDoes) {
  std::mt19937 random(17);
  for (const char* const name : {"C", "C.UTF-8"}) {
    const CTypeLocale locale(name);
    for (int i = 0; i < 10'000; ++i) {
      const std::string text =
          RandomText(random, AllBytes(), static_cast<std::size_t>(i % 40));
      std::string upper = text;
      std::string lower = text;
      for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      ASSERT_EQ(MakeUpper(text), upper) << name << ", seed 17, round " << i;
      ASSERT_EQ(MakeLower(text), lower) << name << ", seed 17, round " << i;
    }
  }
}

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

TEST(PascalStringTest, ALongTextIsTruncatedTo255Bytes) {
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

TEST(PascalStringTest, TheNextStringBeginsOneByteAfterTheLength) {
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

TEST(PascalStringTest, TheTextMayBeInTheBuffer) {
  std::array<unsigned char, 5> buffer = {'a', 'b', 'c', 'd', kUntouched};
  const std::string_view text(reinterpret_cast<const char*>(buffer.data()), 3);
  EXPECT_EQ(WritePascalString(buffer.data(), text), 4);
  EXPECT_THAT(buffer, testing::ElementsAre(3, 'a', 'b', 'c', kUntouched));
}

// Calls every function with a text of type `Text`.
template <typename Text>
void ExpectAccepted(const Text& text, const Text& set) {
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

TEST(ParametersTest, StringsLiteralsAndViewsAreAccepted) {
  ExpectAccepted("x7x"s, "x"s);
  ExpectAccepted("x7x"sv, "x"sv);
  ExpectAccepted<const char*>("x7x", "x");
  EXPECT_EQ(TrimStr("  a ", " ", 0), "a");
  EXPECT_EQ(MakeUpper(MakeLower("aB")), "AB");
}

}  // namespace
}  // namespace fairlead::internal::strings_test
