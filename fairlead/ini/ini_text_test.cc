// Tests records from and to text, also against the store.

#include "fairlead/ini/ini_text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "fairlead/ini/ini_testing.h"

namespace fairlead::internal::ini_text_test {
namespace {

using namespace std::literals;

constexpr const char* kOther = "neither comment, header nor key=value";

TEST(IniTextTest, FollowsItsExample) {
  auto read = RecordsFromText("[net]\n\nport = 80\n# last\n");
  read.records[1].Value = "7000";
  const std::string text = TextFromRecords(read.records);
  EXPECT_EQ(text + read.comments_at_end, "[net]\nport=7000\n# last\n");
}

TEST(IniTextTest, ReadsRecords) {
  const Records records = {
      {"#a\n; b\n", ' ', "s ", "", ""},
      {"", '#', "s ", "k", "v = w"},
      {"", ';', "t", "", ""},
      {"", ' ', "t", "my key", ""},
  };
  const IniRecords read = RecordsFromText(
      " #a\r\n\n; b\n[s ]\n# k = v = w \n;[t]\nmy key=\n#end\n\n ;end");
  EXPECT_EQ(read.records, records);
  EXPECT_EQ(read.comments_at_end, "#end\n;end\n");
  EXPECT_EQ(read.unclosed_header, 0U);
  EXPECT_EQ(read.lossy_line, 0U);
  EXPECT_EQ(read.loss, "");
}

struct TextCase {
  const char* what;
  std::string text;
  std::size_t records;
  std::size_t unclosed_header;
  std::size_t lossy_line = 0;
  const char* loss = "";
};

TEST(IniTextTest, ReportsWhatIsNotKept) {
  const TextCase cases[] = {
      {"empty", "", 0, 0},
      {"a NUL byte", "\0=\0"s, 1, 0},
      {"no header", "k=1", 1, 0},
      {"an unclosed header", "k=1\n\n[open\nj=1\n", 1, 3},
      {"a disabled one", "k=1\n; [open", 1, 2},
      {"nothing below it counts", "[open\njunk\n", 0, 1},
      {"another line", "\njunk\n", 1, 0, 2, kOther},
      {"below a comment", "# c\njunk\n", 0, 0, 2, kOther},
      {"prose with a bracket", "# see [1]\n", 1, 0, 1, kOther},
      {"a remark", "[s]\n[t] remark\n", 2, 0, 2,
       "text after the ']' of a header"},
      {"a second ]", "#[s]]\n", 1, 0, 1, "text after the ']' of a header"},
      {"blanks after ] are none", "#[s] \t\r\n", 1, 0},
      {"no key", "[s]\n=v\n", 2, 0, 2, "a '=' without a key before it"},
      {"a disabled one without key", "#=v\n", 1, 0, 1,
       "a '=' without a key before it"},
      {"the first of several", "[s] x\njunk\n=v\n[open\n", 3, 4, 1,
       "text after the ']' of a header"},
      {"before an unclosed header only", "[s]\n[open\njunk\n", 1, 2},
  };
  for (const TextCase& c : cases) {
    SCOPED_TRACE(c.what);
    const IniRecords read = RecordsFromText(c.text);
    EXPECT_EQ(read.records.size(), c.records);
    EXPECT_EQ(read.unclosed_header, c.unclosed_header);
    EXPECT_EQ(read.lossy_line, c.lossy_line);
    EXPECT_EQ(read.loss, c.loss);
  }
}

TEST(IniTextTest, WritesRecords) {
  EXPECT_EQ(TextFromRecords({}), "");
  EXPECT_EQ(TextFromRecords({{"#a\n", ';', "s", "", "lost"},
                             {"", ' ', "not written", "k", "a\nb"},
                             {"no newline", '#', "", "j", ""}}),
            "#a\n;[s]\nk=a\nb\nno newline#j=\n");
}

std::string RandomText(std::mt19937& engine) {
  const std::vector<std::string> lines = {
      "[s]",  "#[t]",  "[s] x", "[open", "k=1", " k = 2 ", "#k=3", "; a b=4",
      "junk", "# see", "#=",    "=v",    "",    "#",       ";;",   "# [1]",
      "k==",  "\xff=", "[]",    "##x=y", "\r",  "\t[s]"};
  std::string text;
  for (auto count = engine() % 12; count > 0; --count)
    text += lines[engine() % lines.size()] + (engine() % 9 ? "\n" : "\r\n");
  if (engine() % 3 == 0 && !text.empty()) text.pop_back();
  return text;
}

using IniTextFileTest = IniTest;

TEST_F(IniTextFileTest, AgreesWithTheStore) {
  constexpr unsigned kSeed = 20'611;
  std::printf("seed %u\n", kSeed);
  std::mt19937 engine(kSeed);
  for (int i = 0; i < 1000; ++i) {
    const std::string text = RandomText(engine);
    SCOPED_TRACE(testing::PrintToString(text));
    const IniRecords read = RecordsFromText(text);
    Records loaded;
    bool threw = false;
    try {
      CIniFile::Load(Write(text), loaded);
    } catch (const std::out_of_range&) {
      threw = true;
    }
    ASSERT_EQ(read.records, loaded);
    ASSERT_EQ(read.unclosed_header != 0, threw);
    ASSERT_EQ(TextFromRecords(loaded), Saved(loaded));
    if (read.lossy_line != 0 || threw) continue;
    ASSERT_EQ(RecordsFromText(TextFromRecords(loaded)).records, loaded);
  }
}

struct NormalCase {
  const char* what;
  std::string text;
  std::string normal;
};

TEST(IniTextTest, NormalizesInPieces) {
  const NormalCase cases[] = {
      {"nothing", "", ""},
      {"blank lines", "\n \n", ""},
      {"every kind", " #a\r\n\n[s ] x\n# k = v\n;[t]\njunk\n #end",
       "#a\n[s ]\n#k=v\n;[t]\n[]\n#end\n"},
      {"up to an unclosed header", "k = 1\n[open\nj=1\n", "k=1\n"},
  };
  for (const NormalCase& c : cases) {
    SCOPED_TRACE(c.what);
    std::string normal;
    NormalizeText(c.text, [&](std::string_view piece) { normal += piece; });
    EXPECT_EQ(normal, c.normal);
    const IniRecords read = RecordsFromText(c.text);
    EXPECT_EQ(normal, TextFromRecords(read.records) + read.comments_at_end);
    const IniDamage damage = DamageOf(c.text);
    EXPECT_EQ(damage.unclosed_header, read.unclosed_header);
    EXPECT_EQ(damage.lossy_line, read.lossy_line);
    EXPECT_EQ(damage.loss, read.loss);
  }
}

// So an edit in place need not copy it, and a diff finds it quickly.
TEST(IniTextTest, WhatIsNormalIsPassedAsAPartOfTheText) {
  const std::string text = "[s]\n# c\nk=1\nj = 2\n";
  std::string parts;
  NormalizeText(text, [&](std::string_view piece) {
    if (piece.data() >= text.data() && piece.data() < &text.back())
      parts += piece;
  });
  EXPECT_EQ(parts, "[s]\n# c\nk=1\n");
}

}  // namespace
}  // namespace fairlead::internal::ini_text_test
