// Tests of edits by replacing a file and in place.

#include "fairlead/file/file_edit.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/edit_testing.h"

namespace fairlead::internal::file_edit_test {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

constexpr Expected kNotReplaced = {.error = FileError::kOnlyInPlace};

TEST(FileEditTest, PassesTheOldTextAndWritesTheNew) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "a long old text\n");
    std::optional<std::string> seen;
    const auto shorten = [&seen](const std::optional<std::string>& old) {
      seen = old;
      return "short\n";
    };
    const FileResult result = EditFile(path, shorten, {.in_place = in_place});
    EXPECT_EQ(result, kWritten);
    EXPECT_TRUE(result.Succeeded());
    EXPECT_EQ(result.path, path);
    EXPECT_EQ(result.Message(), "");
    EXPECT_EQ(seen, "a long old text\n");
    EXPECT_EQ(ReadFile(path), "short\n");
    EXPECT_EQ(EditFile(path, Appending(std::string(100000, 'x')),
                       {.in_place = in_place}),
              kWritten);
    EXPECT_EQ(ReadFile(path), "short\n" + std::string(100000, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(FileEditTest, CreatesAMissingFile) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.Path("f");
    const mode_t mask = umask(0027);
    const auto write = [](const std::optional<std::string>& old) {
      EXPECT_FALSE(old);
      return "text\n";
    };
    EXPECT_EQ(EditFile(path, write, {.in_place = in_place}), kWritten);
    umask(mask);
    EXPECT_EQ(ReadFile(path), "text\n");
    EXPECT_EQ(StatusOf(path).st_mode & 07777U, 0640U);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(FileEditTest, CreatesAnEmptyFile) {
  const TempFolder folder;
  EXPECT_EQ(EditFile(folder.Path("f"), To("")), kWritten);
  EXPECT_EQ(StatusOf(folder.Path("f")).st_size, 0);
}

TEST(FileEditTest, AFileCreatedInTheMeantimeIsEditedToo) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  int calls = 0;
  const auto edit = [&](const std::optional<std::string>& old) {
    if (++calls == 1) Put(folder, "f", "theirs\n");
    return old.value_or("") + "ours\n";
  };
  EXPECT_EQ(EditFile(path, edit), kWritten);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(ReadFile(path), "theirs\nours\n");
}

// By a program that ignores the lock: it writes into the file, or renames
// another file to its path.
TEST(FileEditTest, AFileChangedInTheMeantimeIsEditedAfresh) {
  for (const bool in_place : kBothWays)
    for (const bool renamed : {false, true}) {
      const TempFolder folder;
      const std::string path = Put(folder, "f", "old\n");
      int calls = 0;
      const auto edit = [&](const std::optional<std::string>& old) {
        if (++calls == 1) {
          const std::string other =
              Put(folder, renamed ? "g" : "f", "theirs\n");
          if (renamed) fs::rename(other, path);
        }
        return old.value_or("") + "ours\n";
      };
      EXPECT_EQ(EditFile(path, edit, {.in_place = in_place}), kWritten);
      EXPECT_EQ(calls, 2);
      EXPECT_EQ(ReadFile(path), "theirs\nours\n");
      EXPECT_EQ(FilesIn(folder), 1U);
    }
}

TEST(FileEditTest, AFileThatNeverRestsIsBusy) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  int calls = 0;
  const auto edit = [&](const std::optional<std::string>& old) {
    Put(folder, "f", std::string(static_cast<std::size_t>(++calls), 't'));
    return old.value_or("") + "ours\n";
  };
  const FileResult result =
      EditFile(path, edit, {.lock_limit = std::chrono::milliseconds(0)});
  EXPECT_EQ(result, Expected{.error = FileError::kBusy});
  EXPECT_EQ(calls, 100);
  EXPECT_EQ(ReadFile(path), std::string(100, 't'));
}

TEST(FileEditTest, KeepsTheMode) {
  for (const bool in_place : kBothWays)
    for (const mode_t mode : {0600U, 0644U, 0751U, 06775U, 0666U}) {
      const TempFolder folder;
      const std::string path = Put(folder, "f", "old\n");
      ASSERT_EQ(chmod(path.c_str(), mode), 0);
      EXPECT_EQ(SetNew(path, in_place), kWritten);
      // Writing to a file clears its set-user-ID bits.
      const mode_t kept = in_place ? 0777U : 07777U;
      EXPECT_EQ(StatusOf(path).st_mode & kept, mode & kept);
    }
}

TEST(FileEditTest, KeepsTheOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    ASSERT_EQ(chown(path.c_str(), kNobody, 12345), 0);
    ASSERT_EQ(chmod(path.c_str(), 04640), 0);
    EXPECT_EQ(SetNew(path, in_place), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(StatusOf(path).st_uid, kNobody);
    EXPECT_EQ(StatusOf(path).st_gid, 12345U);
  }
}

TEST(FileEditTest, AnOwnerThatCannotBeKeptIsAnError) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  const OtherUser nobody;
  const FileResult result = SetNew(path, false);
  EXPECT_EQ(result, (Expected{.error = FileError::kOnlyInPlace,
                              .system_error = EPERM}));
  EXPECT_EQ(result.Message(),
            "cannot replace '" + path +
                "': its owner cannot be kept: Operation not permitted (it can "
                "be overwritten in place)");
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
  EXPECT_EQ(SetNew(path, true), kWritten);
  EXPECT_EQ(ReadFile(path), "new\n");
}

TEST(FileEditTest, FollowsSymbolicLinks) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    fs::create_directory(folder.Path("deep"));
    const std::string path = Put(folder, "deep/f", "old\n");
    const std::string link = folder.Path("link");
    fs::create_symlink("deep/second", link);
    fs::create_symlink(path, folder.Path("deep/second"));
    const FileResult result = SetNew(link, in_place);
    EXPECT_EQ(result, kWritten);
    EXPECT_EQ(result.path, path);
    EXPECT_EQ(fs::read_symlink(link), "deep/second");
    EXPECT_EQ(fs::read_symlink(folder.Path("deep/second")), path);
    EXPECT_FALSE(fs::is_symlink(path));
    EXPECT_EQ(ReadFile(path), "new\n");
  }
}

TEST(FileEditTest, CreatesTheTargetOfADanglingLink) {
  const TempFolder folder;
  const std::string link = folder.Path("link");
  fs::create_symlink("f", link);
  EXPECT_EQ(SetNew(link, false), kWritten);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(ReadFile(folder.Path("f")), "new\n");
}

TEST(FileEditTest, ALoopOfLinksIsAnError) {
  const TempFolder folder;
  const std::string link = folder.Path("link");
  fs::create_symlink("link", link);
  const FileResult result = SetNew(link, false);
  EXPECT_EQ(result,
            (Expected{.error = FileError::kCannotRead, .system_error = ELOOP}));
  EXPECT_EQ(result.Message(),
            "cannot read '" + link + "': Too many levels of symbolic links");
}

// In a folder like /tmp, any user could make this one edit any file.
TEST(FileEditTest, ALinkOfAnotherUserInASharedFolderIsNotFollowed) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const std::string link = folder.Path("link");
  fs::create_symlink("f", link);
  ASSERT_EQ(lchown(link.c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
  for (const bool in_place : kBothWays)
    EXPECT_EQ(SetNew(link, in_place), (Expected{.error = FileError::kCannotRead,
                                                .system_error = EACCES}));
  EXPECT_EQ(ReadFile(path), "old\n");
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);  // Not sticky.
  EXPECT_EQ(SetNew(link, false), kWritten);
  ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
  ASSERT_EQ(lchown(link.c_str(), 0, 0), 0);
  EXPECT_EQ(ReplaceFile(link, "own\n"), kWritten);
}

TEST(FileEditTest, AHardLinkIsNotLost) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_hard_link(path, folder.Path("second"));
  const FileResult result = SetNew(path, false);
  EXPECT_EQ(result, kNotReplaced);
  EXPECT_THAT(result.Message(), HasSubstr("several hard links"));
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(SetNew(path, true), kWritten);
  EXPECT_EQ(ReadFile(folder.Path("second")), "new\n");
}

TEST(FileEditTest, InPlaceKeepsTheFileItself) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const ino_t before = StatusOf(path).st_ino;
  EXPECT_EQ(ReplaceFile(path, "new and longer\n", {.in_place = true}),
            kWritten);
  EXPECT_EQ(StatusOf(path).st_ino, before);
  EXPECT_EQ(ReplaceFile(path, "new\n"), kWritten);
  EXPECT_NE(StatusOf(path).st_ino, before);
}

TEST(FileEditTest, NothingIsWrittenIfNothingChanges) {
  const auto nothing = [](const std::optional<std::string>&) {
    return std::nullopt;
  };
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "same\n");
    const struct stat before = StatusOf(path);
    EXPECT_EQ(EditFile(path, To("same\n"), {.in_place = in_place}), kUnchanged);
    EXPECT_EQ(EditFile(path, nothing, {.in_place = in_place}), kUnchanged);
    EXPECT_EQ(ReplaceFile(path, "same\n", {.in_place = in_place}), kUnchanged);
    const struct stat after = StatusOf(path);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_ctim.tv_sec, before.st_ctim.tv_sec);
    EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
    EXPECT_EQ(EditFile(folder.Path("none"), nothing), kUnchanged);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(FileEditTest, AChangeThatThrowsLeavesTheFileUnchanged) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const auto refuse = [](const std::optional<std::string>&) -> std::string {
    throw 7;
  };
  for (const bool in_place : kBothWays) {
    EXPECT_THROW(EditFile(path, refuse, {.in_place = in_place}), int);
    EXPECT_THROW(EditFile(folder.Path("none"), refuse), int);
  }
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
  EXPECT_EQ(SetNew(path, false), kWritten);  // It is not locked.
}

TEST(FileEditTest, AReadOnlyFolderAllowsOnlyInPlace) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
  {
    const OtherUser nobody;
    EXPECT_EQ(SetNew(path, false), (Expected{.error = FileError::kOnlyInPlace,
                                             .system_error = EACCES}));
    EXPECT_EQ(ReadFile(path), "old\n");
    EXPECT_EQ(SetNew(folder.Path("none"), false).Message(),
              "cannot write '" + folder.Path("none") + "': Permission denied");
    EXPECT_EQ(SetNew(path, true), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
  }
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
}

TEST(FileEditTest, AReadOnlyFileIsNotReplaced) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  for (const bool in_place : kBothWays) {
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    const OtherUser nobody;
    EXPECT_EQ(
        SetNew(path, in_place),
        (Expected{.error = FileError::kCannotWrite, .system_error = EACCES}));
  }
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  const OtherUser nobody;
  EXPECT_EQ(SetNew(path, false), (Expected{.error = FileError::kCannotRead,
                                           .system_error = EACCES}));
}

TEST(FileEditTest, OnlyRegularFilesAreEdited) {
  const TempFolder folder;
  const auto expect = [](const std::string& path, const std::string& reason) {
    for (const bool in_place : kBothWays) {
      const FileResult result = SetNew(path, in_place);
      EXPECT_EQ(result.error, FileError::kCannotWrite);
      EXPECT_EQ(result.state, FileState::kOld);
      EXPECT_EQ(result.reason, reason);
    }
    const ReplacementFile pieces(path);
    EXPECT_FALSE(pieces.result().Succeeded()) << path;
  };
  expect(folder.path(), "Is a directory");
  expect(folder.path() + "/", "Is a directory");
  expect("/dev/null", "it is not a regular file");
  expect(folder.Path("none/f"), "No such file or directory");
  expect("", "No such file or directory");
  // Nobody opens the other end.
  const std::string pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  expect(pipe, "it is not a regular file");
  EXPECT_EQ(FilesIn(folder), 1U);
}

// Its link in /proc spells a name that the file has no longer, or never had.
TEST(FileEditTest, AnOpenFileWithoutANameIsRefused) {
  const TempFolder folder;
  const auto expect = [&](const std::string& link, const std::string& reason) {
    for (const bool in_place : kBothWays) {
      const FileResult result = SetNew(link, in_place);
      EXPECT_EQ(result, Expected{.error = FileError::kCannotWrite});
      EXPECT_EQ(result.reason, reason);
    }
    EXPECT_EQ(ReplacementFile(link).result().reason, reason);
    EXPECT_EQ(FilesIn(folder), 0U);
  };
  const std::string nameless =
      "it is an open file that was deleted or has no name";
  const auto link_of = [](int file) {
    return "/dev/fd/" + std::to_string(file);
  };
  const std::string path = Put(folder, "f", "old\n");
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(unlink(path.c_str()), 0);
  expect(link_of(file.number()), nameless);
  const Descriptor memory(memfd_create("f", MFD_CLOEXEC));
  expect(link_of(memory.number()), nameless);
  int ends[2] = {};
  ASSERT_EQ(pipe2(&ends[0], O_CLOEXEC), 0);
  const Descriptor reader(ends[0]);
  const Descriptor writer(ends[1]);
  expect(link_of(reader.number()), "it is not a regular file");

  // Another file has its name now.
  Put(folder, "f", "theirs\n");
  EXPECT_FALSE(SetNew(link_of(file.number()), false).Succeeded());
  EXPECT_EQ(ReadFile(path), "theirs\n");
  const Descriptor theirs(open(path.c_str(), O_RDWR | O_CLOEXEC));
  const FileResult result = SetNew(link_of(theirs.number()), false);
  EXPECT_EQ(result, kWritten);
  EXPECT_EQ(result.path, path);
}

// A read lease (fcntl(2)) makes an attempt to write wait or fail.
TEST(FileEditTest, WaitsForTheEndOfALease) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  Descriptor holder(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const auto ignore = signal(SIGIO, SIG_IGN);
  if (fcntl(holder.number(), F_SETLEASE, F_RDLCK) == -1)
    GTEST_SKIP() << "no leases in " << folder.path();
  EXPECT_EQ(SetNew(path, false), Expected{.error = FileError::kBusy});
  const auto end = [&holder] { holder.Reset(); };
  EXPECT_EQ(
      EditFile(path, To("new\n"),
               {.notice_after = std::chrono::milliseconds(0), .on_wait = end}),
      kWritten);
  signal(SIGIO, ignore);
}

TEST(FileEditTest, AMessageHasNoControlBytes) {
  const FileResult result = SetNew("/none\x1b[31m/\n", false);
  EXPECT_EQ(result.Message(),
            "cannot write '/none?[31m/?': No such file or directory");
  EXPECT_EQ(result.path, "/none\x1b[31m/\n");
}

TEST(FileEditTest, ReadsAWholeFile) {
  const TempFolder folder;
  for (const std::size_t size : {0U, 1U, 4096U, 100'000U}) {
    const std::string text(size, 'x');
    const FileContent content =
        fairlead::ReadFileContent(Put(folder, "f", text));
    EXPECT_EQ(content.text, text);
    EXPECT_EQ(content.result, kUnchanged);
    EXPECT_EQ(content.result.path, folder.Path("f"));
  }
  // The kernel reports size 0 for its own files.
  EXPECT_THAT(fairlead::ReadFileContent("/proc/self/status").text,
              HasSubstr("Pid:"));
}

TEST(FileEditTest, ReportsAFileThatCannotBeRead) {
  const TempFolder folder;
  const FileContent missing = fairlead::ReadFileContent(folder.Path("f"));
  EXPECT_EQ(missing.text, "");
  EXPECT_EQ(missing.result, (Expected{.error = FileError::kCannotRead,
                                      .system_error = ENOENT}));
  EXPECT_THAT(missing.result.Message(),
              EndsWith("/f': No such file or directory"));
  EXPECT_EQ(
      fairlead::ReadFileContent(folder.path()).result,
      (Expected{.error = FileError::kCannotRead, .system_error = EISDIR}));
}

}  // namespace
}  // namespace fairlead::internal::file_edit_test
