// What a command says where the system gives it too little.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tool/testing.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FAIRLEAD_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FAIRLEAD_SANITIZED 1
#endif
#endif

namespace fairlead::tool {
namespace {

TEST(RunCommandTest, TooLittleMemoryIsToldAndNotACrash) {
#ifdef FAIRLEAD_SANITIZED
  GTEST_SKIP() << "a sanitizer needs more memory than the limit leaves";
#endif
  const TempFolder folder;
  const std::string path = folder.File("large", "");
  std::filesystem::resize_file(path, 1'000'000'000);
  const Outcome outcome = RunProgram(
      {.arguments = {"-c", "ulimit -v 250000 && exec \"$0\" \"$@\"",
                     FAIRLEAD_PROGRAM, "send", "-demo", "-file", path},
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 26);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error,
            "fairlead send: there is not enough memory for what is read\n");
}

}  // namespace
}  // namespace fairlead::tool
