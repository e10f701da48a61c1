// Tests of the checks of usage and of the usage lines.

#include "tool/command/usage.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool::usage_test {
namespace {

constexpr Parameter Named(std::string_view name) {
  return {.name = name,
          .placeholder = "N",
          .kind = Kind::kNonEmptyText,
          .group = Group::kWhat,
          .help = "any"};
}

constexpr Parameter kA = Named("a");
constexpr Parameter kB = Named("b");
constexpr Parameter kC = Named("c");
constexpr Parameter kD = Named("d");
constexpr Parameter kE = Named("e");
constexpr Parameter kF = Named("f");
constexpr Parameter kG = Named("g");
constexpr std::array kNotWithH = {&kA, &kB};
constexpr Parameter kH = {.name = "h",
                          .placeholder = "N",
                          .kind = Kind::kNonEmptyText,
                          .group = Group::kWhat,
                          .help = "any",
                          .excluded = kNotWithH};

enum class Number { kOne, kTwo };
constexpr auto kNumbers =
    std::to_array<Choice>({{Number::kOne, "1"}, {Number::kTwo, "2"}});
constexpr Parameter kNumber = {.name = "b",
                               .placeholder = "N",
                               .kind = Kind::kChoice,
                               .group = Group::kWhat,
                               .help = "any",
                               .choices = kNumbers};
constexpr Parameter kTopic = {.name = "",
                              .placeholder = "TOPIC",
                              .kind = Kind::kText,
                              .group = Group::kArguments,
                              .help = "any"};

constexpr auto kNone = Uses();
constexpr auto kRequired = Uses(kA, kB);
constexpr auto kOptional = Uses(Optional(kA), Optional(kB), kC);
constexpr auto kTogether = Uses(Optional(kA, kB), Optional(kC, Optional(kD)));
constexpr auto kOneOf = Uses(OneOf(kA, All(kB, kC)), Optional(kE));
constexpr auto kAtMostOne = Uses(AtMostOne(kA, kB));
constexpr auto kNested = Uses(AtMostOne(kA, All(kB, OneOf(kC, kD))));
constexpr auto kElsewhere = Uses(OneOf(All(Expected(kA), Expected(kB)), kC));
constexpr auto kConditions =
    Uses(Optional(kA), Optional(kNumber),
         OnlyWith(kC, When(kA), When(kNumber, Number::kTwo)));
constexpr auto kOperand = Uses(Optional(kTopic, Optional(kA)), kB);
constexpr auto kExclusive = Uses(Optional(kA), Optional(kC), Optional(kH));
constexpr auto kFamily = Uses(kA, Optional(kB));
constexpr auto kMany =
    Uses(kA, OneOf(kB, kC), Optional(kD), Optional(kE), Optional(kF),
         Optional(kG), Optional(kTopic), AtMostOne(kD, kE), Optional(kF, kG));

TEST(UsageTest, IsWrittenFromTheTable) {
  EXPECT_EQ(UsageOf(kNone), "");
  EXPECT_EQ(UsageOf(kRequired), "-a N -b N");
  EXPECT_EQ(UsageOf(kOptional), "[-a N] [-b N] -c N");
  EXPECT_EQ(UsageOf(kTogether), "[-a N -b N] [-c N [-d N]]");
  EXPECT_EQ(UsageOf(kOneOf), "(-a N | -b N -c N) [-e N]");
  EXPECT_EQ(UsageOf(kAtMostOne), "[-a N | -b N]");
  EXPECT_EQ(UsageOf(kNested), "[-a N | -b N (-c N | -d N)]");
  EXPECT_EQ(UsageOf(kElsewhere), "(-a N -b N | -c N)");
  EXPECT_EQ(UsageOf(kConditions), "[-a N] [-b N] [-c N]");
  EXPECT_EQ(UsageOf(kOperand), "[TOPIC [-a N]] -b N");
}

Command Trying(std::span<const Use> uses) {
  return {.name = "try", .action = {uses}};
}

TEST(UsageTest, ALineWithManyOptionsIsShortened) {
  EXPECT_EQ(UsageLine(Trying(kNone)), "try");
  EXPECT_EQ(UsageLine(Trying(kOneOf)), "try (-a N | -b N -c N) [-e N]");
  EXPECT_EQ(UsageLine(Trying(kMany)),
            "try -a N (-b N | -c N) [-name value]...");
}

TEST(UsageTest, ALineWithSubcommandsShowsWhatAllOfThemRequire) {
  const Command one = {.name = "one", .action = {kRequired}};
  const Command other = {.name = "other", .action = {kFamily}};
  const std::array members = {&one, &other};
  const Command family = {.name = "try", .subcommands = members};
  EXPECT_EQ(UsageLine(family), "try SUBCOMMAND -a N [-name value]...");
}

// Returns the error, or "", if the parameters whose letters are given have the
// value 1; 2 for an upper-case letter.
std::string ErrorFor(std::span<const Use> uses, std::string_view given) {
  std::vector<std::string> words = {"try"};
  for (const char letter : given) {
    words.push_back(Concat("-", std::string(1, letter)));
    words.emplace_back(letter < 'a' ? "2" : "1");
  }
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  const Command command = Trying(uses);
  try {
    CheckUses(ParsedArguments(command, pointers));
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kWrongUsage);
    const std::string text = failure.what();
    const std::string end = "; see 'fairlead help try'";
    EXPECT_TRUE(text.ends_with(end)) << text;
    return text.substr(0, text.size() - end.size());
  }
  return "";
}

TEST(UsageTest, ParametersWithoutBracketsAreRequired) {
  EXPECT_EQ(ErrorFor(kNone, ""), "");
  EXPECT_EQ(ErrorFor(kRequired, "ab"), "");
  EXPECT_EQ(ErrorFor(kRequired, "b"), "missing -a N");
  EXPECT_EQ(ErrorFor(kOptional, "ab"), "missing -c N");
  EXPECT_EQ(ErrorFor(kOptional, "c"), "");
  EXPECT_EQ(ErrorFor(kOptional, "acb"), "");
  EXPECT_EQ(ErrorFor(kOperand, ""), "missing -b N");
}

TEST(UsageTest, ParametersInOnePairOfBracketsGoTogether) {
  for (const char* const given : {"", "ab", "c", "cd", "abcd"})
    EXPECT_EQ(ErrorFor(kTogether, given), "") << given;
  EXPECT_EQ(ErrorFor(kTogether, "a"), "-a needs -b N");
  EXPECT_EQ(ErrorFor(kTogether, "b"), "-b needs -a N");
  EXPECT_EQ(ErrorFor(kTogether, "d"), "-d needs -c N");
}

TEST(UsageTest, ExactlyOneAlternativeIsGiven) {
  for (const char* const given : {"a", "bc", "ae", "bce"})
    EXPECT_EQ(ErrorFor(kOneOf, given), "") << given;
  EXPECT_EQ(ErrorFor(kOneOf, "e"), "missing -a N or -b N -c N");
  EXPECT_EQ(ErrorFor(kOneOf, "b"), "-b needs -c N");
  EXPECT_EQ(ErrorFor(kOneOf, "c"), "-c needs -b N");
  EXPECT_EQ(ErrorFor(kOneOf, "ca"), "-a and -c cannot be combined");
  EXPECT_EQ(ErrorFor(kOneOf, "abc"), "-a and -b cannot be combined");
}

TEST(UsageTest, AtMostOneOptionalAlternativeIsGiven) {
  for (const char* const given : {"", "a", "b"})
    EXPECT_EQ(ErrorFor(kAtMostOne, given), "") << given;
  EXPECT_EQ(ErrorFor(kAtMostOne, "ba"), "-a and -b cannot be combined");
}

TEST(UsageTest, AnAlternativeMayHaveMoreParameters) {
  for (const char* const given : {"", "a", "bc", "bd"})
    EXPECT_EQ(ErrorFor(kNested, given), "") << given;
  EXPECT_EQ(ErrorFor(kNested, "b"), "-b needs -c N or -d N");
  EXPECT_EQ(ErrorFor(kNested, "c"), "-c needs -b N");
  EXPECT_EQ(ErrorFor(kNested, "bcd"), "-c and -d cannot be combined");
  EXPECT_EQ(ErrorFor(kNested, "ac"), "-a and -c cannot be combined");
}

TEST(UsageTest, AnExpectedParameterIsLeftToTheCommand) {
  for (const char* const given : {"", "a", "b", "ab", "c"})
    EXPECT_EQ(ErrorFor(kElsewhere, given), "") << given;
  EXPECT_EQ(ErrorFor(kElsewhere, "bc"), "-b and -c cannot be combined");
}

TEST(UsageTest, AConditionIsAParameterOrOneOfItsValues) {
  for (const char* const given : {"", "a", "b", "ac", "Bc", "abc"})
    EXPECT_EQ(ErrorFor(kConditions, given), "") << given;
  EXPECT_EQ(ErrorFor(kConditions, "c"), "-c needs -a or -b 2");
  EXPECT_EQ(ErrorFor(kConditions, "bc"), "-c needs -a or -b 2");
}

TEST(UsageTest, AParameterMayExcludeOthers) {
  for (const char* const given : {"", "a", "h", "ac", "ch"})
    EXPECT_EQ(ErrorFor(kExclusive, given), "") << given;
  EXPECT_EQ(ErrorFor(kExclusive, "ah"), "-h and -a cannot be combined");
  EXPECT_EQ(ErrorFor(kExclusive, "hca"), "-h and -a cannot be combined");
}

}  // namespace
}  // namespace fairlead::tool::usage_test
