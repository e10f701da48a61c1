// Tests of concurrent edits and of readers that lock the file.

#include "fairlead/file/edit_lock.h"

#include <fcntl.h>
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
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/edit_testing.h"

namespace fairlead::internal {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr Expected kBusy = {.error = FileError::kBusy};

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
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    const Reader reader(path);
    EXPECT_EQ(SetNew(path, in_place), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(EditLockTest, WaitsForAnotherEdit) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    const Descriptor other(open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(TryToLock(other), 0);
    const FileResult result = SetNew(path, in_place);
    EXPECT_EQ(result, kBusy);
    EXPECT_EQ(result.lock_file, "");
    EXPECT_EQ(result.Message(),
              "another edit of '" + path + "' did not end in time: try again");

    int notices = 0;
    const auto count = [&notices] { ++notices; };
    EXPECT_EQ(EditFile(path, To("new\n"),
                       {.in_place = in_place,
                        .lock_limit = 30ms,
                        .notice_after = 0ms,
                        .on_wait = count}),
              kBusy);
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(ReadFile(path), "old\n");
  }
}

// An edit uses the lock file while a reader has locked the file.
TEST(EditLockTest, TheLockFileCountsAsTheLock) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const Descriptor other(
      open(Put(folder, ".fairlead.lock", "").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(other), 0);
  const FileResult result = SetNew(path, false);
  EXPECT_EQ(result, kBusy);
  EXPECT_EQ(result.lock_file, LockPath(folder));
  EXPECT_EQ(result.Message(),
            "another edit of '" + path +
                "' did not end in time: try again; if there is none, delete '" +
                LockPath(folder) + "'");
  const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(LockAll(reader, F_RDLCK));
  EXPECT_EQ(SetNew(path, false), kBusy);
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_TRUE(fs::exists(LockPath(folder)));
}

// Another user's link could have an edit create or lock a file elsewhere.
TEST(EditLockTest, ALinkInPlaceOfTheLockFileIsNotFollowed) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(LockAll(reader, F_RDLCK));
  ASSERT_EQ(symlink("target", LockPath(folder).c_str()), 0);
  EXPECT_EQ(EditFile(path, To("new\n"), {.lock_limit = 30ms}), kWritten);
  EXPECT_EQ(ReadFile(path), "new\n");
  EXPECT_FALSE(fs::exists(folder.path() + "/target"));
  EXPECT_TRUE(fs::is_symlink(LockPath(folder)));
}

TEST(EditLockTest, OnlyEndingSignalsAreHeldBack) {
  alignas(sigset_t) std::array<unsigned char, sizeof(sigset_t)> memory;
  memory.fill(0xFF);
  const auto* const signals = new (memory.data()) sigset_t(EndingSignals());
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM})
    EXPECT_EQ(sigismember(signals, signal), 1) << signal;
  for (const int signal : {SIGPIPE, SIGUSR1, SIGCHLD, SIGSEGV})
    EXPECT_EQ(sigismember(signals, signal), 0) << signal;
}

TEST(EditLockTest, AStaleLockFileIsDeleted) {
  for (const bool read : {false, true}) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    Put(folder, ".fairlead.lock", "");
    const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(!read || LockAll(reader, F_RDLCK));
    EXPECT_EQ(SetNew(path, false), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(EditLockTest, TheLockFileOfAnUnrelatedUserIsIgnored) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const std::string lock_path = Put(folder, ".fairlead.lock", "");
  ASSERT_EQ(chown(lock_path.c_str(), kNobody, kNobody), 0);
  const Descriptor unrelated(open(lock_path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(unrelated), 0);
  // In this folder, only users who may replace the file can create one.
  EXPECT_EQ(SetNew(path, false), kBusy);
  ASSERT_EQ(chmod(folder.path().c_str(), 01777), 0);
  EXPECT_EQ(SetNew(path, false), kWritten);
  EXPECT_EQ(ReadFile(path), "new\n");
}

TEST(EditLockTest, AReaderDelaysAnEditIfTheFolderIsReadOnly) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as another user";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
  const OtherUser nobody;
  {
    const Descriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(LockAll(reader, F_RDLCK));
    int notices = 0;
    EXPECT_EQ(EditFile(path, To("new\n"),
                       {.in_place = true,
                        .lock_limit = 30ms,
                        .notice_after = 0ms,
                        .on_wait = [&notices] { ++notices; }}),
              kWritten);
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(ReadFile(path), "new\n");
  }
  EXPECT_EQ(ReplaceFile(path, "newer\n", {.in_place = true}), kWritten);
}

// While the edit waits for the lock, another file is renamed to the path.
TEST(EditLockTest, AFileReplacedWhileWaitingIsEditedAfresh) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const std::string next = Put(folder, "next", "replaced\n");
  std::optional<Descriptor> other(std::in_place,
                                  open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(*other), 0);
  const auto replace_it = [&] {
    EXPECT_EQ(rename(next.c_str(), path.c_str()), 0);
    other.reset();
  };
  EXPECT_EQ(EditFile(path, Appending("edited\n"),
                     {.notice_after = 0ms, .on_wait = replace_it}),
            kWritten);
  EXPECT_EQ(ReadFile(path), "replaced\nedited\n");
}

// Forks a child that does nothing until it is killed.
class IdleChild {
 public:
  IdleChild() : process_(fork()) {
    while (process_ == 0) pause();
  }
  IdleChild(const IdleChild&) = delete;
  IdleChild& operator=(const IdleChild&) = delete;
  ~IdleChild() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

 private:
  const pid_t process_;
};

// A forked child inherits the open file, and with it the lock.
TEST(EditLockTest, AForkedChildDoesNotProlongTheLock) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    std::optional<IdleChild> child;
    const auto fork_child = [&](const std::optional<std::string>& old) {
      child.emplace();
      return *old + "edited\n";
    };
    EXPECT_EQ(EditFile(path, fork_child, {.in_place = in_place}), kWritten);
    EXPECT_EQ(SetNew(path, in_place), kWritten);
  }
}

TEST(EditLockTest, AForkedChildDoesNotLockAReplacementFile) {
  const TempFolder folder;
  ReplacementFile file(folder.Path("f"));
  const IdleChild child;
  EXPECT_EQ(file.Commit(), kWritten);
  EXPECT_EQ(SetNew(folder.Path("f"), false), kWritten);
}

constexpr int kProcesses = 8;
constexpr int kEditsOfProcess = 200;

// Edits in child processes. Returns whether all succeeded.
bool EditInProcesses(const std::string& path, const FileEditOptions& options) {
  for (int i = 0; i < kProcesses; ++i) {
    if (fork() != 0) continue;
    for (int j = 0; j < kEditsOfProcess; ++j)
      if (!EditFile(path, Appending("x"), options).Succeeded()) _exit(1);
    _exit(0);
  }
  int failures = 0;
  for (int i = 0; i < kProcesses; ++i) {
    int status = -1;
    wait(&status);
    failures += status == 0 ? 0 : 1;
  }
  return failures == 0;
}

TEST(EditLockTest, NoEditOfManyProcessesIsLost) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.Path("f");
    EXPECT_TRUE(
        EditInProcesses(path, {.in_place = in_place, .lock_limit = 60s}));
    EXPECT_EQ(ReadFile(path), std::string(kProcesses * kEditsOfProcess, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(EditLockTest, TheBackupIsThatOfTheLastOfManyEdits) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.Path("f");
    EXPECT_TRUE(EditInProcesses(
        path, {.in_place = in_place, .backup_suffix = "~", .lock_limit = 60s}));
    constexpr int kAll = kProcesses * kEditsOfProcess;
    EXPECT_EQ(ReadFile(path), std::string(kAll, 'x'));
    EXPECT_EQ(ReadFile(path + "~"), std::string(kAll - 1, 'x'));
    EXPECT_EQ(FilesIn(folder), 2U);
  }
}

constexpr int kThreads = 4;
constexpr int kEdits = 40;

// Edits by many threads. The locks belong to open files, so threads exclude
// each other as processes do.
void EditAtOnce(const std::string& path, bool in_place) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] {
      for (int j = 0; j < kEdits; ++j)
        EXPECT_EQ(EditFile(path, Appending("x"),
                           {.in_place = in_place, .lock_limit = 60s}),
                  kWritten);
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(EditLockTest, NoConcurrentEditIsLost) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.Path("f");
    EditAtOnce(path, in_place);
    EXPECT_EQ(ReadFile(path), std::string(kThreads * kEdits, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

// The reader makes edits alternate between the two locks.
TEST(EditLockTest, NoConcurrentEditIsLostBesideAReader) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "");
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
    EditAtOnce(path, in_place);
    done = true;
    reader.join();
    EXPECT_EQ(ReadFile(path), std::string(kThreads * kEdits, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

}  // namespace
}  // namespace fairlead::internal
