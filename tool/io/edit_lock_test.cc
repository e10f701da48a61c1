// Tests of concurrent edits and of readers that lock the file.

#include "tool/io/edit_lock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/failure.h"
#include "tool/io/atomic_edit.h"
#include "tool/io/edit_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

// Locks the whole file through its open file description, as an edit does.
bool LockAll(const Descriptor& file, short type) {
  struct flock lock = {};
  lock.l_type = type;
  return fcntl(file.number(), F_OFD_SETLK, &lock) == 0;
}

std::string LockPath(const TempFolder& folder) {
  return folder.path() + "/.fairlead.lock";
}

// A process that may only read the file and holds both kinds of lock on it.
class Reader {
 public:
  explicit Reader(const std::string& path) {
    std::array<int, 2> pipe{};
    EXPECT_EQ(::pipe(pipe.data()), 0);
    process_ = fork();
    if (process_ == 0) Lock(path, pipe[1]);
    close(pipe[1]);
    char byte = 0;
    EXPECT_EQ(read(pipe[0], &byte, 1), 1);  // It holds the locks.
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

TEST(EditLockTest, AReaderBlocksNoEdit) {
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

TEST(EditLockTest, WaitsForAnotherEdit) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "old\n");
    const Descriptor other(open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(TryToLock(other), 0);
    EXPECT_THAT(Fault(path, writing, kTimeIsOver),
                AllOf(HasSubstr(path), HasSubstr("did not end in time")));

    int notices = 0;
    const auto count = [&notices] { ++notices; };
    EXPECT_THROW(
        EditFile(path, writing, To("new\n"),
                 {.limit = 30ms, .notice_after = 0ms, .give_notice = count}),
        Failure);
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(ReadFile(path), "old\n");
  }
}

// An edit uses the lock file while a reader has locked the file.
TEST(EditLockTest, TheLockFileCountsAsTheLock) {
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

TEST(EditLockTest, AStaleLockFileIsDeleted) {
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

TEST(EditLockTest, TheLockFileOfAnUnrelatedUserIsIgnored) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string lock_path = folder.File(".fairlead.lock", "");
  ASSERT_EQ(chown(lock_path.c_str(), kNobody, kNobody), 0);
  const Descriptor unrelated(open(lock_path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(unrelated), 0);
  // In this folder, only users who may replace the file can create one.
  EXPECT_NE(Fault(path, Writing::kReplace, kTimeIsOver), "");
  ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
  EXPECT_EQ(Fault(path, Writing::kReplace), "");
  EXPECT_EQ(ReadFile(path), "new\n");
}

TEST(EditLockTest, AReaderDelaysAnEditIfTheFolderIsReadOnly) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as another user";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
  const OtherUser nobody;
  {
    const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(LockAll(reader, F_RDLCK));
    int notices = 0;
    EditFile(path, Writing::kInPlace, To("new\n"),
             {.limit = 30ms, .notice_after = 0ms, .give_notice = [&notices] {
                ++notices;
              }});
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(ReadFile(path), "new\n");
  }
  EXPECT_EQ(Fault(path, Writing::kInPlace), "");
}

// While the edit waits for the lock, another file is renamed to the path.
TEST(EditLockTest, AFileReplacedWhileWaitingIsEditedAfresh) {
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
           {.notice_after = 0ms, .give_notice = replace_it});
  EXPECT_EQ(ReadFile(path), "replaced\nedited\n");
}

constexpr int kThreads = 4;
constexpr int kEdits = 40;

// Edits by many threads. The locks belong to open files, so threads exclude
// each other as processes do.
void EditAtOnce(const std::string& path, Writing writing) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < kEdits; ++j)
        EditFile(path, writing, Appending("x"), {.limit = 60s});
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(EditLockTest, NoConcurrentEditIsLost) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.path() + "/f";
    EditAtOnce(path, writing);
    EXPECT_EQ(ReadFile(path), std::string(kThreads * kEdits, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

// The reader makes edits alternate between the two locks.
TEST(EditLockTest, NoConcurrentEditIsLostBesideAReader) {
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
