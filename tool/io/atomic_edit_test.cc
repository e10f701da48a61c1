#include "tool/io/atomic_edit.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tool/base/failure.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr uid_t kNobody = 65534;
constexpr Writing kBothWays[] = {Writing::kReplace, Writing::kInPlace};

// Acts as another user, where the test may.
class OtherUser {
 public:
  OtherUser() {
    if (is_root_) {
      EXPECT_EQ(setegid(kNobody), 0);
      EXPECT_EQ(seteuid(kNobody), 0);
    }
  }
  OtherUser(const OtherUser&) = delete;
  OtherUser& operator=(const OtherUser&) = delete;
  ~OtherUser() {
    if (is_root_) {
      EXPECT_EQ(seteuid(0), 0);
      EXPECT_EQ(setegid(0), 0);
    }
  }

 private:
  const bool is_root_ = geteuid() == 0;
};

Change To(const std::string& text) {
  return [text](const std::optional<std::string>&) { return text; };
}

Change Appending(const std::string& text) {
  return [text](const std::optional<std::string>& old) {
    return old.value_or("") + text;
  };
}

struct stat StatusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

// What the edit failed with, or "".
std::string Fault(const std::string& path, Writing writing,
                  ExitStatus status = kCannotWrite) {
  try {
    EditFile(path, writing, To("new\n"));
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), status);
    return failure.what();
  }
  return "";
}

std::size_t FilesIn(const TempFolder& folder) {
  return static_cast<std::size_t>(std::distance(
      fs::directory_iterator(folder.path()), fs::directory_iterator()));
}

TEST(AtomicEditTest, GivesTheOldTextAndTakesTheNew) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "a long old text\n");
    std::optional<std::string> seen;
    EditFile(path, writing, [&seen](const std::optional<std::string>& old) {
      seen = old;
      return "short\n";
    });
    EXPECT_EQ(seen, "a long old text\n");
    EXPECT_EQ(ReadFile(path), "short\n");
    EditFile(path, writing, Appending(std::string(100000, 'x')));
    EXPECT_EQ(ReadFile(path), "short\n" + std::string(100000, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(AtomicEditTest, MakesAFileThatIsNotThere) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.path() + "/f";
    const mode_t mask = umask(0027);
    EditFile(path, writing, [](const std::optional<std::string>& old) {
      EXPECT_FALSE(old);
      return "text\n";
    });
    umask(mask);
    EXPECT_EQ(ReadFile(path), "text\n");
    EXPECT_EQ(StatusOf(path).st_mode & 07777U, 0640U);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(AtomicEditTest, AFileThatAppearsMeanwhileIsEditedToo) {
  const TempFolder folder;
  const std::string path = folder.path() + "/f";
  int calls = 0;
  EditFile(path, Writing::kReplace, [&](const std::optional<std::string>& old) {
    if (++calls == 1) folder.File("f", "theirs\n");
    return old.value_or("") + "ours\n";
  });
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(ReadFile(path), "theirs\nours\n");
}

TEST(AtomicEditTest, KeepsTheMode) {
  for (const Writing writing : kBothWays)
    for (const mode_t mode : {0600U, 0644U, 0751U, 06775U, 0666U}) {
      const TempFolder folder;
      const std::string path = folder.File("f", "old\n");
      ASSERT_EQ(chmod(path.c_str(), mode), 0);
      EditFile(path, writing, To("new\n"));
      // The system takes set-user-ID bits off a file that is written.
      const mode_t kept = writing == Writing::kReplace ? 07777U : 0777U;
      EXPECT_EQ(StatusOf(path).st_mode & kept, mode & kept);
    }
}

TEST(AtomicEditTest, KeepsTheOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.File("f", "old\n");
    ASSERT_EQ(chown(path.c_str(), kNobody, 12345), 0);
    ASSERT_EQ(chmod(path.c_str(), 04640), 0);
    EditFile(path, writing, To("new\n"));
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(StatusOf(path).st_uid, kNobody);
    EXPECT_EQ(StatusOf(path).st_gid, 12345U);
  }
}

TEST(AtomicEditTest, AnOwnerThatCannotBeKeptIsAnError) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  const OtherUser nobody;
  EXPECT_THAT(Fault(path, Writing::kReplace),
              HasSubstr("owner of the old one (-inplace"));
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
  EXPECT_EQ(Fault(path, Writing::kInPlace), "");
  EXPECT_EQ(ReadFile(path), "new\n");
}

TEST(AtomicEditTest, FollowsSymbolicLinks) {
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    fs::create_directory(folder.path() + "/deep");
    const std::string path = folder.File("deep/f", "old\n");
    const std::string link = folder.path() + "/link";
    fs::create_symlink("deep/second", link);
    fs::create_symlink("f", folder.path() + "/deep/second");
    EditFile(link, writing, To("new\n"));
    EXPECT_EQ(fs::read_symlink(link), "deep/second");
    EXPECT_EQ(fs::read_symlink(folder.path() + "/deep/second"), "f");
    EXPECT_FALSE(fs::is_symlink(path));
    EXPECT_EQ(ReadFile(path), "new\n");
  }
}

TEST(AtomicEditTest, ALinkToNothingGetsItsTarget) {
  const TempFolder folder;
  const std::string link = folder.path() + "/link";
  fs::create_symlink("f", link);
  EditFile(link, Writing::kReplace, To("new\n"));
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(ReadFile(folder.path() + "/f"), "new\n");
}

TEST(AtomicEditTest, LinksInACircleAreAnError) {
  const TempFolder folder;
  const std::string link = folder.path() + "/link";
  fs::create_symlink("link", link);
  EXPECT_THAT(Fault(link, Writing::kReplace, kCannotRead),
              HasSubstr("symbolic links"));
}

TEST(AtomicEditTest, ASecondNameIsNotLost) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  fs::create_hard_link(path, folder.path() + "/second");
  EXPECT_THAT(Fault(path, Writing::kReplace), HasSubstr("several names"));
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(Fault(path, Writing::kInPlace), "");
  EXPECT_EQ(ReadFile(folder.path() + "/second"), "new\n");
}

TEST(AtomicEditTest, InPlaceKeepsTheFileItself) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const ino_t before = StatusOf(path).st_ino;
  EditFile(path, Writing::kInPlace, To("new and longer\n"));
  EXPECT_EQ(StatusOf(path).st_ino, before);
  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_NE(StatusOf(path).st_ino, before);
}

TEST(AtomicEditTest, AnEqualTextIsNotWritten) {
  const TempFolder folder;
  const std::string path = folder.File("f", "same\n");
  const ino_t before = StatusOf(path).st_ino;
  EditFile(path, Writing::kReplace, To("same\n"));
  EXPECT_EQ(StatusOf(path).st_ino, before);
}

TEST(AtomicEditTest, WhatTheChangeThrowsLeavesTheFile) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const auto refuse = [](const std::optional<std::string>&) -> std::string {
    throw 7;
  };
  for (const Writing writing : kBothWays) {
    EXPECT_THROW(EditFile(path, writing, refuse), int);
    EXPECT_THROW(EditFile(folder.path() + "/none", writing, refuse), int);
  }
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(AtomicEditTest, AFolderThatCannotBeWrittenLeavesInPlace) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
  {
    const OtherUser nobody;
    EXPECT_THAT(Fault(path, Writing::kReplace), HasSubstr("(-inplace"));
    EXPECT_EQ(ReadFile(path), "old\n");
    EXPECT_THAT(Fault(folder.path() + "/none", Writing::kReplace),
                testing::EndsWith("/none': Permission denied"));
    EXPECT_EQ(Fault(path, Writing::kInPlace), "");
    EXPECT_EQ(ReadFile(path), "new\n");
  }
  ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
}

TEST(AtomicEditTest, AProtectedFileIsNotReplaced) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  for (const Writing writing : kBothWays) {
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    const OtherUser nobody;
    EXPECT_THAT(Fault(path, writing), HasSubstr("Permission denied"));
  }
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  const OtherUser nobody;
  EXPECT_THAT(Fault(path, Writing::kReplace, kCannotRead),
              HasSubstr("Permission denied"));
}

TEST(AtomicEditTest, WhatIsNoFileIsAnError) {
  const TempFolder folder;
  EXPECT_THAT(Fault(folder.path(), Writing::kReplace),
              HasSubstr("Is a directory"));
  const std::string pipe = folder.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  EXPECT_THAT(Fault(pipe, Writing::kReplace), HasSubstr("no regular file"));
  EXPECT_THAT(Fault(folder.path() + "/none/f", Writing::kReplace),
              testing::EndsWith("No such file or directory"));
}

TEST(AtomicEditTest, WhatAKilledEditLeftDoesNotMatter) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string start = ".fairlead." + std::to_string(getpid()) + ".";
  for (int i = 0; i < 3; ++i) folder.File(start + std::to_string(i), "half");
  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_EQ(ReadFile(path), "new\n");
  EXPECT_EQ(FilesIn(folder), 4U);
}

// The edit waits for the lock; then the path is another file's.
TEST(AtomicEditTest, AFileReplacedWhileWaitingIsEditedAfresh) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string next = folder.File("next", "replaced\n");
  const int lock = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  std::thread edit(
      [&path] { EditFile(path, Writing::kReplace, Appending("edited\n")); });
  ASSERT_EQ(rename(next.c_str(), path.c_str()), 0);
  close(lock);
  edit.join();
  EXPECT_EQ(ReadFile(path), "replaced\nedited\n");
}

TEST(AtomicEditTest, OfEditsAtOnceNoneIsLost) {
  constexpr int kThreads = 4;
  constexpr int kEdits = 40;
  for (const Writing writing : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.path() + "/f";
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
      threads.emplace_back([&] {
        for (int j = 0; j < kEdits; ++j)
          EditFile(path, writing, Appending("x"));
      });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(ReadFile(path), std::string(kThreads * kEdits, 'x'));
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

}  // namespace
}  // namespace fairlead::tool
