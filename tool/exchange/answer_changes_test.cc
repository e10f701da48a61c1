// Tests of the answers that are shown only when they change.

#include "tool/exchange/answer_changes.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tool/base/failure.h"

namespace fairlead::tool::answer_changes_test {
namespace {

// Returns what is shown of an answer: its messages, each followed by a '|'.
std::string Shown(AnswerChanges& changes,
                  const std::vector<std::string>& messages) {
  changes.Begin();
  for (const std::string& message : messages)
    changes.Add({.bytes = message, .time = {}});
  std::string shown;
  const bool differs = changes.End([&](const AnswerChanges::Piece& piece) {
    shown.append(piece.bytes).append("|");
  });
  EXPECT_EQ(differs, !shown.empty());
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
  changes.Add({.bytes = "half", .time = {}});
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
}

TEST(AnswerChangesTest, KeepsTheTimeAndTheEndOfEachMessage) {
  AnswerChanges changes;
  TheTime time;
  time.ts.tv_sec = 7;
  changes.Add({.bytes = "a", .time = time, .ends_message = false});
  EXPECT_TRUE(changes.End([](const AnswerChanges::Piece& piece) {
    EXPECT_EQ(piece.time.ts.tv_sec, 7);
    EXPECT_FALSE(piece.ends_message);
  }));
}

TEST(AnswerChangesTest, AnAnswerIsNotTooLong) {
  AnswerChanges changes;
  const std::string longest(AnswerChanges::kMaxBytes, 'x');
  EXPECT_EQ(Shown(changes, {longest}), longest + "|");
  changes.Add({.bytes = longest, .time = {}});
  EXPECT_THROW(changes.Add({.bytes = "x", .time = {}}), Failure);
}

TEST(AnswerChangesTest, AnAnswerHasNotTooManyMessages) {
  AnswerChanges changes;
  for (std::size_t i = 0; i < AnswerChanges::kMaxPieces; ++i)
    changes.Add({.bytes = "x", .time = {}});
  try {
    changes.Add({.bytes = "x", .time = {}});
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kReceivingFailed);
    EXPECT_STREQ(failure.what(),
                 "the answer is too long for -changes, which keeps at most "
                 "1048576 bytes in 65536 messages");
  }
}

}  // namespace
}  // namespace fairlead::tool::answer_changes_test
