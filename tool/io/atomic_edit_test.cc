// Tests of edits by replacing a file and in place.

#include "tool/io/atomic_edit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "tool/io/edit_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

TEST(AtomicEditTest, PassesTheOldTextAndWritesTheNew) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "a long old text\n");
    std::optional<std::string> seen;
    EditFile(path, writing, [&seen](const std::optional<std::string>& old) {
      seen = old;
      return "short\n";
    });
    EXPECT_EQ(seen, "a long old text\n");
    EXPECT_EQ(ReadFile(path), "short\n");
    EditFile(path, writing, Appending(std::string(100000, 'x')));
    EXPECT_EQ(ReadFile(path), "short\n" + std::string(100000, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(AtomicEditTest, CreatesAMissingFile) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.path() + "/f";
    const mode_t mask = umask(0027);
    EditFile(path, writing, [](const std::optional<std::string>& old) {
      EXPECT_FALSE(old);
      return "text\n";
    });
    umask(mask);
    EXPECT_EQ(ReadFile(path), "text\n");
    EXPECT_EQ(StatusOf(path).st_mode & 07777U, 0640U);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(AtomicEditTest, AFileCreatedInTheMeantimeIsEditedToo) {
  const TempFolder folder;
  const std::string path = folder.path() + "/f";
  int calls = 0;
  EditFile(path, Writing::kReplace, [&](const std::optional<std::string>& old) {
    if (++calls == 1) folder.File("f", "theirs\n");
    return old.value_or("") + "ours\n";
  });
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(ReadFile(path), "theirs\nours\n");
}

TEST(AtomicEditTest, KeepsTheMode) {
  for (const Writing writing : kBothWays)
    for (const mode_t mode : {0600U, 0644U, 0751U, 06775U, 0666U}) {
      const TempFolder folder;
      const std::string path = folder.File("f", "old\n");
      ASSERT_EQ(chmod(path.c_str(), mode), 0);
      EditFile(path, writing, To("new\n"));
      // Writing to a file clears its set-user-ID bits.
      const mode_t kept = writing == Writing::kReplace ? 07777U : 0777U;
      EXPECT_EQ(StatusOf(path).st_mode & kept, mode & kept);
    }
}

TEST(AtomicEditTest, KeepsTheOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "old\n");
    ASSERT_EQ(chown(path.c_str(), kNobody, 12345), 0);
    ASSERT_EQ(chmod(path.c_str(), 04640), 0);
    EditFile(path, writing, To("new\n"));
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(StatusOf(path).st_uid, kNobody);
    EXPECT_EQ(StatusOf(path).st_gid, 12345U);
  }
}

TEST(AtomicEditTest, AnOwnerThatCannotBeKeptIsAnError) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  const OtherUser nobody;
  EXPECT_THAT(
      Fault(path, Writing::kReplace),
      AllOf(HasSubstr("its owner cannot be kept: Operation not permitted"),
            HasSubstr("(-inplace")));
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
  EXPECT_EQ(Fault(path, Writing::kInPlace), "");
  EXPECT_EQ(ReadFile(path), "new\n");
}

TEST(AtomicEditTest, FollowsSymbolicLinks) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    fs::create_directory(folder.path() + "/deep");
    const std::string path = folder.File("deep/f", "old\n");
    const std::string link = folder.path() + "/link";
    fs::create_symlink("deep/second", link);
    fs::create_symlink("f", folder.path() + "/deep/second");
    EditFile(link, writing, To("new\n"));
    EXPECT_EQ(fs::read_symlink(link), "deep/second");
    EXPECT_EQ(fs::read_symlink(folder.path() + "/deep/second"), "f");
    EXPECT_FALSE(fs::is_symlink(path));
    EXPECT_EQ(ReadFile(path), "new\n");
  }
}

TEST(AtomicEditTest, CreatesTheTargetOfADanglingLink) {
  const TempFolder folder;
  const std::string link = folder.path() + "/link";
  fs::create_symlink("f", link);
  EditFile(link, Writing::kReplace, To("new\n"));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(ReadFile(folder.path() + "/f"), "new\n");
}

TEST(AtomicEditTest, ALoopOfLinksIsAnError) {
  const TempFolder folder;
  const std::string link = folder.path() + "/link";
  fs::create_symlink("link", link);
  EXPECT_THAT(Fault(link, Writing::kReplace, kCannotRead),
              HasSubstr("symbolic links"));
}

TEST(AtomicEditTest, AHardLinkIsNotLost) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  fs::create_hard_link(path, folder.path() + "/second");
  EXPECT_THAT(Fault(path, Writing::kReplace), HasSubstr("several hard links"));
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(Fault(path, Writing::kInPlace), "");
  EXPECT_EQ(ReadFile(folder.path() + "/second"), "new\n");
}

TEST(AtomicEditTest, InPlaceKeepsTheFileItself) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const ino_t before = StatusOf(path).st_ino;
  EditFile(path, Writing::kInPlace, To("new and longer\n"));
  EXPECT_EQ(StatusOf(path).st_ino, before);
  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_NE(StatusOf(path).st_ino, before);
}

TEST(AtomicEditTest, AnEqualTextIsNotWritten) {
  const TempFolder folder;
  const std::string path = folder.File("f", "same\n");
  const ino_t before = StatusOf(path).st_ino;
  EditFile(path, Writing::kReplace, To("same\n"));
  EXPECT_EQ(StatusOf(path).st_ino, before);
}

TEST(AtomicEditTest, AChangeThatThrowsLeavesTheFileUnchanged) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const auto refuse = [](const std::optional<std::string>&) -> std::string {
    throw 7;
  };
  for (const Writing writing : kBothWays) {
    EXPECT_THROW(EditFile(path, writing, refuse), int);
    EXPECT_THROW(EditFile(folder.path() + "/none", writing, refuse), int);
  }
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(AtomicEditTest, AReadOnlyFolderAllowsOnlyInPlace) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
  {
    const OtherUser nobody;
    EXPECT_THAT(Fault(path, Writing::kReplace), HasSubstr("(-inplace"));
    EXPECT_EQ(ReadFile(path), "old\n");
    EXPECT_THAT(Fault(folder.path() + "/none", Writing::kReplace),
                testing::EndsWith("/none': Permission denied"));
    EXPECT_EQ(Fault(path, Writing::kInPlace), "");
    EXPECT_EQ(ReadFile(path), "new\n");
  }
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
}

TEST(AtomicEditTest, AReadOnlyFileIsNotReplaced) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  for (const Writing writing : kBothWays) {
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    const OtherUser nobody;
    EXPECT_THAT(Fault(path, writing), HasSubstr("Permission denied"));
  }
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  const OtherUser nobody;
  EXPECT_THAT(Fault(path, Writing::kReplace, kCannotRead),
              HasSubstr("Permission denied"));
}

TEST(AtomicEditTest, OnlyRegularFilesAreEdited) {
  const TempFolder folder;
  EXPECT_THAT(Fault(folder.path(), Writing::kReplace),
              HasSubstr("Is a directory"));
  const std::string pipe = folder.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  EXPECT_THAT(Fault(pipe, Writing::kReplace), HasSubstr("not a regular file"));
  EXPECT_THAT(Fault(folder.path() + "/none/f", Writing::kReplace),
              testing::EndsWith("No such file or directory"));
}

}  // namespace
}  // namespace fairlead::tool
