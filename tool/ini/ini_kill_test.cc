// The command `ini`, killed at each of its system calls: the file is the old
// one or the new one, whole.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tool/base/concat.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

constexpr char kOld[] = "[a]\nx=1\n";
constexpr char kNew[] = "[a]\ny=2\nx=1\n";
constexpr unsigned kMode = 0640;
constexpr int kMostCalls = 200;

// A sanitizer's search for leaks cannot run under strace.
const Words kEnvironment = {"ASAN_OPTIONS=detect_leaks=0"};

// Every call that opens, changes, locks or names a file, and the ends of the
// others.
constexpr const char* kCalls[] = {
    "openat", "write", "pwrite64",     "read",  "/^rename",   "fsync",
    "fchmod", "close", "memfd_create", "flock", "exit_group",
};

bool StraceWorks() {
  return RunProgram({.arguments = {"-qq", "-e", "inject=exit_group:signal=KILL",
                                   "/bin/true"},
                     .program = "strace"})
             .signal == SIGKILL;
}

Outcome RunKilled(const std::string& call, int when, const Words& arguments) {
  return RunProgram(
      {.arguments =
           Words{"-f", "-qq", "-o", "/dev/null", "-e", "trace=" + call, "-e",
                 Concat("inject=", call, ":signal=KILL:when=", when),
                 FAIRLEAD_PROGRAM} +
           arguments,
       .environment = kEnvironment,
       .program = "strace"});
}

struct Folder {
  TempFolder folder;
  std::string file = folder.path() + "/box.ini";
  std::string link = folder.path() + "/link.ini";

  Folder() { std::filesystem::create_symlink("box.ini", link); }

  void WriteOld() const {
    folder.File("box.ini", kOld);
    EXPECT_EQ(chmod(file.c_str(), kMode), 0);
  }

  Words Set() const {
    return {"ini", "set",  "-file", link,     "-section",
            "a",   "-key", "y",     "-value", "2"};
  }
};

class IniKillTest : public testing::Test {
 protected:
  void SetUp() override {
    try {
      if (!StraceWorks()) GTEST_SKIP() << "strace may not trace here";
    } catch (const std::exception&) {
      GTEST_SKIP() << "strace is not installed";
    }
  }
};

// `check` looks at the folder after each kill and says whether the new file is
// there. It is to see both, over all the calls.
template <typename Prepare, typename Check>
void KillAtEveryCall(const Prepare& prepare, const Check& check) {
  int olds = 0;
  int news = 0;
  for (const char* const call : kCalls) {
    bool killed = true;
    for (int when = 1; killed && when < kMostCalls; ++when) {
      SCOPED_TRACE(Concat(call, " ", when));
      const Folder folder;
      prepare(folder);
      const Outcome outcome = RunKilled(call, when, folder.Set());
      killed = outcome.signal == SIGKILL;
      ASSERT_TRUE(killed || outcome.status == 0) << outcome.error;
      ++(check(folder) ? news : olds);
      EXPECT_EQ(std::filesystem::read_symlink(folder.link), "box.ini");

      // What the killed one left harms no later one.
      ASSERT_EQ(Fairlead(folder.Set()).status, 0);
      ASSERT_TRUE(check(folder));
    }
    EXPECT_FALSE(killed) << call;
  }
  EXPECT_GT(olds, 10);
  EXPECT_GT(news, 3);
}

TEST_F(IniKillTest, TheFileIsTheOldOneOrTheNewOne) {
  KillAtEveryCall([](const Folder& folder) { folder.WriteOld(); },
                  [](const Folder& folder) {
                    const std::string text = ReadFile(folder.file);
                    EXPECT_TRUE(text == kOld || text == kNew) << text;
                    struct stat status = {};
                    EXPECT_EQ(lstat(folder.file.c_str(), &status), 0);
                    EXPECT_EQ(status.st_mode, S_IFREG | kMode);
                    return text == kNew;
                  });
}

TEST_F(IniKillTest, ANewFileIsWholeOrNotThere) {
  KillAtEveryCall([](const Folder&) {},
                  [](const Folder& folder) {
                    const auto text = ReadFileIfAny(folder.file);
                    EXPECT_EQ(text.value_or("[a]\ny=2\n"), "[a]\ny=2\n");
                    return text.has_value();
                  });
}

// A call that fails instead, as on a full or broken disk, leaves the old file.
TEST_F(IniKillTest, ADiskThatFailsLeavesTheOldFile) {
  for (const char* const fault :
       {"pwrite64:error=ENOSPC", "fsync:error=EIO", "/^rename:error=EACCES",
        "fchmod:error=EPERM", "memfd_create:error=ENOMEM"}) {
    SCOPED_TRACE(fault);
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome =
        RunProgram({.arguments = Words{"-f", "-qq", "-o", "/dev/null", "-e",
                                       Concat("inject=", fault, ":when=1"),
                                       FAIRLEAD_PROGRAM} +
                                 folder.Set(),
                    .environment = kEnvironment,
                    .program = "strace"});
    EXPECT_THAT(outcome.status, testing::AnyOf(23, 26)) << outcome.error;
    EXPECT_THAT(outcome.error, testing::HasSubstr("fairlead ini: cannot"));
    EXPECT_EQ(ReadFile(folder.file), kOld);
    const auto files =
        std::filesystem::directory_iterator(folder.folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
  }
}

}  // namespace
}  // namespace fairlead::tool
