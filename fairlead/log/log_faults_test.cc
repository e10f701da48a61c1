// Tests of the log when locking, standard output, opening the file or the
// process fails. The program interposes pthread_mutex_lock, open and write.

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iostream>
#include <optional>
#include <streambuf>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/log/log.h"
#include "fairlead/log/log_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace {

enum class Lock {
  kReal,   // Calls the system's function.
  kFails,  // Returns lock_error.
  kTried,  // Locks, or returns EBUSY where a program would hang.
};

thread_local Lock lock = Lock::kReal;
thread_local int lock_error = 0;
thread_local int locks_tried = 0;

using LockFunction = int(pthread_mutex_t*);

// How many of the next calls to open a file, or to write to one other than 0, 1
// and 2, fail with EINTR.
int interruptions = 0;

bool IsInterrupted() {
  if (interruptions == 0) return false;
  --interruptions;
  errno = EINTR;
  return true;
}

}  // namespace

extern "C" FAIRLEAD_EXPORT int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (IsInterrupted()) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" FAIRLEAD_EXPORT ssize_t write(int file, const void* data,
                                         std::size_t size) {
  if (file > STDERR_FILENO && IsInterrupted()) return -1;
  return syscall(SYS_write, file, data, size);
}

extern "C" FAIRLEAD_EXPORT int pthread_mutex_lock(
    pthread_mutex_t* mutex) noexcept {
  static std::atomic<LockFunction*> real;
  if (lock == Lock::kFails) return lock_error;
  if (lock == Lock::kTried) {
    ++locks_tried;
    return pthread_mutex_trylock(mutex);
  }
  LockFunction* function = real;
  if (function == nullptr) {
    function =
        reinterpret_cast<LockFunction*>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    real = function;
  }
  return function(mutex);
}

namespace fairlead::internal {
namespace {

using LogFaultsTest = LogFolderTest;

// Returns the code of the exception that writing throws, or 0.
int ErrorOfWriting(CLog& log, const std::string& text) {
  try {
    log << text;
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

TEST_F(LogFaultsTest, AFailedLockThrowsItsCodeAndNothingIsWritten) {
  std::vector<int> thrown;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), true);
    lock = Lock::kFails;
    for (const int error : {EINVAL, EAGAIN, EDEADLK}) {
      lock_error = error;
      thrown.push_back(ErrorOfWriting(log, "lost\n"));
    }
    lock = Lock::kReal;
    thrown.push_back(ErrorOfWriting(log, "kept\n"));
  }
  EXPECT_THAT(thrown, testing::ElementsAre(EINVAL, EAGAIN, EDEADLK, 0));
  EXPECT_EQ(ReadFile(Name()), "kept\r\n");
  EXPECT_EQ(ReadFile(OutputName()), "kept\r\n");
}

TEST_F(LogFaultsTest, AFailedLockThrowsASystemError) {
  CLog log(Name(), false);
  lock = Lock::kFails;
  lock_error = EINVAL;
  bool invalid = false;
  try {
    log << "lost\n";
  } catch (const std::system_error& error) {
    invalid = error.code() == std::errc::invalid_argument;
  }
  lock = Lock::kReal;
  EXPECT_TRUE(invalid);
}

TEST_F(LogFaultsTest, EachWriteOfAChainLocksOnce) {
  int locks = 0;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    locks_tried = 0;
    lock = Lock::kTried;
    log << "a"
        << "b"
        << "c\n";
    lock = Lock::kReal;
    locks = locks_tried;
  }
  EXPECT_EQ(locks, 3);
  EXPECT_EQ(ReadFile(Name()), "abc\n");
}

// Rejects everything.
class RejectingBuffer : public std::streambuf {
 protected:
  int_type overflow(int_type /*byte*/) override { return traits_type::eof(); }
};

// Accepts everything and fails to flush.
class UnflushableBuffer : public std::streambuf {
 protected:
  int_type overflow(int_type byte) override {
    return traits_type::not_eof(byte);
  }
  int sync() override { return -1; }
};

// Writes two lines while std::cout throws at every error; returns how often it
// did, or 100 if the second line finds the lock still held.
int ThrowsOfTwoLines(const std::string& name, std::streambuf& buffer) {
  CLog log(name, false);
  std::streambuf* const before = std::cout.rdbuf(&buffer);
  std::cout.exceptions(std::ios::badbit | std::ios::failbit);
  lock = Lock::kTried;
  int throws = 0;
  for (const char* text : {"first\n", "second\n"}) {
    try {
      log << text;
    } catch (const std::ios_base::failure& failure) {
      if (failure.code() == std::io_errc::stream) ++throws;
    } catch (const std::system_error&) {
      throws = 100;
    }
  }
  lock = Lock::kReal;
  std::cout.exceptions(std::ios::goodbit);
  std::cout.rdbuf(before);  // Clears the state as well.
  return throws;
}

TEST_F(LogFaultsTest, AnExceptionOfStandardOutputReleasesTheLock) {
  RejectingBuffer buffer;
  EXPECT_EQ(ThrowsOfTwoLines(Name(), buffer), 2);
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\n");
}

TEST_F(LogFaultsTest, AnExceptionOfTheFlushReleasesTheLock) {
  UnflushableBuffer buffer;
  EXPECT_EQ(ThrowsOfTwoLines(Name(), buffer), 2);
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\n");
}

TEST_F(LogFaultsTest, AnErrorOfStandardOutputIsNotReportedAndStaysSet) {
  RejectingBuffer buffer;
  std::ios::iostate after = std::ios::goodbit;
  {
    CLog log(Name(), false);
    std::streambuf* const before = std::cout.rdbuf(&buffer);
    log << "first\n"
        << "second\n";
    after = std::cout.rdstate();
    std::cout.rdbuf(before);
  }
  EXPECT_TRUE((after & std::ios::badbit) != 0);
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\n");
}

TEST_F(LogFaultsTest, TheFileIsWrittenWhenStandardOutputIsFull) {
  const int status = StatusOfChild(OutputName(), [this] {
    const int full = open("/dev/full", O_WRONLY);
    if (full < 0 || dup2(full, STDOUT_FILENO) < 0) _exit(1);
    CLog log(Name(), false);
    for (int i = 0; i < 1000; ++i) log << NumberedLine(i);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ReadFile(Name()), NumberedLines(1000));
}

TEST_F(LogFaultsTest, AFullStandardOutputSetsTheErrorOfTheStream) {
  const int status = StatusOfChild(OutputName(), [this] {
    const int full = open("/dev/full", O_WRONLY);
    if (full < 0 || dup2(full, STDOUT_FILENO) < 0) _exit(1);
    CLog log(Name(), false);
    if (!std::cout.good()) _exit(2);
    log << "line\n";
    if (!std::cout.bad()) _exit(3);
    std::cout.clear();
    std::cout.exceptions(std::ios::badbit);
    try {
      log << "line\n";
      _exit(4);
    } catch (const std::ios_base::failure&) {
    }
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ReadFile(Name()), "line\nline\n");
}

TEST_F(LogFaultsTest, TheFileIsWrittenWhenStandardOutputIsClosed) {
  const int status = StatusOfChild(OutputName(), [this] {
    close(STDOUT_FILENO);
    CLog log(Name(), false);
    for (int i = 0; i < 1000; ++i) log << NumberedLine(i);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ReadFile(Name()), NumberedLines(1000));
}

constexpr int kStandardStreams = 3;

bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

// Returns the descriptor of a file that this process has open, or -1.
int DescriptorOf(const std::string& name) {
  constexpr int kMaxDescriptor = 100;
  struct stat wanted {};
  stat(name.c_str(), &wanted);
  for (int i = 0; i < kMaxDescriptor; ++i) {
    struct stat found {};
    if (fstat(i, &found) == 0 && found.st_dev == wanted.st_dev &&
        found.st_ino == wanted.st_ino)
      return i;
  }
  return -1;
}

// Closes the standard streams whose bits are set in `closed` and logs a line.
// Exits if they are not closed any more or the log has the wrong descriptor.
void LogWithout(unsigned closed, const std::string& name) {
  for (int i = 0; i < kStandardStreams; ++i)
    if ((closed >> i & 1U) != 0) close(i);
  CLog log(name, false);
  log << "line\n";
  unsigned still_closed = 0;
  for (int i = 0; i < kStandardStreams; ++i)
    if (!IsOpen(i)) still_closed |= 1U << i;
  if (still_closed != closed) _exit(1);
  const int file = DescriptorOf(name);
  if (file < kStandardStreams) _exit(2);
  if (fcntl(file, F_GETFD) != FD_CLOEXEC) _exit(3);
}

TEST_F(LogFaultsTest, TheFileIsNeverDescriptor0Or1Or2) {
  for (unsigned closed = 0; closed < 1U << kStandardStreams; ++closed) {
    SCOPED_TRACE(testing::Message() << "closed: " << closed);
    const std::string name = Name() + std::to_string(closed);
    EXPECT_EQ(StatusOfChild(OutputName(), [&] { LogWithout(closed, name); }),
              0);
    EXPECT_EQ(ReadFile(name), "line\n");
  }
}

TEST_F(LogFaultsTest, AFileThatCannotBeMovedAbove2IsNotUsed) {
  const int status = StatusOfChild(OutputName(), [this] {
    const rlimit none_above{kStandardStreams, kStandardStreams};
    if (setrlimit(RLIMIT_NOFILE, &none_above) != 0) _exit(1);
    close(STDIN_FILENO);
    CLog log(Name(), false);
    log << "line\n";
    if (IsOpen(STDIN_FILENO)) _exit(2);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ReadFile(Name()), "");
  EXPECT_EQ(ReadFile(OutputName()), "line\n");
}

TEST_F(LogFaultsTest, EveryLineSurvivesAKill) {
  constexpr int kStep = kSanitized ? 20 : 1;
  for (int lines = 0; lines <= 200; lines += kStep) {
    SCOPED_TRACE(testing::Message() << lines << " lines");
    const std::string name = Name() + std::to_string(lines);
    const std::string output = OutputName() + std::to_string(lines);
    const int status = StatusOfChild(output, [&] {
      CLog log(name, false);
      for (int i = 0; i < lines; ++i) log << NumberedLine(i);
      log << "buffered text is lost";
      std::raise(SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    ASSERT_EQ(ReadFile(name), NumberedLines(lines));
    ASSERT_EQ(ReadFile(output), NumberedLines(lines));
  }
}

TEST_F(LogFaultsTest, ATextBufferedAtAForkIsWrittenByParentAndChild) {
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    log << "waits ";
    ASSERT_EQ(StatusOfChild("/dev/null", [&log] { log << "in the child\n"; }),
              0);
    log << "in the parent\n";
  }
  EXPECT_EQ(ReadFile(Name()), "waits in the child\nwaits in the parent\n");
}

TEST_F(LogFaultsTest, AFileThatCannotBeOpenedIsSkipped) {
  const std::string forbidden = folder_.Path("forbidden.log");
  std::ofstream(forbidden) << "kept";
  std::filesystem::permissions(forbidden, std::filesystem::perms::owner_read);
  std::ofstream(Name()).flush();
  chmod(Name().c_str(), 0666);
  std::filesystem::permissions(folder_.Path(""), std::filesystem::perms::all);

  const int status = StatusOfChild(OutputName(), [&] {
    if (geteuid() == 0 && seteuid(65534) != 0) _exit(1);
    CLog log({forbidden, Name()});
    log << "a\n";
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(ReadFile(forbidden), "kept");
  EXPECT_EQ(ReadFile(Name()), "a\n");
  EXPECT_EQ(ReadFile(OutputName()), "a\n");
}

TEST_F(LogFaultsTest, ResumesInterruptedCalls) {
  std::vector<int> left;
  const auto interrupt = [&left](const auto& call) {
    interruptions = 3;
    call();
    left.push_back(std::exchange(interruptions, 0));
  };
  {
    const StandardOutputTo output(OutputName());
    std::optional<CLog> log;
    interrupt([&] { log.emplace(Name(), false); });
    interrupt([&] { *log << "line\n"; });
    interrupt([&] { *log << "another "; });
    interrupt([&] { *log << "line\n"; });
    *log << "end";
    interrupt([&] { log.reset(); });
  }
  EXPECT_THAT(left, testing::ElementsAre(0, 0, 3, 0, 0));
  EXPECT_EQ(ReadFile(Name()), "line\nanother line\nend");
}

}  // namespace
}  // namespace fairlead::internal
