// Tests of the deletion of stale hidden files.

#include "tool/io/leftovers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/io/atomic_edit.h"
#include "tool/io/edit_lock.h"
#include "tool/io/edit_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

namespace fs = std::filesystem;

// Returns the ID of a process that has ended.
pid_t DeadProcess() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  return child;
}

TEST(LeftoversTest, DeletesTheFilesOfKilledEdits) {
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string dead = Concat(".fairlead.", DeadProcess(), ".");
  const std::string alive = Concat(".fairlead.", getpid(), ".");
  const auto in_folder = [&](const std::string& name) {
    return fs::exists(folder.path() + "/" + name);
  };
  const std::vector<std::string> leftovers = {dead + "0", dead + "17"};
  for (const std::string& name : leftovers) folder.File(name, "half");
  std::vector<std::string> others = {alive + "0",      alive + "1",
                                     dead + "x",       dead,
                                     ".fairlead.1x.0", ".fairlead.x"};
  for (const std::string& name : others) folder.File(name, "theirs");
  others.push_back(dead + "2");
  fs::create_directory(folder.path() + "/" + others.back());
  others.push_back(dead + "3");
  fs::create_symlink("f", folder.path() + "/" + others.back());
  // In use by a process of another host or container.
  others.push_back(dead + "4");
  const Descriptor in_use(
      open(folder.File(others.back(), "").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(TryToLock(in_use), 0);

  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_EQ(ReadFile(path), "new\n");
  for (const std::string& name : leftovers) EXPECT_FALSE(in_folder(name));
  for (const std::string& name : others) EXPECT_TRUE(in_folder(name)) << name;
  EXPECT_EQ(FilesIn(folder), others.size() + 1);
}

TEST(LeftoversTest, EveryWritingEditDeletesThem) {
  const TempFolder folder;
  const std::string dead = Concat(".fairlead.", DeadProcess(), ".0");
  const std::string path = folder.Path("f");
  for (const Writing writing :
       {Writing::kReplace, Writing::kInPlace, Writing::kReplace}) {
    folder.File(dead, "half");
    EditFile(path, writing, [](const std::optional<std::string>& old) {
      return old.value_or("") + "more\n";
    });
    EXPECT_FALSE(fs::exists(folder.Path(dead)));
  }
}

TEST(LeftoversTest, DeletesThoseOfTheOwnerOfTheEditedFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string stale =
      folder.File(Concat(".fairlead.", DeadProcess(), ".0"), "");
  for (const std::string& file : {path, stale})
    ASSERT_EQ(chown(file.c_str(), kNobody, kNobody), 0);
  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_FALSE(fs::exists(stale));
}

TEST(LeftoversTest, KeepsTheFilesOfOtherUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TempFolder folder;
  const std::string path = folder.File("f", "old\n");
  const std::string theirs =
      folder.File(Concat(".fairlead.", DeadProcess(), ".0"), "");
  ASSERT_EQ(chown(theirs.c_str(), kNobody, kNobody), 0);
  EditFile(path, Writing::kReplace, To("new\n"));
  EXPECT_TRUE(fs::exists(theirs));
}

}  // namespace
}  // namespace fairlead::tool
