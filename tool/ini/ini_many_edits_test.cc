// Edits of one file by several processes at once.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/edit_lock.h"
#include "tool/base/concat.h"
#include "tool/ini/ini_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

constexpr int kEditors = 8;
const int kEdits = IsSanitized() ? 20 : 200;

std::string Key(int editor, int edit) {
  return Concat("key", editor, "_", edit);
}

std::set<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::set<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

// Starts a process for every edit. `make_launch` receives the key to set.
template <typename MakeLaunch>
void ExpectNoneLost(const MakeLaunch& make_launch) {
  const TempFolder folder;
  const std::string file = folder.File("box.ini", "[a]\n");
  std::vector<std::thread> editors;
  for (int editor = 0; editor < kEditors; ++editor)
    editors.emplace_back([&, editor] {
      for (int edit = 0; edit < kEdits; ++edit) {
        const Outcome outcome =
            RunProgram(make_launch(file, Key(editor, edit)));
        EXPECT_EQ(outcome.status, 0) << outcome.error;
      }
    });
  for (std::thread& editor : editors) editor.join();

  std::set<std::string> expected = {"[a]"};
  for (int editor = 0; editor < kEditors; ++editor)
    for (int edit = 0; edit < kEdits; ++edit)
      expected.insert(Key(editor, edit) + "=1");
  EXPECT_EQ(Lines(ReadFile(file)), expected);
}

using IniManyEditsWaitTest = IniCommandTest;

TEST(IniManyEditsTest, NoneOfSetIsLost) {
  ExpectNoneLost([](const std::string& file, const std::string& key) {
    return Launch{.arguments = {"ini", "set", "-file", file, "-section", "a",
                                "-key", key, "-value", "1"}};
  });
}

TEST(IniManyEditsTest, NoneOfApplyIsLost) {
  ExpectNoneLost([](const std::string& file, const std::string& key) {
    return Launch{.arguments = {"ini", "apply", "-file", file, "-stdin"},
                  .input = Concat("set a ", key, " 1\n")};
  });
}

// Waits for the default limit.
TEST_F(IniManyEditsWaitTest, WaitsForAnotherEditUpToALimit) {
  Write("[a]\nx=1\n");
  const internal::Descriptor other(open(Path().c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(internal::TryToLock(other), 0);
  EXPECT_EQ(Refusal(28, {"set", "-section", "a", "-key", "x", "-value", "2"}),
            Concat("fairlead ini: waiting for another edit of '", Path(),
                   "'\nfairlead ini: another edit of '", Path(),
                   "' did not end in time: try again\n"));
}

// So does an exchange that saves its settings.
TEST_F(IniManyEditsWaitTest, SavingAProfileWaitsForAnotherEdit) {
  Write("[p]\n");
  const internal::Descriptor other(open(Path().c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(internal::TryToLock(other), 0);
  const Outcome outcome =
      Fairlead({"send", "-demo", "-text", "x", "-settings", Path(), "-profile",
                "p", "-saveprofile", "-eol", "lf"});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.error,
            Concat("fairlead send: waiting for another edit of '", Path(),
                   "'\nfairlead send: another edit of '", Path(),
                   "' did not end in time: try again\n"));
  EXPECT_EQ(Text(), "[p]\n");
}

}  // namespace
}  // namespace fairlead::tool
