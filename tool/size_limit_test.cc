// A limit on the size of files is an error like a full disk.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::size_limit_test {
namespace {

using testing::HasSubstr;

class SizeLimitTest : public testing::Test {
 protected:
  // Runs a shell command, in which "$0" is fairlead, with a limit of 8 blocks
  // on file sizes. Expects an error and exactly these files in the folder.
  void ExpectReported(const std::string& command,
                      const std::string& files) const {
    SCOPED_TRACE(command);
    const Outcome outcome =
        RunProgram({.arguments = {"-c", "ulimit -f 8; cd \"$1\" && " + command,
                                  Program(), folder_.path()},
                    .input = std::string(50'000, 'x'),
                    .program = "/bin/sh"});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_THAT(outcome.error, HasSubstr(": File too large"));
    EXPECT_EQ(ReadFile(old_), "[s]\nk=v\n");
    EXPECT_EQ(RunProgram({.arguments = {"-A", folder_.path()}, .program = "ls"})
                  .output,
              files);
  }

  const TempFolder folder_;
  const std::string old_ = folder_.File("old", "[s]\nk=v\n");
};

TEST_F(SizeLimitTest, AReplacedFileIsKept) {
  ExpectReported("\"$0\" crypt encrypt -rc4 k -stdin -out old", "old\n");
  const std::string set =
      "\"$0\" ini set -file old -section s -key k -value \"$(cat)\"";
  ExpectReported(set, "old\n");
  ExpectReported(set + " -inplace", "old\n");
}

// The second edit makes the text short again, and only the result is written.
TEST_F(SizeLimitTest, OnlyTheResultOfSeveralEditsCounts) {
  const Outcome outcome =
      RunProgram({.arguments = {"-c",
                                "ulimit -f 8; { printf 's\\tk\\t'; cat; "
                                "printf '\\ns\\tk\\tshort\\n'; } | "
                                "\"$0\" ini set -file \"$1\" -stdin",
                                Program(), old_},
                  .input = std::string(50'000, 'x'),
                  .program = "/bin/sh"});
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(ReadFile(old_), "[s]\nk=short\n");
}

TEST_F(SizeLimitTest, ReadsALargeFile) {
  const std::string large =
      folder_.File("large", "[s]\nk=" + std::string(50'000, 'x') + "\n");
  const Outcome outcome = RunProgram(
      {.arguments = {"-c", "ulimit -f 8; \"$0\" ini sections -file \"$1\"",
                     Program(), large},
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "s\n");
}

TEST_F(SizeLimitTest, ANewFileIsNotCreated) {
  ExpectReported("\"$0\" crypt encrypt -rc4 k -stdin -out new", "old\n");
}

TEST_F(SizeLimitTest, ReportsStandardOutput) {
  ExpectReported("\"$0\" crypt encrypt -rc4 k -stdin > new", "new\nold\n");
}

}  // namespace
}  // namespace fairlead::tool::size_limit_test
