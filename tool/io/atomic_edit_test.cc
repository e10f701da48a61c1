#include "tool/io/atomic_edit.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/failure.h"
#include "tool/io/edit_lock.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

constexpr uid_t kNobody = 65534;
constexpr Writing kBothWays[] = {Writing::kReplace, Writing::kInPlace};

// Acts as another user, where the test may.
class OtherUser {
 public:
  OtherUser() {
    if (is_root_) {
      EXPECT_EQ(setegid(kNobody), 0);
      EXPECT_EQ(seteuid(kNobody), 0);
    }
  }
  OtherUser(const OtherUser&) = delete;
  OtherUser& operator=(const OtherUser&) = delete;
  ~OtherUser() {
    if (is_root_) {
      EXPECT_EQ(seteuid(0), 0);
      EXPECT_EQ(setegid(0), 0);
    }
  }

 private:
  const bool is_root_ = geteuid() == 0;
};

Change To(const std::string& text) {
  return [text](const std::optional<std::string>&) { return text; };
}

Change Appending(const std::string& text) {
  return [text](const std::optional<std::string>& old) {
    return old.value_or("") + text;
  };
}

struct stat StatusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

// What the edit failed with, or "". It waits for no other edit.
std::string Fault(const std::string& path, Writing writing,
                  ExitStatus status = kCannotWrite) {
  try {
    EditFile(path, writing, To("new\n"), {.limit = 0ms});
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), status);
    return failure.what();
  }
  return "";
}

std::size_t FilesIn(const TempFolder& folder) {
  return static_cast<std::size_t>(std::distance(
      fs::directory_iterator(folder.path()), fs::directory_iterator()));
}

TEST(AtomicEditTest, GivesTheOldTextAndTakesTheNew) {
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

TEST(AtomicEditTest, MakesAFileThatIsNotThere) {
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

TEST(AtomicEditTest, AFileThatAppearsMeanwhileIsEditedToo) {
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
      // The system takes set-user-ID bits off a file that is written.
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
  EXPECT_THAT(Fault(path, Writing::kReplace),
              AllOf(HasSubstr("owner of the old one: Operation not permitted"),
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

TEST(AtomicEditTest, ALinkToNothingGetsItsTarget) {
  const TempFolder folder;
  const std::string link = folder.path() + "/link";
  fs::create_symlink("f", link);
  EditFile(link, Writing::kReplace, To("new\n"));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(ReadFile(folder.path() + "/f"), "new\n");
}

TEST(AtomicEditTest, LinksInACircleAreAnError) {
  const TempFolder folder;
  const std::string link = folder.path() + "/link";
  fs::create_symlink("link", link);
  EXPECT_THAT(Fault(link, Writing::kReplace, kCannotRead),
              HasSubstr("symbolic links"));
}

TEST(AtomicEditTest, ASecondNameIsNotLost) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  fs::create_hard_link(path, folder.path() + "/second");
  EXPECT_THAT(Fault(path, Writing::kReplace), HasSubstr("several names"));
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

TEST(AtomicEditTest, WhatTheChangeThrowsLeavesTheFile) {
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

TEST(AtomicEditTest, AFolderThatCannotBeWrittenLeavesInPlace) {
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

TEST(AtomicEditTest, AProtectedFileIsNotReplaced) {
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

TEST(AtomicEditTest, WhatIsNoFileIsAnError) {
  const TempFolder folder;
  EXPECT_THAT(Fault(folder.path(), Writing::kReplace),
              HasSubstr("Is a directory"));
  const std::string pipe = folder.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  EXPECT_THAT(Fault(pipe, Writing::kReplace), HasSubstr("no regular file"));
  EXPECT_THAT(Fault(folder.path() + "/none/f", Writing::kReplace),
              testing::EndsWith("No such file or directory"));
}

// The number of a process that has ended.
pid_t DeadProcess() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  return child;
}

TEST(AtomicEditTest, WhatAKilledEditLeftIsDeleted) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string dead = Concat(".fairlead.", DeadProcess(), ".");
  const std::string alive = Concat(".fairlead.", getpid(), ".");
  const auto in_folder = [&](const std::string& name) {
    return fs::exists(folder.path() + "/" + name);
  };
  const std::vector<std::string> leftovers = {dead + "0", dead + "17"};
  for (const std::string& name : leftovers) folder.File(name, "half");
  std::vector<std::string> others = {alive + "0",      alive + "1",
                                     dead + "x",       dead,
                                     ".fairlead.1x.0", ".fairlead.x"};
  for (const std::string& name : others) folder.File(name, "theirs");
  others.push_back(dead + "2");
  fs::create_directory(folder.path() + "/" + others.back());
  others.push_back(dead + "3");
  fs::create_symlink("f", folder.path() + "/" + others.back());
  // Of a process elsewhere, whose number means nothing here.
  others.push_back(dead + "4");
  const Descriptor in_use(
      open(folder.File(others.back(), "").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(in_use), 0);

  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_EQ(ReadFile(path), "new\n");
  for (const std::string& name : leftovers) EXPECT_FALSE(in_folder(name));
  for (const std::string& name : others) EXPECT_TRUE(in_folder(name)) << name;
  EXPECT_EQ(FilesIn(folder), others.size() + 1);
}

TEST(AtomicEditTest, WhatIsOfAnotherUserStays) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string theirs =
      folder.File(Concat(".fairlead.", DeadProcess(), ".0"), "");
  ASSERT_EQ(chown(theirs.c_str(), kNobody, kNobody), 0);
  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_TRUE(fs::exists(theirs));
}

// The entries of an access control list, as the kernel takes them.
std::string Acl(std::initializer_list<std::array<unsigned, 3>> entries) {
  std::string list("\2\0\0\0", 4);
  const auto append = [&list](unsigned number, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i)
      list += static_cast<char>(number >> (8 * i));
  };
  for (const auto& [tag, rights, id] : entries) {
    append(tag, 2);
    append(rights, 2);
    append(id, 4);
  }
  return list;
}

constexpr unsigned kNone = 0xffffffff;

// user::rw- user:nobody:rw- group::r-- mask::rw- other::---
const std::string kAcl = Acl({{1, 6, kNone},
                              {2, 6, kNobody},
                              {4, 4, kNone},
                              {16, 6, kNone},
                              {32, 0, kNone}});
constexpr char kAccess[] = "system.posix_acl_access";
constexpr char kDefault[] = "system.posix_acl_default";
constexpr char kTag[] = "user.tag";

bool SetAttribute(const std::string& path, const char* name,
                  const std::string& value) {
  return setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

// "" also where there is none.
std::string Attribute(const std::string& path, const char* name) {
  std::string value(1000, '\0');
  const ssize_t size = getxattr(path.c_str(), name, value.data(), value.size());
  value.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return value;
}

TEST(AtomicEditTest, KeepsTheAccessControlListAndTheAttributes) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "old\n");
    if (!SetAttribute(path, kAccess, kAcl) ||
        !SetAttribute(path, kTag, "a b") || !SetAttribute(path, "user.e", ""))
      GTEST_SKIP() << "no lists or attributes in " << folder.path();
    EditFile(path, writing, To("new\n"));
    EXPECT_EQ(Attribute(path, kAccess), kAcl);
    EXPECT_EQ(Attribute(path, kTag), "a b");
    EXPECT_EQ(getxattr(path.c_str(), "user.e", nullptr, 0), 0);
    // The middle of the mode is the mask; group::r-- would be gone with it.
    EXPECT_EQ(StatusOf(path).st_mode & 0777U, 0660U);
  }
}

// What a folder gives to its new files would let nobody in.
TEST(AtomicEditTest, TheListOfTheFolderIsNotAdded) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  if (!SetAttribute(folder.path(), kDefault, kAcl))
    GTEST_SKIP() << "no lists in " << folder.path();
  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_EQ(Attribute(path, kAccess), "");
  EXPECT_EQ(StatusOf(path).st_mode & 0777U, 0640U);
  // A file that is made gets it.
  EditFile(folder.path() + "/g", Writing::kReplace, To("new\n"));
  EXPECT_EQ(Attribute(folder.path() + "/g", kAccess), kAcl);
}

TEST(AtomicEditTest, AnAttributeThatCannotBeKeptIsAnError) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can set such an attribute";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  if (!SetAttribute(path, "security.fairlead", "x"))
    GTEST_SKIP() << "no such attributes in " << folder.path();
  ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(chown(folder.path().c_str(), kNobody, kNobody), 0);
  const OtherUser nobody;
  EXPECT_THAT(Fault(path, Writing::kReplace),
              AllOf(HasSubstr(path), HasSubstr("'security.fairlead'"),
                    HasSubstr("(-inplace")));
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
  EXPECT_EQ(Fault(path, Writing::kInPlace), "");
  EXPECT_EQ(Attribute(path, "security.fairlead"), "x");
}

// A lock on all of the file, of the open file as an edit's is; it goes when
// that is closed.
bool LockAll(const Descriptor& file, short type) {
  struct flock lock = {};
  lock.l_type = type;
  return fcntl(file.number(), F_OFD_SETLK, &lock) == 0;
}

std::string LockPath(const TempFolder& folder) {
  return folder.path() + "/.fairlead.lock";
}

// A process that may only read the file and has both kinds of lock on it.
class Reader {
 public:
  explicit Reader(const std::string& path) {
    std::array<int, 2> pipe{};
    EXPECT_EQ(::pipe(pipe.data()), 0);
    process_ = fork();
    if (process_ == 0) Lock(path, pipe[1]);
    close(pipe[1]);
    char byte = 0;
    EXPECT_EQ(read(pipe[0], &byte, 1), 1);  // It has them.
    EXPECT_EQ(byte, 'y');
    close(pipe[0]);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

 private:
  [[noreturn]] static void Lock(const std::string& path, int pipe) {
    if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0) _exit(1);
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const bool locked = !LockAll(file, F_WRLCK) && LockAll(file, F_RDLCK) &&
                        flock(file.number(), LOCK_EX) == 0;
    if (write(pipe, locked ? "y" : "n", 1) != 1) _exit(1);
    while (true) pause();
  }

  pid_t process_ = -1;
};

TEST(AtomicEditTest, WhoMayOnlyReadHoldsUpNoEdit) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "old\n");
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    const Reader reader(path);
    EXPECT_EQ(Fault(path, writing), "");
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(AtomicEditTest, AnotherEditIsWaitedFor) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "old\n");
    const Descriptor other(open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(TryToLock(other), 0);
    EXPECT_THAT(Fault(path, writing, kTimeIsOver),
                AllOf(HasSubstr(path), HasSubstr("did not end in time")));

    int told = 0;
    const auto tell = [&told] { ++told; };
    EXPECT_THROW(EditFile(path, writing, To("new\n"),
                          {.limit = 30ms, .until_told = 0ms, .tell = tell}),
                 Failure);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(ReadFile(path), "old\n");
  }
}

// The lock file of an edit that runs beside a reader.
TEST(AtomicEditTest, TheSecondLockCountsAsTheFirst) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const Descriptor other(
      open(folder.File(".fairlead.lock", "").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(other), 0);
  EXPECT_THAT(Fault(path, Writing::kReplace, kTimeIsOver),
              HasSubstr(Concat("delete '", LockPath(folder), "'")));
  const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(LockAll(reader, F_RDLCK));
  EXPECT_NE(Fault(path, Writing::kReplace, kTimeIsOver), "");
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_TRUE(fs::exists(LockPath(folder)));
}

TEST(AtomicEditTest, ALockFileThatAKilledEditLeftIsDeleted) {
  for (const bool read : {false, true}) {
    const TempFolder folder;
    const std::string path = folder.File("f", "old\n");
    folder.File(".fairlead.lock", "");
    const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(!read || LockAll(reader, F_RDLCK));
    EXPECT_EQ(Fault(path, Writing::kReplace), "");
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(AtomicEditTest, AStrangersLockFileDoesNotCount) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string lock_path = folder.File(".fairlead.lock", "");
  ASSERT_EQ(chown(lock_path.c_str(), kNobody, kNobody), 0);
  const Descriptor stranger(open(lock_path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(stranger), 0);
  // In this folder, only who may replace the file can have made it.
  EXPECT_NE(Fault(path, Writing::kReplace, kTimeIsOver), "");
  ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
  EXPECT_EQ(Fault(path, Writing::kReplace), "");
  EXPECT_EQ(ReadFile(path), "new\n");
}

TEST(AtomicEditTest, AReaderCountsWhereTheFolderCannotBeWritten) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
  const OtherUser nobody;
  {
    const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(LockAll(reader, F_RDLCK));
    EXPECT_THAT(Fault(path, Writing::kInPlace, kTimeIsOver),
                AllOf(HasSubstr(path), HasSubstr("'lslocks'")));
    EXPECT_EQ(ReadFile(path), "old\n");
  }
  EXPECT_EQ(Fault(path, Writing::kInPlace), "");
}

// The edit waits for the lock; then the path is another file's.
TEST(AtomicEditTest, AFileReplacedWhileWaitingIsEditedAfresh) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string next = folder.File("next", "replaced\n");
  std::optional<Descriptor> other(std::in_place,
                                  open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(*other), 0);
  const auto replace_it = [&] {
    EXPECT_EQ(rename(next.c_str(), path.c_str()), 0);
    other.reset();
  };
  EditFile(path, Writing::kReplace, Appending("edited\n"),
           {.until_told = 0ms, .tell = replace_it});
  EXPECT_EQ(ReadFile(path), "replaced\nedited\n");
}

constexpr int kThreads = 4;
constexpr int kEdits = 40;

// Edits by many threads; the locks are those of open files, so that threads are
// to each other what processes are.
void EditAtOnce(const std::string& path, Writing writing) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < kEdits; ++j)
        EditFile(path, writing, Appending("x"), {.limit = 60s});
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(AtomicEditTest, OfEditsAtOnceNoneIsLost) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.path() + "/f";
    EditAtOnce(path, writing);
    EXPECT_EQ(ReadFile(path), std::string(kThreads * kEdits, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

// So that edits have now the one lock and now the other.
TEST(AtomicEditTest, BesideAReaderNoneIsLostEither) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "");
    std::atomic<bool> done = false;
    std::thread reader([&] {
      while (!done) {
        const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        for (int i = 0; i < 20; ++i)
          if (LockAll(file, F_RDLCK)) {
            std::this_thread::yield();
            LockAll(file, F_UNLCK);
          }
      }
    });
    EditAtOnce(path, writing);
    done = true;
    reader.join();
    EXPECT_EQ(ReadFile(path), std::string(kThreads * kEdits, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

}  // namespace
}  // namespace fairlead::tool
