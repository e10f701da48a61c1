#include "tool/command/usage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

Parameter Named(std::string_view name) {
  return {.name = name,
          .word = "N",
          .kind = Kind::kWord,
          .group = "All",
          .help = "any"};
}

const std::array kParameters = {Named("a"), Named("b"), Named("c"), Named("d"),
                                Named("e")};

const Command kCommand = {.name = "try",
                          .usage = "",
                          .summary = "",
                          .story = "",
                          .operand = nullptr,
                          .parameters = kParameters,
                          .examples = {},
                          .statuses = {},
                          .run = nullptr};

// What is said where the parameters named in `given` are given, or "" where
// nothing is.
std::string Complaint(std::string_view usage, std::string_view given) {
  std::vector<std::string> words = {"try"};
  for (const char name : given) {
    words.push_back(Concat("-", std::string(1, name)));
    words.emplace_back("1");
  }
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  try {
    CheckUsage(Arguments(kCommand, pointers), "try", usage);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kWrongUsage);
    return failure.what();
  }
  return "";
}

TEST(UsageTest, WhatStandsOutsideBracketsIsNeeded) {
  EXPECT_EQ(Complaint("", ""), "");
  EXPECT_EQ(Complaint("-a N", "a"), "");
  EXPECT_EQ(Complaint("-a N -b N", "ab"), "");
  EXPECT_EQ(Complaint("-a N -b N", "b"), "-a N is missing: try -a N -b N");
  EXPECT_EQ(Complaint("[-a N] -b N", "a"), "-b N is missing: try [-a N] -b N");
  EXPECT_EQ(Complaint("(-a N | -b N) -c N", "a"),
            "-c N is missing: try (-a N | -b N) -c N");
}

TEST(UsageTest, WhatStandsInBracketsMayBeGiven) {
  for (const char* const given : {"", "a", "b", "c", "ab", "abc"})
    EXPECT_EQ(Complaint("[-a N -b N] [-c]", given), "") << given;
}

TEST(UsageTest, WhatIsNotMentionedMayNot) {
  EXPECT_EQ(Complaint("-a N", "ab"), "-b does not go with 'try': try -a N");
  EXPECT_EQ(Complaint("", "a"), "-a does not go with 'try': try ");
  EXPECT_EQ(Complaint("-a N", "b"), "-b does not go with 'try': try -a N");
}

TEST(UsageTest, OfAlternativesExactlyOneIsNeeded) {
  constexpr char kUsage[] = "(-a N | -b N) [-e N] (-c | -d N)";
  for (const char* const given : {"ac", "ad", "bc", "bd", "eac"})
    EXPECT_EQ(Complaint(kUsage, given), "") << given;
  EXPECT_EQ(Complaint(kUsage, "e"),
            Concat("one of -a N, -b N is missing: try ", kUsage));
  EXPECT_EQ(Complaint(kUsage, "a"),
            Concat("one of -c N, -d N is missing: try ", kUsage));
  EXPECT_EQ(Complaint(kUsage, "cab"),
            Concat("-a and -b exclude each other: try ", kUsage));
  EXPECT_EQ(Complaint(kUsage, "acd"),
            Concat("-c and -d exclude each other: try ", kUsage));
}

}  // namespace
}  // namespace fairlead::tool
