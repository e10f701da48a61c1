// The log when something fails: the lock, the disk, standard output, or the
// whole process. The lock is this program's own and goes on to the system's, as
// do the calls that open files and write to them.

// Hardened system headers define inline what this test puts in their place.
#undef _FORTIFY_SOURCE

#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mount.h>
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
#include <random>
#include <streambuf>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/log/log.h"
#include "fairlead/log/log_testing.h"

namespace {

enum class Lock {
  kReal,   // The system's.
  kFails,  // Answers lock_error.
  kTried,  // Taken if it is free; otherwise EBUSY, where a program would hang.
};

thread_local Lock lock = Lock::kReal;
thread_local int lock_error = 0;
thread_local int locks_tried = 0;

using LockFunction = int(pthread_mutex_t*);

// So many calls to open, or to write to a file that is no standard stream, are
// interrupted by a signal.
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

namespace fairlead {
namespace {

using log_testing::Contents;
using log_testing::kSanitized;
using log_testing::StandardOutputTo;
using log_testing::StatusOfChild;
using log_testing::TempFolder;

class LogFaultsTest : public testing::Test {
 protected:
  std::string Name() const { return folder_.Path("test.log"); }
  std::string OutputName() const { return folder_.Path("output"); }

  const TempFolder folder_;
};

std::string LineOf(int number) {
  return "line " + std::to_string(number) + "\n";
}

std::string LinesTo(int end) {
  std::string lines;
  for (int i = 0; i < end; ++i) lines += LineOf(i);
  return lines;
}

// ---- The lock.

// The code of the error that writing raises, or 0.
int ErrorOfWriting(CLog& log, const std::string& text) {
  try {
    log << text;
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

TEST_F(LogFaultsTest, ALockThatFailsRaisesItsCodeAndNothingIsWritten) {
  std::vector<int> raised;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), true);
    lock = Lock::kFails;
    for (const int error : {EINVAL, EAGAIN, EDEADLK}) {
      lock_error = error;
      raised.push_back(ErrorOfWriting(log, "lost\n"));
    }
    lock = Lock::kReal;
    raised.push_back(ErrorOfWriting(log, "kept\n"));
  }
  EXPECT_THAT(raised, testing::ElementsAre(EINVAL, EAGAIN, EDEADLK, 0));
  EXPECT_EQ(Contents(Name()), "kept\r\n");
  EXPECT_EQ(Contents(OutputName()), "kept\r\n");
}

TEST_F(LogFaultsTest, AFailedLockIsOfTheCategoryOfTheSystem) {
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
  EXPECT_EQ(Contents(Name()), "abc\n");
}

// ---- Standard output.

// Takes nothing.
class Refusal : public std::streambuf {
 protected:
  int_type overflow(int_type /*byte*/) override { return traits_type::eof(); }
};

// Takes all and cannot pass it on.
class Blockage : public std::streambuf {
 protected:
  int_type overflow(int_type byte) override {
    return traits_type::not_eof(byte);
  }
  int sync() override { return -1; }
};

// Writes two lines while std::cout throws at every failure, and returns how
// often it did. A lock left behind would be found taken by the second line.
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

TEST_F(LogFaultsTest, AnExceptionOfStandardOutputUnlocks) {
  Refusal refusal;
  EXPECT_EQ(ThrowsOfTwoLines(Name(), refusal), 2);
  EXPECT_EQ(Contents(Name()), "first\nsecond\n");
}

TEST_F(LogFaultsTest, AnExceptionOfTheFlushUnlocks) {
  Blockage blockage;
  EXPECT_EQ(ThrowsOfTwoLines(Name(), blockage), 2);
  EXPECT_EQ(Contents(Name()), "first\nsecond\n");
}

TEST_F(LogFaultsTest, AFailureOfStandardOutputIsSilentAndLeftToTheProgram) {
  Refusal refusal;
  std::ios::iostate after = std::ios::goodbit;
  {
    CLog log(Name(), false);
    std::streambuf* const before = std::cout.rdbuf(&refusal);
    log << "first\n"
        << "second\n";
    after = std::cout.rdstate();
    std::cout.rdbuf(before);
  }
  EXPECT_TRUE((after & std::ios::badbit) != 0);
  EXPECT_EQ(Contents(Name()), "first\nsecond\n");
}

TEST_F(LogFaultsTest, TheFileGoesOnWhenStandardOutputIsFull) {
  const int status = StatusOfChild(OutputName(), [this] {
    const int full = open("/dev/full", O_WRONLY);
    if (full < 0 || dup2(full, STDOUT_FILENO) < 0) _exit(1);
    CLog log(Name(), false);
    for (int i = 0; i < 1000; ++i) log << LineOf(i);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Contents(Name()), LinesTo(1000));
}

TEST_F(LogFaultsTest, TheFileGoesOnWhenStandardOutputIsClosed) {
  const int status = StatusOfChild(OutputName(), [this] {
    close(STDOUT_FILENO);
    CLog log(Name(), false);
    for (int i = 0; i < 1000; ++i) log << LineOf(i);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Contents(Name()), LinesTo(1000));
}

constexpr int kStandardStreams = 3;

bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

// The descriptor under which this process has the file open, or -1.
int DescriptorOf(const std::string& name) {
  constexpr int kMost = 100;
  struct stat wanted {};
  stat(name.c_str(), &wanted);
  for (int i = 0; i < kMost; ++i) {
    struct stat found {};
    if (fstat(i, &found) == 0 && found.st_dev == wanted.st_dev &&
        found.st_ino == wanted.st_ino)
      return i;
  }
  return -1;
}

// Logs a line without the standard streams of which the bit is set in `closed`,
// and ends with 0 if those are closed still and the log's file stands apart.
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

TEST_F(LogFaultsTest, TheFileTakesThePlaceOfNoStandardStream) {
  for (unsigned closed = 0; closed < 1U << kStandardStreams; ++closed) {
    SCOPED_TRACE(testing::Message() << "closed: " << closed);
    const std::string name = Name() + std::to_string(closed);
    EXPECT_EQ(StatusOfChild(OutputName(), [&] { LogWithout(closed, name); }),
              0);
    EXPECT_EQ(Contents(name), "line\n");
  }
}

TEST_F(LogFaultsTest, WithoutANumberForTheFileThereIsNone) {
  const int status = StatusOfChild(OutputName(), [this] {
    const rlimit none_above{kStandardStreams, kStandardStreams};
    if (setrlimit(RLIMIT_NOFILE, &none_above) != 0) _exit(1);
    close(STDIN_FILENO);
    CLog log(Name(), false);
    log << "line\n";
    if (IsOpen(STDIN_FILENO)) _exit(2);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Contents(Name()), "");
  EXPECT_EQ(Contents(OutputName()), "line\n");
}

// ---- The end of the process.

TEST_F(LogFaultsTest, EveryLineWrittenSurvivesAKill) {
  constexpr int kStep = kSanitized ? 20 : 1;
  for (int lines = 0; lines <= 200; lines += kStep) {
    SCOPED_TRACE(testing::Message() << lines << " lines");
    const std::string name = Name() + std::to_string(lines);
    const std::string output = OutputName() + std::to_string(lines);
    const int status = StatusOfChild(output, [&] {
      CLog log(name, false);
      for (int i = 0; i < lines; ++i) log << LineOf(i);
      log << "what waits for its line break dies";
      std::raise(SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    ASSERT_EQ(Contents(name), LinesTo(lines));
    ASSERT_EQ(Contents(output), LinesTo(lines));
  }
}

TEST_F(LogFaultsTest, ATextThatWaitsAtAForkIsWrittenByParentAndChild) {
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    log << "waits ";
    ASSERT_EQ(StatusOfChild("/dev/null", [&log] { log << "in the child\n"; }),
              0);
    log << "in the parent\n";
  }
  EXPECT_EQ(Contents(Name()), "waits in the child\nwaits in the parent\n");
}

// ---- The file.

TEST_F(LogFaultsTest, AFileThatMayNotBeWrittenIsPassedOver) {
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
  EXPECT_EQ(Contents(forbidden), "kept");
  EXPECT_EQ(Contents(Name()), "a\n");
  EXPECT_EQ(Contents(OutputName()), "a\n");
}

TEST_F(LogFaultsTest, ADeviceThatIsAlwaysFullStopsNothing) {
  {
    const StandardOutputTo output(OutputName());
    CLog log("/dev/full", false);
    for (int i = 0; i < 3000; ++i) log << LineOf(i);
    log << std::string(100000, '.') << "\n"
        << "end";
  }
  EXPECT_EQ(Contents(OutputName()),
            LinesTo(3000) + std::string(100000, '.') + "\nend");
}

TEST_F(LogFaultsTest, SignalsDisturbNeitherOpeningNorWriting) {
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
  EXPECT_EQ(Contents(Name()), "line\nanother line\nend");
}

// Files may grow to `limit` bytes while this lives, as on a disk that has as
// many left; beyond, a write raises SIGXFSZ, which ends the process.
class FileLimit {
 public:
  explicit FileLimit(std::size_t limit) {
    if (getrlimit(RLIMIT_FSIZE, &before_) != 0) _exit(1);
    rlimit limited = before_;
    limited.rlim_cur = limit;
    if (setrlimit(RLIMIT_FSIZE, &limited) != 0) _exit(1);
  }
  ~FileLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileLimit(const FileLimit&) = delete;
  FileLimit& operator=(const FileLimit&) = delete;

 private:
  rlimit before_{};
};

// Writes `during` to a file that may grow to `limit` bytes, then `after` when
// it may grow as it likes. Standard output goes nowhere: the limit is on it
// too.
int StatusOfFilling(const std::string& name, std::size_t limit,
                    const std::vector<std::string>& during,
                    const std::vector<std::string>& after) {
  return StatusOfChild("/dev/null", [&] {
    std::optional<FileLimit> full(std::in_place, limit);
    CLog log(name, false);
    for (const std::string& text : during) log << text;
    full.reset();
    for (const std::string& text : after) log << text;
    log.~CLog();  // The child ends without.
    _exit(0);
  });
}

TEST_F(LogFaultsTest, AFileAsLargeAsItMayBeRaisesNoSignal) {
  std::ofstream(Name()) << "ten bytes\n";
  ASSERT_EQ(StatusOfFilling(Name(), 10, {"a\n", "b\n"}, {"c\n"}), 0);
  EXPECT_EQ(Contents(Name()), "ten bytes\na\nb\nc\n");
}

TEST_F(LogFaultsTest, AFileLargerThanItMayBeRaisesNoSignal) {
  std::ofstream(Name()) << "ten bytes\n";
  ASSERT_EQ(StatusOfFilling(Name(), 0, {"a\n", "b"}, {}), 0);
  EXPECT_EQ(Contents(Name()), "ten bytes\na\nb");
}

TEST_F(LogFaultsTest, ALimitThatComesLateAndIsMetInALineRaisesNoSignal) {
  ASSERT_EQ(StatusOfChild("/dev/null",
                          [this] {
                            CLog log(Name(), false);
                            log << "first\n";
                            const FileLimit full(10);
                            log << "second\n"
                                << "third\n"
                                << "fourth\n";
                          }),
            0);
  EXPECT_EQ(Contents(Name()), "first\nsecond\nthird\nfourth\n");
}

TEST_F(LogFaultsTest, ALimitThatComesLateAndIsMetFarOnRaisesNoSignal) {
  constexpr std::size_t kLines = 1000;
  const std::string line = std::string(15, '.') + "\n";
  ASSERT_EQ(StatusOfChild("/dev/null",
                          [&] {
                            CLog log(Name(), false);
                            log << line;
                            const FileLimit full(kLines * line.size());
                            for (std::size_t i = 0; i < 2 * kLines; ++i)
                              log << line;
                          }),
            0);
  EXPECT_EQ(Contents(Name()).size(), (1 + 2 * kLines) * line.size());
}

bool IsPending(int signal) {
  sigset_t pending;
  return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

// Writes to a full file while the program itself blocks the signal, which may
// be waiting already; whether it is waiting afterwards, and blocked as before.
void WriteWhileBlocked(const std::string& name, bool waiting) {
  sigset_t signal;
  sigemptyset(&signal);
  sigaddset(&signal, SIGXFSZ);
  sigprocmask(SIG_BLOCK, &signal, nullptr);
  if (waiting) std::raise(SIGXFSZ);
  const FileLimit full(0);
  CLog log(name, false);
  log << "line\n";
  if (IsPending(SIGXFSZ) != waiting) _exit(1);
  sigset_t mask;
  sigprocmask(SIG_BLOCK, nullptr, &mask);
  if (sigismember(&mask, SIGXFSZ) != 1) _exit(2);
}

TEST_F(LogFaultsTest, ASignalThatTheProgramHoldsStays) {
  for (const bool waiting : {false, true})
    EXPECT_EQ(
        StatusOfChild("/dev/null", [&] { WriteWhileBlocked(Name(), waiting); }),
        0)
        << waiting;
}

TEST_F(LogFaultsTest, TheSignalIsTheProgramsAgainAfterAWrite) {
  const int status = StatusOfChild("/dev/null", [this] {
    const FileLimit full(0);
    CLog log(Name(), false);
    log << "line\n";
    std::raise(SIGXFSZ);
  });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ);
}

TEST_F(LogFaultsTest, LinesComeLateWhenAFullDiskHasRoomAgain) {
  ASSERT_EQ(StatusOfFilling(Name(), 10, {"first\n", "second\n", "third\n"},
                            {"fourth\n", "fifth\n"}),
            0);
  EXPECT_EQ(Contents(Name()), "first\nsecond\nthird\nfourth\nfifth\n");
}

TEST_F(LogFaultsTest, PiecesOfALineComeLateAsWell) {
  ASSERT_EQ(StatusOfFilling(Name(), 8, {"first\n", "sec", "ond\n", "th"},
                            {"ird\n", "fourth"}),
            0);
  EXPECT_EQ(Contents(Name()), "first\nsecond\nthird\nfourth");
}

TEST_F(LogFaultsTest, AFullBufferMeetsAFullDisk) {
  const std::string large(20000, 'b');
  ASSERT_EQ(StatusOfFilling(Name(), 100, {"a", large, "late\n", "x"}, {"c\n"}),
            0);
  EXPECT_EQ(Contents(Name()), "a" + large + "late\nxc\n");
}

TEST_F(LogFaultsTest, WhatStillWaitsAtTheEndIsWrittenIfThereIsRoom) {
  ASSERT_EQ(StatusOfFilling(Name(), 3, {"first\n", "second\n"}, {}), 0);
  EXPECT_EQ(Contents(Name()), "first\nsecond\n");
}

// What is in the end in a file that may grow to `limit` bytes at first: all of
// it but the texts for which more than 64 KiB would have had to wait.
std::string Kept(const std::vector<std::string>& during, std::size_t limit) {
  constexpr std::size_t kMost = std::size_t{64} * 1024;
  std::string kept;
  for (const std::string& text : during)
    if (kept.size() <= limit + kMost) kept += text;
  return kept;
}

// Nothing is torn, written twice or out of order, whenever the disk is full.
TEST_F(LogFaultsTest, ManyLinesOfAFullDiskComeLate) {
  constexpr unsigned kSeed = 20261122;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  const auto texts = [&random] {
    std::vector<std::string> made;
    for (int i = 0; i < 60; ++i) {
      const std::size_t size =
          random() % 4 == 0 ? random() % 20000 : random() % 100;
      std::string text;
      for (std::size_t j = 0; j < size; ++j)
        text += static_cast<char>('a' + random() % 26);
      made.push_back(text + "\n");
    }
    return made;
  };
  const auto joined = [](const std::vector<std::string>& parts) {
    std::string all;
    for (const std::string& part : parts) all += part;
    return all;
  };
  for (int round = 0; round < (kSanitized ? 10 : 100); ++round) {
    const std::string name = Name() + std::to_string(round);
    const std::vector<std::string> during = texts();
    const std::vector<std::string> after = texts();
    const std::size_t limit = random() % joined(during).size();
    ASSERT_EQ(StatusOfFilling(name, limit, during, after), 0);
    ASSERT_TRUE(Contents(name) == Kept(during, limit) + joined(after))
        << "round " << round << ", limit " << limit;
  }
}

// The same on a real disk, where the right to mount one is given.
TEST_F(LogFaultsTest, LinesComeLateWhenASmallDiskIsClearedUp) {
  constexpr int kNoMount = 77;
  const std::string disk = folder_.Path("disk");
  std::filesystem::create_directory(disk);
  const int status = StatusOfChild(OutputName(), [&] {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", disk.c_str(), "tmpfs", 0, "size=64k") != 0)
      _exit(kNoMount);
    std::ofstream(disk + "/other") << std::string(std::size_t{40} * 1024, '.');
    CLog log(disk + "/test.log", false);
    int whole = 0;
    while (Contents(disk + "/test.log") == LinesTo(whole)) {
      if (whole > 10000) _exit(2);  // The disk was never full.
      log << LineOf(whole++);
    }
    log << "late\n";
    if (!LinesTo(whole).starts_with(Contents(disk + "/test.log"))) _exit(3);
    std::filesystem::remove(disk + "/other");
    log << "there is room\n";
    const std::string all = LinesTo(whole) + "late\nthere is room\n";
    _exit(Contents(disk + "/test.log") == all ? 0 : 4);
  });
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNoMount)
    GTEST_SKIP() << "this user may not mount";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace fairlead
