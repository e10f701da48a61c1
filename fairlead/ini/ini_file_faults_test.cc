// Tests of errors of system calls while loading and saving INI files: real
// ones, and those that interposed calls simulate.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"

// Hooks for `read` and `write` on descriptors other than 0, 1 and 2.
namespace {
using ReadCall = std::function<ssize_t(int, void*, std::size_t)>;
using WriteCall = std::function<ssize_t(int, const void*, std::size_t)>;
ReadCall* read_hook = nullptr;
WriteCall* write_hook = nullptr;

ssize_t KernelRead(int fd, void* data, std::size_t size) {
  return syscall(SYS_read, fd, data, size);
}

ssize_t KernelWrite(int fd, const void* data, std::size_t size) {
  return syscall(SYS_write, fd, data, size);
}
}  // namespace

extern "C" ssize_t read(int fd, void* data, std::size_t size) {
  const bool hooked = read_hook != nullptr && fd > STDERR_FILENO;
  return hooked ? (*read_hook)(fd, data, size) : KernelRead(fd, data, size);
}

extern "C" ssize_t write(int fd, const void* data, std::size_t size) {
  const bool hooked = write_hook != nullptr && fd > STDERR_FILENO;
  return hooked ? (*write_hook)(fd, data, size) : KernelWrite(fd, data, size);
}

namespace fairlead::internal {
namespace {

using testing::ElementsAre;

using IniFileFaultsTest = IniTest;

// Installs a hook for a scope.
template <typename Call>
class Hooked {
 public:
  Hooked(Call*& hook, Call call) : hook_(hook), call_(std::move(call)) {
    hook_ = &call_;
  }
  Hooked(const Hooked&) = delete;
  Hooked& operator=(const Hooked&) = delete;
  ~Hooked() { hook_ = nullptr; }

 private:
  Call*& hook_;
  Call call_;
};

std::string ManyKeys(int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += "key" + std::to_string(i) + "=" + std::to_string(i) + "\n";
  return text;
}

TEST_F(IniFileFaultsTest, AnUnreadableFileLeavesTheListAsItWas) {
  Write("k=v");
  ASSERT_EQ(chmod(Path().c_str(), 0), 0);
  ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
  const bool root = geteuid() == 0;
  ASSERT_EQ(seteuid(root ? 65534 : geteuid()), 0);
  Records records(1);
  const bool loaded = CIniFile::Load(Path(), records);
  const bool saved = CIniFile::Save(Path(), {});
  ASSERT_EQ(seteuid(root ? 0 : geteuid()), 0);
  EXPECT_TRUE(loaded);
  EXPECT_EQ(records, Records(1));
  EXPECT_FALSE(saved);
  ASSERT_EQ(chmod(Path().c_str(), 0600), 0);
  EXPECT_EQ(Read(), "k=v");
}

TEST_F(IniFileFaultsTest, ADirectoryReadsAsNothing) {
  Records records(1);
  EXPECT_TRUE(CIniFile::Load(folder_.path(), records));
  EXPECT_EQ(records, Records{});
  EXPECT_EQ(CIniFile::Content(folder_.path()), "");
}

// The kernel reports size 0 for its own files.
TEST_F(IniFileFaultsTest, ReadsAFileOfUnknownSize) {
  Records records;
  EXPECT_TRUE(CIniFile::Load("/proc/self/status", records));
  EXPECT_GT(records.size(), 10U);  // One for each line "Name: ...".
  Records again(1);
  EXPECT_TRUE(CIniFile::Load("/dev/null", again));
  EXPECT_EQ(again, Records{});
}

TEST_F(IniFileFaultsTest, ReservesLittleMemoryForEmptyLines) {
  Records records;
  EXPECT_TRUE(
      CIniFile::Load(Write(std::string(10'000'000, '\n') + "k=v"), records));
  EXPECT_EQ(records, (Records{{"", ' ', "", "k", "v"}}));
  EXPECT_LT(records.capacity() * sizeof(Record), 100'000'000U);
}

TEST_F(IniFileFaultsTest, ReadsWhatAGrowingFileGained) {
  Write(ManyKeys(10));
  const Hooked<ReadCall> hook(
      read_hook,
      [this, grown = false](int fd, void* data, std::size_t size) mutable {
        if (!std::exchange(grown, true)) Write(ManyKeys(5'000));
        return KernelRead(fd, data, size);
      });
  Records records;
  EXPECT_TRUE(CIniFile::Load(Path(), records));
  EXPECT_EQ(records.size(), 5'000U);
}

TEST_F(IniFileFaultsTest, ReadsWhatIsLeftOfAShrinkingFile) {
  Write(ManyKeys(5'000));
  const Hooked<ReadCall> hook(read_hook,
                              [this](int fd, void* data, std::size_t size) {
                                std::filesystem::resize_file(Path(), 7);
                                return KernelRead(fd, data, size);
                              });
  Records records;
  EXPECT_TRUE(CIniFile::Load(Path(), records));
  EXPECT_EQ(records, (Records{{"", ' ', "", "key0", "0"}}));
}

TEST_F(IniFileFaultsTest, ReadsAFileWithOneRead) {
  Write(ManyKeys(5'000));
  int calls = 0;
  const Hooked<ReadCall> hook(read_hook,
                              [&calls](int fd, void* data, std::size_t size) {
                                ++calls;
                                return KernelRead(fd, data, size);
                              });
  Records records;
  EXPECT_TRUE(CIniFile::Load(Path(), records));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(records.size(), 5'000U);
}

TEST_F(IniFileFaultsTest, ReadsInPiecesOfAnySize) {
  const std::string text = ManyKeys(100);
  const Records records = Loaded(text);
  for (std::size_t piece = 1; piece <= 7; ++piece) {
    const Hooked<ReadCall> hook(
        read_hook, [piece](int fd, void* data, std::size_t size) {
          return KernelRead(fd, data, std::min(size, piece));
        });
    EXPECT_EQ(Loaded(text), records);
  }
}

TEST_F(IniFileFaultsTest, AReadErrorEndsTheFileAtItsLastWholeLine) {
  struct Case {
    std::size_t error_at;
    std::size_t records;
  };
  for (const Case c : {Case{0, 0}, {2, 0}, {3, 0}, {4, 1}, {7, 1}, {8, 2}}) {
    SCOPED_TRACE(c.error_at);
    Write("a=1\nb=2\nc=3\n");
    std::size_t size_read = 0;
    const Hooked<ReadCall> hook(
        read_hook, [&](int fd, void* data, std::size_t size) -> ssize_t {
          if (size_read == c.error_at) {
            errno = EIO;
            return -1;
          }
          size = std::min(size, c.error_at - size_read);
          size_read += size;
          return KernelRead(fd, data, size);
        });
    Records records(5);
    EXPECT_TRUE(CIniFile::Load(Path(), records));
    EXPECT_EQ(records.size(), c.records);
  }
}

TEST_F(IniFileFaultsTest, SaveReportsAFileThatCannotBeOpened) {
  const Records records = {{"", '#', "", "k", "v"}};
  CapturedOutput output;
  EXPECT_FALSE(CIniFile::Save(Path("none/a.ini"), records));
  EXPECT_FALSE(CIniFile::Save(folder_.path(), records));
  EXPECT_FALSE(CIniFile::Save("", records));
  EXPECT_EQ(output.Take(), "");
  EXPECT_FALSE(CIniFile::Create(Path("none/a.ini")));
}

TEST_F(IniFileFaultsTest, SaveReplacesTheFileInPlace) {
  Write(ManyKeys(100));
  ASSERT_EQ(chmod(Path().c_str(), 0640), 0);
  ASSERT_EQ(link(Path().c_str(), Path("other").c_str()), 0);
  EXPECT_TRUE(CIniFile::Save(Path(), {{"", ' ', "", "k", "v"}}));
  EXPECT_EQ(Read(), "k=v\n");
  struct stat status = {};
  ASSERT_EQ(stat(Path("other").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 4);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(IniFileFaultsTest, ANewFileHasMode0666LessTheUmask) {
  const mode_t mask = umask(0);
  EXPECT_TRUE(CIniFile::Create(Path()));
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat(Path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0666U);
}

TEST_F(IniFileFaultsTest, SaveWritesEachRecordWithOneCall) {
  std::vector<std::string> writes;
  const Hooked<WriteCall> hook(
      write_hook, [&writes](int fd, const void* data, std::size_t size) {
        writes.emplace_back(static_cast<const char*>(data), size);
        return KernelWrite(fd, data, size);
      });
  EXPECT_TRUE(CIniFile::Save(Path(), {{"#n\n", ' ', "a", "", ""},
                                      {"", ' ', "a", "k", "v"},
                                      {"", ' ', "a", "m", ""}}));
  EXPECT_THAT(writes, ElementsAre("#n\n[a]\n", "k=v\n", "m=\n"));
}

TEST_F(IniFileFaultsTest, SaveCompletesShortWrites) {
  const Hooked<WriteCall> hook(
      write_hook, [](int fd, const void* data, std::size_t size) {
        return KernelWrite(fd, data, std::min<std::size_t>(size, 3));
      });
  EXPECT_TRUE(CIniFile::Save(
      Path(), {{"#note\n", ' ', "sect", "", ""}, {"", ' ', "", "k", "v"}}));
  EXPECT_EQ(Read(), "#note\n[sect]\nk=v\n");
}

// Not even a record that would fit.
TEST_F(IniFileFaultsTest, SaveWritesNothingAfterAnError) {
  int calls = 0;
  CapturedOutput output;
  {
    const Hooked<WriteCall> hook(
        write_hook,
        [&calls](int fd, const void* data, std::size_t size) -> ssize_t {
          if (++calls != 2) return KernelWrite(fd, data, size);
          errno = ENOSPC;
          return -1;
        });
    EXPECT_TRUE(CIniFile::Save(Path(), {{"", '#', "", "a", "1"},
                                        {"", ' ', "", "b", "2"},
                                        {"", ';', "", "c", "3"}}));
  }
  EXPECT_EQ(output.Take(), "<#> <;> ");
  EXPECT_EQ(Read(), "#a=1\n");
  EXPECT_EQ(calls, 2);
}

// The signal is left to the program.
TEST_F(IniFileFaultsTest, SaveFillsAFileUpToItsLimitAndRaisesTheSignal) {
  static volatile std::sig_atomic_t signals = 0;
  const auto handler = std::signal(SIGXFSZ, [](int) { signals = signals + 1; });
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit six_bytes = {6, limit.rlim_max};
  CapturedOutput output;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &six_bytes), 0);
  const bool saved = CIniFile::Save(Path(), {{"", ' ', "", "a", "1"},
                                             {"", ' ', "", "b", "2"},
                                             {"", ';', "", "c", "3"}});
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(output.Take(), "<;> ");
  EXPECT_TRUE(saved);
  EXPECT_EQ(signals, 1);
  EXPECT_EQ(Read(), "a=1\nb=");
}

TEST_F(IniFileFaultsTest, SaveReportsNoFullDevice) {
  CapturedOutput output;
  EXPECT_TRUE(CIniFile::Save("/dev/full", {{"", '#', "", "k", "v"}}));
  EXPECT_EQ(output.Take(), "<#> ");
  EXPECT_TRUE(CIniFile::Create("/dev/full"));
}

TEST_F(IniFileFaultsTest, LeavesNoDescriptorOpen) {
  const auto next_descriptor = [] {
    const int fd = dup(STDERR_FILENO);
    close(fd);
    return fd;
  };
  const int before = next_descriptor();
  Records records = Loaded("k=v");
  EXPECT_TRUE(CIniFile::Save(Path(), records));
  EXPECT_TRUE(CIniFile::Load(folder_.path(), records));
  EXPECT_THROW(CIniFile::Load(Write("[open"), records), std::out_of_range);
  EXPECT_EQ(next_descriptor(), before);
}

TEST_F(IniFileFaultsTest, OpensFilesWithCloseOnExec) {
  int flags = 0;
  const Hooked<ReadCall> reads(read_hook,
                               [&](int fd, void* data, std::size_t size) {
                                 flags = fcntl(fd, F_GETFD);
                                 return KernelRead(fd, data, size);
                               });
  const Records records = Loaded("k=v");
  EXPECT_EQ(flags, FD_CLOEXEC);
  flags = 0;
  const Hooked<WriteCall> writes(
      write_hook, [&](int fd, const void* data, std::size_t size) {
        flags = fcntl(fd, F_GETFD);
        return KernelWrite(fd, data, size);
      });
  EXPECT_TRUE(CIniFile::Save(Path(), records));
  EXPECT_EQ(flags, FD_CLOEXEC);
}

// Its contents stay, as with O_TRUNC.
TEST_F(IniFileFaultsTest, AFileThatCannotBeTruncatedIsNotWritten) {
  const int file = memfd_create("ini", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  ASSERT_NE(file, -1);
  const std::string path = "/proc/self/fd/" + std::to_string(file);
  EXPECT_TRUE(CIniFile::Save(path, {{"", ' ', "", "k", "v"}}));
  ASSERT_EQ(fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK), 0);
  EXPECT_FALSE(CIniFile::Save(path, {{"", ' ', "", "k", "w"}}));
  EXPECT_EQ(CIniFile::Content(path), "k=v\n");
  close(file);
}

constexpr int kStandardStreams = 3;

// Runs `act` in a child with unbuffered output, after closing the standard
// streams whose bits are set in `closed`. Returns the child's wait status.
int StatusWithout(unsigned closed, const std::function<void()>& act) {
  const pid_t child = fork();
  if (child == 0) {
    for (int i = 0; i < kStandardStreams; ++i)
      if ((closed >> i & 1U) != 0) close(i);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    act();
    for (int i = 0; i < kStandardStreams; ++i)
      if ((closed >> i & 1U) != 0 && fcntl(i, F_GETFD) != -1) _exit(1);
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

// The hooks do not see descriptors 0, 1 and 2.
TEST_F(IniFileFaultsTest, AFileIsNeverDescriptor0Or1Or2) {
  for (unsigned closed = 1; closed < 1U << kStandardStreams; ++closed) {
    SCOPED_TRACE(testing::Message() << "closed: " << closed);
    Write(";k=v\n");
    const int status = StatusWithout(closed, [this] {
      int calls = 0;
      const Hooked<ReadCall> reads(read_hook,
                                   [&](int fd, void* data, std::size_t size) {
                                     ++calls;
                                     return KernelRead(fd, data, size);
                                   });
      const Hooked<WriteCall> writes(
          write_hook, [&](int fd, const void* data, std::size_t size) {
            ++calls;
            return KernelWrite(fd, data, size);
          });
      if (!CIniFile::SetValue("k", "new", "", Path())) _exit(2);
      if (calls != 2) _exit(3);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Read(), ";k=new\n");
  }
}

TEST_F(IniFileFaultsTest, AFileThatCannotBeMovedAbove2IsNotChanged) {
  const std::string text = "a=1\n;b=2\n";
  Write(text);
  const int status = StatusWithout(1U << STDIN_FILENO, [this] {
    const rlimit none_above{kStandardStreams, kStandardStreams};
    if (setrlimit(RLIMIT_NOFILE, &none_above) != 0) _exit(2);
    if (CIniFile::Save(Path(), {{"", '#', "", "k", "v"}})) _exit(3);
    Records records(1);
    if (!CIniFile::Load(Path(), records) || records != Records(1)) _exit(4);
    if (CIniFile::GetValue("a", "", Path()) != "") _exit(5);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Read(), text);
}

}  // namespace
}  // namespace fairlead::internal
