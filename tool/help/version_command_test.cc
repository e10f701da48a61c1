// The command `version` as a process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool/testing.h"

namespace fairlead::tool::version_command_test {
namespace {

TEST(VersionCommandTest, PrintsOneLine) {
  const Outcome outcome = Fairlead({"version"});
  EXPECT_THAT(outcome.output, testing::MatchesRegex("fairlead [0-9.]+\n"));
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Fairlead({"--version"}).output, outcome.output);
}

}  // namespace
}  // namespace fairlead::tool::version_command_test
