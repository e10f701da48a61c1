// Kills and interrupts edits at every system call.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/base/concat.h"
#include "tool/ini/strace_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::ini_kill_test {
namespace {

// The calls that open, change, lock or rename a file.
constexpr const char* kCalls[] = {
    "openat",    "write",     "pwrite64",  "read",       "/^rename", "fsync",
    "fchmod",    "linkat",    "fcntl",     "exit_group", "close",    "/^unlink",
    "ftruncate", "fallocate", "fsetxattr", "fchown",
};

using IniKillTest = StraceTest;

Words Cipher(const Folder& folder) {
  return {"crypt", "encrypt",   "-rc4", "k",
          "-file", folder.file, "-out", folder.file};
}

// An edit of the old file, and what it makes of it.
struct Edit {
  Words words;
  std::string result;
};

Words WordsOf(const Edit& edit, const Folder& folder) {
  return edit.words + Words{"-file", folder.link};
}

Edit Set() {
  return {{"ini", "set", "-section", "a", "-key", "y", "-value", "2"}, kNew};
}

// Edits that change several lines.
class LongEdits {
 public:
  std::vector<Edit> All() const {
    return {
        {{"ini", "apply", "-script", script_}, "[n]\nk=v\n"},
        {{"ini", "disable", "-section", "a"}, "#[a]\n#x=1\n"},
        {{"ini", "merge", "-from", other_}, "[a]\nx=2\nz=3\n[b]\nk=v\n"},
    };
  }

 private:
  const TempFolder folder_;
  const std::string script_ = folder_.File("edits", "add n k v\ndelete a\n");
  const std::string other_ =
      folder_.File("other.ini", "[a]\nx=2\nz=3\n[b]\nk=v\n");
};

// Kills the command at every call. `check` returns whether the folder then has
// the new file; over all calls it must find both. `go_on` makes a later edit,
// which the leftovers of the killed command must not break.
template <typename Prepare, typename Check, typename GoOn>
void KillAtEveryCall(const Edit& edit, const Prepare& prepare,
                     const Check& check, const GoOn& go_on) {
  int olds = 0;
  int news = 0;
  for (const char* const call : kCalls) {
    bool killed = true;
    for (int when = 1; killed && when < kMaxCalls; ++when) {
      SCOPED_TRACE(Concat(edit.words[1], " ", call, " ", when));
      const Folder folder;
      prepare(folder);
      const Words words = WordsOf(edit, folder);
      const Outcome outcome =
          RunWith(Concat(call, ":signal=KILL:when=", when), words);
      killed = outcome.signal == SIGKILL;
      ASSERT_TRUE(killed || outcome.status == 0) << outcome.error;
      const bool is_new = check(folder);
      ++(is_new ? news : olds);
      EXPECT_EQ(std::filesystem::read_symlink(folder.link), "box.ini");
      go_on(folder, is_new);
      if (testing::Test::HasFatalFailure()) return;
    }
    EXPECT_FALSE(killed) << call;
  }
  EXPECT_GT(olds, 10);
  EXPECT_GT(news, 3);
}

// Makes the same edit again.
template <typename Prepare, typename Check>
void KillAtEveryCall(const Edit& edit, const Prepare& prepare,
                     const Check& check) {
  KillAtEveryCall(edit, prepare, check, [&](const Folder& folder, bool is_new) {
    ASSERT_TRUE(is_new || Fairlead(WordsOf(edit, folder)).status == 0);
    ASSERT_TRUE(check(folder));
  });
}

void KillEditAtEveryCall(const Edit& edit) {
  KillAtEveryCall(
      edit, [](const Folder& folder) { folder.WriteOld(); },
      [&edit](const Folder& folder) {
        const std::string text = ReadFile(folder.file);
        EXPECT_THAT(text, testing::AnyOf(kOld, edit.result));
        struct stat status = {};
        EXPECT_EQ(lstat(folder.file.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, S_IFREG | kMode);
        return text == edit.result;
      });
}

TEST_F(IniKillTest, AKilledEditLeavesTheOldOrTheNewFile) {
  KillEditAtEveryCall(Set());
}

TEST_F(IniKillTest, AKilledEditOfManyLinesLeavesTheOldOrTheNewFile) {
  const LongEdits edits;
  for (const Edit& edit : edits.All()) KillEditAtEveryCall(edit);
}

constexpr char kOlder[] = "[older]\n";

// Expects the file, its link and a backup, each a file of its own.
void ExpectNoLeftovers(const Folder& folder) {
  for (const auto& entry :
       std::filesystem::directory_iterator(folder.folder.path())) {
    EXPECT_THAT(entry.path().filename().string(),
                testing::AnyOf("box.ini", "box.ini~", "link.ini"));
    EXPECT_EQ(entry.hard_link_count(), 1U) << entry.path();
  }
}

// A later edit replaces the file and makes no backup.
void KillEditWith(const Words& options, const char* older) {
  const Edit edit = {Set().words + options, kNew};
  const std::string backup = "box.ini~";
  const auto backup_of = [&](const Folder& folder) {
    return ReadFileIfAny(folder.folder.path() + "/" + backup);
  };
  KillAtEveryCall(
      edit,
      [&](const Folder& folder) {
        folder.WriteOld();
        if (older != nullptr) folder.folder.File(backup, older);
      },
      [&](const Folder& folder) {
        const std::string text = ReadFile(folder.file);
        EXPECT_THAT(text, testing::AnyOf(kOld, kNew));
        if (text == kNew && options.back() == "~") {
          EXPECT_EQ(backup_of(folder), kOld);
        }
        return text == kNew;
      },
      [&](const Folder& folder, bool is_new) {
        const auto old_backup = backup_of(folder);
        const Outcome later =
            Fairlead(Words{"ini", "set", "-section", "a", "-key", "y", "-value",
                           "3", "-file", folder.link});
        ASSERT_EQ(later.status, 0) << later.error;
        EXPECT_EQ(later.error, "");
        EXPECT_EQ(ReadFile(folder.file), "[a]\nx=1\ny=3\n");
        ExpectNoLeftovers(folder);
        EXPECT_EQ(backup_of(folder), old_backup);
        if (!is_new && old_backup) {
          EXPECT_THAT(*old_backup, testing::AnyOf(kOld, kOlder));
        }
      });
}

TEST_F(IniKillTest, AKilledEditWithABackupDoesNotBlockALaterOne) {
  KillEditWith({"-backup", "~"}, nullptr);
  KillEditWith({"-backup", "~"}, kOlder);
}

TEST_F(IniKillTest, AKilledEditInPlaceDoesNotBlockALaterOne) {
  KillEditWith({"-inplace"}, nullptr);
  KillEditWith({"-inplace", "-backup", "~"}, nullptr);
  KillEditWith({"-inplace", "-backup", "~"}, kOlder);
}

TEST_F(IniKillTest, ANewFileIsCompleteOrMissing) {
  KillAtEveryCall(
      Set(), [](const Folder&) {},
      [](const Folder& folder) {
        const auto text = ReadFileIfAny(folder.file);
        EXPECT_EQ(text.value_or("[a]\ny=2\n"), "[a]\ny=2\n");
        return text.has_value();
      });
}

// Interrupts the command at each such call. Returns how often.
int InterruptAtEvery(const Edit& edit, const std::string& call,
                     const std::string& signal, const Words& options) {
  for (int when = 1;; ++when) {
    SCOPED_TRACE(Concat(signal, " ", call, " ", when));
    const Folder folder;
    folder.WriteOld();
    const Outcome outcome =
        RunWith(Concat(call, ":signal=", signal, ":when=", when),
                WordsOf(edit, folder), options);
    EXPECT_THAT(ReadFile(folder.file), testing::AnyOf(kOld, edit.result));
    folder.ExpectNoOtherFiles();
    if (outcome.signal == 0) return when - 1;
  }
}

void InterruptAtEveryCall(const Edit& edit, const Words& signals) {
  const Folder counted;
  counted.WriteOld();
  const std::string named = NoUnnamedFiles(
      RunReaching("openat:error=EIO:when=1000", WordsOf(edit, counted)));
  for (const std::string& signal : signals) {
    int interrupted = 0;
    for (const char* const call : kCalls)
      interrupted += InterruptAtEvery(edit, call, signal, {});
    EXPECT_GT(interrupted, 20);
    for (const char* const call : {"pwrite64", "fsync", "fchmod", "/^rename"})
      EXPECT_GE(InterruptAtEvery(edit, call, signal, {"-e", "inject=" + named}),
                1);
  }
}

TEST_F(IniKillTest, AnInterruptedEditLeavesNothingBehind) {
  InterruptAtEveryCall(Set(), {"INT", "TERM", "HUP"});
}

TEST_F(IniKillTest, AnInterruptedEditOfManyLinesLeavesNothingBehind) {
  const LongEdits edits;
  for (const Edit& edit : edits.All()) InterruptAtEveryCall(edit, {"TERM"});
}

constexpr std::pair<const char*, int> kEndingSignals[] = {
    {"INT", SIGINT}, {"TERM", SIGTERM}, {"HUP", SIGHUP}};

// Without unnamed files, signals wait while there is a hidden file.
TEST_F(IniKillTest, AnInterruptedNewFileLeavesNothingBehind) {
  const Folder counted;
  const std::string named =
      NoUnnamedFiles(RunReaching("openat:error=EIO:when=1000", counted.Set()));
  for (const char* const call : {"pwrite64", "fsync", "/^rename"})
    for (const auto& [name, number] : kEndingSignals) {
      SCOPED_TRACE(Concat(call, " ", name));
      const Folder folder;
      const Outcome outcome = RunWith(Concat(call, ":signal=", name, ":when=1"),
                                      folder.Set(), {"-e", "inject=" + named});
      EXPECT_EQ(outcome.signal, number) << outcome.error;
      EXPECT_EQ(ReadFileIfAny(folder.file), "[a]\ny=2\n");
      folder.ExpectNoOtherFiles();
    }
}

// Encrypts the file itself. Returns whether the signal ended the command.
bool InterruptCipher(const std::string& fault, const std::string& coded,
                     bool& reached) {
  const Folder folder;
  folder.WriteOld();
  const Traced run = RunReaching(fault, Cipher(folder));
  reached = run.log.find("--- SIGINT") != std::string::npos;
  const bool ended = run.outcome.signal != 0;
  if (ended)
    EXPECT_EQ(run.outcome.signal, SIGINT);
  else
    EXPECT_EQ(run.outcome.status, 0) << run.outcome.error;
  EXPECT_EQ(ReadFile(folder.file), ended ? kOld : coded);
  folder.ExpectNoOtherFiles();
  return ended;
}

// It stops reading at once; once all is read, it finishes.
TEST_F(IniKillTest, AnInterruptedCipherLeavesNothingBehind) {
  const Folder whole;
  whole.WriteOld();
  EXPECT_EQ(Fairlead(Cipher(whole)).status, 0);
  const std::string coded = ReadFile(whole.file);
  ASSERT_NE(coded, kOld);
  for (const char* const call :
       {"pwrite64", "fsync", "linkat", "/^rename", "read"}) {
    bool reached = true;
    int ended = 0;
    int when = 1;
    for (; reached && when < kMaxCalls; ++when) {
      SCOPED_TRACE(Concat(call, " ", when));
      if (InterruptCipher(Concat(call, ":signal=INT:when=", when), coded,
                          reached))
        ++ended;
    }
    EXPECT_GT(when, 2) << call;
    EXPECT_EQ(ended > 0, call == std::string_view("read")) << call;
  }
}

}  // namespace
}  // namespace fairlead::tool::ini_kill_test
