// Fails the system calls of edits that need a fault of their own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tool/base/concat.h"
#include "tool/ini/strace_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::ini_fault_test {
namespace {

using IniFaultTest = StraceTest;

// Returns whether the loader failed, before the command began.
bool LoaderFailed(const Outcome& outcome) {
  return outcome.error.find("shared libraries") != std::string::npos;
}

// Returns whether standard output failed, after the file was written.
bool OutputFailed(const Outcome& outcome) {
  return outcome.error.find("standard output") != std::string::npos;
}

// Runs the command once, then with each open, read and write failing once. It
// must then do and print the same, or report an error and leave the file
// unchanged.
template <typename MakeWords>
void ExpectRightOrRefused(const MakeWords& make_words) {
  const Folder whole;
  whole.WriteOld();
  const Outcome right = Fairlead(make_words(whole.file));
  EXPECT_EQ(right.status, 0) << right.error;
  for (const char* const fault :
       {"openat:error=EMFILE", "read:error=EIO", "write:error=ENOSPC"}) {
    bool reached = true;
    for (int when = 1; reached && when < kMaxCalls; ++when) {
      const Folder folder;
      folder.WriteOld();
      const Words words = make_words(folder.file);
      SCOPED_TRACE(Concat(fault, " ", when, " ", words[1]));
      const Traced run = RunReaching(Concat(fault, ":when=", when), words);
      reached = run.IsReached();
      if (LoaderFailed(run.outcome)) continue;
      folder.ExpectNoOtherFiles();
      const bool done = run.outcome.status == 0;
      EXPECT_TRUE(!done || run.outcome.output == right.output)
          << run.outcome.output;
      EXPECT_THAT(run.outcome.status, testing::AnyOf(0, 23, 26));
      EXPECT_EQ(run.outcome.error.empty(), done) << run.outcome.error;
      EXPECT_EQ(ReadFile(folder.file), done || OutputFailed(run.outcome)
                                           ? ReadFile(whole.file)
                                           : kOld);
    }
    EXPECT_FALSE(reached);
  }
}

TEST_F(IniFaultTest, WorksOnAFileSystemWithoutUnnamedFiles) {
  const Folder folder;
  folder.WriteOld();
  const Traced run = RunReaching(NoUnnamedFiles(), folder.Set());
  EXPECT_THAT(run.log, testing::ContainsRegex("O_TMPFILE.*INJECTED"));
  EXPECT_EQ(run.outcome.error, "");
  EXPECT_EQ(ReadFile(folder.file), kNew);
  folder.ExpectNoOtherFiles();
}

// As on a full or broken disk.
TEST_F(IniFaultTest, AFailedCallLeavesTheOldFile) {
  for (const char* const fault :
       {"pwrite64:error=ENOSPC", "fsync:error=EIO", "/^rename:error=EACCES",
        "fchmod:error=EPERM", "linkat:error=EIO", "flistxattr:error=EIO"}) {
    SCOPED_TRACE(fault);
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome = RunWith(Concat(fault, ":when=1"), folder.Set());
    EXPECT_THAT(outcome.status, testing::AnyOf(23, 26)) << outcome.error;
    EXPECT_THAT(outcome.error, testing::HasSubstr("fairlead ini: cannot"));
    EXPECT_EQ(ReadFile(folder.file), kOld);
    folder.ExpectNoOtherFiles();
  }
}

TEST_F(IniFaultTest, AnUnreadableLinkIsKept) {
  if (IsSanitized()) GTEST_SKIP() << "sanitizers read links too";
  const Folder folder;
  folder.WriteOld();
  EXPECT_EQ(RunWith("readlinkat:error=EIO:when=1", folder.Set()).status, 26);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.link));
  EXPECT_EQ(ReadFile(folder.file), kOld);
}

TEST_F(IniFaultTest, AHiddenFileIsDeletedOnFailure) {
  const std::string named = NoUnnamedFiles();
  for (const char* const fault :
       {"pwrite64:error=ENOSPC", "fsync:error=EIO", "/^rename:error=EACCES"}) {
    SCOPED_TRACE(fault);
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome = RunWith(Concat(fault, ":when=1"), folder.Set(),
                                    {"-e", "inject=" + named});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_EQ(ReadFile(folder.file), kOld);
    folder.ExpectNoOtherFiles();
  }
}

// The new file is already there, and the message says so.
TEST_F(IniFaultTest, ReportsAFolderThatCannotBeSynced) {
  const Folder folder;
  folder.WriteOld();
  const Outcome outcome = RunWith("fsync:error=EIO:when=2", folder.Set());
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error,
              testing::HasSubstr("was written, but a power failure"));
  EXPECT_EQ(ReadFile(folder.file), kNew);
}

// Longer and shorter than the old text.
TEST_F(IniFaultTest, AFailureInPlaceRestoresTheOldText) {
  for (const char* const fault :
       {"pwrite64:error=EIO", "ftruncate:error=EIO", "fsync:error=EIO",
        "fallocate:error=ENOSPC", "pwrite64:error=ENOSPC"})
    for (const bool shorter : {false, true}) {
      SCOPED_TRACE(Concat(fault, " ", shorter));
      const bool reached = !shorter || std::string_view(fault).find("fall") ==
                                           std::string_view::npos;
      const bool cut = shorter || std::string_view(fault).find("ftrun") ==
                                      std::string_view::npos;
      if (!reached || !cut) continue;
      const Folder folder;
      folder.WriteOld();
      const Words edit = shorter
                             ? Words{"ini",      "delete", "-file", folder.link,
                                     "-section", "a",      "-key",  "x"}
                             : folder.Set();
      const Outcome outcome =
          RunWith(Concat(fault, ":when=1"), edit + Words{"-inplace"});
      EXPECT_EQ(outcome.status, 23);
      EXPECT_THAT(outcome.error, testing::HasSubstr("cannot write"));
      EXPECT_EQ(ReadFile(folder.file), kOld);
    }
}

// No byte was written, and the old length is restored.
TEST_F(IniFaultTest, ReportsAFailureToRestoreTheOldText) {
  const Folder folder;
  folder.WriteOld();
  const Outcome outcome =
      RunWith("pwrite64:error=EIO:when=1+", folder.Set() + Words{"-inplace"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error,
            Concat("fairlead ini: cannot write '", folder.file,
                   "': Input/output error; restoring the old text failed too, "
                   "and part of it may be lost: Input/output error\n"));
  EXPECT_EQ(ReadFile(folder.file), kOld);
  folder.ExpectNoOtherFiles();
}

// The whole new text was written, and then the old text.
TEST_F(IniFaultTest, ReportsARestoredTextThatCannotBeSynced) {
  const Folder folder;
  folder.WriteOld();
  const Outcome outcome =
      RunWith("fsync:error=EIO:when=1+", folder.Set() + Words{"-inplace"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error,
              testing::HasSubstr("restoring the old text failed too"));
  EXPECT_EQ(ReadFile(folder.file), kOld);
}

// Includes the calls on the copy in memory.
TEST_F(IniFaultTest, AFailedCallGivesNoWrongResult) {
  if (IsSanitized()) GTEST_SKIP() << "sanitizers open, read and write too";
  const Words in_a = {"-section", "a", "-key", "x"};
  for (const Words& words : {
           Words{"set", "-value", "2"} + in_a,
           Words{"set", "-value", "2", "-inplace"} + in_a,
           Words{"delete"} + in_a,
           Words{"rename", "-to", "z"} + in_a,
           Words{"get", "-default", "NONE"} + in_a,
           Words{"has"} + in_a,
           Words{"list"},
       })
    ExpectRightOrRefused([&words](const std::string& file) {
      return Words{"ini", words[0], "-file", file} +
             Words(words.begin() + 1, words.end());
    });
  for (const char* const option : {"-saveprofile", "-demo"})
    ExpectRightOrRefused([option](const std::string& file) {
      return Words{"send", "-demo", "-quiet", "-text",    "hi", "-settings",
                   file,   "-idle", "7",      "-profile", "a",  option};
    });
}

}  // namespace
}  // namespace fairlead::tool::ini_fault_test
