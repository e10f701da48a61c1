// Tests of the log when the disk is full or the file reaches a limit.

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "fairlead/log/log.h"
#include "fairlead/log/log_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::log_full_disk_test {
namespace {

using LogFullDiskTest = LogFolderTest;

TEST_F(LogFullDiskTest, AFullDeviceDoesNotAffectStandardOutput) {
  {
    const StandardOutputTo output(OutputName());
    CLog log("/dev/full", false);
    for (int i = 0; i < 3000; ++i) log << NumberedLine(i);
    log << std::string(100000, '.') << "\n"
        << "end";
  }
  EXPECT_EQ(ReadFile(OutputName()),
            NumberedLines(3000) + std::string(100000, '.') + "\nend");
}

// Limits the size of files for a scope, like a disk with little space. A write
// beyond the limit raises SIGXFSZ, which terminates the process.
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

// Logs `during` to a file limited to `limit` bytes, then `after` without limit.
// Discards standard output, to which the limit applies as well.
int StatusOfFilling(const std::string& name, std::size_t limit,
                    const std::vector<std::string>& during,
                    const std::vector<std::string>& after) {
  return StatusOfChild("/dev/null", [&] {
    std::optional<FileLimit> full(std::in_place, limit);
    CLog log(name, false);
    for (const std::string& text : during) log << text;
    full.reset();
    for (const std::string& text : after) log << text;
    log.~CLog();  // _exit does not call it.
    _exit(0);
  });
}

TEST_F(LogFullDiskTest, AFileAtItsLimitRaisesNoSignal) {
  std::ofstream(Name()) << "ten bytes\n";
  ASSERT_EQ(StatusOfFilling(Name(), 10, {"a\n", "b\n"}, {"c\n"}), 0);
  EXPECT_EQ(ReadFile(Name()), "ten bytes\na\nb\nc\n");
}

TEST_F(LogFullDiskTest, AFileAboveItsLimitRaisesNoSignal) {
  std::ofstream(Name()) << "ten bytes\n";
  ASSERT_EQ(StatusOfFilling(Name(), 0, {"a\n", "b"}, {}), 0);
  EXPECT_EQ(ReadFile(Name()), "ten bytes\na\nb");
}

TEST_F(LogFullDiskTest, ALimitSetLaterAndReachedWithinALineRaisesNoSignal) {
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
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\nthird\nfourth\n");
}

TEST_F(LogFullDiskTest, ALimitSetLaterAndReachedMuchLaterRaisesNoSignal) {
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
  EXPECT_EQ(ReadFile(Name()).size(), (1 + 2 * kLines) * line.size());
}

// The process ends by exit(), which writes what stdio still holds.
TEST_F(LogFullDiskTest, AStandardOutputAtItsLimitRaisesNoSignal) {
  for (const char* const name : {"/dev/null", "/no/such/folder/log"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(StatusOfChild(OutputName(),
                            [name] {
                              const FileLimit full(1000);
                              {
                                CLog log(name, false);
                                for (int i = 0; i < 200; ++i) log << "a line\n";
                                log << "no newline";
                              }
                              std::exit(7);
                            }),
              W_EXITCODE(7, 0));
    EXPECT_EQ(ReadFile(OutputName()).size(), 1000U);
  }
}

bool IsPending(int signal) {
  sigset_t pending;
  return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

// Logs to a full file while the program itself blocks SIGXFSZ, which may be
// pending. Exits if it is not pending and blocked as before.
void WriteWhileBlocked(const std::string& name, bool pending) {
  sigset_t signal;
  sigemptyset(&signal);
  sigaddset(&signal, SIGXFSZ);
  sigprocmask(SIG_BLOCK, &signal, nullptr);
  if (pending) std::raise(SIGXFSZ);
  const FileLimit full(0);
  CLog log(name, false);
  log << "line\n";
  if (IsPending(SIGXFSZ) != pending) _exit(1);
  sigset_t mask;
  sigprocmask(SIG_BLOCK, nullptr, &mask);
  if (sigismember(&mask, SIGXFSZ) != 1) _exit(2);
}

TEST_F(LogFullDiskTest, APendingSignalOfTheProgramStays) {
  for (const bool pending : {false, true})
    EXPECT_EQ(
        StatusOfChild("/dev/null", [&] { WriteWhileBlocked(Name(), pending); }),
        0)
        << pending;
}

TEST_F(LogFullDiskTest, TheSignalIsUnblockedAfterAWrite) {
  const int status = StatusOfChild("/dev/null", [this] {
    const FileLimit full(0);
    CLog log(Name(), false);
    log << "line\n";
    std::raise(SIGXFSZ);
  });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ);
}

TEST_F(LogFullDiskTest, WaitingLinesAreWrittenWhenThereIsRoomAgain) {
  ASSERT_EQ(StatusOfFilling(Name(), 10, {"first\n", "second\n", "third\n"},
                            {"fourth\n", "fifth\n"}),
            0);
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\nthird\nfourth\nfifth\n");
}

TEST_F(LogFullDiskTest, WaitingPartsOfALineAreWrittenAsWell) {
  ASSERT_EQ(StatusOfFilling(Name(), 8, {"first\n", "sec", "ond\n", "th"},
                            {"ird\n", "fourth"}),
            0);
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\nthird\nfourth");
}

TEST_F(LogFullDiskTest, AFullBufferWaitsForAFullDisk) {
  const std::string large(20000, 'b');
  ASSERT_EQ(StatusOfFilling(Name(), 100, {"a", large, "late\n", "x"}, {"c\n"}),
            0);
  EXPECT_EQ(ReadFile(Name()), "a" + large + "late\nxc\n");
}

TEST_F(LogFullDiskTest, TheDestructorWritesWhatStillWaits) {
  ASSERT_EQ(StatusOfFilling(Name(), 3, {"first\n", "second\n"}, {}), 0);
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\n");
}

// Returns what is kept of `during` for a file limited to `limit` bytes: texts
// are dropped while more than 64 KiB wait.
std::string Kept(const std::vector<std::string>& during, std::size_t limit) {
  constexpr std::size_t kMaxWaiting = std::size_t{64} * 1024;
  std::string kept;
  for (const std::string& text : during)
    if (kept.size() <= limit + kMaxWaiting) kept += text;
  return kept;
}

// No text is torn, repeated or out of order, wherever the disk becomes full.
TEST_F(LogFullDiskTest, ManyLinesWaitForAFullDisk) {
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
  for (int round = 0; round < (kSanitized ? 10 : 30); ++round) {
    const std::string name = Name() + std::to_string(round);
    const std::vector<std::string> during = texts();
    const std::vector<std::string> after = texts();
    const std::size_t limit = random() % joined(during).size();
    ASSERT_EQ(StatusOfFilling(name, limit, during, after), 0);
    ASSERT_TRUE(ReadFile(name) == Kept(during, limit) + joined(after))
        << "round " << round << ", limit " << limit;
  }
}

// The same on a real small disk, if this user may mount one.
TEST_F(LogFullDiskTest, WaitingLinesAreWrittenWhenASmallDiskHasRoomAgain) {
  constexpr int kNoMount = 77;
  const std::string disk = folder_.Path("disk");
  std::filesystem::create_directory(disk);
  const int status = StatusOfChild(OutputName(), [&] {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount("none", "/", "", MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", disk.c_str(), "tmpfs", 0, "size=64k") != 0)
      _exit(kNoMount);
    std::ofstream(disk + "/other") << std::string(std::size_t{52} * 1024, '.');
    CLog log(disk + "/test.log", false);
    int whole = 0;
    while (ReadFile(disk + "/test.log") == NumberedLines(whole)) {
      if (whole > 10000) _exit(2);  // The disk was never full.
      log << NumberedLine(whole++);
    }
    log << "late\n";
    if (!NumberedLines(whole).starts_with(ReadFile(disk + "/test.log")))
      _exit(3);
    std::filesystem::remove(disk + "/other");
    log << "there is room\n";
    const std::string all = NumberedLines(whole) + "late\nthere is room\n";
    _exit(ReadFile(disk + "/test.log") == all ? 0 : 4);
  });
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNoMount)
    GTEST_SKIP() << "this user may not mount";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace fairlead::internal::log_full_disk_test
