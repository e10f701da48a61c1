// Tests of edits that would change what another line means.

#include <gtest/gtest.h>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_testing.h"

namespace fairlead::internal::ini_document_meaning_test {
namespace {

// Above a disabled key, an active key ends a disabled section.
TEST(IniDocumentMeaningTest, LeavesDisabledKeysInTheirSection) {
  constexpr const char* kTaken =
      "a disabled key below would be in this disabled section";
  constexpr const char* kEnded = "the new key would end this disabled section";
  const RefusalCase refusals[] = {
      {"a key between", "[b]\n#[old]\nx=1\n#y=2\n", Delete({"b", "x"}),
       Code::kMalformed, 2, kTaken},
      {"two of them", "#[old]\n#z=0\nx=1\n# c\nx=1\n\n#y=2\n",
       Delete({"", "x"}), Code::kMalformed, 1, kTaken},
      {"one, above a deleted one", "#[o]\nx=1\n#y=2\nx=3\n", Delete({"", "x"}),
       Code::kMalformed, 1, kTaken},
      {"a new key behind a value", "[b]\nx=1\n#[old]\n more\n#y=2\n",
       Set({"b", "n"}, "1"), Code::kMalformed, 3, kEnded},
      {"first in its section", "[b]\n#[old]\n more\n#y=2\nx=1\n",
       Add({"b", "n"}, "1", {IniPlace::Where::kFirst}), Code::kMalformed, 2,
       kEnded},
  };
  CheckRefusals(refusals);
  const ChangeCase changes[] = {
      {"another key still between", "#[o]\nx=1\nz=1\n#y=2\n", Delete({"", "x"}),
       "#[o]\nz=1\n#y=2\n"},
      {"one of two", "#[o]\nx=1\n#y=2\nx=3\n", Delete({"", "x", 2}),
       "#[o]\nx=1\n#y=2\n"},
      {"nothing disabled below", "[b]\n#[old]\n#z=0\nx=1\n[c]\n#y=2\n",
       Delete({"b", "x"}), "[b]\n#[old]\n#z=0\n[c]\n#y=2\n"},
      {"another disabled section below", "#[o]\nx=1\n#[p]\n#y=2\n",
       Delete({"", "x"}), "#[o]\n#[p]\n#y=2\n"},
      {"a new key above the disabled section", "[b]\nx=1\n#[old]\n#y=2\n",
       Set({"b", "n"}, "1"), "[b]\nx=1\nn=1\n#[old]\n#y=2\n"},
      {"or with nothing disabled below it", "[b]\nx=1\n#[old]\n more\n[c]\n",
       Set({"b", "n"}, "1"), "[b]\nx=1\n#[old]\n more\nn=1\n[c]\n"},
  };
  CheckChanges(changes);
}

// Below a backslash, a line that is no INI continues the value.
TEST(IniDocumentMeaningTest, LeavesOtherLinesOutOfValues) {
  constexpr const char* kJoins =
      "a value above, ending with '\\', would continue here";
  const RefusalCase refusals[] = {
      {"a value", "k=1\njunk\n", Set({"", "k"}, "x\\"), Code::kMalformed, 2,
       kJoins},
      {"a new key", "[s]\nk=1\njunk\n",
       Add({"s", "n"}, "x\\", {IniPlace::Where::kAfter, "k"}), Code::kMalformed,
       3, kJoins},
      {"an enabled key", "#k=x\\\njunk\n", Enable({"", "k"}), Code::kMalformed,
       2, kJoins},
      {"a deleted line between", "a=x\\\nk=1\njunk\n", Delete({"", "k"}),
       Code::kMalformed, 3, kJoins},
  };
  CheckRefusals(refusals);
  const ChangeCase changes[] = {
      {"an empty line between", "k=1\n\njunk\n", Set({"", "k"}, "x\\"),
       "k=x\\\n\njunk\n"},
      {"a section with all of it", "[s]\nk=x\\\njunk\n[t]\n", Delete({"s"}),
       "[t]\n"},
  };
  CheckChanges(changes);
}

// So does one that is indented, of the nearest key above that is active.
TEST(IniDocumentMeaningTest, LeavesContinuationLinesToTheirValue) {
  constexpr const char* kTaken =
      "the enabled value would continue on this line";
  const RefusalCase refusals[] = {
      {"those of the key above", "[s]\na = 1\n#k = 2\n  more\n",
       Enable({"s", "k"}), Code::kMalformed, 4, kTaken},
      {"below blank lines and comments", "[s]\n#k = 2\n\n# c\n#j=3\n\tmore\n",
       Enable({"s", "k"}), Code::kMalformed, 6, kTaken},
      {"of the last one", "#k=1\n#k=2\n  more\n", Enable({"", "k", 2}),
       Code::kMalformed, 3, kTaken},
      {"the keys at the top", "#k = 2\n  more\n[s]\n", Enable({""}),
       Code::kMalformed, 2, kTaken},
      {"not because of a backslash", "#k=\\\n\n  more\n", Enable({"", "k"}),
       Code::kMalformed, 3, kTaken},
      {"disabled keys at the top", "k=1\n#[t]\n  more\n[s]\n", Disable({""}),
       Code::kMalformed, 3, "the value continues on this line"},
      {"deleted keys at the top", "k=1\n  a\n\n#[t]\n  more\n[s]\n",
       Delete({""}), Code::kMalformed, 5, "the value continues on this line"},
      {"the last of them", "#k=1\n#j=2\n#[t]\n  more\n[s]\n", Enable({""}),
       Code::kMalformed, 4, kTaken},
  };
  CheckRefusals(refusals);
  const ChangeCase changes[] = {
      {"below another key", "#k=1\na=2\n  more\n", Enable({"", "k"}),
       "k=1\na=2\n  more\n"},
      {"below another header", "#k=1\n[s]\n  more\n", Enable({"", "k"}),
       "k=1\n[s]\n  more\n"},
      {"one that is not indented", "#k=1\njunk\n", Enable({""}), "k=1\njunk\n"},
      {"one that continues no value", "k=1\njunk\n#[t]\n  more\n[s]\n",
       Delete({""}), "#[t]\n  more\n[s]\n"},
      {"above the keys at the top", "  more\n#k=1\n#j=2\n", Enable({""}),
       "  more\nk=1\nj=2\n"},
  };
  CheckChanges(changes);
}

// At the beginning of the text, it would be ignored.
TEST(IniDocumentMeaningTest, LeavesAByteOrderMarkInALineWhatItIs) {
  constexpr const char* kBegins =
      "its byte order mark would be that of the text";
  const RefusalCase refusals[] = {
      {"a key",
       "a=1\n\xef\xbb\xbf"
       "b=2\n",
       Delete({"", "a"}), Code::kMalformed, 2, kBegins},
      {"a comment", "# c\na=1\n\xef\xbb\xbf# d\n", Delete({"", "a"}),
       Code::kMalformed, 3, kBegins},
      {"a disabled key",
       "#\xef\xbb\xbf"
       "b=2\nc=3\n",
       Enable({"",
               "\xef\xbb\xbf"
               "b"}),
       Code::kMalformed, 1, kBegins},
      {"comments above",
       "# c\n\xef\xbb\xbf"
       "b=2\n",
       Comment({"",
                "\xef\xbb\xbf"
                "b"},
               ""),
       Code::kMalformed, 2, kBegins},
  };
  CheckRefusals(refusals);
  const ChangeCase changes[] = {
      {"behind that of the text",
       "\xef\xbb\xbf"
       "a=1\n\xef\xbb\xbf"
       "b=2\n",
       Delete({"", "a"}),
       "\xef\xbb\xbf\xef\xbb\xbf"
       "b=2\n"},
      {"in the second line",
       "a=1\n#\xef\xbb\xbf"
       "b=2\n",
       Enable({"",
               "\xef\xbb\xbf"
               "b"}),
       "a=1\n\xef\xbb\xbf"
       "b=2\n"},
  };
  CheckChanges(changes);
  const ChangeCase records[] = {
      {"a part of the key",
       "a=1\n\xef\xbb\xbf"
       "b=2\n",
       Delete({"", "a"}),
       "\xef\xbb\xbf"
       "b=2\n"},
  };
  CheckChanges(records, IniReading::kRecords);
}

}  // namespace
}  // namespace fairlead::internal::ini_document_meaning_test
