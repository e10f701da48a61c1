// Tests of every operation on files that cannot be read, written or loaded: the
// result is as documented, and nothing else changes.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "fairlead/ini/ini_edit_model.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"

namespace fairlead::internal::ini_edit_faults_test {
namespace {

constexpr char kText[] = " [s] \n#c\n k = v\n[t]\n;k=w";

bool IsQuery(EditOperation operation) {
  switch (operation) {
    case EditOperation::kGetSections:
    case EditOperation::kGetSection:
    case EditOperation::kGetSectionNames:
    case EditOperation::kSectionExists:
    case EditOperation::kGetRecord:
    case EditOperation::kGetValue:
    case EditOperation::kRecordExists:
      return true;
    default:
      return false;
  }
}

// Returns whether an edit saves even if there is nothing to change.
bool AlwaysSaves(EditOperation operation) {
  switch (operation) {
    case EditOperation::kSetSectionComments:
    case EditOperation::kCommentRecord:
    case EditOperation::kUnCommentRecord:
    case EditOperation::kDeleteRecord:
    case EditOperation::kSetRecordComments:
      return false;
    default:
      return !IsQuery(operation);
  }
}

class IniEditFaultsTest : public IniTest {
 protected:
  // Performs every operation on section s and its key k, and passes each with
  // its outcome to `check`.
  void ForEach(
      const std::string& path,
      const std::function<void(EditOperation, const std::string&)>& check) {
    FileStore store{path};
    for (const auto& [operation, name] : kEditOperations) {
      SCOPED_TRACE(name);
      CapturedOutput output;
      const std::string outcome = Outcome({operation, {"s", "k", "#x"}}, store);
      printed_ = output.Take();
      check(operation, outcome);
    }
  }

  static std::string OutcomeForEmptyFile(EditOperation operation) {
    FileModel model;
    return Outcome({operation, {"s", "k", "#x"}}, model);
  }

  // Runs `work` without the privileges that override file permissions.
  static void WithoutPrivileges(const std::function<void()>& work) {
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

TEST_F(IniEditFaultsTest, AMissingFileIsEmptyAndOnlySavingCreatesIt) {
  ForEach(Path(), [&](auto operation, auto& outcome) {
    EXPECT_EQ(outcome, OutcomeForEmptyFile(operation));
    EXPECT_EQ(std::filesystem::exists(Path()), AlwaysSaves(operation));
    std::filesystem::remove(Path());
  });
}

TEST_F(IniEditFaultsTest, AHeaderWithoutBracketThrowsFromEveryOperation) {
  const std::string text = std::string(kText) + "\n# [open";
  ForEach(Write(text), [&](auto, auto& outcome) {
    EXPECT_EQ(outcome, "basic_string::erase");
    EXPECT_EQ(Read(), text);
    EXPECT_EQ(printed_, "");
  });
}

TEST_F(IniEditFaultsTest, AMissingFolderIsNotCreated) {
  const std::string path = Path("gone/a.ini");
  ForEach(path, [&](auto operation, auto& outcome) {
    EXPECT_EQ(outcome,
              IsQuery(operation) ? OutcomeForEmptyFile(operation) : "false");
    EXPECT_FALSE(std::filesystem::exists(Path("gone")));
    EXPECT_EQ(printed_, "");
  });
}

TEST_F(IniEditFaultsTest, AFolderReadsAsEmptyAndIsNotWritten) {
  ForEach(folder_.path(), [&](auto operation, auto& outcome) {
    EXPECT_EQ(outcome,
              IsQuery(operation) ? OutcomeForEmptyFile(operation) : "false");
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
  });
}

TEST_F(IniEditFaultsTest, AReadOnlyFileIsReadAndNotChanged) {
  Write(kText);
  ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path().c_str(), 0444), 0);
  FileModel model{kText, ""};
  WithoutPrivileges([&] {
    ForEach(Path(), [&](auto operation, auto& outcome) {
      EXPECT_EQ(outcome, IsQuery(operation)
                             ? Outcome({operation, {"s", "k", "#x"}}, model)
                             : "false");
      EXPECT_EQ(printed_, "");
      EXPECT_EQ(Read(), kText);
    });
  });
}

TEST_F(IniEditFaultsTest, AnInaccessibleFileReadsAsEmptyAndIsNotChanged) {
  Write(kText);
  ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path().c_str(), 0), 0);
  WithoutPrivileges([&] {
    ForEach(Path(), [&](auto operation, auto& outcome) {
      EXPECT_EQ(outcome,
                IsQuery(operation) ? OutcomeForEmptyFile(operation) : "false");
    });
  });
  ASSERT_EQ(chmod(Path().c_str(), 0600), 0);
  EXPECT_EQ(Read(), kText);
}

// An unreadable file counts as missing, even if it can be written.
TEST_F(IniEditFaultsTest, AWriteOnlyFileLosesItsContents) {
  Write(kText);
  ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path().c_str(), 0222), 0);
  bool found = true;
  bool saved = false;
  WithoutPrivileges([&] {
    found = CIniFile::DeleteRecord("k", "s", Path());
    saved = CIniFile::SetValue("k", "x", "s", Path());
  });
  ASSERT_EQ(chmod(Path().c_str(), 0600), 0);
  EXPECT_FALSE(found);
  EXPECT_TRUE(saved);
  EXPECT_EQ(Read(), "[s]\nk=x\n");
}

volatile std::sig_atomic_t limit_signals = 0;

// Opening the file succeeded, and only that is reported.
TEST_F(IniEditFaultsTest, AFullDiskTruncatesTheFileAndIsNotReported) {
  const auto handler =
      std::signal(SIGXFSZ, [](int) { limit_signals = limit_signals + 1; });
  limit_signals = 0;
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit nine_bytes = {9, limit.rlim_max};
  Write("[s]\na=1\n;b=2\n");
  CapturedOutput output;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &nine_bytes), 0);
  const bool saved = CIniFile::SetValue("k", "v", "s", Path());
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(output.Take(), "<;> ");
  EXPECT_TRUE(saved);
  EXPECT_EQ(limit_signals, 1);
  EXPECT_EQ(Read(), "[s]\nk=v\na");
}

}  // namespace
}  // namespace fairlead::internal::ini_edit_faults_test
