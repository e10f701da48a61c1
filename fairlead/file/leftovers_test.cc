// Tests of the deletion of stale hidden files.

#include "fairlead/file/leftovers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/edit_lock.h"
#include "fairlead/file/edit_testing.h"

namespace fairlead::internal::leftovers_test {
namespace {

namespace fs = std::filesystem;

// Returns the ID of a process that has ended.
pid_t DeadProcess() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  return child;
}

std::string Hidden(pid_t process, const std::string& number) {
  return ".fairlead." + std::to_string(process) + "." + number;
}

TEST(LeftoversTest, DeletesTheFilesOfKilledEdits) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const std::string dead = Hidden(DeadProcess(), "");
  // The ID was used again, or is that of a process in another container.
  const std::string alive = Hidden(getpid(), "");
  const auto in_folder = [&](const std::string& name) {
    return fs::exists(folder.path() + "/" + name);
  };
  const std::vector<std::string> leftovers = {dead + "0", dead + "17",
                                              alive + "0"};
  for (const std::string& name : leftovers) Put(folder, name, "half");
  std::vector<std::string> others = {dead + "x", dead + "1x", dead,
                                     ".fairlead.1x.0", ".fairlead.x"};
  for (const std::string& name : others) Put(folder, name, "theirs");
  others.push_back(dead + "2");
  fs::create_directory(folder.path() + "/" + others.back());
  others.push_back(dead + "3");
  fs::create_symlink("f", folder.path() + "/" + others.back());
  // In use, the second one by a process of another host or container.
  std::vector<Descriptor> in_use;
  for (const std::string& name : {alive + "1", dead + "4"}) {
    others.push_back(name);
    in_use.emplace_back(
        open(Put(folder, name, "").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(TryToLock(in_use.back()), 0);
  }

  EXPECT_EQ(SetNew(path, false), kWritten);
  EXPECT_EQ(ReadFile(path), "new\n");
  for (const std::string& name : leftovers) EXPECT_FALSE(in_folder(name));
  for (const std::string& name : others) EXPECT_TRUE(in_folder(name)) << name;
  EXPECT_EQ(FilesIn(folder), others.size() + 1);
}

TEST(LeftoversTest, EveryWritingEditDeletesThem) {
  const TempFolder folder;
  const std::string dead = Hidden(DeadProcess(), "0");
  const std::string path = folder.Path("f");
  for (const bool in_place : {false, true, false}) {
    Put(folder, dead, "half");
    EXPECT_EQ(EditFile(path, Appending("more\n"), {.in_place = in_place}),
              kWritten);
    EXPECT_FALSE(fs::exists(folder.Path(dead)));
  }
}

// An edit that was killed while it made a backup leaves a hard link of the
// file.
TEST(LeftoversTest, DeletesAHiddenLinkOfTheEditedFile) {
  const std::string dead = Hidden(DeadProcess(), "0");
  for (const bool in_place : {false, true}) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    fs::create_hard_link(path, folder.Path(dead));
    EXPECT_EQ(SetNew(path, in_place), kWritten);
    EXPECT_EQ(ReadFile(path), "new\n");
    EXPECT_EQ(FilesIn(folder), 1U);
  }
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_hard_link(path, folder.Path(dead));
  EXPECT_EQ(ReplacementFile(path).Commit(), kWritten);
  EXPECT_EQ(FilesIn(folder), 1U);
}

// Of the file and its backup. By this link, an edit of the file accepts the
// backup as one that a killed edit has left.
TEST(LeftoversTest, KeepsAHiddenLinkOfAFileAndItsBackup) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_hard_link(path, path + "~");
  fs::create_hard_link(path, folder.Path(Hidden(DeadProcess(), "0")));
  EXPECT_EQ(SetNew(Put(folder, "other", "old\n"), false), kWritten);
  EXPECT_EQ(EditFile(path, Appending("more\n"), {.in_place = true}), kWritten);
  EXPECT_EQ(FilesIn(folder), 4U);
  EXPECT_EQ(SetNew(path, false), kWritten);
  EXPECT_EQ(ReadFile(path), "new\n");
  EXPECT_EQ(ReadFile(path + "~"), "old\nmore\n");
  EXPECT_EQ(FilesIn(folder), 3U);
}

// Its edit is making a backup, here or on another host.
TEST(LeftoversTest, KeepsAHiddenLinkOfAFileThatIsLocked) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_hard_link(path, folder.Path(Hidden(DeadProcess(), "0")));
  const Descriptor other(open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(other), 0);
  EXPECT_EQ(ReplacementFile(path).result(), kUnchanged);
  EXPECT_EQ(FilesIn(folder), 2U);
}

TEST(LeftoversTest, DeletesThoseOfTheOwnerOfTheEditedFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const std::string stale = Put(folder, Hidden(DeadProcess(), "0"), "");
  for (const std::string& file : {path, stale})
    ASSERT_EQ(chown(file.c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(SetNew(path, false), kWritten);
  EXPECT_FALSE(fs::exists(stale));
}

TEST(LeftoversTest, KeepsTheFilesOfOtherUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const std::string theirs = Put(folder, Hidden(DeadProcess(), "0"), "");
  ASSERT_EQ(chown(theirs.c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(SetNew(path, false), kWritten);
  EXPECT_TRUE(fs::exists(theirs));
}

}  // namespace
}  // namespace fairlead::internal::leftovers_test
