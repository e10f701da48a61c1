// The command `ini` and others that edit, killed or interrupted at each of
// their system calls, or with each of these failing: the file is the old one or
// the new one, whole.

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
constexpr char kNew[] = "[a]\ny=2\nx=1\n";
constexpr unsigned kMode = 0640;
constexpr int kMostCalls = 200;

// A sanitizer's search for leaks cannot run under strace.
const Words kEnvironment = {"ASAN_OPTIONS=detect_leaks=0"};

// Every call that opens, changes, locks or names a file, and the ends of the
// others.
constexpr const char* kCalls[] = {
    "openat", "write",  "pwrite64",     "read",  "/^rename",   "fsync",
    "fchmod", "linkat", "memfd_create", "fcntl", "exit_group", "close",
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

  // Whether the call that was meant came.
  bool IsReached() const { return log.find("INJECTED") != std::string::npos; }
};

// Runs the command under strace, which does what `fault` says.
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

  // The file's name, the link's and no other.
  void ExpectNothingMore() const {
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

// Whether the loader failed before the command began.
bool IsLoaders(const Outcome& outcome) {
  return outcome.error.find("shared libraries") != std::string::npos;
}

// What failed is only what comes when all is written.
bool IsOutputs(const Outcome& outcome) {
  return outcome.error.find("standard output") != std::string::npos;
}

// Runs the command once as it is, then with each call of those kinds failing
// once: it is to do and say the same, or to say that it cannot and to leave the
// file.
template <typename MakeWords>
void ExpectRightOrRefused(const MakeWords& make_words) {
  const Folder whole;
  whole.WriteOld();
  const Outcome right = Fairlead(make_words(whole.file));
  EXPECT_EQ(right.status, 0) << right.error;
  for (const char* const fault :
       {"openat:error=EMFILE", "read:error=EIO", "write:error=ENOSPC"}) {
    bool reached = true;
    for (int when = 1; reached && when < kMostCalls; ++when) {
      const Folder folder;
      folder.WriteOld();
      const Words words = make_words(folder.file);
      SCOPED_TRACE(Concat(fault, " ", when, " ", words[1]));
      const Traced run = RunReaching(Concat(fault, ":when=", when), words);
      reached = run.IsReached();
      if (IsLoaders(run.outcome)) continue;
      folder.ExpectNothingMore();
      const bool done = run.outcome.status == 0;
      EXPECT_TRUE(!done || run.outcome.output == right.output)
          << run.outcome.output;
      EXPECT_THAT(run.outcome.status, testing::AnyOf(0, 23, 26));
      EXPECT_EQ(run.outcome.error.empty(), done) << run.outcome.error;
      EXPECT_EQ(ReadFile(folder.file),
                done || IsOutputs(run.outcome) ? ReadFile(whole.file) : kOld);
    }
    EXPECT_FALSE(reached);
  }
}

// `check` looks at the folder after each kill and says whether the new file is
// there. It is to see both, over all the calls.
template <typename Prepare, typename Check>
void KillAtEveryCall(const Prepare& prepare, const Check& check) {
  int olds = 0;
  int news = 0;
  for (const char* const call : kCalls) {
    bool killed = true;
    for (int when = 1; killed && when < kMostCalls; ++when) {
      SCOPED_TRACE(Concat(call, " ", when));
      const Folder folder;
      prepare(folder);
      const Outcome outcome =
          RunWith(Concat(call, ":signal=KILL:when=", when), folder.Set());
      killed = outcome.signal == SIGKILL;
      ASSERT_TRUE(killed || outcome.status == 0) << outcome.error;
      ++(check(folder) ? news : olds);
      EXPECT_EQ(std::filesystem::read_symlink(folder.link), "box.ini");

      // What the killed one left harms no later one.
      ASSERT_EQ(Fairlead(folder.Set()).status, 0);
      ASSERT_TRUE(check(folder));
    }
    EXPECT_FALSE(killed) << call;
  }
  EXPECT_GT(olds, 10);
  EXPECT_GT(news, 3);
}

TEST_F(IniKillTest, TheFileIsTheOldOneOrTheNewOne) {
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

TEST_F(IniKillTest, ANewFileIsWholeOrNotThere) {
  KillAtEveryCall([](const Folder&) {},
                  [](const Folder& folder) {
                    const auto text = ReadFileIfAny(folder.file);
                    EXPECT_EQ(text.value_or("[a]\ny=2\n"), "[a]\ny=2\n");
                    return text.has_value();
                  });
}

// The fault of a file system without files that have no name: the calls that
// open one are counted.
std::string NoNamelessFiles() {
  const Folder folder;
  folder.WriteOld();
  const std::string log =
      RunReaching("openat:error=EIO:when=1000", folder.Set()).log;
  const std::size_t end = log.find("O_TMPFILE");
  EXPECT_NE(end, std::string::npos) << log;
  std::size_t count = 0;
  for (std::size_t at = 0; (at = log.find("openat(", at)) < end; ++at) ++count;
  return Concat("openat:error=EOPNOTSUPP:when=", count);
}

TEST_F(IniKillTest, AFileSystemWithoutNamelessFilesWillDo) {
  const Folder folder;
  folder.WriteOld();
  const Traced run = RunReaching(NoNamelessFiles(), folder.Set());
  EXPECT_THAT(run.log, testing::ContainsRegex("O_TMPFILE.*INJECTED"));
  EXPECT_EQ(run.outcome.error, "");
  EXPECT_EQ(ReadFile(folder.file), kNew);
  folder.ExpectNothingMore();
}

// Interrupts it at each call of the kind; returns how often.
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
    folder.ExpectNothingMore();
    if (outcome.signal == 0) return when - 1;
  }
}

TEST_F(IniKillTest, WhoInterruptsItFindsNothingLeftOver) {
  const std::string named = NoNamelessFiles();
  for (const char* const signal : {"INT", "TERM", "HUP"}) {
    int interrupted = 0;
    for (const char* const call : kCalls)
      interrupted += InterruptAtEvery(call, signal, {});
    EXPECT_GT(interrupted, 20);
    for (const char* const call : {"pwrite64", "fsync", "fchmod", "/^rename"})
      EXPECT_GE(InterruptAtEvery(call, signal, {"-e", "inject=" + named}), 1);
  }
}

// The file, or nothing; crypt does its work with a stream.
TEST_F(IniKillTest, AnInterruptedCipherLeavesNothingOver) {
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
      folder.ExpectNothingMore();
    }
}

// A call that fails instead, as on a full or broken disk, leaves the old file.
TEST_F(IniKillTest, ADiskThatFailsLeavesTheOldFile) {
  for (const char* const fault :
       {"pwrite64:error=ENOSPC", "fsync:error=EIO", "/^rename:error=EACCES",
        "fchmod:error=EPERM", "memfd_create:error=ENOMEM", "linkat:error=EIO",
        "flistxattr:error=EIO"}) {
    SCOPED_TRACE(fault);
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome = RunWith(Concat(fault, ":when=1"), folder.Set());
    EXPECT_THAT(outcome.status, testing::AnyOf(23, 26)) << outcome.error;
    EXPECT_THAT(outcome.error, testing::HasSubstr("fairlead ini: cannot"));
    EXPECT_EQ(ReadFile(folder.file), kOld);
    folder.ExpectNothingMore();
  }
}

TEST_F(IniKillTest, ALinkThatCannotBeReadStays) {
  if (kSanitized) GTEST_SKIP() << "sanitizers read links too";
  const Folder folder;
  folder.WriteOld();
  EXPECT_EQ(RunWith("readlink:error=EIO:when=1", folder.Set()).status, 26);
  EXPECT_TRUE(std::filesystem::is_symlink(folder.link));
  EXPECT_EQ(ReadFile(folder.file), kOld);
}

TEST_F(IniKillTest, AFileWithAHiddenNameGoesWhereItFails) {
  const std::string named = NoNamelessFiles();
  for (const char* const fault :
       {"pwrite64:error=ENOSPC", "fsync:error=EIO", "/^rename:error=EACCES"}) {
    SCOPED_TRACE(fault);
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome = RunWith(Concat(fault, ":when=1"), folder.Set(),
                                    {"-e", "inject=" + named});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_EQ(ReadFile(folder.file), kOld);
    folder.ExpectNothingMore();
  }
}

// The new file is in its place then, and that is said.
TEST_F(IniKillTest, AFolderThatIsNotSyncedIsTold) {
  const Folder folder;
  folder.WriteOld();
  const Outcome outcome = RunWith("fsync:error=EIO:when=2", folder.Set());
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error,
              testing::HasSubstr("is written, but a power failure"));
  EXPECT_EQ(ReadFile(folder.file), kNew);
}

// Longer and shorter than the old text.
TEST_F(IniKillTest, AFailureInPlacePutsTheOldTextBack) {
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

TEST_F(IniKillTest, ASecondFailureInPlaceIsToldToo) {
  const Folder folder;
  folder.WriteOld();
  const Outcome outcome =
      RunWith("pwrite64:error=EIO:when=1+", folder.Set() + Words{"-inplace"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, testing::HasSubstr("nor can the old text be put"));
}

// What reads and what writes, with each opening, reading and writing failing,
// those of the copy in memory among them.
TEST_F(IniKillTest, ACallThatFailsGivesNoWrongAnswer) {
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
  for (const char* const word : {"-saveprofile", "-demo"})
    ExpectRightOrRefused([word](const std::string& file) {
      return Words{"send", "-demo", "-quiet", "-text",    "hi", "-settings",
                   file,   "-idle", "7",      "-profile", "a",  word};
    });
}

}  // namespace
}  // namespace fairlead::tool
