// Tests of what an edit makes of each error of a system call that it expects,
// and of files that others change in the same moment.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/file/edit_faults_testing.h"
#include "fairlead/file/edit_lock.h"
#include "fairlead/file/file_path.h"

namespace fairlead::internal {
namespace {

using namespace std::chrono_literals;
using State = EditLock::State;

// Returns a hook that fails the call of that name and number, counted from 1.
Hook Failing(std::string_view name, int error, int number = 1) {
  return [=, calls = 0](std::string_view call, int) mutable {
    return call == name && ++calls == number ? error : 0;
  };
}

// Returns a hook that calls `act` before the call of that name and number.
template <typename Act>
Hook Before(std::string_view name, int number, Act act) {
  return [=, calls = 0](std::string_view call, int) mutable {
    if (call == name && ++calls == number) act();
    return 0;
  };
}

Descriptor Opened(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDWR | O_CLOEXEC));
}

// A folder with the file "f", and beside it the lock file, if there is one.
struct Place {
  TempFolder folder;
  std::string path = Put(folder, "f", kOld);
  std::string lock_path = LockPath(path);
  Descriptor file = Opened(path);

  void PutLockFile() const { Put(folder, ".fairlead.lock", ""); }

  State LockWith(const Hook& given) const {
    const Hooked hooked(given);
    return EditLock(path, file).state();
  }
};

struct LockCase {
  const char* call;
  int number;
  int error;
  State state;
};

TEST(EditErrorsTest, ALockOfTheFileThatFailsIsReported) {
  const Place place;
  EXPECT_EQ(place.LockWith(Failing("fcntl", EIO)), State::kFailed);
  EXPECT_EQ(place.LockWith(Failing("fcntl", EACCES)), State::kEditor);
  const Descriptor other = Opened(place.path);
  ASSERT_EQ(TryToLock(other), 0);
  EXPECT_EQ(place.LockWith(Failing("", 0)), State::kEditor);
  EXPECT_EQ(place.LockWith(Failing("fcntl", EIO, 2)), State::kFailed);
}

TEST(EditErrorsTest, BesideAReaderEachErrorOfTheLockFileHasItsMeaning) {
  const LockCase cases[] = {
      {"", 1, 0, State::kMine},
      {"open", 1, EISDIR, State::kLockFile},  // Something else has its name:
      {"open", 1, ENXIO, State::kLockFile},   // a folder, a socket.
      {"open", 1, EACCES, State::kReader},    // The folder cannot be written.
      {"open", 1, EPERM, State::kReader},
      {"open", 1, EROFS, State::kReader},
      {"open", 1, ELOOP, State::kReader},
      {"open", 1, EIO, State::kFailed},
      {"fcntl", 3, EAGAIN, State::kLockFile},  // Another edit has it.
      {"fcntl", 3, EIO, State::kFailed},
      {"fcntl", 4, EIO, State::kFailed},  // The question who has the file.
      {"lstat", 1, EIO, State::kLockFile},
  };
  const Place place;
  const Descriptor reader = Opened(place.path);
  EXPECT_TRUE(LockAll(reader, F_RDLCK));
  for (const LockCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.call << ' ' << c.error);
    EXPECT_EQ(place.LockWith(Failing(c.call, c.error, c.number)), c.state);
    std::filesystem::remove(place.lock_path);
  }
}

TEST(EditErrorsTest, BesideAReaderAnotherEditMayComeFirst) {
  const Place place;
  const Descriptor reader = Opened(place.path);
  EXPECT_TRUE(LockAll(reader, F_RDLCK));
  const auto delete_lock_file = [&] { unlink(place.lock_path.c_str()); };
  EXPECT_EQ(place.LockWith(Before("fcntl", 3, delete_lock_file)),
            State::kLockFile);
  const auto lock_the_file = [&] { EXPECT_TRUE(LockAll(reader, F_WRLCK)); };
  EXPECT_EQ(place.LockWith(Before("fcntl", 4, lock_the_file)), State::kEditor);
  EXPECT_EQ(FilesIn(place.folder), 1U);
}

TEST(EditErrorsTest, EachErrorOfAnotherLockFileHasItsMeaning) {
  const LockCase cases[] = {
      {"lstat", 1, ENOENT, State::kMine},
      {"lstat", 1, EIO, State::kFailed},
      {"fstat", 1, EIO, State::kFailed},
      {"stat", 1, EIO, State::kMine},     // Then it is like any other.
      {"open", 1, ENOENT, State::kMine},  // Its edit has ended.
      {"open", 1, EACCES, State::kLockFile},
      {"open", 1, EPERM, State::kLockFile},
      {"open", 1, ELOOP, State::kLockFile},
      {"open", 1, EISDIR, State::kLockFile},
      {"open", 1, ENXIO, State::kLockFile},
      {"open", 1, EIO, State::kFailed},
      {"fcntl", 2, EAGAIN, State::kLockFile},
      {"fcntl", 2, EIO, State::kFailed},
  };
  const Place place;
  for (const LockCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.call << ' ' << c.error);
    place.PutLockFile();
    EXPECT_EQ(place.LockWith(Failing(c.call, c.error, c.number)), c.state);
  }
  const auto replace_it = [&] {
    std::filesystem::remove(place.lock_path);
    place.PutLockFile();
  };
  EXPECT_EQ(place.LockWith(Before("fcntl", 2, replace_it)), State::kMine);
  EXPECT_TRUE(std::filesystem::exists(place.lock_path));
}

// In a folder where anybody may create files.
TEST(EditErrorsTest, ALockFileCountsIfItsOwnerMayReplaceTheFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  constexpr uid_t kOther = 1234;
  struct Case {
    const char* name;
    uid_t lock, file, folder;
    State state;
  };
  for (const Case& c : {Case{"root", 0, kNobody, kNobody, State::kLockFile},
                        {"the file's", kOther, kOther, 0, State::kLockFile},
                        {"the folder's", kOther, 0, kOther, State::kLockFile},
                        {"another", kOther, kNobody, 0, State::kMine}}) {
    SCOPED_TRACE(c.name);
    const Place place;
    place.PutLockFile();
    ASSERT_EQ(chown(place.lock_path.c_str(), c.lock, c.lock), 0);
    ASSERT_EQ(chown(place.path.c_str(), c.file, c.file), 0);
    ASSERT_EQ(chown(place.folder.path().c_str(), c.folder, c.folder), 0);
    ASSERT_EQ(chmod(place.folder.path().c_str(), 01777), 0);
    const Descriptor other = Opened(place.lock_path);
    ASSERT_EQ(TryToLock(other), 0);
    EXPECT_EQ(place.LockWith(Failing("", 0)), c.state);
  }
  const Place place;
  place.PutLockFile();
  ASSERT_EQ(chown(place.lock_path.c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(chmod(place.folder.path().c_str(), 01777), 0);
  const Descriptor other = Opened(place.lock_path);
  ASSERT_EQ(TryToLock(other), 0);
  const OtherUser nobody;
  EXPECT_EQ(place.LockWith(Failing("", 0)), State::kLockFile);
}

struct EditCase {
  const char* call;
  int number;
  int error;
  Expected expected;
};

constexpr Expected Unkept(int error) {
  return {.error = FileError::kOnlyInPlace, .system_error = error};
}

// The calls with an attribute: its size, and the bytes.
TEST(EditErrorsTest, EachErrorOfAnAttributeHasItsMeaning) {
  const EditCase cases[] = {
      {"fgetxattr", 1, ENOTSUP, kWritten},  // No access control lists.
      {"fgetxattr", 1, ENOSYS, kWritten},
      {"fgetxattr", 1, EIO, Unkept(EIO)},
      {"fremovexattr", 1, ENOTSUP, kWritten},
      {"fremovexattr", 1, EIO, Unkept(EIO)},
      {"flistxattr", 1, ENOTSUP, kWritten},  // No attributes.
      {"flistxattr", 1, ENOSYS, kWritten},
      {"flistxattr", 1, EIO, Unkept(EIO)},
      {"flistxattr", 2, ERANGE, kWritten},  // The list has grown.
      {"flistxattr", 2, EIO, Unkept(EIO)},
      {"fgetxattr", 2, ENODATA, kWritten},  // The attribute was removed.
      {"fgetxattr", 2, EIO, Unkept(EIO)},
      {"fgetxattr", 3, ERANGE, kWritten},
      {"fsetxattr", 1, ENOSPC, Unkept(ENOSPC)},
  };
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  if (setxattr(path.c_str(), "user.tag", "a b", 3, 0) != 0)
    GTEST_SKIP() << "no attributes in " << folder.path();
  for (const EditCase& c : cases) {
    SCOPED_TRACE(testing::Message()
                 << c.call << ' ' << c.number << ", " << c.error);
    FileResult result;
    {
      const Hooked hooked(Failing(c.call, c.error, c.number));
      result = Replaced<false>(path);
    }
    EXPECT_EQ(result, c.expected);
    EXPECT_EQ(ReadFile(path), result.Succeeded() ? kNew : kOld);
    EXPECT_EQ(ReplaceFile(path, kOld).Succeeded(), true);
    EXPECT_EQ(setxattr(path.c_str(), "user.tag", "a b", 3, 0), 0);
  }
}

// As a security module gives a new file its label.
TEST(EditErrorsTest, AnAttributeThatTheNewFileHasIsNotSet) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  if (setxattr(path.c_str(), "user.tag", "a b", 3, 0) != 0)
    GTEST_SKIP() << "no attributes in " << folder.path();
  FileResult result;
  {
    const Hooked hooked([](std::string_view call, int fd) {
      if (call == "fremovexattr")
        syscall(SYS_fsetxattr, fd, "user.tag", "a b", 3, 0);
      return call == "fsetxattr" ? EPERM : 0;
    });
    result = Replaced<false>(path);
  }
  EXPECT_EQ(result, kWritten) << result.Message();
}

// They are signatures of the old bytes.
TEST(EditErrorsTest, TheKernelsSignaturesAreNotCopied) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  for (const char* const name : {"security.ima", "security.evm"})
    if (setxattr(path.c_str(), name, "\1x", 2, 0) != 0)
      GTEST_SKIP() << "cannot set " << name;
  EXPECT_EQ(Replaced<false>(path), kWritten);
  for (const char* const name : {"security.ima", "security.evm"})
    EXPECT_EQ(getxattr(path.c_str(), name, nullptr, 0), -1);
}

TEST(EditErrorsTest, AGroupOfItsOwnIsKept) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = Put(folder, "f", kOld);
  ASSERT_EQ(chown(path.c_str(), 0, kNobody), 0);
  EXPECT_EQ(Replaced<false>(path), kWritten);
  EXPECT_EQ(StatusOf(path).st_gid, kNobody);
}

// The errors after which there is another way.
TEST(EditErrorsTest, AFileSystemThatCannotDoEverythingIsEnough) {
  struct Case {
    const char* call;
    int error;
    Way way;
  };
  const Way replace = {"", true, true, Replaced<false>};
  const Way create = {"", false, false, Replaced<false>};
  const Way in_place = {"", true, true, Replaced<true>};
  for (const Case& c : {Case{"O_TMPFILE", EISDIR, replace},
                        {"O_TMPFILE", EINVAL, replace},
                        {"access", ENOENT, replace},  // Without /proc.
                        {"renameat2", EINVAL, create},
                        {"renameat2", ENOSYS, create},
                        {"fallocate", EOPNOTSUPP, in_place},
                        {"fallocate", ENOSYS, in_place}}) {
    SCOPED_TRACE(testing::Message() << c.call << ' ' << c.error);
    const Files files(c.way);
    FileResult result;
    {
      Hook failing = Failing(c.call, c.error);
      const Hooked hooked([&](std::string_view call, int fd) {
        const bool unnamed = call == "O_TMPFILE" && !c.way.has_unnamed;
        return unnamed ? EOPNOTSUPP : failing(call, fd);
      });
      result = c.way.write(files.path());
    }
    EXPECT_EQ(result, kWritten);
    EXPECT_EQ(files.Text(), NewText(c.way));
    EXPECT_EQ(files.Count(), 1U);
  }
}

TEST(EditErrorsTest, AFileThatMayNotBeRenamedOverMayBeOverwritten) {
  const Files files(kWays[0]);
  const Hooked hooked(Failing("rename", EPERM));
  EXPECT_EQ(Replaced<false>(files.path()), Unkept(EPERM));
}

// Each look at the links fails once.
TEST(EditErrorsTest, AFailedCountOfLinksLosesNone) {
  for (int number = 1;; ++number) {
    const TempFolder folder;
    const TempFolder elsewhere;
    const std::string path = Put(folder, "f", kOld);
    Put(folder, "f~", kOlder);
    std::filesystem::create_hard_link(path, elsewhere.Path("g"));
    int calls = 0;
    FileResult result;
    {
      const Hooked hooked([&](std::string_view call, int) {
        const bool looks = call == "fstat" || call == "fstatat";
        return looks && ++calls == number ? EIO : 0;
      });
      result = WithBackup<false>(path);
    }
    EXPECT_FALSE(result.Succeeded());
    EXPECT_EQ(ReadFile(path), kOld);
    EXPECT_EQ(ReadFile(path + "~"), kOlder);
    if (calls < number) break;
  }
}

TEST(EditErrorsTest, ALinkThatCannotBeCheckedIsNotFollowed) {
  const TempFolder folder;
  Put(folder, "f", kOld);
  const std::string link = folder.Path("link");
  std::filesystem::create_symlink("f", link);
  for (const char* const call : {"stat", "fstat"}) {
    SCOPED_TRACE(call);
    const Hooked hooked(Failing(call, EIO));
    EXPECT_EQ(Replaced<false>(link), (Expected{.error = FileError::kCannotRead,
                                               .system_error = EACCES}));
  }
  EXPECT_EQ(Replaced<false>(link), kWritten);
}

// Where anybody may create links.
TEST(EditErrorsTest, ALinkOfTheFoldersOwnerIsFollowed) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  constexpr uid_t kOther = 1234;
  const TempFolder folder;
  Put(folder, "f", kOld);
  const std::string link = folder.Path("link");
  std::filesystem::create_symlink("f", link);
  ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
  ASSERT_EQ(lchown(link.c_str(), kOther, kOther), 0);
  EXPECT_EQ(Replaced<false>(link).system_error, EACCES);
  ASSERT_EQ(chown(folder.path().c_str(), kOther, kOther), 0);
  EXPECT_EQ(Replaced<false>(link), kWritten);
}

std::string PathOf(const Descriptor& file) {
  return "/proc/self/fd/" + std::to_string(file.number());
}

TEST(EditErrorsTest, AnOpenFileIsNotTakenForAnotherOfItsOldName) {
  const Place place;
  std::filesystem::remove(place.path);
  const std::string other = Put(place.folder, "f (deleted)", kOlder);
  const FileResult result = Replaced<false>(PathOf(place.file));
  EXPECT_EQ(result.Message(),
            "cannot write '" + PathOf(place.file) +
                "': it is an open file that was deleted or has no name");
  EXPECT_EQ(ReadFile(other), kOlder);
}

TEST(EditErrorsTest, AnOpenFileThatCannotBeComparedIsTakenByItsName) {
  const Place place;
  {
    const Hooked hooked(Failing("stat", EIO, 2));
    EXPECT_EQ(Replaced<false>(PathOf(place.file)), kWritten);
  }
  EXPECT_EQ(ReadFile(place.path), kNew);
}

TEST(EditErrorsTest, APathIsSplitAndCompared) {
  EXPECT_EQ(FolderOf("f"), ".");
  EXPECT_EQ(FolderOf("/f"), "/");
  EXPECT_EQ(FolderOf("/a/f"), "/a");
  const Place place;
  EXPECT_TRUE(IsAt(place.path, place.file));
  EXPECT_FALSE(IsAt(place.folder.path(), place.file));
  EXPECT_FALSE(IsAt("/proc/version", place.file));
  EXPECT_FALSE(IsAt(place.folder.Path("none"), place.file));
}

// As another program that writes without a lock may do.
void WriteAt(const std::string& path, const std::string& text,
             timespec written) {
  WriteFile(path, text);
  const timespec times[] = {{0, UTIME_NOW}, written};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

TEST(EditErrorsTest, ATextOfTheSameSizeThatIsWrittenMeanwhileIsEdited) {
  for (const timespec written : {timespec{5, 7}, timespec{6, 0}}) {
    const TempFolder folder;
    const std::string path = folder.Path("f");
    WriteAt(path, "old text\n", {5, 0});
    int calls = 0;
    const auto change = [&](const std::optional<std::string>& old) {
      if (++calls == 1) WriteAt(path, "new text\n", written);
      return *old + "and more\n";
    };
    EXPECT_EQ(EditFile(path, change), kWritten);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(ReadFile(path), "new text\nand more\n");
  }
}

// Within the time limit, no number of changes is too large.
TEST(EditErrorsTest, AFileThatOftenChangesIsEditedInTheEnd) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "0\n");
  int calls = 0;
  const auto change = [&](const std::optional<std::string>& old) {
    if (++calls <= 150) WriteAt(path, std::to_string(calls) + "\n", {calls, 0});
    return *old + "edited\n";
  };
  EXPECT_EQ(EditFile(path, change, {.lock_limit = 60s}), kWritten);
  EXPECT_EQ(calls, 151);
  EXPECT_EQ(ReadFile(path), "150\nedited\n");
}

TEST(EditErrorsTest, AMessageHasNoControlCharacters) {
  const FileResult result = Replaced<false>("/nowhere/a\x7F\nb");
  EXPECT_TRUE(result.Message().starts_with("cannot write '/nowhere/a??b': "))
      << result.Message();
}

// Returns whether a call asks for the status of a file.
bool IsStatus(std::string_view call) {
  return call == "lstat" || call == "fstat" || call == "stat" ||
         call == "fstatat";
}

TEST(EditErrorsTest, NothingIsLeftIfNoStatusCanBeAskedFor) {
  bool has_failed = true;
  for (int first = 1; has_failed; ++first) {
    SCOPED_TRACE(first);
    const TempFolder folder;
    const std::string path = Put(folder, "f", kOld);
    int asked = 0;
    FileResult result;
    {
      const Hooked hooked([&](std::string_view call, int) {
        return IsStatus(call) && ++asked >= first ? EIO : 0;
      });
      result = WithBackup<false>(path);
    }
    has_failed = asked >= first;
    EXPECT_EQ(FilesIn(folder), std::filesystem::exists(path + "~") ? 2U : 1U);
  }
}

}  // namespace
}  // namespace fairlead::internal
