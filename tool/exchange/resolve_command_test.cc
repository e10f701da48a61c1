// The command `resolve` as a process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/testing.h"

namespace fairlead::tool::resolve_command_test {
namespace {

TEST(ResolveCommandTest, PrintsAddresses) {
  const Outcome dotted = Fairlead({"resolve", "-host", "192.0.2.7"});
  EXPECT_EQ(dotted.output, "192.0.2.7\n");
  EXPECT_EQ(dotted.error, "");
  EXPECT_EQ(dotted.status, 0);
  const Outcome name = Fairlead({"resolve", "-host", "localhost", "-quiet"});
  EXPECT_THAT(name.output, testing::StartsWith("127.0.0.1\n"));
  EXPECT_EQ(name.error, "");
}

}  // namespace
}  // namespace fairlead::tool::resolve_command_test
