// Tests of the unified diff.

#include "tool/ini/difference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::difference_test {
namespace {

// Returns the diff of a text and a new one in two pieces.
std::string DifferenceOf(std::string_view before, std::string_view after) {
  std::string text;
  Difference difference("f", before,
                        [&text](std::string_view piece) { text += piece; });
  const std::size_t middle = after.find('\n') + 1;
  difference.Take(after.substr(0, middle));
  difference.Take(after.substr(middle));
  EXPECT_EQ(difference.Finish(), before != after);
  return text;
}

TEST(DifferenceTest, EqualTextsHaveNoDiff) {
  EXPECT_EQ(DifferenceOf("", ""), "");
  EXPECT_EQ(DifferenceOf("a\nb", "a\nb"), "");
}

TEST(DifferenceTest, ShowsLinesAroundAChange) {
  EXPECT_EQ(DifferenceOf("1\n2\n3\n4\n5\n6\n7\n8\n9\n",
                         "1\n2\n3\n4\nx\n6\n7\n8\n9\n"),
            "--- f\n+++ f\n@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+x\n 6\n 7\n 8\n");
}

TEST(DifferenceTest, BeginsFromNothingAndEndsWithNothing) {
  EXPECT_EQ(DifferenceOf("", "a\nb\n"),
            "--- f\n+++ f\n@@ -0,0 +1,2 @@\n+a\n+b\n");
  EXPECT_EQ(DifferenceOf("a\n", ""), "--- f\n+++ f\n@@ -1,1 +0,0 @@\n-a\n");
}

TEST(DifferenceTest, ReportsAMissingFinalNewline) {
  EXPECT_EQ(DifferenceOf("a", "a\n"),
            "--- f\n+++ f\n@@ -1,1 +1,1 @@\n-a\n\\ No newline at end of file\n"
            "+a\n");
}

TEST(DifferenceTest, NearChangesShareAHunk) {
  const std::string far = DifferenceOf("a\n1\n2\n3\n4\n5\n6\n7\nb\n",
                                       "x\n1\n2\n3\n4\n5\n6\n7\ny\n");
  EXPECT_EQ(far,
            "--- f\n+++ f\n"
            "@@ -1,4 +1,4 @@\n-a\n+x\n 1\n 2\n 3\n"
            "@@ -6,4 +6,4 @@\n 5\n 6\n 7\n-b\n+y\n");
  const std::string near =
      DifferenceOf("a\n1\n2\n3\n4\n5\n6\nb\n", "x\n1\n2\n3\n4\n5\n6\ny\n");
  EXPECT_EQ(near,
            "--- f\n+++ f\n@@ -1,8 +1,8 @@\n"
            "-a\n+x\n 1\n 2\n 3\n 4\n 5\n 6\n-b\n+y\n");
}

TEST(DifferenceTest, ManyChangedLinesAreShownAsReplaced) {
  std::string before;
  std::string after;
  for (int i = 0; i < 3000; ++i) {
    before += std::to_string(i) + "\n";
    after += std::to_string(-i - 1) + "\n";
  }
  const std::string text = DifferenceOf(before, after);
  EXPECT_EQ(text.substr(0, 42),
            "--- f\n+++ f\n@@ -1,3000 +1,3000 @@\n-0\n-1\n-2");
}

// Returns the diff of a text of these lines and a new one, which has the old
// lines of these numbers as parts of the old one, and texts.
std::string DifferenceInPieces(
    std::string_view before,
    const std::vector<std::variant<std::size_t, std::string>>& pieces) {
  std::string text;
  Difference difference("f", before,
                        [&text](std::string_view piece) { text += piece; });
  for (const auto& piece : pieces) {
    if (const auto* const added = std::get_if<std::string>(&piece)) {
      difference.Take(*added);
      continue;
    }
    std::string_view rest = before;
    for (auto line = std::get<std::size_t>(piece); line > 1; --line)
      rest.remove_prefix(rest.find('\n') + 1);
    difference.Take(
        rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1));
  }
  difference.Finish();
  return text;
}

TEST(DifferenceTest, TakesPartsOfTheOldText) {
  const std::string_view before = "1\n2\n3\n4\n5\n6\n7\n8\n9";
  const auto part = [](std::size_t line) { return line; };
  EXPECT_EQ(
      DifferenceInPieces(before, {part(1), part(2), part(3), part(4), part(5),
                                  part(6), part(7), part(8), part(9)}),
      "");
  EXPECT_EQ(
      DifferenceInPieces(before, {"x\n", part(2), part(3), part(4), part(5),
                                  part(6), part(7), part(8), part(9)}),
      "--- f\n+++ f\n@@ -1,4 +1,4 @@\n-1\n+x\n 2\n 3\n 4\n");
  EXPECT_EQ(DifferenceInPieces(before, {part(1), part(2), part(3), part(4),
                                        part(5), part(6), part(7), part(8)}),
            "--- f\n+++ f\n@@ -6,4 +6,3 @@\n 6\n 7\n 8\n-9\n"
            "\\ No newline at end of file\n");
  // A piece that is equal, or one that is out of order.
  EXPECT_EQ(DifferenceInPieces(before, {part(1), "2\n3\n4\n5\n6\n7\n8\n9"}),
            "");
  EXPECT_EQ(DifferenceInPieces("1\n2\n", {part(2), part(1)}),
            "--- f\n+++ f\n@@ -1,2 +1,2 @@\n-1\n 2\n+1\n");
}

// The last line has no newline, and the change is too large to be compared line
// by line.
TEST(DifferenceTest, TheEndOfTheLastLineIsAPartOfIt) {
  std::string before;
  std::string added;
  for (int i = 0; i < 2100; ++i) {
    before += "a\n";
    added += "b\n";
  }
  before += "tail";
  std::string text;
  Difference difference("f", before,
                        [&text](std::string_view piece) { text += piece; });
  difference.Take(added + "t");
  difference.Take(std::string_view(before).substr(before.size() - 3));
  EXPECT_TRUE(difference.Finish());
  EXPECT_THAT(text,
              testing::EndsWith("+b\n+tail\n\\ No newline at end of file\n"));
  EXPECT_THAT(text,
              testing::StartsWith("--- f\n+++ f\n@@ -1,2101 +1,2101 @@\n-a\n"));
}

TEST(DifferenceTest, AByteOrderMarkIsAPartOfItsLine) {
  const std::string_view before =
      "\xef\xbb\xbf"
      "1\n2\n";
  for (const auto& [line, expected] :
       {std::pair{"1\n", ""},
        {"x\n",
         "--- f\n+++ f\n@@ -1,2 +1,2 @@\n-\xef\xbb\xbf"
         "1\n+\xef\xbb\xbf"
         "x\n 2\n"}}) {
    std::string text;
    Difference difference("f", before,
                          [&text](std::string_view piece) { text += piece; });
    difference.Take(before.substr(0, 3));
    difference.Take(line == std::string_view("1\n") ? before.substr(3, 2)
                                                    : line);
    difference.Take(before.substr(5));
    EXPECT_EQ(difference.Finish(), *expected != '\0');
    EXPECT_EQ(text, expected);
  }
}

// So a new line below it makes two lines of the old one.
TEST(DifferenceTest, ALineBelowAByteOrderMarkChangesThatLine) {
  const std::string_view before =
      "\xef\xbb\xbf"
      "1\n2\n3\n4\n5\n";
  std::string text;
  Difference difference("f", before,
                        [&text](std::string_view piece) { text += piece; });
  difference.Take(before.substr(0, 3));
  difference.Take("x\n");
  difference.Take(before.substr(3));
  EXPECT_TRUE(difference.Finish());
  EXPECT_EQ(text,
            "--- f\n+++ f\n@@ -1,4 +1,5 @@\n-\xef\xbb\xbf"
            "1\n+\xef\xbb\xbfx\n+1\n 2\n 3\n 4\n");
}

std::string RandomText(std::mt19937& random) {
  std::string text;
  for (auto lines = random() % 25; lines > 0; --lines)
    text.append(1, static_cast<char>('a' + random() % 4)).append("\n");
  if (!text.empty() && random() % 4 == 0) text.pop_back();
  return text;
}

TEST(DifferenceTest, PatchAppliesTheDiff) {
  const auto patch = [](const TempFolder& folder, const std::string& changes) {
    return RunProgram({.arguments = {"-s", "-u", "-F0", folder.path() + "/f"},
                       .input = changes,
                       .program = "patch"});
  };
  if (RunProgram(
          {.arguments = {"-c", "command -v patch"}, .program = "/bin/sh"})
          .status != 0)
    GTEST_SKIP() << "patch is not installed";
  constexpr unsigned kSeed = 20261121;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  for (int i = 0; i < 100; ++i) {
    const std::string before = RandomText(random);
    const std::string after = RandomText(random);
    if (before == after || after.empty())
      continue;  // patch deletes empty files.
    const TempFolder folder;
    folder.File("f", before);
    const std::string changes = DifferenceOf(before, after);
    SCOPED_TRACE(changes);
    const Outcome outcome = patch(folder, changes);
    ASSERT_EQ(outcome.status, 0) << outcome.output << outcome.error;
    ASSERT_EQ(ReadFile(folder.path() + "/f"), after);
  }
}

}  // namespace
}  // namespace fairlead::tool::difference_test
