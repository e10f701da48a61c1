// Tests of the backups that edits keep.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>

#include "fairlead/file/edit_testing.h"
#include "fairlead/file/file_edit.h"

namespace fairlead::internal::file_backup_test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

FileResult SetNewKeepingOld(const std::string& path, bool in_place,
                            const std::string& suffix = "~") {
  return EditFile(path, To("new\n"),
                  {.in_place = in_place, .backup_suffix = suffix});
}

TEST(FileBackupTest, TheOldFileIsKept) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    EXPECT_EQ(SetNewKeepingOld(path, in_place, ".bak"), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(ReadFile(path + ".bak"), "old\n");
    EXPECT_EQ(StatusOf(path).st_nlink, 1U);
    EXPECT_EQ(FilesIn(folder), 2U);
  }
}

TEST(FileBackupTest, AnOlderBackupIsReplaced) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", std::string(100'000, 'x'));
    const std::string backup = Put(folder, "f~", "a longer backup\n");
    ASSERT_EQ(chmod(backup.c_str(), 0400), 0);
    EXPECT_EQ(SetNewKeepingOld(path, in_place), kWritten);
    EXPECT_TRUE(ReadFile(backup) == std::string(100'000, 'x'));
    EXPECT_EQ(ReplaceFile(path, "newer\n",
                          {.in_place = in_place, .backup_suffix = "~"}),
              kWritten);
    EXPECT_EQ(ReadFile(path), "newer\n");
    EXPECT_EQ(ReadFile(backup), "new\n");
    EXPECT_EQ(FilesIn(folder), 2U);
  }
}

TEST(FileBackupTest, AnEditThatWritesNothingMakesNone) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "new\n");
    const std::string backup = Put(folder, "f~", "older\n");
    EXPECT_EQ(SetNewKeepingOld(path, in_place), kUnchanged);
    EXPECT_EQ(ReadFile(backup), "older\n");
    EXPECT_EQ(SetNewKeepingOld(folder.Path("created"), in_place), kWritten);
    EXPECT_EQ(FilesIn(folder), 3U);
  }
}

TEST(FileBackupTest, ItHasTheAttributesOfTheFile) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    Put(folder, "f~", "older\n");
    if (geteuid() == 0) {
      ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
    }
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    const bool has_attributes =
        setxattr(path.c_str(), "user.origin", "x", 1, 0) == 0;
    const struct stat before = StatusOf(path);
    EXPECT_EQ(SetNewKeepingOld(path, in_place), kWritten);
    for (const std::string& name : {path, path + "~"}) {
      const struct stat after = StatusOf(name);
      EXPECT_EQ(after.st_uid, before.st_uid);
      EXPECT_EQ(after.st_gid, before.st_gid);
      EXPECT_EQ(after.st_mode, before.st_mode);
      char value = 0;
      if (has_attributes) {
        EXPECT_EQ(getxattr(name.c_str(), "user.origin", &value, 1), 1);
        EXPECT_EQ(value, 'x');
      }
    }
  }
}

TEST(FileBackupTest, ItIsBesideTheTargetOfALink) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    fs::create_directory(folder.Path("d"));
    const std::string path = Put(folder, "d/f", "old\n");
    fs::create_symlink("d/f", folder.Path("link"));
    EXPECT_EQ(SetNewKeepingOld(folder.Path("link"), in_place), kWritten);
    EXPECT_EQ(ReadFile(path + "~"), "old\n");
    EXPECT_EQ(FilesIn(folder), 2U);
  }
}

// Expects that an edit with this suffix changes nothing.
void ExpectRefused(const TempFolder& folder, const std::string& suffix,
                   int system_error, const std::string& reason) {
  const std::string path = folder.Path("f");
  const std::size_t files = FilesIn(folder);
  for (const bool in_place : kBothWays) {
    SCOPED_TRACE(testing::Message() << suffix << ", in place: " << in_place);
    const struct stat before = StatusOf(path);
    const FileResult result = SetNewKeepingOld(path, in_place, suffix);
    EXPECT_EQ(result, (Expected{.error = FileError::kCannotWrite,
                                .system_error = system_error}));
    EXPECT_THAT(result.reason, testing::StartsWith("its backup '" + path));
    EXPECT_THAT(result.reason, EndsWith("' cannot be made: " + reason));
    EXPECT_EQ(ReadFile(path), "old\n");
    EXPECT_EQ(StatusOf(path).st_ino, before.st_ino);
    EXPECT_EQ(StatusOf(path).st_nlink, 1U);
    EXPECT_EQ(FilesIn(folder), files);
  }
}

TEST(FileBackupTest, OnlyARegularFileIsReplaced) {
  const std::string reason = "it is not a regular file";
  const TempFolder folder;
  Put(folder, "f", "old\n");
  const std::string other = Put(folder, "other", "theirs\n");
  fs::create_directory(folder.Path("f.folder"));
  ASSERT_EQ(mkfifo(folder.Path("f.pipe").c_str(), 0666), 0);
  fs::create_symlink("other", folder.Path("f.link"));
  fs::create_symlink("f", folder.Path("f.self"));
  fs::create_symlink("none", folder.Path("f.none"));
  for (const char* suffix : {".folder", ".pipe", ".link", ".self", ".none"})
    ExpectRefused(folder, suffix, 0, reason);
  EXPECT_EQ(ReadFile(other), "theirs\n");
  EXPECT_TRUE(fs::is_symlink(folder.Path("f.link")));
  EXPECT_FALSE(fs::exists(folder.Path("none")));
}

// A NUL would end the path: the backup would be the file itself.
TEST(FileBackupTest, ASuffixMustMakeAnotherName) {
  const TempFolder folder;
  Put(folder, "f", "old\n");
  ExpectRefused(folder, std::string(1, '\0'), EINVAL, "Invalid argument");
  ExpectRefused(folder, "/../f", ENOTDIR, "Not a directory");
  ExpectRefused(folder, "/", ENOTDIR, "Not a directory");
  ExpectRefused(folder, std::string(300, 'x'), ENAMETOOLONG,
                "File name too long");
}

TEST(FileBackupTest, AnotherHardLinkIsNotLost) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_hard_link(path, folder.Path("second"));
  EXPECT_EQ(SetNewKeepingOld(path, false),
            Expected{.error = FileError::kOnlyInPlace});
  EXPECT_EQ(FilesIn(folder), 2U);
  EXPECT_EQ(SetNewKeepingOld(path, true), kWritten);
  EXPECT_EQ(ReadFile(folder.Path("second")), "new\n");
  EXPECT_EQ(ReadFile(path + "~"), "old\n");
}

TEST(FileBackupTest, ABackupThatIsALinkOfTheFileIsMadeAFileOfItsOwn) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    fs::create_hard_link(path, path + "~");
    EXPECT_EQ(SetNewKeepingOld(path, in_place), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(ReadFile(path + "~"), "old\n");
    EXPECT_EQ(StatusOf(path).st_nlink, 1U);
    EXPECT_EQ(FilesIn(folder), 2U);
  }
}

// Such an edit leaves a hidden link of the file too.
TEST(FileBackupTest, TheBackupOfAKilledEditBlocksNoOther) {
  for (const char* suffix : {"", ".bak", "~"}) {
    SCOPED_TRACE(suffix);
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    fs::create_hard_link(path, path + "~");
    fs::create_hard_link(path, folder.Path(".fairlead.1.0"));
    EXPECT_EQ(SetNewKeepingOld(path, false, suffix), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(ReadFile(path + "~"), "old\n");
    EXPECT_EQ(StatusOf(path).st_nlink, 1U);
    EXPECT_EQ(FilesIn(folder), std::string(".bak") == suffix ? 3U : 2U);
  }
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_hard_link(path, folder.Path("second"));
  fs::create_hard_link(path, folder.Path(".fairlead.1.0"));
  EXPECT_EQ(SetNewKeepingOld(path, false),
            Expected{.error = FileError::kOnlyInPlace});
}

// The hidden file of an edit of another file says nothing about this one.
TEST(FileBackupTest, AnotherHardLinkIsNotLostBesideAStaleFile) {
  for (const char* suffix : {"", "~"})
    for (const bool is_link : {false, true}) {
      const TempFolder folder;
      const std::string path = Put(folder, "f", "old\n");
      const std::string shared = path + ".shared";
      fs::create_hard_link(path, shared);
      const std::string stale = Put(folder, ".fairlead.999999.0", "");
      if (is_link) fs::create_hard_link(stale, folder.Path("other"));
      EXPECT_EQ(SetNewKeepingOld(path, false, suffix),
                Expected{.error = FileError::kOnlyInPlace});
      EXPECT_EQ(StatusOf(shared).st_ino, StatusOf(path).st_ino);
      EXPECT_EQ(ReadFile(path), "old\n");
    }
}

TEST(FileBackupTest, OnlyALinkAtItsOwnNameIsNoOtherLink) {
  for (const char* other : {"ff.bak", "ff2", "second", "d/ff~"}) {
    const TempFolder folder;
    fs::create_directory(folder.Path("d"));
    const std::string path = Put(folder, "ff", "old\n");
    fs::create_hard_link(path, path + "~");
    fs::create_hard_link(path, folder.Path(other));
    EXPECT_EQ(SetNewKeepingOld(path, false),
              Expected{.error = FileError::kOnlyInPlace})
        << other;
    EXPECT_EQ(StatusOf(path).st_nlink, 3U);
  }
}

// There a link of another user's file could not be deleted.
TEST(FileBackupTest, NoLinkIsLeftInASharedFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as another user";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
  {
    const OtherUser nobody;
    EXPECT_FALSE(SetNewKeepingOld(path, false).Succeeded());
    EXPECT_FALSE(SetNewKeepingOld(path, true).Succeeded());
  }
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(StatusOf(path).st_nlink, 1U);
  EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(FileBackupTest, AReadOnlyFolderAllowsNone) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
  {
    const OtherUser nobody;
    const FileResult result = SetNewKeepingOld(path, true);
    EXPECT_EQ(result, (Expected{.error = FileError::kCannotWrite,
                                .system_error = EACCES}));
    EXPECT_THAT(result.Message(), HasSubstr("its backup '" + path + "~'"));
  }
  EXPECT_EQ(ReadFile(path), "old\n");
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
}

TEST(FileBackupTest, AMessageHasNoControlBytes) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_directory(path + "\x1b[31m");
  EXPECT_THAT(SetNewKeepingOld(path, false, "\x1b[31m").Message(),
              HasSubstr("its backup '" + path + "?[31m' cannot be made"));
}

}  // namespace
}  // namespace fairlead::internal::file_backup_test
