// Tests of the check for lines that the store cannot keep.

#include "tool/ini/ini_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "tool/base/failure.h"
#include "tool/ini/ini_store.h"
#include "tool/io/memory_copy.h"

namespace fairlead::tool::ini {
namespace {

// Returns the message of the check, or "".
std::string ReadFault(const std::string& text) {
  try {
    Lines(text).CheckReadable("f.ini");
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kMalformedInput);
    return failure.what();
  }
  return "";
}

std::string EditFault(const std::string& text) {
  try {
    Lines(text).CheckEditable("f.ini");
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kMalformedInput);
    const std::string what = failure.what();
    return what.substr(0, what.find(';'));
  }
  return "";
}

TEST(IniLinesTest, AcceptsWhatTheStoreKeeps) {
  for (const char* const text :
       {"", "\n \t\r\n", "k=v", "[a]\nk = v = w\r\n", "# note\n[a] \n;k=v\n",
        "#[a]\n##k=v\n", "[]\nk=\n", "[ a[ ]\n", "# only a note", "#\n;"})
    EXPECT_EQ(EditFault(text), "") << text;
}

TEST(IniLinesTest, ReportsTheLineThatTheStoreRefuses) {
  EXPECT_EQ(ReadFault("[a]\nk=v\n[open\n"), "f.ini:3: a header without ']'");
  EXPECT_EQ(ReadFault("\n\n # [open"), "f.ini:3: a header without ']'");
  EXPECT_EQ(ReadFault("[open\n[open\n"), "f.ini:1: a header without ']'");
  EXPECT_EQ(EditFault("junk\n[open\n"), "f.ini:2: a header without ']'");
  EXPECT_EQ(ReadFault("junk\n=v\n[a]x\n"), "");
}

TEST(IniLinesTest, ReportsTheLineThatAnEditWouldLose) {
  EXPECT_EQ(EditFault("[a]\njunk\n"),
            "f.ini:2: neither comment, header nor key=value");
  EXPECT_EQ(EditFault("# note\njunk\n"),
            "f.ini:2: neither comment, header nor key=value");
  EXPECT_EQ(EditFault("# see [1]\n"),
            "f.ini:1: neither comment, header nor key=value");
  EXPECT_EQ(EditFault("[a]\n=v\n"), "f.ini:2: a '=' without a key before it");
  EXPECT_EQ(EditFault("k=v\n# ====\n"),
            "f.ini:2: a '=' without a key before it");
  EXPECT_EQ(EditFault("[a] # note\n"),
            "f.ini:1: text after the ']' of a header");
}

std::string CommentsAtEnd(const std::string& text) {
  return ContentOf(text, "f.ini").comments_at_end;
}

TEST(IniLinesTest, KeepsTheCommentsAtTheEnd) {
  EXPECT_EQ(CommentsAtEnd("k=v\n  # one \r\n\n;two"), "# one\n;two\n");
  EXPECT_EQ(CommentsAtEnd("# one\nk=v\n"), "");
  EXPECT_EQ(CommentsAtEnd("# one\n[a]\n"), "");
  EXPECT_EQ(CommentsAtEnd("# one\n=v\n"), "");
  EXPECT_EQ(CommentsAtEnd("# one\njunk"), "# one\n");
}

// Returns the non-empty lines, trimmed.
std::vector<std::string> Essence(std::string_view text) {
  std::vector<std::string> lines = {""};
  for (const char c : text) {
    if (c == '\n' && !lines.back().empty()) lines.emplace_back();
    if (c != '\n' && c != ' ' && c != '\t' && c != '\r') lines.back() += c;
  }
  if (lines.back().empty()) lines.pop_back();
  return lines;
}

// The store is the oracle: what it throws on is not readable, and what it saves
// without losing more than whitespace is editable.
TEST(IniLinesTest, AgreesWithTheStoreOnRandomText) {
  constexpr unsigned kSeed = 20261121;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  constexpr std::string_view kLetters = "[]=#; \t\r\n\nab";
  int editable = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 14, '\0');
    for (char& c : text) c = kLetters[random() % kLetters.size()];
    SCOPED_TRACE(text);

    const MemoryCopy copy(text, "f.ini");
    try {
      const std::string saved = CIniFile::Content(copy.path());
      ASSERT_EQ(ReadFault(text), "");
      const Content content = ContentOf(text, "f.ini");
      ASSERT_EQ(TextOf(content.records), saved);
      const bool kept =
          Essence(saved + content.comments_at_end) == Essence(text);
      ASSERT_EQ(EditFault(text).empty(), kept);
      editable += kept ? 1 : 0;
    } catch (const std::out_of_range&) {
      ASSERT_NE(ReadFault(text), "");
      ASSERT_NE(EditFault(text), "");
    }
  }
  EXPECT_GT(editable, 1000);
}

}  // namespace
}  // namespace fairlead::tool::ini
