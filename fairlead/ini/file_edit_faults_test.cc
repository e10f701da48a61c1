// Tests of edits in which a system call fails: whatever fails, the result says
// truly which text the file has, and nothing else is left.

// Hardened system headers define these calls inline.
#undef _FORTIFY_SOURCE

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "fairlead/ini/edit_testing.h"

// Decides for each call whether it fails: returns the error, or 0.
namespace {

using Hook = std::function<int(std::string_view call, int fd)>;
Hook* hook = nullptr;

template <typename... Arguments>
int Call(std::string_view name, int fd, long number, Arguments... arguments) {
  const int error = hook != nullptr ? (*hook)(name, fd) : 0;
  if (error == 0) return static_cast<int>(syscall(number, arguments...));
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  const bool unnamed = (flags & O_TMPFILE) == O_TMPFILE;
  return Call(unnamed ? "O_TMPFILE" : "open", 3, SYS_openat, AT_FDCWD, path,
              flags, mode);
}

int fcntl(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  return Call("fcntl", 3, SYS_fcntl, fd, command, argument);
}

ssize_t read(int fd, void* data, std::size_t size) {
  return Call("read", fd, SYS_read, fd, data, size);
}

ssize_t pwrite(int fd, const void* data, std::size_t size, off_t at) {
  return Call("pwrite", fd, SYS_pwrite64, fd, data, size, at);
}

// Without waiting for the disk.
int fsync(int fd) {
  return Call("fsync", fd, SYS_fcntl, fd, F_GETFD) == -1 ? -1 : 0;
}

int ftruncate(int fd, off_t size) noexcept {
  return Call("ftruncate", fd, SYS_ftruncate, fd, size);
}

int fallocate(int fd, int mode, off_t at, off_t size) {
  return Call("fallocate", fd, SYS_fallocate, fd, mode, at, size);
}

int fchmod(int fd, mode_t mode) noexcept {
  return Call("fchmod", fd, SYS_fchmod, fd, mode);
}

int fstat(int fd, struct stat* status) noexcept {
  return Call("fstat", fd, SYS_fstat, fd, status);
}

ssize_t flistxattr(int fd, char* list, std::size_t size) noexcept {
  return Call("flistxattr", fd, SYS_flistxattr, fd, list, size);
}

ssize_t readlinkat(int fd, const char* path, char* target,
                   std::size_t size) noexcept {
  return Call("readlinkat", fd, SYS_readlinkat, fd, path, target, size);
}

int linkat(int from_fd, const char* from, int to_fd, const char* to,
           int flags) noexcept {
  return Call("linkat", 3, SYS_linkat, from_fd, from, to_fd, to, flags);
}

int rename(const char* from, const char* to) noexcept {
  return Call("rename", 3, SYS_rename, from, to);
}

int renameat2(int from_fd, const char* from, int to_fd, const char* to,
              unsigned flags) noexcept {
  return Call("renameat2", 3, SYS_renameat2, from_fd, from, to_fd, to, flags);
}

}  // extern "C"

namespace fairlead::internal {
namespace {

// Installs a hook for a scope.
class Hooked {
 public:
  explicit Hooked(Hook call) : call_(std::move(call)) { hook = &call_; }
  Hooked(const Hooked&) = delete;
  Hooked& operator=(const Hooked&) = delete;
  ~Hooked() { hook = nullptr; }

 private:
  Hook call_;
};

constexpr std::string_view kCalls[] = {
    "open",   "O_TMPFILE", "fcntl",      "read",       "pwrite",
    "fsync",  "ftruncate", "fallocate",  "fchmod",     "fstat",
    "linkat", "rename",    "flistxattr", "readlinkat", "renameat2"};

constexpr char kOld[] = "old text\n";
constexpr char kNew[] = "the new text\n";

struct Way {
  const char* name;
  bool exists;       // The file, before.
  bool has_unnamed;  // The file system has unnamed files.
  FileResult (*write)(const std::string& path);
};

template <bool in_place>
FileResult Replaced(const std::string& path) {
  return ReplaceFile(path, kNew, {.in_place = in_place});
}

FileResult Shortened(const std::string& path) {
  return ReplaceFile(path, "s", {.in_place = true});
}

FileResult InPieces(const std::string& path) {
  ReplacementFile file(path);
  file.Write("the new ");
  file.Write("text\n");
  return file.Commit();
}

constexpr Way kWays[] = {
    {"replace", true, true, Replaced<false>},
    {"in place", true, true, Replaced<true>},
    {"in place, shorter", true, true, Shortened},
    {"create", false, true, Replaced<false>},
    {"in pieces", true, true, InPieces},
    {"create in pieces", false, true, InPieces},
    {"replace by a hidden file", true, false, Replaced<false>},
    {"create by a hidden file", false, false, Replaced<false>},
    {"hidden, in pieces", true, false, InPieces},
};

struct Outcome {
  FileResult result;
  std::string text;
  std::size_t files;
  int failed;  // How many calls.
};

// Fails the calls from number `first` to `last` of that name.
Outcome RunFailing(const Way& way, std::string_view name, int error, int first,
                   int last) {
  const TempFolder folder;
  const std::string path = folder.Path("f");
  if (way.exists) Put(folder, "f", kOld);
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
    result = way.write(path);
  }
  return {result, ReadFile(path), FilesIn(folder), failed};
}

std::string NewText(const Way& way) {
  return way.write == Shortened ? "s" : kNew;
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
  const bool is_there = way.exists || result.state == FileState::kNew;
  EXPECT_EQ(outcome.files, is_there ? 1U : 0U);
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
  constexpr std::string_view kNeverInterrupted[] = {"fchmod", "fstat",
                                                    "flistxattr", "readlinkat"};
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
    const Outcome outcome = RunFailing(way, "fsync", EINVAL, 1, 2);
    EXPECT_GT(outcome.failed, 0);
    EXPECT_EQ(outcome.result, kWritten);
    ExpectTrue(way, outcome);
  }
}

// The new text is there, and a caller can see it without reading the message.
TEST(FileEditFaultsTest, AFolderThatCannotBeSyncedIsReported) {
  for (const Way& way : kWays) {
    if (way.write == Replaced<true> || way.write == Shortened) continue;
    SCOPED_TRACE(way.name);
    const Outcome outcome = RunFailing(way, "fsync", EIO, 2, 2);
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

// In a child without standard streams, no call may be made with descriptor 0, 1
// or 2.
TEST(FileEditFaultsTest, NoFileIsDescriptor0Or1Or2) {
  for (const Way& way : kWays) {
    SCOPED_TRACE(way.name);
    const TempFolder folder;
    const std::string path = folder.Path("f");
    if (way.exists) Put(folder, "f", kOld);
    const pid_t child = fork();
    if (child == 0) {
      for (const int stream : {0, 1, 2}) close(stream);
      const Hooked hooked([&](std::string_view call, int fd) {
        if (call == "O_TMPFILE" && !way.has_unnamed) return EOPNOTSUPP;
        if (fd <= STDERR_FILENO) _exit(2);
        return 0;
      });
      if (!way.write(path).Succeeded()) _exit(3);
      if (fairlead::ReadFile(path).text != NewText(way)) _exit(4);
      for (const int stream : {0, 1, 2})
        if (syscall(SYS_fcntl, stream, F_GETFD) != -1) _exit(5);
      _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

// Sends the signal within every call; returns whether the child was killed by
// it at least once.
TEST(FileEditFaultsTest, ASignalLeavesNothingBehind) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    for (const Way& way : kWays) {
      if (way.write == InPieces && !way.has_unnamed) continue;
      int number = 1;
      for (bool reached = true; reached; ++number) {
        SCOPED_TRACE(testing::Message() << way.name << ": " << number);
        const TempFolder folder;
        const std::string path = folder.Path("f");
        if (way.exists) Put(folder, "f", kOld);
        const pid_t child = fork();
        if (child == 0) {
          int calls = 0;
          const Hooked hooked([&](std::string_view call, int) {
            if (++calls == number) raise(signal);
            const bool fails = call == "O_TMPFILE" && !way.has_unnamed;
            return fails ? EOPNOTSUPP : 0;
          });
          _exit(way.write(path).Succeeded() ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        reached = WIFSIGNALED(status) && WTERMSIG(status) == signal;
        EXPECT_TRUE(reached || status == 0);
        const std::string text = ReadFile(path);
        EXPECT_TRUE(text == NewText(way) || text == (way.exists ? kOld : ""))
            << text;
        EXPECT_LE(FilesIn(folder), 1U);
      }
      EXPECT_GT(number, 10);
    }
}

}  // namespace
}  // namespace fairlead::internal
