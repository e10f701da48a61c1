// Every operation on files that the kernel will not read or write, and on files
// that cannot be loaded: the result promised, and nothing else changed.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "fairlead/ini/ini_edit_model.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_test.h"

namespace fairlead {
namespace {

constexpr char kText[] = " [s] \n#c\n k = v\n[t]\n;k=w";

// Edits that save whatever they found, those that save what they found, and
// those that never save.
constexpr char kAlwaysSave[] = "arcudV";
constexpr char kSaveTheFound[] = "nCUDN";
constexpr char kOnlyRead[] = "hgmeGvE";

bool IsEdit(char operation) {
  return std::string(kOnlyRead).find(operation) == std::string::npos;
}

class IniEditFaultsTest : public IniTest {
 protected:
  // Performs every operation on the section s and its key k.
  void ForEach(const std::string& operations, const std::string& path,
               const std::function<void(char, const std::string&)>& judge) {
    FileStore store{path};
    for (const char operation : operations) {
      SCOPED_TRACE(operation);
      testing::internal::CaptureStdout();
      const std::string outcome = Outcome({operation, {"s", "k", "#x"}}, store);
      printed_ = testing::internal::GetCapturedStdout();
      judge(operation, outcome);
    }
  }

  // What an operation returns for an empty file.
  static std::string OutcomeOfNothing(char operation) {
    FileModel model;
    return Outcome({operation, {"s", "k", "#x"}}, model);
  }

  // What is done inside is done by a user whom permissions bind.
  static void AsAUser(const std::function<void()>& work) {
    const bool root = geteuid() == 0;
    if (root) {
      ASSERT_EQ(seteuid(65534), 0);
    }
    work();
    if (root) {
      ASSERT_EQ(seteuid(0), 0);
    }
  }

  std::string printed_;
};

TEST_F(IniEditFaultsTest, TheGroupsOfOperationsAreAllThereAre) {
  std::string all = std::string(kAlwaysSave) + kSaveTheFound + kOnlyRead;
  std::string known = kEditOperations;
  std::sort(all.begin(), all.end());
  std::sort(known.begin(), known.end());
  EXPECT_EQ(all, known);
}

TEST_F(IniEditFaultsTest, AMissingFileIsAnEmptyOneThatOnlySavingCreates) {
  ForEach(kEditOperations, Path(), [&](char operation, auto& outcome) {
    EXPECT_EQ(outcome, OutcomeOfNothing(operation));
    const bool saves =
        std::string_view(kAlwaysSave).find(operation) != std::string_view::npos;
    EXPECT_EQ(std::filesystem::exists(Path()), saves);
    std::filesystem::remove(Path());
  });
}

TEST_F(IniEditFaultsTest, AHeaderWithoutBracketThrowsFromEveryOperation) {
  const std::string text = std::string(kText) + "\n# [open";
  ForEach(kEditOperations, Write(text), [&](char, auto& outcome) {
    EXPECT_EQ(outcome, "basic_string::erase");
    EXPECT_EQ(Read(), text);
    EXPECT_EQ(printed_, "");
  });
}

TEST_F(IniEditFaultsTest, AFolderThatIsGoneTakesNoFile) {
  const std::string path = Path("gone/a.ini");
  ForEach(kEditOperations, path, [&](char operation, auto& outcome) {
    EXPECT_EQ(outcome,
              IsEdit(operation) ? "false" : OutcomeOfNothing(operation));
    EXPECT_FALSE(std::filesystem::exists(Path("gone")));
    EXPECT_EQ(printed_, "");
  });
}

TEST_F(IniEditFaultsTest, AFolderReadsAsNothingAndIsNotWritten) {
  ForEach(kEditOperations, folder_, [&](char operation, auto& outcome) {
    EXPECT_EQ(outcome,
              IsEdit(operation) ? "false" : OutcomeOfNothing(operation));
    EXPECT_TRUE(std::filesystem::is_empty(folder_));
  });
}

TEST_F(IniEditFaultsTest, AReadOnlyFileIsReadAndStaysAsItIs) {
  Write(kText);
  ASSERT_EQ(chmod(folder_.c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path().c_str(), 0444), 0);
  FileModel model{kText, ""};
  AsAUser([&] {
    ForEach(kEditOperations, Path(), [&](char operation, auto& outcome) {
      EXPECT_EQ(outcome, IsEdit(operation)
                             ? "false"
                             : Outcome({operation, {"s", "k", "#x"}}, model));
      EXPECT_EQ(printed_, "");
      EXPECT_EQ(Read(), kText);
    });
  });
}

TEST_F(IniEditFaultsTest, AFileOutOfReachReadsAsNothingAndStaysAsItIs) {
  Write(kText);
  ASSERT_EQ(chmod(folder_.c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path().c_str(), 0), 0);
  AsAUser([&] {
    ForEach(kEditOperations, Path(), [&](char operation, auto& outcome) {
      EXPECT_EQ(outcome,
                IsEdit(operation) ? "false" : OutcomeOfNothing(operation));
    });
  });
  ASSERT_EQ(chmod(Path().c_str(), 0600), 0);
  EXPECT_EQ(Read(), kText);
}

// What cannot be read counts as missing, also where it can be written.
TEST_F(IniEditFaultsTest, AFileThatCanOnlyBeWrittenLosesWhatItHeld) {
  Write(kText);
  ASSERT_EQ(chmod(folder_.c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path().c_str(), 0222), 0);
  bool found = true;
  bool saved = false;
  AsAUser([&] {
    found = CIniFile::DeleteRecord("k", "s", Path());
    saved = CIniFile::SetValue("k", "x", "s", Path());
  });
  ASSERT_EQ(chmod(Path().c_str(), 0600), 0);
  EXPECT_FALSE(found);
  EXPECT_TRUE(saved);
  EXPECT_EQ(Read(), "[s]\nk=x\n");
}

volatile std::sig_atomic_t limit_signals = 0;

// The result is that of opening the file; the file ends where the disk does.
TEST_F(IniEditFaultsTest, AFullDiskEndsTheFileAndIsNotReported) {
  const auto handler =
      std::signal(SIGXFSZ, [](int) { limit_signals = limit_signals + 1; });
  limit_signals = 0;
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit nine_bytes = {9, limit.rlim_max};
  Write("[s]\na=1\n;b=2\n");
  testing::internal::CaptureStdout();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &nine_bytes), 0);
  const bool saved = CIniFile::SetValue("k", "v", "s", Path());
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "<;> ");
  EXPECT_TRUE(saved);
  EXPECT_EQ(limit_signals, 1);
  EXPECT_EQ(Read(), "[s]\nk=v\na");
}

}  // namespace
}  // namespace fairlead
