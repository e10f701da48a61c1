// Commands that run out of memory.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tool/testing.h"

namespace fairlead::tool::run_command_test {
namespace {

TEST(RunCommandTest, ReportsTooLittleMemory) {
  if (IsSanitized())
    GTEST_SKIP() << "a sanitizer needs more memory than the limit leaves";
  const TempFolder folder;
  const std::string path = folder.File("large", "");
  std::filesystem::resize_file(path, 1'000'000'000);
  const Outcome outcome =
      RunProgram({.arguments = {"-c", "ulimit -v 250000 && exec \"$0\" \"$@\"",
                                Program(), "ini", "sections", "-file", path},
                  .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 26);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error, "fairlead ini: not enough memory for the input\n");
}

}  // namespace
}  // namespace fairlead::tool::run_command_test
