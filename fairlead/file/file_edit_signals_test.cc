// Tests of edits that a signal ends, and of programs without standard streams.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <string_view>

#include "fairlead/file/edit_faults_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal {
namespace {

// In a child without standard streams, no call may be made with descriptor 0, 1
// or 2.
TEST(FileEditSignalsTest, NoFileIsDescriptor0Or1Or2) {
  for (const Way& way : kWays) {
    SCOPED_TRACE(way.name);
    const Files files(way);
    const pid_t child = fork();
    if (child == 0) {
      for (const int stream : {0, 1, 2}) close(stream);
      const Hooked hooked([&](std::string_view call, int fd) {
        if (call == "O_TMPFILE" && !way.has_unnamed) return EOPNOTSUPP;
        if (fd <= STDERR_FILENO) _exit(2);
        return 0;
      });
      if (!way.write(files.path()).Succeeded()) _exit(3);
      if (fairlead::ReadFileContent(files.path()).text != NewText(way))
        _exit(4);
      for (const int stream : {0, 1, 2})
        if (syscall(SYS_fcntl, stream, F_GETFD) != -1) _exit(5);
      _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(files.Count(), way.keeps_old ? 2U : 1U);
  }
}

// Edits in a child that sends itself a signal within call `number`. Returns
// whether that call was reached and the signal killed the child.
bool KillInCall(const Way& way, const Files& files, int signal, int number) {
  const pid_t child = fork();
  if (child == 0) {
    int calls = 0;
    const Hooked hooked([&](std::string_view call, int) {
      if (++calls == number) raise(signal);
      const bool fails = call == "O_TMPFILE" && !way.has_unnamed;
      return fails ? EOPNOTSUPP : 0;
    });
    _exit(way.write(files.path()).Succeeded() ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == signal;
  EXPECT_TRUE(killed || status == 0);
  return killed;
}

// Either text may be there, but the backup has the old one if the file has not.
void ExpectOneOfBothTexts(const Way& way, const Files& files) {
  const std::string text = files.Text();
  const std::string backup = files.Backup();
  const bool is_old = text == (way.exists ? kOld : "");
  EXPECT_TRUE(is_old || text == NewText(way)) << text;
  const bool is_older = backup == (way.has_older ? kOlder : "");
  EXPECT_TRUE(backup == kOld || (is_older && (is_old || !way.keeps_old)))
      << text << backup;
}

// A sanitizer, with which a fork takes long, sees one signal.
TEST(FileEditSignalsTest, ASignalLeavesNothingBehind) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    for (const Way& way : kWays) {
      if (kSanitized && signal != SIGTERM) continue;
      if (way.write == InPieces && !way.has_unnamed) continue;
      int number = 1;
      for (bool reached = true; reached; ++number) {
        SCOPED_TRACE(testing::Message() << way.name << ": " << number);
        const Files files(way);
        reached = KillInCall(way, files, signal, number);
        ExpectOneOfBothTexts(way, files);
        EXPECT_LE(files.Count(), way.keeps_old ? 2U : 1U);
        if (files.Count() != 0) {
          EXPECT_EQ(files.Links(), 1U);
        }
      }
      EXPECT_GT(number, 10);
    }
}

// Edits lock a file of their own while a reader has locked theirs.
TEST(FileEditSignalsTest, ASignalLeavesNoLockFile) {
  for (const Way& way : {kWays[0], kWays[1]}) {
    int number = 1;
    for (bool reached = true; reached; ++number) {
      SCOPED_TRACE(testing::Message() << way.name << ": " << number);
      const Files files(way);
      const Descriptor reader(open(files.path().c_str(), O_RDONLY | O_CLOEXEC));
      ASSERT_TRUE(LockAll(reader, F_RDLCK));
      reached = KillInCall(way, files, SIGTERM, number);
      ExpectOneOfBothTexts(way, files);
      EXPECT_EQ(files.Count(), 1U);
    }
    EXPECT_GT(number, 10);
  }
}

// What is left, hard links of the file too, does not hinder the next edit.
TEST(FileEditSignalsTest, TheNextEditDeletesWhatAKilledOneHasLeft) {
  int leftovers = 0;
  for (const Way& way : kWays) {
    int number = 1;
    for (bool reached = true; reached; ++number) {
      SCOPED_TRACE(testing::Message() << way.name << ": " << number);
      const Files files(way);
      reached = KillInCall(way, files, SIGKILL, number);
      if (way.write != Shortened) ExpectOneOfBothTexts(way, files);
      leftovers += files.Count() > 2 ? 1 : 0;
      const std::string text = files.Text();
      EXPECT_EQ(EditFile(files.path(), Appending("more\n"),
                         {.backup_suffix = way.keeps_old ? "~" : ""}),
                kWritten);
      EXPECT_EQ(files.Text(), text + "more\n");
      EXPECT_EQ(files.Count(), way.keeps_old ? 2U : 1U);
      if (way.keeps_old) {
        EXPECT_EQ(files.Backup(), text);
      }
      EXPECT_EQ(files.Links(), 1U);
    }
  }
  EXPECT_GT(leftovers, 10);
}

}  // namespace
}  // namespace fairlead::internal
