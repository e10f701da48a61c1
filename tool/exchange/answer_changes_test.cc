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
  for (const std::string& message : messages) changes.Add(message, TheTime());
  std::string shown;
  const bool differs = changes.End([&](std::string_view message, auto) {
    shown.append(message).append("|");
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
  changes.Add("half", TheTime());
  EXPECT_EQ(Shown(changes, {"a"}), "a|");
}

TEST(AnswerChangesTest, KeepsTheTimeOfEachMessage) {
  AnswerChanges changes;
  TheTime time;
  time.ts.tv_sec = 7;
  changes.Add("a", time);
  changes.End([](std::string_view /*message*/, const TheTime& received) {
    EXPECT_EQ(received.ts.tv_sec, 7);
  });
}

TEST(AnswerChangesTest, AnAnswerIsNotTooLong) {
  AnswerChanges changes;
  const std::string longest(AnswerChanges::kMaxBytes, 'x');
  EXPECT_EQ(Shown(changes, {longest}), longest + "|");
  changes.Add(longest, TheTime());
  EXPECT_THROW(changes.Add("x", TheTime()), Failure);
}

TEST(AnswerChangesTest, AnAnswerHasNotTooManyMessages) {
  AnswerChanges changes;
  for (std::size_t i = 0; i < AnswerChanges::kMaxMessages; ++i)
    changes.Add("x", TheTime());
  try {
    changes.Add("x", TheTime());
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
