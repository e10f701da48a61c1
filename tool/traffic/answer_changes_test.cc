// Tests of the answers that are shown only when they change.

#include "tool/traffic/answer_changes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fairlead::tool::answer_changes_test {
namespace {

// Returns what is shown of an answer: its messages, each followed by a '|'.
std::string Shown(AnswerChanges& changes,
                  const std::vector<std::string>& messages) {
  std::string shown;
  const auto show = [&](const AnswerChanges::Piece& piece) {
    shown.append(piece.bytes).append("|");
  };
  changes.Begin();
  for (const std::string& message : messages)
    changes.Add({.bytes = message, .time = {}}, show);
  const bool is_shown = changes.End(show);
  EXPECT_EQ(is_shown, !shown.empty());
  return shown;
}

TEST(AnswerChangesTest, ShowsWhatDiffersFromTheLastShown) {
  AnswerChanges changes;
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
  EXPECT_EQ(Shown(changes, {"a"}), "");
  EXPECT_EQ(Shown(changes, {"b", "c"}), "b|c|");
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
}

TEST(AnswerChangesTest, TheBytesCountNotHowTheyAreCut) {
  AnswerChanges changes;
  EXPECT_EQ(Shown(changes, {"ab", "c"}), "ab|c|");
  EXPECT_EQ(Shown(changes, {"a", "bc"}), "");
  EXPECT_EQ(Shown(changes, {"ab"}), "ab|");
}

TEST(AnswerChangesTest, WithoutBytesThereIsNoAnswer) {
  AnswerChanges changes;
  EXPECT_EQ(Shown(changes, {}), "");
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
  EXPECT_EQ(Shown(changes, {}), "");
  EXPECT_EQ(Shown(changes, {"a"}), "");
}

TEST(AnswerChangesTest, AnAnswerThatHasNotEndedIsDropped) {
  AnswerChanges changes;
  changes.Begin();
  changes.Add({.bytes = "half", .time = {}}, {});
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
}

// It differs from a whole answer, even if that has the same bytes.
TEST(AnswerChangesTest, AnAnswerThatIsCutIsAlwaysShown) {
  AnswerChanges changes;
  std::string shown;
  const auto show = [&](const AnswerChanges::Piece& piece) {
    shown.append(piece.bytes).append("|");
  };
  EXPECT_EQ(Shown(changes, {"ab"}), "ab|");
  for (int i = 0; i < 2; ++i) {
    shown.clear();
    changes.Begin();
    changes.Add({.bytes = "a", .time = {}}, show);
    changes.Add({.bytes = "b", .time = {}}, show);
    EXPECT_TRUE(changes.Cut(show));
    EXPECT_EQ(shown, "a|b|");
  }
  EXPECT_EQ(Shown(changes, {"ab"}), "ab|");
  EXPECT_EQ(Shown(changes, {"ab"}), "");
}

TEST(AnswerChangesTest, WithoutBytesNothingIsCut) {
  AnswerChanges changes;
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
  changes.Begin();
  EXPECT_FALSE(changes.Cut({}));
  EXPECT_EQ(Shown(changes, {"a"}), "");
}

TEST(AnswerChangesTest, KeepsTheTimeAndTheEndOfEachMessage) {
  AnswerChanges changes;
  TheTime time;
  time.ts.tv_sec = 7;
  changes.Add({.bytes = "a", .time = time, .ends_message = false}, {});
  EXPECT_TRUE(changes.End([](const AnswerChanges::Piece& piece) {
    EXPECT_EQ(piece.time.ts.tv_sec, 7);
    EXPECT_FALSE(piece.ends_message);
  }));
}

// Nothing of it is lost, and nothing is compared with it.
TEST(AnswerChangesTest, AnAnswerThatIsTooLongIsShownAsItComes) {
  AnswerChanges changes;
  const std::string longest(AnswerChanges::kMaxBytes, 'x');
  EXPECT_EQ(Shown(changes, {longest}), longest + "|");
  EXPECT_EQ(Shown(changes, {longest}), "");
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(Shown(changes, {longest, "y", "z"}), longest + "|y|z|");
  EXPECT_EQ(Shown(changes, {longest}), longest + "|");
  EXPECT_EQ(Shown(changes, {longest}), "");
}

TEST(AnswerChangesTest, AnAnswerOfTooManyMessagesIsShownAsItComes) {
  AnswerChanges changes;
  const std::vector<std::string> most(AnswerChanges::kMaxPieces, "x");
  std::vector<std::string> more = most;
  more.emplace_back("x");
  EXPECT_NE(Shown(changes, most), "");
  EXPECT_EQ(Shown(changes, most), "");
  EXPECT_EQ(Shown(changes, more), Shown(changes, more));
}

TEST(AnswerChangesTest, ALongAnswerThatHasNotEndedIsForgotten) {
  AnswerChanges changes;
  std::size_t shown = 0;
  changes.Add(
      {.bytes = std::string(AnswerChanges::kMaxBytes + 1, 'x'), .time = {}},
      [&](const AnswerChanges::Piece& piece) { shown += piece.bytes.size(); });
  EXPECT_EQ(shown, AnswerChanges::kMaxBytes + 1);
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
  EXPECT_EQ(Shown(changes, {"a"}), "");
}

}  // namespace
}  // namespace fairlead::tool::answer_changes_test
