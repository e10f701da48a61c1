// Tests of the unified diff.

#include "tool/ini/difference.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::difference_test {
namespace {

TEST(DifferenceTest, EqualTextsHaveNoDiff) {
  EXPECT_EQ(Difference("f", "", ""), "");
  EXPECT_EQ(Difference("f", "a\nb", "a\nb"), "");
}

TEST(DifferenceTest, ShowsLinesAroundAChange) {
  EXPECT_EQ(Difference("f", "1\n2\n3\n4\n5\n6\n7\n8\n9\n",
                       "1\n2\n3\n4\nx\n6\n7\n8\n9\n"),
            "--- f\n+++ f\n@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+x\n 6\n 7\n 8\n");
}

TEST(DifferenceTest, BeginsFromNothingAndEndsWithNothing) {
  EXPECT_EQ(Difference("f", "", "a\nb\n"),
            "--- f\n+++ f\n@@ -0,0 +1,2 @@\n+a\n+b\n");
  EXPECT_EQ(Difference("f", "a\n", ""), "--- f\n+++ f\n@@ -1,1 +0,0 @@\n-a\n");
}

TEST(DifferenceTest, ReportsAMissingFinalNewline) {
  EXPECT_EQ(Difference("f", "a", "a\n"),
            "--- f\n+++ f\n@@ -1,1 +1,1 @@\n-a\n\\ No newline at end of file\n"
            "+a\n");
}

TEST(DifferenceTest, NearChangesShareAHunk) {
  const std::string far = Difference("f", "a\n1\n2\n3\n4\n5\n6\n7\nb\n",
                                     "x\n1\n2\n3\n4\n5\n6\n7\ny\n");
  EXPECT_EQ(far,
            "--- f\n+++ f\n"
            "@@ -1,4 +1,4 @@\n-a\n+x\n 1\n 2\n 3\n"
            "@@ -6,4 +6,4 @@\n 5\n 6\n 7\n-b\n+y\n");
  const std::string near =
      Difference("f", "a\n1\n2\n3\n4\n5\n6\nb\n", "x\n1\n2\n3\n4\n5\n6\ny\n");
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
  const std::string text = Difference("f", before, after);
  EXPECT_EQ(text.substr(0, 42),
            "--- f\n+++ f\n@@ -1,3000 +1,3000 @@\n-0\n-1\n-2");
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
    const std::string changes = Difference("f", before, after);
    SCOPED_TRACE(changes);
    const Outcome outcome = patch(folder, changes);
    ASSERT_EQ(outcome.status, 0) << outcome.output << outcome.error;
    ASSERT_EQ(ReadFile(folder.path() + "/f"), after);
  }
}

}  // namespace
}  // namespace fairlead::tool::difference_test
