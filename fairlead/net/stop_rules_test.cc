// Tests of the rules that end an exchange.

#include "fairlead/net/stop_rules.h"

#include <gtest/gtest.h>

#include <random>

namespace fairlead::stop_rules_test {
namespace {

TEST(StopRulesTest, WithoutALimitNothingStops) {
  StopRules rules({});
  for (int i = 0; i < 100; ++i) EXPECT_FALSE(rules.Take("line\n"));
  EXPECT_EQ(rules.messages(), 100);
  EXPECT_EQ(rules.bytes(), 500);
  EXPECT_FALSE(rules.UntilIsMissing());
}

TEST(StopRulesTest, CountsMessages) {
  StopRules rules({.messages = 2});
  EXPECT_FALSE(rules.Take("a"));
  EXPECT_TRUE(rules.Take("b"));
}

TEST(StopRulesTest, CountsBytes) {
  StopRules rules({.bytes = 5});
  EXPECT_FALSE(rules.Take("abcd"));
  EXPECT_TRUE(rules.Take("e"));
  StopRules more({.bytes = 5});
  EXPECT_TRUE(more.Take("abcdefgh"));
}

TEST(StopRulesTest, CountsNewlines) {
  StopRules rules({.lines = 3});
  EXPECT_FALSE(rules.Take("a\nb\nc"));
  EXPECT_FALSE(rules.Take("c"));
  EXPECT_TRUE(rules.Take("\nd"));
}

TEST(StopRulesTest, TheFirstRuleMetStops) {
  StopRules rules({.messages = 9, .bytes = 100, .lines = 1, .until = "x"});
  EXPECT_TRUE(rules.Take("\n"));
  EXPECT_TRUE(rules.UntilIsMissing());
}

TEST(StopRulesTest, TellsHowFarEachCountHasCome) {
  StopRules none({});
  EXPECT_EQ(none.Missing(), "");
  StopRules until({.until = "x"});
  EXPECT_EQ(until.Missing(), "");
  StopRules rules({.messages = 2, .bytes = 10, .lines = 1, .until = "xyz"});
  EXPECT_EQ(rules.Missing(), "0 of 2 messages, 0 of 10 bytes, 0 of 1 line");
  rules.Take("abc");
  EXPECT_FALSE(rules.IsMet());
  EXPECT_EQ(rules.Missing(), "1 of 2 messages, 3 of 10 bytes, 0 of 1 line");
  rules.Take("\n");
  EXPECT_TRUE(rules.IsMet());
  EXPECT_EQ(rules.Missing(), "");
  EXPECT_TRUE(rules.Take(""));
}

TEST(StopRulesTest, FindsATextThatSpansMessages) {
  StopRules rules({.until = "abcab"});
  EXPECT_FALSE(rules.Take("abca"));
  EXPECT_FALSE(rules.Take("abc"));  // "abcaabc"
  EXPECT_FALSE(rules.Take("a"));
  EXPECT_TRUE(rules.UntilIsMissing());
  EXPECT_TRUE(rules.Take("b"));
  EXPECT_FALSE(rules.UntilIsMissing());
}

TEST(StopRulesTest, ATextDoesNotSpanConnections) {
  StopRules rules({.lines = 2, .until = "END"});
  EXPECT_FALSE(rules.Take("\nEN"));
  rules.BeginConnection();
  EXPECT_FALSE(rules.Take("D EN"));
  EXPECT_TRUE(rules.UntilIsMissing());
  EXPECT_EQ(rules.Missing(), "1 of 2 lines");
  EXPECT_TRUE(rules.Take("D"));
  EXPECT_FALSE(rules.UntilIsMissing());
}

TEST(StopRulesTest, FindsATextOfZeroBytes) {
  StopRules rules({.until = std::string(2, '\0')});
  EXPECT_FALSE(rules.Take({"a\0b", 3}));
  EXPECT_TRUE(rules.Take({"\0\0", 2}));
}

// The oracle searches everything received so far.
TEST(StopRulesTest, AgreesWithASearchOfEverything) {
  constexpr unsigned kSeed = 7;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  const auto text = [&random](std::size_t longest) {
    std::string letters(1 + random() % longest, 'a');
    for (char& c : letters) c = random() % 2 == 0 ? 'a' : 'b';
    return letters;
  };
  for (int round = 0; round < 3000; ++round) {
    const std::string until = text(6);
    StopRules rules({.until = until});
    std::string all;
    for (bool stopped = false; !stopped;) {
      const std::string message = text(4);
      all += message;
      stopped = rules.Take(message);
      ASSERT_EQ(stopped, all.find(until) != std::string::npos)
          << until << " in " << all;
    }
  }
}

TEST(StopRulesTest, APartCountsForAllButTheMessages) {
  StopRules rules({.messages = 2, .bytes = 100, .lines = 9, .until = "END"});
  EXPECT_FALSE(rules.TakePart("a\n"));
  EXPECT_FALSE(rules.Take("b\n"));
  EXPECT_FALSE(rules.TakePart(""));
  EXPECT_EQ(rules.messages(), 1);
  EXPECT_EQ(rules.bytes(), 4);
  EXPECT_EQ(rules.Missing(), "1 of 2 messages, 4 of 100 bytes, 2 of 9 lines");
  EXPECT_FALSE(rules.TakePart("E"));
  EXPECT_TRUE(rules.TakePart("ND"));
  EXPECT_TRUE(rules.TakePart("x"));
  EXPECT_EQ(rules.messages(), 1);
}

}  // namespace
}  // namespace fairlead::stop_rules_test
