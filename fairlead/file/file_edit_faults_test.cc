// Tests of edits in which a system call fails: whatever fails, the result says
// truly which text the file has, and nothing else is left.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/file/edit_faults_testing.h"

namespace fairlead::internal {
namespace {

bool IsInPlace(const Way& way) {
  return way.write == Replaced<true> || way.write == Shortened ||
         way.write == Rewritten<true> || way.write == WithBackup<true>;
}

struct Outcome {
  FileResult result;
  std::string text;
  std::string backup;
  nlink_t links;
  std::size_t files;
  int failed;  // How many calls.
};

// Fails the calls from number `first` to `last` of that name.
Outcome RunFailing(const Way& way, std::string_view name, int error, int first,
                   int last) {
  const Files files(way);
  int calls = 0;
  int failed = 0;
  FileResult result;
  {
    const Hooked hooked([&](std::string_view call, int) {
      if (call == "O_TMPFILE" && !way.has_unnamed) return EOPNOTSUPP;
      if (call != name || ++calls < first || calls > last) return 0;
      ++failed;
      return error;
    });
    result = way.write(files.path());
  }
  const nlink_t links = files.Count() == 0 ? 1 : files.Links();
  return {result, files.Text(), files.Backup(), links, files.Count(), failed};
}

// Whatever a result says about the file must be true.
void ExpectTrue(const Way& way, const Outcome& outcome) {
  const FileResult& result = outcome.result;
  if (result.Succeeded()) {
    EXPECT_EQ(result.state, FileState::kNew);
  }
  if (result.state == FileState::kNew) {
    EXPECT_EQ(outcome.text, NewText(way));
  } else if (result.state == FileState::kOld) {
    EXPECT_EQ(outcome.text, way.exists ? kOld : "");
  }
  const bool is_new = result.state == FileState::kNew;
  const std::string older = way.has_older ? kOlder : "";
  EXPECT_EQ(outcome.backup, is_new && way.keeps_old ? kOld : older);
  EXPECT_EQ(outcome.files, (way.exists || is_new ? 1U : 0U) +
                               (outcome.backup.empty() ? 0U : 1U));
  EXPECT_EQ(outcome.links, 1U);
  EXPECT_EQ(result.Message().empty(), result.Succeeded());
}

// Calls `check` with the outcome of each single failure; returns how many.
template <typename Check>
int FailEach(int error, const Check& check) {
  int runs = 0;
  for (const Way& way : kWays)
    for (const std::string_view call : kCalls)
      for (int number = 1;; ++number) {
        SCOPED_TRACE(testing::Message() << way.name << ": " << call << ' '
                                        << number << ", " << error);
        const Outcome outcome = RunFailing(way, call, error, number, number);
        if (outcome.failed == 0) break;
        ++runs;
        ExpectTrue(way, outcome);
        check(way, call, outcome);
      }
  return runs;
}

TEST(FileEditFaultsTest, TheResultSaysWhichTextTheFileHas) {
  for (const int error : {EIO, ENOSPC, EMFILE, ENOMEM, EACCES}) {
    const int runs = FailEach(
        error, [](const Way&, std::string_view, const Outcome& outcome) {
          EXPECT_NE(outcome.result.state, FileState::kMixed);
        });
    EXPECT_GT(runs, 100);
  }
}

TEST(FileEditFaultsTest, AnInterruptedCallIsRepeated) {
  constexpr std::string_view kNeverInterrupted[] = {
      "fchmod",       "fstat",      "stat",      "lstat",
      "fstatat",      "access",     "fgetxattr", "fsetxattr",
      "fremovexattr", "flistxattr", "readlinkat"};
  FailEach(EINTR,
           [&](const Way&, std::string_view call, const Outcome& outcome) {
             const bool may_fail = std::ranges::find(kNeverInterrupted, call) !=
                                   std::end(kNeverInterrupted);
             EXPECT_TRUE(may_fail || outcome.result.Succeeded())
                 << outcome.result.Message();
           });
}

TEST(FileEditFaultsTest, AFileSystemWithoutSyncIsNoError) {
  for (const Way& way : kWays) {
    SCOPED_TRACE(way.name);
    const Outcome outcome = RunFailing(way, "fsync", EINVAL, 1, 3);
    EXPECT_GT(outcome.failed, 0);
    EXPECT_EQ(outcome.result, kWritten);
    ExpectTrue(way, outcome);
  }
}

// The new text is there, and a caller can see it without reading the message.
TEST(FileEditFaultsTest, AFolderThatCannotBeSyncedIsReported) {
  for (const Way& way : kWays) {
    if (IsInPlace(way)) continue;
    SCOPED_TRACE(way.name);
    const int last = way.keeps_old ? 3 : 2;
    const Outcome outcome = RunFailing(way, "fsync", EIO, last, last);
    ExpectTrue(way, outcome);
    EXPECT_EQ(outcome.result, (Expected{.error = FileError::kCannotWrite,
                                        .state = FileState::kNew,
                                        .system_error = EIO}));
    EXPECT_EQ(outcome.text, kNew);
    EXPECT_EQ(outcome.result.Message(),
              "'" + outcome.result.path +
                  "' was written, but a power failure may undo it: "
                  "Input/output error");
  }
}

TEST(FileEditFaultsTest, AnOldTextThatCannotBeRestoredIsReported) {
  const Outcome outcome = RunFailing(kWays[1], "pwrite", EIO, 1, 2);
  EXPECT_EQ(outcome.result, (Expected{.error = FileError::kCannotWrite,
                                      .state = FileState::kMixed,
                                      .system_error = EIO}));
  EXPECT_EQ(outcome.result.reason,
            "Input/output error; restoring the old text failed too, and part "
            "of it may be lost: Input/output error");
}

// Then the backup is the only copy of the old text.
TEST(FileEditFaultsTest, ABackupIsKeptIfTheOldTextCannotBeRestored) {
  const Way way = {"", true, true, WithBackup<true>, true, true};
  const Outcome outcome = RunFailing(way, "pwrite", EIO, 2, 3);
  EXPECT_EQ(outcome.failed, 2);
  EXPECT_EQ(outcome.result.state, FileState::kMixed);
  EXPECT_EQ(outcome.backup, kOld);
  EXPECT_EQ(outcome.files, 2U);
}

TEST(FileEditFaultsTest, ABackupThatCannotBeMadeIsReported) {
  const Way way = {"", true, true, WithBackup<false>, true, true};
  const Outcome outcome = RunFailing(way, "linkat", ENOSPC, 1, 1);
  EXPECT_EQ(outcome.result, (Expected{.error = FileError::kCannotWrite,
                                      .system_error = ENOSPC}));
  EXPECT_EQ(outcome.result.Message(),
            "cannot write '" + outcome.result.path + "': its backup '" +
                outcome.result.path +
                "~' cannot be made: No space left on device");
}

// The file is mounted alone.
TEST(FileEditFaultsTest, AFileThatCannotBeLinkedBesideItselfMayBeOverwritten) {
  const Way way = {"", true, true, WithBackup<false>, true, true};
  EXPECT_EQ(
      RunFailing(way, "linkat", EXDEV, 1, 1).result,
      (Expected{.error = FileError::kOnlyInPlace, .system_error = EBUSY}));
}

TEST(FileEditFaultsTest, WithoutHardLinksTheBackupIsACopy) {
  for (const int error : {EPERM, EMLINK, EOPNOTSUPP, ENOSYS})
    for (const Way& way : kWays) {
      if (!way.keeps_old || IsInPlace(way)) continue;
      SCOPED_TRACE(testing::Message() << way.name << ", " << error);
      const Outcome outcome = RunFailing(way, "linkat", error, 1, 1);
      EXPECT_EQ(outcome.failed, 1);
      EXPECT_EQ(outcome.result, kWritten);
      ExpectTrue(way, outcome);
    }
}

TEST(FileEditFaultsTest, AFileSystemThatCannotExchangeNamesKeepsABackup) {
  for (const int error : {EINVAL, ENOSYS})
    for (const Way& way : kWays) {
      if (!way.keeps_old) continue;
      SCOPED_TRACE(testing::Message() << way.name << ", " << error);
      const Outcome outcome = RunFailing(way, "renameat2", error, 1, 1);
      EXPECT_EQ(outcome.failed, 1);
      EXPECT_EQ(outcome.result, kWritten);
      ExpectTrue(way, outcome);
    }
}

// The older backup is restored, unless the file system has no hard links
// either.
TEST(FileEditFaultsTest, TheOlderBackupIsRestoredWithoutExchangingNames) {
  for (const std::string_view call : {"rename", "fsync"})
    for (int number = 1; number <= 3; ++number) {
      SCOPED_TRACE(testing::Message() << call << ' ' << number);
      const Files files(kWays[14]);
      int calls = 0;
      FileResult result;
      {
        const Hooked hooked([&](std::string_view name, int) {
          if (name == "renameat2") return EINVAL;
          return name == call && ++calls == number ? EIO : 0;
        });
        result = WithBackup<false>(files.path());
      }
      const bool is_new = result.state == FileState::kNew;
      EXPECT_EQ(result.Succeeded(), calls < number);
      EXPECT_EQ(files.Text(), is_new ? kNew : kOld);
      EXPECT_EQ(files.Backup(), is_new ? kOld : kOlder);
      EXPECT_EQ(files.Links(), 1U);
      EXPECT_EQ(files.Count(), 2U);
    }
}

TEST(FileEditFaultsTest, ABackupThatCannotBeRenamedLeavesTheOlderOne) {
  for (const int error : {EINVAL, ENOSYS})
    for (const int link_error : {EIO, EPERM, EMLINK}) {
      const Files files(kWays[14]);
      int links = 0;
      FileResult result;
      {
        const Hooked hooked([&](std::string_view name, int) {
          if (name == "renameat2") return error;
          // That of the older backup: those of the file come first.
          if (name == "linkat" && ++links == 3) return link_error;
          return 0;
        });
        result = WithBackup<false>(files.path());
      }
      EXPECT_EQ(result.Succeeded(), link_error != EIO);
      EXPECT_EQ(files.Text(), result.Succeeded() ? kNew : kOld);
      EXPECT_EQ(files.Backup(), result.Succeeded() ? kOld : kOlder);
      EXPECT_EQ(files.Count(), 2U);
    }
}

// The second link of the file cannot be made: the first one must go.
TEST(FileEditFaultsTest, ABackupThatBecomesACopyLeavesNoLink) {
  for (const int error : {EPERM, EMLINK}) {
    const Way way = {"", true, true, WithBackup<false>, true, true};
    const Outcome outcome = RunFailing(way, "linkat", error, 2, 2);
    EXPECT_EQ(outcome.failed, 1);
    EXPECT_EQ(outcome.result, kWritten);
    ExpectTrue(way, outcome);
  }
}

// rename(2) does nothing with two links of one file.
TEST(FileEditFaultsTest, ALinkOfTheFileIsABackupWithoutExchangingNames) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  std::filesystem::create_hard_link(path, path + "~");
  FileResult result;
  {
    const Hooked hooked([](std::string_view call, int) {
      return call == "renameat2" ? EINVAL : 0;
    });
    result = WithBackup<false>(path);
  }
  EXPECT_EQ(result, kWritten);
  EXPECT_EQ(ReadFile(path + "~"), kOld);
  EXPECT_EQ(FilesIn(folder), 2U);
}

// On a file system without unnamed files, it has its name before its lock.
TEST(FileEditFaultsTest, AHiddenFileThatIsDeletedAsStaleIsMadeAgain) {
  for (const bool still_locked : {false, true}) {
    SCOPED_TRACE(still_locked);
    const TempFolder folder;
    const std::string path = Put(folder, "f", kOld);
    const std::string hidden =
        folder.Path(".fairlead." + std::to_string(getpid()) + ".0");
    int locks = 0;
    FileResult result;
    {
      const Hooked hooked([&](std::string_view call, int) {
        if (call == "O_TMPFILE") return EOPNOTSUPP;
        const bool is_first =
            call == "fcntl" && std::filesystem::exists(hidden) && ++locks == 1;
        if (!is_first) return 0;
        if (still_locked) return EAGAIN;
        std::filesystem::remove(hidden);
        return 0;
      });
      result = Replaced<false>(path);
    }
    EXPECT_EQ(result, kWritten) << result.Message();
    EXPECT_GT(locks, 1);
    EXPECT_EQ(ReadFile(path), kNew);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

// While the older backup has a hidden name, it looks like a stale file.
TEST(FileEditFaultsTest, AnotherEditDoesNotDeleteTheOlderBackup) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  Put(folder, "f~", kOlder);
  int edits = 0;
  FileResult result;
  {
    const Hooked hooked([&](std::string_view call, int) {
      if (call != "rename" || ++edits != 1) return 0;
      EXPECT_EQ(ReplaceFile(folder.Path("other"), "x"), kWritten);
      EXPECT_EQ(ReplaceFile(folder.Path("other"), "y"), kWritten);
      return EIO;
    });
    result = WithBackup<false>(path);
  }
  EXPECT_EQ(result,
            (Expected{.error = FileError::kCannotWrite, .system_error = EIO}));
  EXPECT_EQ(ReadFile(path), kOld);
  EXPECT_EQ(ReadFile(path + "~"), kOlder);
  EXPECT_EQ(FilesIn(folder), 3U);
}

// As soon as the link that this edit made is gone, an edit of another thread,
// or of a process with the same ID in another container, may use its name.
TEST(FileEditFaultsTest, AHiddenFileOfAnotherEditIsNotDeleted) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  const std::string hidden =
      folder.Path(".fairlead." + std::to_string(getpid()) + ".0");
  bool is_linked = false;
  bool is_gone = false;
  FileResult result;
  {
    const Hooked hooked([&](std::string_view call, int) {
      if (call != "fsync") return 0;
      is_linked = is_linked || std::filesystem::exists(hidden);
      if (is_linked && !std::filesystem::exists(hidden)) {
        is_gone = true;
        std::filesystem::rename(Put(folder, "theirs", "x"), hidden);
      }
      return 0;
    });
    result = WithBackup<false>(path);
  }
  EXPECT_EQ(result, kWritten);
  EXPECT_TRUE(is_gone);
  EXPECT_EQ(ReadFile(hidden), "x");
  EXPECT_EQ(FilesIn(folder), 3U);
}

// Calls `act` while the first read of the folder's file is preceded by
// `change`.
void ChangeBeforeReading(const std::function<void()>& change,
                         const std::function<void()>& act) {
  int reads = 0;
  const Hooked hooked([&](std::string_view call, int) {
    if (call == "read" && ++reads == 1) change();
    return 0;
  });
  act();
}

TEST(FileEditFaultsTest, AFileThatGrowsOrShrinksIsReadToItsNewEnd) {
  for (const off_t size : {0, 1, 9, 10, 4096, 10'000}) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old text\n");
    FileContent content;
    ChangeBeforeReading([&] { EXPECT_EQ(truncate(path.c_str(), size), 0); },
                        [&] { content = fairlead::ReadFileContent(path); });
    EXPECT_EQ(content.result, kUnchanged);
    EXPECT_EQ(content.text, ReadFile(path));
    EXPECT_EQ(content.text.size(), static_cast<std::size_t>(size));
  }
}

// The kernel reports size 0 for its own files, so that the end takes a second
// read.
TEST(FileEditFaultsTest, AFileThatIsReadInPartHasNoText) {
  int reads = 0;
  const Hooked hooked([&](std::string_view call, int) {
    return call == "read" && ++reads == 2 ? EIO : 0;
  });
  const FileContent content = fairlead::ReadFileContent("/proc/self/status");
  EXPECT_EQ(content.text, "");
  EXPECT_EQ(content.result,
            (Expected{.error = FileError::kCannotRead, .system_error = EIO}));
}

TEST(FileEditFaultsTest, AFileThatChangesWhileReadIsReadAgain) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old text\n");
    int calls = 0;
    ChangeBeforeReading(
        [&] { EXPECT_EQ(truncate(path.c_str(), 3), 0); },
        [&] {
          const auto append = [&](const std::optional<std::string>& old) {
            ++calls;
            return *old + " and new\n";
          };
          EXPECT_EQ(EditFile(path, append, {.in_place = in_place}), kWritten);
        });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ReadFile(path), "old and new\n");
  }
}

TEST(FileEditFaultsTest, SpaceReservedInVainIsFreed) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  const std::string large(1'000'000, 'x');
  int writes = 0;
  FileResult result;
  {
    const Hooked hooked([&writes](std::string_view call, int) {
      return call == "pwrite" && ++writes == 1 ? EIO : 0;
    });
    result = ReplaceFile(path, large, {.in_place = true});
  }
  EXPECT_EQ(result,
            (Expected{.error = FileError::kCannotWrite, .system_error = EIO}));
  EXPECT_EQ(ReadFile(path), kOld);
  EXPECT_LT(StatusOf(path).st_blocks * 512, 100'000);
}

// Such as one that is mounted alone.
TEST(FileEditFaultsTest, AFileSystemThatReservesNoSpaceIsNoError) {
  for (const int error : {EOPNOTSUPP, ENOSYS}) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    const Hooked hooked([error](std::string_view call, int) {
      return call == "fallocate" ? error : 0;
    });
    EXPECT_EQ(ReplaceFile(path, kNew, {.in_place = true}), kWritten);
    EXPECT_EQ(ReadFile(path), kNew);
  }
}

TEST(FileEditFaultsTest, AFileThatCannotBeRenamedOverMayBeOverwritten) {
  EXPECT_EQ(
      RunFailing(kWays[0], "rename", EBUSY, 1, 1).result,
      (Expected{.error = FileError::kOnlyInPlace, .system_error = EBUSY}));
  EXPECT_EQ(RunFailing(kWays[0], "rename", EROFS, 1, 1).result.error,
            FileError::kCannotWrite);
}

// It would otherwise end the process.
TEST(FileEditFaultsTest, ALimitOnFileSizesIsAnErrorWithoutASignal) {
  const std::string large(10'000, 'x');
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", kOld);
    const rlimit small = {100, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const FileResult edited = ReplaceFile(path, large, {.in_place = in_place});
    ReplacementFile pieces(path);
    pieces.Write(large);
    const FileResult written = pieces.Commit();
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const Expected too_large = {.error = FileError::kCannotWrite,
                                .system_error = EFBIG};
    EXPECT_EQ(edited, too_large);
    EXPECT_EQ(written, too_large);
    EXPECT_EQ(ReadFile(path), kOld);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

}  // namespace
}  // namespace fairlead::internal
