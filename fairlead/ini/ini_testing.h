// What the tests of INI files share. Not installed.

#ifndef FAIRLEAD_INI_INI_TESTING_H_
#define FAIRLEAD_INI_INI_TESTING_H_

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "fairlead/testing/captured_output.h"
#include "fairlead/testing/temp_folder.h"

namespace fairlead {

// Found by argument-dependent lookup, and so in the namespace of CIniFile.
inline bool operator==(const CIniFile::Record& a, const CIniFile::Record& b) {
  return std::tie(a.Comments, a.Commented, a.Section, a.Key, a.Value) ==
         std::tie(b.Comments, b.Commented, b.Section, b.Key, b.Value);
}

inline void PrintTo(const CIniFile::Record& record, std::ostream* out) {
  *out << '{' << testing::PrintToString(record.Comments) << ", '"
       << record.Commented << "', " << testing::PrintToString(record.Section)
       << ", " << testing::PrintToString(record.Key) << ", "
       << testing::PrintToString(record.Value) << '}';
}

}  // namespace fairlead

namespace fairlead::internal {

using Record = CIniFile::Record;
using Records = std::vector<Record>;
using EditCall = std::function<bool(const std::string& file)>;

// An edit that succeeds.
struct EditCase {
  const char* what;
  const char* before;
  EditCall edit;
  const char* after;
  const char* printed = "";
};

class IniTest : public testing::Test {
 protected:
  std::string Path(const std::string& name = "a.ini") const {
    return folder_.Path(name);
  }

  // Writes the file and returns its path.
  std::string Write(const std::string& text) const {
    WriteFile(Path(), text);
    return Path();
  }

  std::string Read() const { return ReadFile(Path()); }

  Records Loaded(const std::string& text) const {
    Records records;
    EXPECT_TRUE(CIniFile::Load(Write(text), records));
    return records;
  }

  // Returns the bytes that Save() writes; discards what it prints.
  std::string Saved(const Records& records) const {
    const CapturedOutput discarded;
    EXPECT_TRUE(CIniFile::Save(Path(), records));
    return Read();
  }

  void CheckEdits(std::span<const EditCase> cases) const {
    for (const EditCase& c : cases) {
      SCOPED_TRACE(c.what);
      Write(c.before);
      CapturedOutput output;
      const bool result = c.edit(Path());
      const std::string printed = output.Take();
      EXPECT_TRUE(result);
      EXPECT_EQ(Read(), c.after);
      EXPECT_EQ(printed, c.printed);
    }
  }

  const TempFolder folder_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_TESTING_H_
