// What the tests of IniDocument share. Not installed.

#ifndef FAIRLEAD_INI_INI_DOCUMENT_TESTING_H_
#define FAIRLEAD_INI_INI_DOCUMENT_TESTING_H_

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "fairlead/ini/ini_document.h"

namespace fairlead {

// Found by argument-dependent lookup.
inline void PrintTo(IniResult::Code code, std::ostream* out) {
  constexpr std::string_view kNames[] = {
      "kDone",   "kUnchanged", "kNoSection", "kNoKey",    "kDisabled",
      "kExists", "kNoHeader",  "kInvalid",   "kMalformed"};
  *out << kNames[static_cast<std::size_t>(code)];
}

}  // namespace fairlead

namespace fairlead::internal {

using Code = IniResult::Code;
using DocumentEdit = std::function<IniResult(IniDocument&)>;

// Names the tests of a suite that runs in each reading.
inline std::string ReadingName(
    const testing::TestParamInfo<IniReading>& reading) {
  return reading.param == IniReading::kLive ? "Live" : "Records";
}

// An edit that changes the text.
struct ChangeCase {
  const char* what;
  std::string before;
  DocumentEdit edit;
  std::string after;
};

inline void CheckChanges(std::span<const ChangeCase> cases,
                         IniReading reading = IniReading::kLive) {
  for (const ChangeCase& c : cases) {
    SCOPED_TRACE(c.what);
    IniDocument document(c.before, reading);
    const IniResult result = c.edit(document);
    EXPECT_EQ(result.code, Code::kDone) << result.line << ' ' << result.reason;
    EXPECT_EQ(document.Text(), c.after);
    EXPECT_TRUE(document.IsEdited());
  }
}

// An edit that leaves the text as it is.
struct RefusalCase {
  const char* what;
  std::string text;
  DocumentEdit edit;
  Code code;
  std::size_t line = 0;
  const char* reason = "";
};

inline void CheckRefusals(std::span<const RefusalCase> cases,
                          IniReading reading = IniReading::kLive) {
  for (const RefusalCase& c : cases) {
    SCOPED_TRACE(c.what);
    IniDocument document(c.text, reading);
    const IniResult result = c.edit(document);
    EXPECT_EQ(result.code, c.code);
    EXPECT_EQ(result.line, c.line);
    EXPECT_EQ(result.reason, c.reason);
    EXPECT_EQ(result.IsOk(), c.code == Code::kUnchanged);
    EXPECT_EQ(document.Text(), c.text);
    EXPECT_FALSE(document.IsEdited());
  }
}

// The edits of the tables.

inline DocumentEdit Set(IniName name, std::string_view value) {
  return [=](IniDocument& document) { return document.Set(name, value); };
}
inline DocumentEdit Add(IniName name, std::string_view value = {},
                        IniPlace place = {}) {
  return
      [=](IniDocument& document) { return document.Add(name, value, place); };
}
inline DocumentEdit Delete(IniName name) {
  return [=](IniDocument& document) { return document.Delete(name); };
}
inline DocumentEdit Enable(IniName name) {
  return [=](IniDocument& document) { return document.Enable(name); };
}
inline DocumentEdit Disable(IniName name, char mark = '#') {
  return [=](IniDocument& document) { return document.Disable(name, mark); };
}
inline DocumentEdit Rename(IniName name, std::string_view new_name) {
  return [=](IniDocument& document) { return document.Rename(name, new_name); };
}
inline DocumentEdit Comment(IniName name, std::string_view comments) {
  return
      [=](IniDocument& document) { return document.Comment(name, comments); };
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_DOCUMENT_TESTING_H_
