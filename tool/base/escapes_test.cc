// Tests of the escapes, in both directions.

#include "tool/base/escapes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

using std::string_literals::operator""s;
using testing::StartsWith;

TEST(EscapesTest, UnescapesEveryForm) {
  EXPECT_EQ(Unescaped("", "text"), "");
  EXPECT_EQ(Unescaped("plain words", "text"), "plain words");
  EXPECT_EQ(Unescaped(R"(a\r\n\t\\b)", "text"), "a\r\n\t\\b");
  EXPECT_EQ(Unescaped(R"(\x2d\x00\xfF\x41)", "text"), "-\0\xff"s + "A");
  EXPECT_EQ(Unescaped(R"(\x411)", "text"), "A1");
  EXPECT_EQ(Unescaped(R"(\\x41)", "text"), R"(\x41)");
}

TEST(EscapesTest, RefusesOtherBackslashesByName) {
  for (const char* const text :
       {R"(\)", R"(a\)", R"(\q)", R"(\x)", R"(\x4)", R"(\xg0)", R"(\x0g)",
        R"(\N)", R"(\X41)", R"(\0)"}) {
    SCOPED_TRACE(text);
    try {
      Unescaped(text, "until");
      FAIL() << "accepted";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.status(), kWrongUsage);
      EXPECT_EQ(std::string(failure.what()).find("-until: '\\"), 0U);
    }
  }
}

TEST(EscapesTest, ReadsPairsOfHexadecimalDigits) {
  EXPECT_EQ(FromHex("", "hex"), "");
  EXPECT_EQ(FromHex("00ff10", "hex"), "\0\xff\x10"s);
  EXPECT_EQ(FromHex(" 0a  AF aF ", "hex"), "\n\xaf\xaf");
  EXPECT_EQ(FromHex("00\tff\r\n10\v11\f12", "hex"), "\0\xff\x10\x11\x12"s);
}

TEST(EscapesTest, RefusesInvalidPairsOfDigits) {
  for (const char* const digits :
       {"0", "000", "0 0", "0g", "g0", "0x00", "-1"}) {
    SCOPED_TRACE(digits);
    EXPECT_THROW(FromHex(digits, "hex"), Failure);
  }
}

TEST(EscapesTest, EscapesEveryByteOnOneLine) {
  EXPECT_EQ(Escaped("a b\r\n\t\\\0\x1b\x7f"s), R"(a b\r\n\t\\\x00\x1b\x7f)");
  EXPECT_EQ(Escaped("\xff\x80"), R"(\xff\x80)");
}

TEST(EscapesTest, MakesControlBytesVisible) {
  EXPECT_EQ(Visible("a\tb\r\n\x1b[1m\\\x07\x7f"),
            "a\tb\\r\n\\x1b[1m\\\\x07\\x7f");
}

struct Utf8Case {
  const char* bytes;
  bool kept;
};

constexpr Utf8Case kUtf8Cases[] = {
    {"\xc3\xa9", true},           // two bytes
    {"\xe2\x82\xac", true},       // three
    {"\xe0\xa0\x80", true},       // the first of three
    {"\xdf\xbf", true},           // the last of two
    {"\xef\xbf\xbd", true},       // with the last lead byte of three
    {"\xf0\x9f\x98\x80", true},   // four
    {"\xf4\x8f\xbf\xbf", true},   // the last code point
    {"\xed\x9f\xbf", true},       // before the surrogates
    {"\xc2\xa0", true},           // after the C1 controls
    {"\xc2\x9b", false},          // a C1 control
    {"\xc0\x80", false},          // too long a spelling, two bytes
    {"\xc1\xbf", false},          //
    {"\xe0\x9f\xbf", false},      // three
    {"\xf0\x8f\xbf\xbf", false},  // four
    {"\xed\xa0\x80", false},      // a surrogate
    {"\xf4\x90\x80\x80", false},  // above the last code point
    {"\xf5\x80\x80\x80", false},  //
    {"\xe2\x82", false},          // cut short
    {"\xc3(", false},             // no continuation
    {"\xa9", false},              // nothing to continue
};

constexpr const char* kLayoutControls[] = {
    "\u061c", "\u200e", "\u200f", "\u2028", "\u2029",
    "\u202a", "\u202e", "\u2066", "\u2069",
};
constexpr const char* kNextToLayoutControls[] = {
    "\u061b", "\u061d", "\u200d", "\u2010", "\u2027",
    "\u202f", "\u2065", "\u206a", "\u20aa", "\u2128",
};

// They would show a name as another one.
// A byte that would begin a character is followed by one that does not go on.
TEST(EscapesTest, AnUnfinishedCharacterIsNoControl) {
  EXPECT_EQ(Visible("\xC2x"), "\\xc2x");
  EXPECT_EQ(Visible("\xC2"), "\\xc2");
}

// Of bytes that go on with no character, no more than three are left out.
TEST(EscapesTest, ATextIsCutWithinThreeBytes) {
  const std::string rest(200, '\x80');
  std::string shown;
  for (int i = 0; i < 97; ++i) shown += "\\x80";
  EXPECT_EQ(Quoted(rest), "'" + shown + "...'");
}

TEST(EscapesTest, EscapesWhatReordersAText) {
  EXPECT_EQ(Quoted("a\u202eb\u2066"), R"('a\xe2\x80\xaeb\xe2\x81\xa6')");
  for (const char* control : kLayoutControls) {
    EXPECT_THAT(Escaped(control), StartsWith("\\x"));
    EXPECT_THAT(Visible(control), StartsWith("\\x"));
    EXPECT_TRUE(IsUtf8(control));
  }
  for (const char* other : kNextToLayoutControls)
    EXPECT_EQ(Escaped(other), other);
}

TEST(EscapesTest, TheStartOfACharacterIsNotWhole) {
  for (const std::string_view character :
       {"\xc3\xbc", "\xe2\x82\xac", "\xf0\x9f\x98\x80"})
    for (std::size_t cut = 1; cut <= character.size(); ++cut) {
      const std::string text = Concat("a", character.substr(0, cut));
      EXPECT_EQ(WholeCharacters(text),
                cut == character.size() ? text.size() : 1U);
    }
  for (const std::string_view text : {"", "a", "a\x82", "\x82\x82\x82\x82"})
    EXPECT_EQ(WholeCharacters(text), text.size());
}

TEST(EscapesTest, KeepsWellFormedUtf8Alone) {
  for (const Utf8Case& c : kUtf8Cases) {
    SCOPED_TRACE(Escaped(c.bytes));
    EXPECT_EQ(Escaped(c.bytes) == c.bytes, c.kept);
    EXPECT_EQ(Visible(c.bytes) == c.bytes, c.kept);
  }
}

TEST(EscapesTest, UnescapingReversesEscaping) {
  constexpr unsigned kSeed = 20261121;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  for (int i = 0; i < 20000; ++i) {
    std::string bytes(random() % 40, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    const std::string text = Escaped(bytes);
    ASSERT_EQ(Unescaped(text, "text"), bytes) << text;
    for (const char c : text) ASSERT_TRUE(c < 0 || IsPrintable(c)) << text;
  }
}

TEST(EscapesTest, JsonKeepsUtf8AndEscapesTheRest) {
  EXPECT_EQ(JsonString(""), R"("")");
  EXPECT_EQ(JsonString("a\"\\\n\x7f"), R"("a\"\\\u000a\u007f")");
  EXPECT_EQ(JsonString("Zo\xc3\xab"), "\"Zo\xc3\xab\"");
  EXPECT_EQ(JsonString("\xeb\xc2\x85"), R"("\u00eb\u0085")");
  EXPECT_EQ(JsonString("\xc2"), R"("\u00c2")");
  // What changes the order of a text on a terminal.
  EXPECT_EQ(JsonString("\xd8\x9c\xe2\x80\xaex\xe2\x81\xa6"),
            R"("\u061c\u202ex\u2066")");
}

TEST(EscapesTest, Utf8IncludesControlCharacters) {
  EXPECT_TRUE(IsUtf8(""));
  EXPECT_TRUE(IsUtf8({"a\0\x1b\x7f\n", 5}));
  EXPECT_TRUE(IsUtf8("\xc2\x80\xc2\x9f\xc3\xa4"));
  EXPECT_FALSE(IsUtf8("a\xc2"));
  EXPECT_FALSE(IsUtf8("\x80"));
  for (const Utf8Case& c : kUtf8Cases) {
    const bool control = std::string_view(c.bytes) < "\xc2\xa0" &&
                         std::string_view(c.bytes) >= "\xc2\x80";
    EXPECT_EQ(IsUtf8(c.bytes), c.kept || control) << Escaped(c.bytes);
  }
}

TEST(EscapesTest, QuotesATextOnOneSafeLine) {
  EXPECT_EQ(Quoted("plain \\q"), "'plain \\q'");
  EXPECT_EQ(Quoted("\033[31m\n"), "'\\x1b[31m\\n'");
  EXPECT_EQ(Quoted(std::string(100, 'x')), "'" + std::string(100, 'x') + "'");
  EXPECT_EQ(Quoted(std::string(101, 'x')),
            "'" + std::string(100, 'x') + "...'");
  EXPECT_EQ(Quoted(std::string(99, 'x') + "\xc3\xa4yz"),
            "'" + std::string(99, 'x') + "...'");
}

}  // namespace
}  // namespace fairlead::tool
