// A limit on the size of files is an error like a full disk.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using testing::EndsWith;

class SizeLimitTest : public testing::Test {
 protected:
  // Runs the shell's command, in which "$0" is fairlead, in the folder, where
  // no file may become larger than 8 blocks. The file "old" is all there is
  // before and after, but for what the shell itself makes.
  void ExpectTold(const std::string& command, const std::string& files) const {
    SCOPED_TRACE(command);
    const Outcome outcome =
        RunProgram({.arguments = {"-c", "ulimit -f 8; cd \"$1\" && " + command,
                                  FAIRLEAD_PROGRAM, folder_.path()},
                    .input = std::string(50'000, 'x'),
                    .program = "/bin/sh"});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_THAT(outcome.error, EndsWith(": File too large\n"));
    EXPECT_EQ(ReadFile(old_), "[s]\nk=v\n");
    EXPECT_EQ(RunProgram({.arguments = {"-A", folder_.path()}, .program = "ls"})
                  .output,
              files);
  }

  const TempFolder folder_;
  const std::string old_ = folder_.File("old", "[s]\nk=v\n");
};

TEST_F(SizeLimitTest, AFileThatIsReplacedStays) {
  ExpectTold("\"$0\" crypt encrypt -rc4 k -stdin -out old", "old\n");
  const std::string set =
      "\"$0\" ini set -file old -section s -key k -value \"$(cat)\"";
  ExpectTold(set, "old\n");
  ExpectTold(set + " -inplace", "old\n");
}

// The second edit makes the text short again, but of what the first one cut.
TEST_F(SizeLimitTest, OfSeveralEditsTheFirstCounts) {
  ExpectTold(
      "{ printf 's\\tk\\t'; cat; printf '\\ns\\tk\\tshort\\n'; } | "
      "\"$0\" ini set -file old -stdin",
      "old\n");
}

TEST_F(SizeLimitTest, ANewFileIsNotMade) {
  ExpectTold("\"$0\" crypt encrypt -rc4 k -stdin -out new", "old\n");
}

TEST_F(SizeLimitTest, StandardOutputIsTold) {
  ExpectTold("\"$0\" crypt encrypt -rc4 k -stdin > new", "new\nold\n");
}

}  // namespace
}  // namespace fairlead::tool
