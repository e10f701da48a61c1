// Tests of files written in pieces.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "fairlead/file/edit_testing.h"
#include "fairlead/file/file_edit.h"

namespace fairlead::internal::replacement_file_test {
namespace {

TEST(ReplacementFileTest, TheOldTextStaysUntilTheCommit) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  ReplacementFile file(path);
  EXPECT_TRUE(file.Write("one "));
  EXPECT_TRUE(file.Write(""));
  EXPECT_TRUE(file.Write("two\n"));
  EXPECT_EQ(file.result(), kUnchanged);
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(file.Commit(), kWritten);
  EXPECT_EQ(file.result().path, path);
  EXPECT_EQ(ReadFile(path), "one two\n");
  EXPECT_EQ(StatusOf(path).st_mode & 07777U, 0640U);
  EXPECT_FALSE(file.Write("late"));
  EXPECT_EQ(file.Commit(), kWritten);
  EXPECT_EQ(ReadFile(path), "one two\n");
  EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(ReplacementFileTest, WithoutACommitNothingIsLeft) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  for (const std::string& name : {path, folder.Path("g")}) {
    ReplacementFile file(name);
    EXPECT_TRUE(file.Write("new"));
  }
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(ReplacementFileTest, CreatesAFileAndFollowsLinks) {
  const TempFolder folder;
  std::filesystem::create_symlink("f", folder.Path("link"));
  for (const char* const text : {"first", "second"}) {
    ReplacementFile file(folder.Path("link"));
    EXPECT_TRUE(file.Write(text));
    EXPECT_EQ(file.Commit(), kWritten);
    EXPECT_EQ(ReadFile(folder.Path("f")), text);
  }
  EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("link")));
}

TEST(ReplacementFileTest, AFileCreatedInTheMeantimeIsKept) {
  const TempFolder folder;
  ReplacementFile file(folder.Path("f"));
  EXPECT_TRUE(file.Write("ours"));
  const std::string path = Put(folder, "f", "theirs");
  EXPECT_EQ(file.Commit(), (Expected{.error = FileError::kCannotWrite,
                                     .system_error = EEXIST}));
  EXPECT_EQ(file.result().Message(),
            "cannot write '" + path +
                "': another process created it in the meantime");
  EXPECT_EQ(ReadFile(path), "theirs");
  EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(ReplacementFileTest, TheFirstFailureIsKept) {
  const TempFolder folder;
  ReplacementFile file(folder.Path("none/f"));
  const Expected missing = {.error = FileError::kCannotWrite,
                            .system_error = ENOENT};
  EXPECT_EQ(file.result(), missing);
  EXPECT_FALSE(file.Write("text"));
  EXPECT_EQ(file.Commit(), missing);
  EXPECT_EQ(file.result().path, folder.Path("none/f"));
  std::filesystem::create_symlink("loop", folder.Path("loop"));
  EXPECT_EQ(
      ReplacementFile(folder.Path("loop")).Commit(),
      (Expected{.error = FileError::kCannotWrite, .system_error = ELOOP}));
}

TEST(ReplacementFileTest, AWriteOnlyFileIsReplacedAndAReadOnlyOneIsNot) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old");
  if (geteuid() == 0) {
    ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(chown(folder.path().c_str(), kNobody, kNobody), 0);
  }
  const OtherUser nobody;
  ASSERT_EQ(chmod(path.c_str(), 0200), 0);
  EXPECT_EQ(ReplacementFile(path).Commit(), kWritten);
  EXPECT_EQ(StatusOf(path).st_mode & 07777U, 0200U);
  ASSERT_EQ(chmod(path.c_str(), 0400), 0);
  EXPECT_EQ(
      ReplacementFile(path).result(),
      (Expected{.error = FileError::kCannotWrite, .system_error = EACCES}));
}

TEST(ReplacementFileTest, AHardLinkIsNotLost) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old");
  std::filesystem::create_hard_link(path, folder.Path("second"));
  EXPECT_EQ(ReplacementFile(path).Commit(),
            Expected{.error = FileError::kOnlyInPlace});
  EXPECT_EQ(ReadFile(path), "old");
}

}  // namespace
}  // namespace fairlead::internal::replacement_file_test
