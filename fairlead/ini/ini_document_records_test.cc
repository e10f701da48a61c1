// Tests the edits of an INI document in the records reading.

#include <gtest/gtest.h>

#include <string>

#include "fairlead/ini/ini_document_testing.h"

namespace fairlead::internal::ini_document_records_test {
namespace {

using namespace std::literals;
using Where = IniPlace::Where;

void CheckRecordChanges(std::span<const ChangeCase> cases) {
  CheckChanges(cases, IniReading::kRecords);
}

void CheckRecordRefusals(std::span<const RefusalCase> cases) {
  CheckRefusals(cases, IniReading::kRecords);
}

TEST(IniDocumentRecordsTest, Sets) {
  const ChangeCase cases[] = {
      {"the first of duplicates", "k=1\nk=2\n", Set({"", "k"}, "3"),
       "k=3\nk=2\n"},
      {"a disabled one, which stays so", "[s]\n # k = 1\r\nk=2\n",
       Set({"s", "k"}, "3"), "[s]\n # k = 3\r\nk=2\n"},
      {"the second", "k=1\nk=2\n", Set({"", "k", 2}, "3"), "k=1\nk=3\n"},
      {"a key in what others call prose", "# see a = b\n",
       Set({"", "see a"}, "c"), "# see a = c\n"},
      {"of a disabled section", "#[s]\nk=1\n", Set({"s", "k"}, "2"),
       "#[s]\nk=2\n"},
      {"a new key below the header", "[s]\n# j\nj = 1\n[s]\n",
       Set({"s", "k"}, "2"), "[s]\nk = 2\n# j\nj = 1\n[s]\n"},
      {"a new key below the first one", "j=1\ni=1\n", Set({"", "k"}, "2"),
       "j=1\nk=2\ni=1\n"},
      {"a new section above the comments at the end", "[s]\n\nj=1\n# end\n",
       Set({"t", "k"}, "2"), "[s]\n\nj=1\n[t]\nk=2\n# end\n"},
      {"a new section without a newline", "\n[s]\nj=1", Set({"t", "k"}, "2"),
       "\n[s]\nj=1\n\n[t]\nk=2"},
      {"a value with a backslash", "k=1\n  j=2\n", Set({"", "k"}, "\\"),
       "k=\\\n  j=2\n"},
      {"a value above another line", "k=1\n  more\n", Set({"", "k"}, "2"),
       "k=2\n  more\n"},
      {"beside a byte order mark, a part of the key", "\xef\xbb\xbfk=1\n",
       Set({"", "k"}, "2"), "\xef\xbb\xbfk=1\nk=2\n"},
  };
  CheckRecordChanges(cases);
}

TEST(IniDocumentRecordsTest, Adds) {
  const std::string text = "top=1\n# s\n\n[s]\n# j\nj=1\njunk\n#[t]\nk=2\n";
  const ChangeCase cases[] = {
      {"a key below the header", text, Add({"s", "n"}, "3"),
       "top=1\n# s\n\n[s]\nn=3\n# j\nj=1\njunk\n#[t]\nk=2\n"},
      {"a key first", text, Add({"s", "n"}, "3", {Where::kFirst}),
       "top=1\n# s\n\n[s]\nn=3\n# j\nj=1\njunk\n#[t]\nk=2\n"},
      {"a key above another", text, Add({"s", "n"}, "3", {Where::kBefore, "j"}),
       "top=1\n# s\n\n[s]\nn=3\n# j\nj=1\njunk\n#[t]\nk=2\n"},
      {"a key below another", text, Add({"s", "n"}, "3", {Where::kAfter, "j"}),
       "top=1\n# s\n\n[s]\n# j\nj=1\nn=3\njunk\n#[t]\nk=2\n"},
      {"a section at the end", text, Add({"u"}), text + "[u]\n"},
      {"a section first", text, Add({"u"}, "", {Where::kFirst}),
       "top=1\n\n[u]\n# s\n\n[s]\n# j\nj=1\njunk\n#[t]\nk=2\n"},
      {"a section above another", text, Add({"u"}, "", {Where::kBefore, "t"}),
       "top=1\n# s\n\n[s]\n# j\nj=1\njunk\n\n[u]\n#[t]\nk=2\n"},
      {"a section below another", text, Add({"u"}, "", {Where::kAfter, "s"}),
       "top=1\n# s\n\n[s]\n# j\nj=1\n\n[u]\njunk\n#[t]\nk=2\n"},
  };
  CheckRecordChanges(cases);
}

TEST(IniDocumentRecordsTest, Deletes) {
  const ChangeCase cases[] = {
      {"the first of duplicates", "#k=1\nk=2\n", Delete({"", "k"}), "k=2\n"},
      {"all comments since the last record", "j=1\n# a\n\n# b\n\nk=2\n",
       Delete({"", "k"}), "j=1\n\n\n"},
      {"a section, its disabled keys and empty keys",
       "[s]\nk=1\n#j=2\n=3\n\n[t]\n[s]\nl=4\n", Delete({"s"}), "\n[t]\n"},
      {"a disabled section with its active keys", "#[s]\nk=1\n[t]\n",
       Delete({"s"}), "[t]\n"},
      {"not other lines in it", "[s]\nk=1\njunk\nj=2\n", Delete({"s"}),
       "junk\n"},
      {"those are of the section without a name", "j=0\n[s]\nk=1\njunk\n",
       Delete({""}), "[s]\nk=1\n"},
  };
  CheckRecordChanges(cases);
}

TEST(IniDocumentRecordsTest, EnablesAndDisables) {
  const ChangeCase cases[] = {
      {"enable a key", "# k = 1\n", Enable({"", "k"}), "k = 1\n"},
      {"the first of two", "#k=1\n;k=2\n", Enable({"", "k"}), "k=1\n;k=2\n"},
      {"a section", "#[s]\nk=1\n# see a=b\n# c\n;j=2\n", Enable({"s"}),
       "[s]\nk=1\nsee a=b\n# c\nj=2\n"},
      {"disable a key", "  k = 1\n", Disable({"", "k"}), "  #k = 1\n"},
      {"one of several words", "my key=1\n", Disable({"", "my key"}, ';'),
       ";my key=1\n"},
      {"change the character", " # k=1\n", Disable({"", "k"}, ';'), " ; k=1\n"},
      {"a section", "[s]\n# c\nk=1\n;j=2\n=3\n[t]\n", Disable({"s"}),
       "#[s]\n# c\n#k=1\n#j=2\n#=3\n[t]\n"},
      {"a disabled line of another kind", "# see [1]\n", Disable({""}, ';'),
       "; see [1]\n"},
  };
  CheckRecordChanges(cases);
}

TEST(IniDocumentRecordsTest, RenamesAndComments) {
  const ChangeCase cases[] = {
      {"the first of two", "#k=1\nk=2\n", Rename({"", "k"}, "n"),
       "#n=1\nk=2\n"},
      {"a section", "[s]\n#[s] x\n=1\n[t]\n", Rename({"s"}, "n"),
       "[n]\n#[n] x\n=1\n[t]\n"},
      {"comment a key", "# a\n\n# b\n\n  k=1\r\n", Comment({"", "k"}, "c\n;d"),
       "\n\n  # c\r\n  ;d\r\n  k=1\r\n"},
      {"comment a header", "[s]\n", Comment({"s"}, "c"), "# c\n[s]\n"},
      {"no comments any more", "# a\nk=1\n", Comment({"", "k"}, " \n"),
       "k=1\n"},
  };
  CheckRecordChanges(cases);
}

TEST(IniDocumentRecordsTest, ReturnsWhyNothingChanges) {
  const RefusalCase cases[] = {
      {"the same value", "#k=1\n", Set({"", "k"}, "1"), Code::kUnchanged},
      {"no third of two", "k=1\nk=2\n", Set({"", "k", 3}, ""), Code::kNoKey},
      {"a key that is disabled", "\n#k=1\n", Add({"", "k"}), Code::kExists, 2},
      {"a section that is disabled", "\n#[s]\n", Add({"s"}), Code::kExists, 2},
      {"no key beside", "[s]\n", Add({"s", "k"}, "", {Where::kAfter, "x"}),
       Code::kNoKey},
      {"no section beside", "[s]\n", Add({"t"}, "", {Where::kBefore, "x"}),
       Code::kNoSection},
      {"above the first keys", "k=1\n", Add({"t"}, "", {Where::kBefore, ""}),
       Code::kMalformed, 1, "this key would be in the new section"},
      {"delete no section", "", Delete({"s"}), Code::kNoSection},
      {"delete no key", "[s]\n", Delete({"s", "k"}), Code::kNoKey},
      {"enable an active key", "k=1\n", Enable({"", "k"}), Code::kUnchanged},
      {"enable an active section", "[s]\nk=1\n", Enable({"s"}),
       Code::kUnchanged},
      {"disable with the same", "#k=1\n", Disable({"", "k"}), Code::kUnchanged},
      {"rename to one that is disabled", "k=1\n#n=2\n", Rename({"", "k"}, "n"),
       Code::kExists, 2},
      {"rename the first keys", "k=1\n", Rename({""}, "n"), Code::kNoHeader},
      {"comment the first keys", "k=1\n", Comment({""}, "n"), Code::kNoHeader},
      {"comment with =", "k=1\n", Comment({"", "k"}, "it is a = b"),
       Code::kInvalid, 0,
       "a comment cannot contain '[' or '=': its line would be read as a "
       "disabled key or header"},
      {"the same comment", "#a\nk=1\n", Comment({"", "k"}, "#a"),
       Code::kUnchanged},
  };
  CheckRecordRefusals(cases);
}

// The records after the edit would not be those of the edited list.
TEST(IniDocumentRecordsTest, RefusesToChangeOtherRecords) {
  const char* const without_comment =
      "it would become a record without the comment above";
  const RefusalCase cases[] = {
      {"delete a comment above another line", "# c\njunk\nk=1\n",
       Delete({"", "k"}), Code::kMalformed, 2, without_comment},
      {"replace such a comment", "# c\njunk\nk=1\n", Comment({"", "k"}, ""),
       Code::kMalformed, 2, without_comment},
      {"add to the section of another line", "[s]\njunk\n", Set({"", "k"}, "1"),
       Code::kMalformed, 2, "a key below it would be in another section"},
      {"a section among keys", "[s]\njunk\nk=1\n",
       Add({"t"}, "", {Where::kAfter, ""}), Code::kMalformed, 3,
       "this key would be in the new section"},
      {"disable another line", "junk\n", Disable({""}), Code::kMalformed, 1,
       "disabled, this line would be a comment"},
      {"enable a line disabled twice", "#;k=1\n", Enable({"", ";k"}),
       Code::kMalformed, 1, "enabled, this line would be a disabled one"},
      {"rename another line", "[]\njunk\n", Rename({""}, "n"), Code::kMalformed,
       2, "this line is in the section without a name"},
      {"anything below an unclosed header", "k=1\n[open\n", Set({"", "k"}, "2"),
       Code::kMalformed, 2, "a header without ']'"},
      {"a disabled one", "#[open\nk=1\n", Delete({"", "k"}), Code::kMalformed,
       1, "a header without ']'"},
  };
  CheckRecordRefusals(cases);
}

}  // namespace
}  // namespace fairlead::internal::ini_document_records_test
