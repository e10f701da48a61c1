// Edits on a full disk: a file system in memory, mounted in a namespace of the
// test's own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::ini_full_disk_test {
namespace {

constexpr char kOld[] = "[a]\nx=1\n";

constexpr char kFillSpace[] = "dd if=/dev/zero of=filler bs=4k 2>../notes";
constexpr char kFillInodes[] =
    "n=0; while : >file$n; do n=$((n + 1)); done 2>../notes";

// Mounts the file system, copies the file there, fills the disk, runs the
// command, and copies the file back. The arguments: folder, what fills the
// disk, command.
constexpr char kScript[] = R"(
mount -t tmpfs -o size=64k,nr_inodes=20 none "$1" && cd "$1" || exit 99
[ ! -e ../old.ini ] || cp ../old.ini box.ini || exit 99
(eval "$2")
shift 2
ls -A >../names_before
"$@"
status=$?
ls -A >../names_after
[ ! -e box.ini ] || cp box.ini ../new.ini || exit 99
exit $status
)";

class IniFullDiskTest : public testing::Test {
 protected:
  void SetUp() override {
    const Outcome outcome = RunProgram(
        {.arguments = {"-rm", "mount", "-t", "tmpfs", "none", folder_.path()},
         .program = "unshare"});
    if (outcome.status != 0)
      GTEST_SKIP() << "no file system can be mounted: " << outcome.error;
    std::filesystem::create_directory(folder_.path() + "/disk");
  }

  // Expects the command to fail and to change nothing.
  void ExpectRefused(const std::string& fill, const Words& words) const {
    SCOPED_TRACE(OneLine(testing::PrintToString(words)));
    const Outcome outcome = RunProgram(
        {.arguments = Words{"-rm", "sh", "-c", kScript, "sh",
                            folder_.path() + "/disk", fill, Program(), "ini"} +
                      words,
         .program = "unshare"});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_THAT(outcome.error,
                testing::HasSubstr("cannot write 'box.ini': No space left"));
    EXPECT_EQ(Read("new.ini"), Read("old.ini"));
    EXPECT_EQ(Read("names_after"), Read("names_before"));
  }

  std::optional<std::string> Read(const std::string& name) const {
    return ReadFileIfAny(folder_.path() + "/" + name);
  }

  const TempFolder folder_;
};

Words SetTo(const std::string& value) {
  return {"set",  "-file", "box.ini", "-section", "a",
          "-key", "x",     "-value",  value};
}

TEST_F(IniFullDiskTest, KeepsTheOldFile) {
  folder_.File("old.ini", kOld);
  ExpectRefused(kFillSpace, SetTo("2"));
  ExpectRefused(kFillInodes, SetTo("2"));
  ExpectRefused(kFillSpace, {"disable", "-file", "box.ini", "-section", "a"});
}

// Text that fits in the blocks of the old one needs no space.
TEST_F(IniFullDiskTest, KeepsTheOldFileInPlace) {
  folder_.File("old.ini", kOld);
  ExpectRefused(kFillSpace,
                SetTo(std::string(10'000, 'v')) + Words{"-inplace"});
}

TEST_F(IniFullDiskTest, CreatesNoPartOfAFile) {
  ExpectRefused(kFillSpace, SetTo("1"));
  ExpectRefused(kFillInodes, SetTo("1"));
  ExpectRefused(kFillInodes, {"create", "-file", "box.ini"});
}

}  // namespace
}  // namespace fairlead::tool::ini_full_disk_test
