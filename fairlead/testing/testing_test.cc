// Tests of what the tests share.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>

#include "fairlead/testing/captured_output.h"
#include "fairlead/testing/memory_file.h"
#include "fairlead/testing/temp_folder.h"

namespace fairlead::internal {
namespace {

TEST(TempFolderTest, IsEmptyAtFirstAndGoneAtTheEnd) {
  std::string path;
  {
    const TempFolder folder;
    path = folder.path();
    EXPECT_TRUE(std::filesystem::is_empty(path));
    WriteFile(folder.Path("a"), "one");
    WriteFile(folder.Path("a"), std::string("x\0y", 3));
    EXPECT_EQ(ReadFile(folder.Path("a")), std::string("x\0y", 3));
    EXPECT_EQ(ReadFile(folder.Path("b")), "");
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(CapturedOutputTest, CollectsEveryWayOfPrinting) {
  CapturedOutput output;
  std::printf("one ");
  std::cout << "two ";
  std::cout.flush();
  std::fflush(stdout);
  ASSERT_EQ(write(STDOUT_FILENO, "three ", 6), 6);
  std::puts("four");
  EXPECT_EQ(output.Take(), "one two three four\n");
}

TEST(CapturedOutputTest, CollectsStandardErrorAlone) {
  CapturedOutput errors(STDERR_FILENO);
  CapturedOutput output;
  std::fputs("error", stderr);
  std::fputs("output", stdout);
  EXPECT_EQ(output.Take(), "output");
  EXPECT_EQ(errors.Take(), "error");
}

TEST(CapturedOutputTest, EndsWithItsScope) {
  { const CapturedOutput output; }
  CapturedOutput output;
  std::printf("again");
  EXPECT_EQ(output.Take(), "again");
}

TEST(MemoryFileTest, IsRewrittenAndReadByItsName) {
  const MemoryFile file;
  file.Write("longer");
  file.Write("text");
  EXPECT_EQ(file.Read(), "text");
  EXPECT_EQ(ReadFile(file.Path()), "text");
}

}  // namespace
}  // namespace fairlead::internal
