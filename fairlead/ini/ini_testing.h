// What the tests of INI files share: a folder of their own, records to compare.

#ifndef FAIRLEAD_INI_INI_TEST_H_
#define FAIRLEAD_INI_INI_TEST_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <ostream>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "fairlead/ini/ini_file.h"

namespace fairlead {

using Record = CIniFile::Record;
using Records = std::vector<Record>;

// Found by their names alone, so in the namespace of Record.
inline bool operator==(const Record& a, const Record& b) {
  return std::tie(a.Comments, a.Commented, a.Section, a.Key, a.Value) ==
         std::tie(b.Comments, b.Commented, b.Section, b.Key, b.Value);
}

inline void PrintTo(const Record& record, std::ostream* out) {
  *out << '{' << testing::PrintToString(record.Comments) << ", '"
       << record.Commented << "', " << testing::PrintToString(record.Section)
       << ", " << testing::PrintToString(record.Key) << ", "
       << testing::PrintToString(record.Value) << '}';
}

using Edit = std::function<bool(const std::string& file)>;

// An edit that succeeds: bytes into bytes, and what it prints meanwhile.
struct EditCase {
  const char* what;
  const char* before;
  Edit edit;
  const char* after;
  const char* printed = "";
};

class IniTest : public testing::Test {
 protected:
  IniTest() {
    std::string pattern = testing::TempDir() + "ini_test.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    folder_ = pattern;
  }

  ~IniTest() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name = "a.ini") const {
    return folder_ + "/" + name;
  }

  // A file with that text; its path.
  std::string Write(const std::string& text) const {
    std::ofstream out(Path(), std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    return Path();
  }

  std::string Read() const {
    std::ifstream in(Path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  Records Loaded(const std::string& text) const {
    Records records;
    EXPECT_TRUE(CIniFile::Load(Write(text), records));
    return records;
  }

  // The bytes that Save() writes; what it prints is gone.
  std::string Saved(const Records& records) const {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(CIniFile::Save(Path(), records));
    testing::internal::GetCapturedStdout();
    return Read();
  }

  void EditsAsTold(std::span<const EditCase> cases) const {
    for (const EditCase& c : cases) {
      SCOPED_TRACE(c.what);
      Write(c.before);
      testing::internal::CaptureStdout();
      const bool result = c.edit(Path());
      const std::string printed = testing::internal::GetCapturedStdout();
      EXPECT_TRUE(result);
      EXPECT_EQ(Read(), c.after);
      EXPECT_EQ(printed, c.printed);
    }
  }

  std::string folder_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_TEST_H_
