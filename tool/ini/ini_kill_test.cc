// Kills, interrupts and fails every system call of edits.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tool/base/concat.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

constexpr char kOld[] = "[a]\nx=1\n";
constexpr char kNew[] = "[a]\nx=1\ny=2\n";
constexpr unsigned kMode = 0640;
constexpr int kMaxCalls = 200;

// Leak detection does not work under strace.
const Words kEnvironment = {"ASAN_OPTIONS=detect_leaks=0"};

// The calls that open, change, lock or rename a file.
constexpr const char* kCalls[] = {
    "openat", "write",  "pwrite64", "read",       "/^rename", "fsync",
    "fchmod", "linkat", "fcntl",    "exit_group", "close",
};

bool StraceWorks() {
  return RunProgram({.arguments = {"-qq", "-e", "inject=exit_group:signal=KILL",
                                   "/bin/true"},
                     .program = "strace"})
             .signal == SIGKILL;
}

struct Traced {
  Outcome outcome;
  std::string log;

  // Returns whether the fault was injected.
  bool IsReached() const { return log.find("INJECTED") != std::string::npos; }
};

// Runs the command under strace, which injects the fault.
Traced RunReaching(const std::string& fault, const Words& arguments,
                   const Words& options = {}) {
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  Traced run;
  run.outcome =
      RunProgram({.arguments = Words{"-f", "-qq", "-o", log, "-e",
                                     Concat("inject=", fault)} +
                               options + Words{FAIRLEAD_PROGRAM} + arguments,
                  .environment = kEnvironment,
                  .program = "strace"});
  run.log = ReadFile(log);
  return run;
}

Outcome RunWith(const std::string& fault, const Words& arguments,
                const Words& options = {}) {
  return RunReaching(fault, arguments, options).outcome;
}

struct Folder {
  TempFolder folder;
  std::string file = folder.path() + "/box.ini";
  std::string link = folder.path() + "/link.ini";

  Folder() { std::filesystem::create_symlink("box.ini", link); }

  void WriteOld() const {
    folder.File("box.ini", kOld);
    EXPECT_EQ(chmod(file.c_str(), kMode), 0);
  }

  Words Set() const {
    return {"ini", "set",  "-file", link,     "-section",
            "a",   "-key", "y",     "-value", "2"};
  }

  // Expects the file and the link only.
  void ExpectNoOtherFiles() const {
    const auto files = std::filesystem::directory_iterator(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
  }
};

class IniKillTest : public testing::Test {
 protected:
  void SetUp() override {
    try {
      if (!StraceWorks()) GTEST_SKIP() << "strace may not trace here";
    } catch (const std::exception&) {
      GTEST_SKIP() << "strace is not installed";
    }
  }
};

// Returns whether the loader failed, before the command began.
bool LoaderFailed(const Outcome& outcome) {
  return outcome.error.find("shared libraries") != std::string::npos;
}

// Returns whether standard output failed, after the file was written.
bool OutputFailed(const Outcome& outcome) {
  return outcome.error.find("standard output") != std::string::npos;
}

// Runs the command once, then with each open, read and write failing once. It
// must then do and print the same, or report an error and leave the file
// unchanged.
template <typename MakeWords>
void ExpectRightOrRefused(const MakeWords& make_words) {
  const Folder whole;
  whole.WriteOld();
  const Outcome right = Fairlead(make_words(whole.file));
  EXPECT_EQ(right.status, 0) << right.error;
  for (const char* const fault :
       {"openat:error=EMFILE", "read:error=EIO", "write:error=ENOSPC"}) {
    bool reached = true;
    for (int when = 1; reached && when < kMaxCalls; ++when) {
      const Folder folder;
      folder.WriteOld();
      const Words words = make_words(folder.file);
      SCOPED_TRACE(Concat(fault, " ", when, " ", words[1]));
      const Traced run = RunReaching(Concat(fault, ":when=", when), words);
      reached = run.IsReached();
      if (LoaderFailed(run.outcome)) continue;
      folder.ExpectNoOtherFiles();
      const bool done = run.outcome.status == 0;
      EXPECT_TRUE(!done || run.outcome.output == right.output)
          << run.outcome.output;
      EXPECT_THAT(run.outcome.status, testing::AnyOf(0, 23, 26));
      EXPECT_EQ(run.outcome.error.empty(), done) << run.outcome.error;
      EXPECT_EQ(ReadFile(folder.file), done || OutputFailed(run.outcome)
                                           ? ReadFile(whole.file)
                                           : kOld);
    }
    EXPECT_FALSE(reached);
  }
}

// Kills the command at every call. `check` returns whether the folder then has
// the new file; over all calls it must find both.
template <typename Prepare, typename Check>
void KillAtEveryCall(const Prepare& prepare, const Check& check) {
  int olds = 0;
  int news = 0;
  for (const char* const call : kCalls) {
    bool killed = true;
    for (int when = 1; killed && when < kMaxCalls; ++when) {
      SCOPED_TRACE(Concat(call, " ", when));
      const Folder folder;
      prepare(folder);
      const Outcome outcome =
          RunWith(Concat(call, ":signal=KILL:when=", when), folder.Set());
      killed = outcome.signal == SIGKILL;
      ASSERT_TRUE(killed || outcome.status == 0) << outcome.error;
      ++(check(folder) ? news : olds);
      EXPECT_EQ(std::filesystem::read_symlink(folder.link), "box.ini");

      // Leftovers of the killed command must not break later ones.
      ASSERT_EQ(Fairlead(folder.Set()).status, 0);
      ASSERT_TRUE(check(folder));
    }
    EXPECT_FALSE(killed) << call;
  }
  EXPECT_GT(olds, 10);
  EXPECT_GT(news, 3);
}

TEST_F(IniKillTest, AKilledEditLeavesTheOldOrTheNewFile) {
  KillAtEveryCall([](const Folder& folder) { folder.WriteOld(); },
                  [](const Folder& folder) {
                    const std::string text = ReadFile(folder.file);
                    EXPECT_TRUE(text == kOld || text == kNew) << text;
                    struct stat status = {};
                    EXPECT_EQ(lstat(folder.file.c_str(), &status), 0);
                    EXPECT_EQ(status.st_mode, S_IFREG | kMode);
                    return text == kNew;
                  });
}

TEST_F(IniKillTest, ANewFileIsCompleteOrMissing) {
  KillAtEveryCall([](const Folder&) {},
                  [](const Folder& folder) {
                    const auto text = ReadFileIfAny(folder.file);
                    EXPECT_EQ(text.value_or("[a]\ny=2\n"), "[a]\ny=2\n");
                    return text.has_value();
                  });
}

// Returns the fault of a file system without unnamed files: the open with
// O_TMPFILE, found by counting, fails.
std::string NoUnnamedFiles(const Traced& run) {
  const std::string& log = run.log;
  const std::size_t end = log.find("O_TMPFILE");
  EXPECT_NE(end, std::string::npos) << log;
  std::size_t count = 0;
  for (std::size_t at = 0; (at = log.find("openat(", at)) < end; ++at) ++count;
  return Concat("openat:error=EOPNOTSUPP:when=", count);
}

std::string NoUnnamedFiles() {
  const Folder folder;
  folder.WriteOld();
  return NoUnnamedFiles(
      RunReaching("openat:error=EIO:when=1000", folder.Set()));
}

TEST_F(IniKillTest, WorksOnAFileSystemWithoutUnnamedFiles) {
  const Folder folder;
  folder.WriteOld();
  const Traced run = RunReaching(NoUnnamedFiles(), folder.Set());
  EXPECT_THAT(run.log, testing::ContainsRegex("O_TMPFILE.*INJECTED"));
  EXPECT_EQ(run.outcome.error, "");
  EXPECT_EQ(ReadFile(folder.file), kNew);
  folder.ExpectNoOtherFiles();
}

// Interrupts the command at each such call. Returns how often.
int InterruptAtEvery(const std::string& call, const std::string& signal,
                     const Words& options) {
  for (int when = 1;; ++when) {
    SCOPED_TRACE(Concat(signal, " ", call, " ", when));
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome =
        RunWith(Concat(call, ":signal=", signal, ":when=", when), folder.Set(),
                options);
    EXPECT_THAT(ReadFile(folder.file), testing::AnyOf(kOld, kNew));
    folder.ExpectNoOtherFiles();
    if (outcome.signal == 0) return when - 1;
  }
}

TEST_F(IniKillTest, AnInterruptedEditLeavesNothingBehind) {
  const std::string named = NoUnnamedFiles();
  for (const char* const signal : {"INT", "TERM", "HUP"}) {
    int interrupted = 0;
    for (const char* const call : kCalls)
      interrupted += InterruptAtEvery(call, signal, {});
    EXPECT_GT(interrupted, 20);
    for (const char* const call : {"pwrite64", "fsync", "fchmod", "/^rename"})
      EXPECT_GE(InterruptAtEvery(call, signal, {"-e", "inject=" + named}), 1);
  }
}

TEST_F(IniKillTest, AnInterruptedNewFileLeavesNothingBehind) {
  const Folder counted;
  const std::string named =
      NoUnnamedFiles(RunReaching("openat:error=EIO:when=1000", counted.Set()));
  for (const char* const call : {"pwrite64", "fsync", "/^rename"})
    for (const char* const signal : {"INT", "TERM", "HUP"}) {
      SCOPED_TRACE(Concat(call, " ", signal));
      const Folder folder;
      RunWith(Concat(call, ":signal=", signal, ":when=1"), folder.Set(),
              {"-e", "inject=" + named});
      const auto files =
          std::filesystem::directory_iterator(folder.folder.path());
      for (const auto& file : files)
        EXPECT_THAT(file.path().filename().string(),
                    testing::AnyOf("box.ini", "link.ini"));
    }
}

TEST_F(IniKillTest, AnInterruptedCipherLeavesNothingBehind) {
  for (const char* const call :
       {"pwrite64", "fsync", "linkat", "/^rename", "read"})
    for (int when = 1; when < 8; ++when) {
      SCOPED_TRACE(Concat(call, " ", when));
      const Folder folder;
      folder.WriteOld();
      RunWith(Concat(call, ":signal=INT:when=", when),
              {"crypt", "encrypt", "-rc4", "k", "-file", folder.file, "-out",
               folder.file});
      const std::string text = ReadFile(folder.file);
      EXPECT_EQ(text.size(), sizeof kOld - 1);
      folder.ExpectNoOtherFiles();
    }
}

// As on a full or broken disk.
TEST_F(IniKillTest, AFailedCallLeavesTheOldFile) {
  for (const char* const fault :
       {"pwrite64:error=ENOSPC", "fsync:error=EIO", "/^rename:error=EACCES",
        "fchmod:error=EPERM", "linkat:error=EIO", "flistxattr:error=EIO"}) {
    SCOPED_TRACE(fault);
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome = RunWith(Concat(fault, ":when=1"), folder.Set());
    EXPECT_THAT(outcome.status, testing::AnyOf(23, 26)) << outcome.error;
    EXPECT_THAT(outcome.error, testing::HasSubstr("fairlead ini: cannot"));
    EXPECT_EQ(ReadFile(folder.file), kOld);
    folder.ExpectNoOtherFiles();
  }
}

TEST_F(IniKillTest, AnUnreadableLinkIsKept) {
  if (kSanitized) GTEST_SKIP() << "sanitizers read links too";
  const Folder folder;
  folder.WriteOld();
  EXPECT_EQ(RunWith("readlinkat:error=EIO:when=1", folder.Set()).status, 26);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.link));
  EXPECT_EQ(ReadFile(folder.file), kOld);
}

TEST_F(IniKillTest, AHiddenFileIsDeletedOnFailure) {
  const std::string named = NoUnnamedFiles();
  for (const char* const fault :
       {"pwrite64:error=ENOSPC", "fsync:error=EIO", "/^rename:error=EACCES"}) {
    SCOPED_TRACE(fault);
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome = RunWith(Concat(fault, ":when=1"), folder.Set(),
                                    {"-e", "inject=" + named});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_EQ(ReadFile(folder.file), kOld);
    folder.ExpectNoOtherFiles();
  }
}

// The new file is already there, and the message says so.
TEST_F(IniKillTest, ReportsAFolderThatCannotBeSynced) {
  const Folder folder;
  folder.WriteOld();
  const Outcome outcome = RunWith("fsync:error=EIO:when=2", folder.Set());
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error,
              testing::HasSubstr("was written, but a power failure"));
  EXPECT_EQ(ReadFile(folder.file), kNew);
}

// Longer and shorter than the old text.
TEST_F(IniKillTest, AFailureInPlaceRestoresTheOldText) {
  for (const char* const fault :
       {"pwrite64:error=EIO", "ftruncate:error=EIO", "fsync:error=EIO",
        "fallocate:error=ENOSPC", "pwrite64:error=ENOSPC"})
    for (const bool shorter : {false, true}) {
      SCOPED_TRACE(Concat(fault, " ", shorter));
      const bool reached = !shorter || std::string_view(fault).find("fall") ==
                                           std::string_view::npos;
      const bool cut = shorter || std::string_view(fault).find("ftrun") ==
                                      std::string_view::npos;
      if (!reached || !cut) continue;
      const Folder folder;
      folder.WriteOld();
      const Words edit = shorter
                             ? Words{"ini",      "delete", "-file", folder.link,
                                     "-section", "a",      "-key",  "x"}
                             : folder.Set();
      const Outcome outcome =
          RunWith(Concat(fault, ":when=1"), edit + Words{"-inplace"});
      EXPECT_EQ(outcome.status, 23);
      EXPECT_THAT(outcome.error, testing::HasSubstr("cannot write"));
      EXPECT_EQ(ReadFile(folder.file), kOld);
    }
}

TEST_F(IniKillTest, ReportsAFailureToRestoreTheOldText) {
  const Folder folder;
  folder.WriteOld();
  const Outcome outcome =
      RunWith("pwrite64:error=EIO:when=1+", folder.Set() + Words{"-inplace"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error,
              testing::HasSubstr("restoring the old text failed too"));
}

// Includes the calls on the copy in memory.
TEST_F(IniKillTest, AFailedCallGivesNoWrongResult) {
  if (kSanitized) GTEST_SKIP() << "sanitizers open, read and write too";
  const Words in_a = {"-section", "a", "-key", "x"};
  for (const Words& words : {
           Words{"set", "-value", "2"} + in_a,
           Words{"set", "-value", "2", "-inplace"} + in_a,
           Words{"delete"} + in_a,
           Words{"rename", "-to", "z"} + in_a,
           Words{"get", "-default", "NONE"} + in_a,
           Words{"has"} + in_a,
           Words{"list"},
       })
    ExpectRightOrRefused([&words](const std::string& file) {
      return Words{"ini", words[0], "-file", file} +
             Words(words.begin() + 1, words.end());
    });
  for (const char* const option : {"-saveprofile", "-demo"})
    ExpectRightOrRefused([option](const std::string& file) {
      return Words{"send", "-demo", "-quiet", "-text",    "hi", "-settings",
                   file,   "-idle", "7",      "-profile", "a",  option};
    });
}

}  // namespace
}  // namespace fairlead::tool
