// Tests the edits of an INI document, other than Set() and Add(), in the live
// reading.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fairlead/ini/ini_document_testing.h"

namespace fairlead::internal::ini_document_edit_test {
namespace {

using namespace std::literals;

constexpr const char* kGoesOn = "the value continues on this line";
constexpr const char* kJoins =
    "a value above, ending with '\\', would continue here";

TEST(IniDocumentDeleteTest, DeletesAKeyAndItsComments) {
  const ChangeCase cases[] = {
      {"a key", "[s]\nj=1\nk=2\nl=3\n", Delete({"s", "k"}), "[s]\nj=1\nl=3\n"},
      {"with the comments right above", "[s]\n# a\n\n# b\n; c\nk=1\n# d\n",
       Delete({"s", "k"}), "[s]\n# a\n\n# d\n"},
      {"not its disabled twins", "#k=1\nk=2\n#k=3\n", Delete({"", "k"}),
       "#k=1\n#k=3\n"},
      {"all duplicates", "k=1\n# c\nk=2\nj=\n[t]\n[s]\nk=3\n",
       Delete({"", "k"}), "j=\n[t]\n[s]\nk=3\n"},
      {"one of the duplicates", "k=1\nk=2\nk=3\n", Delete({"", "k", 2}),
       "k=1\nk=3\n"},
      {"without a final newline", "j=1\r\nk=2", Delete({"", "k"}), "j=1\r\n"},
      {"behind a byte order mark", "\xef\xbb\xbfk=1\nj=2\n", Delete({"", "k"}),
       "\xef\xbb\xbfj=2\n"},
      {"the only line", "k=1", Delete({"", "k"}), ""},
      {"with NUL bytes", "\0k\0=\0\nj=\n"s, Delete({"", "\0k\0"sv}), "j=\n"},
      {"of a split section", "[s]\nk=1\n[t]\nk=2\n[s]\nk=3\n",
       Delete({"s", "k"}), "[s]\n[t]\nk=2\n[s]\n"},
      {"beside a value that continues", "j=1\n  more\nk=1\n  i=1\n",
       Delete({"", "k"}), "j=1\n  more\n  i=1\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentDeleteTest, DeletesASectionAndItsComments) {
  const ChangeCase cases[] = {
      {"a section", "[r]\n[s]\nk=1\njunk\n  more\n[t]\n", Delete({"s"}),
       "[r]\n[t]\n"},
      {"one of the blank lines stays", "[r]\n\n[s]\nk=1\n\n[t]\n",
       Delete({"s"}), "[r]\n\n[t]\n"},
      {"the first one", "[s]\nk=1\n\n[t]\n", Delete({"s"}), "[t]\n"},
      {"with its comments", "[r]\n# not\n\n# s\n[s]\nk=1\n# s too\n\n[t]\n",
       Delete({"s"}), "[r]\n# not\n\n[t]\n"},
      {"not those of the next", "[s]\nk=1\n# t\n[t]\n", Delete({"s"}),
       "# t\n[t]\n"},
      {"parts in a row, of the blank lines one",
       "[r]\n\n[s]\nk=1\n[s]\nk=2\n\n[t]\n", Delete({"s"}), "[r]\n\n[t]\n"},
      {"all its parts", "[s]\nk=1\n[t]\nk=2\n[s]\nk=3\n", Delete({"s"}),
       "[t]\nk=2\n"},
      {"not the disabled section below", "[s]\nk=1\n#[t]\n#j=1\n",
       Delete({"s"}), "#[t]\n#j=1\n"},
      {"a disabled header above a key of it", "#[t]\n#j=1\nk=1\n[s]\n",
       Delete({""}), "[s]\n"},
      {"the keys before any header", "# top\n\n# k\nk=1\n#j=1\n\n[s]\n",
       Delete({""}), "# top\n\n[s]\n"},
      {"not what is below an unclosed header", "[s]\nk=1\n[x\nj=1\n",
       Delete({"s"}), "[x\nj=1\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentEnableTest, RemovesTheCommentCharacter) {
  const ChangeCase cases[] = {
      {"a key", "[s]\n#k=1\n", Enable({"s", "k"}), "[s]\nk=1\n"},
      {"and blanks behind it", "[s]\n  # \tk = 1 \r\n", Enable({"s", "k"}),
       "[s]\n  k = 1 \r\n"},
      {"a semicolon", ";k=1", Enable({"", "k"}), "k=1"},
      {"the last one", "#k=1\n;k=2\n#j=1\n", Enable({"", "k"}),
       "#k=1\nk=2\n#j=1\n"},
      {"the first one", "#k=1\n;k=2\n", Enable({"", "k", 1}), "k=1\n;k=2\n"},
      {"a second active one", "k=1\n#k=2\n", Enable({"", "k", 1}),
       "k=1\nk=2\n"},
      {"a key of several words", "#;my key = 1\n", Enable({"", "my key"}),
       "my key = 1\n"},
      {"a key without a letter", ";#-- = 1\n", Enable({"", "--"}), "-- = 1\n"},
      {"behind a CR", "\r#k=1\n", Enable({"", "k"}), "\rk=1\n"},
      {"below a continued value", "a=1\\\nmore\n#k=1\nb=1\n", Enable({"", "k"}),
       "a=1\\\nmore\nk=1\nb=1\n"},
      {"a section", "[r]\n#[s]\n# k=1\n# prose\n#; j k=1\n##x=2\n\n[t]\n#y=1\n",
       Enable({"s"}), "[r]\n[s]\nk=1\n# prose\n#; j k=1\n#x=2\n\n[t]\n#y=1\n"},
      {"all its parts", "#[s]\n#k=1\n[t]\n#[s]\n#k=2\n", Enable({"s"}),
       "[s]\nk=1\n[t]\n[s]\nk=2\n"},
      {"a header with blanks", "; [s]\n", Enable({"s"}), "[s]\n"},
      {"a header with a remark", ";[s] remark\n", Enable({"s"}),
       "[s] remark\n"},
      {"the keys before any header", "# c\n#k=1\n[s]\n#k=2\n", Enable({""}),
       "# c\nk=1\n[s]\n#k=2\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentDisableTest, PutsACommentCharacter) {
  const ChangeCase cases[] = {
      {"a key", "[s]\nk=1\n", Disable({"s", "k"}), "[s]\n#k=1\n"},
      {"with a semicolon", "[s]\nk=1\n", Disable({"s", "k"}, ';'),
       "[s]\n;k=1\n"},
      {"behind the indentation", "\t k = 1 \r\n", Disable({"", "k"}),
       "\t #k = 1 \r\n"},
      {"behind a byte order mark", "\xef\xbb\xbfk=1", Disable({"", "k"}),
       "\xef\xbb\xbf#k=1"},
      {"all duplicates", "k=1\n#k=2\nk=3\n", Disable({"", "k"}, ';'),
       ";k=1\n#k=2\n;k=3\n"},
      {"one of them", "k=1\nk=2\n", Disable({"", "k", 2}), "k=1\n#k=2\n"},
      {"two for a key of several words", "my key=1\n", Disable({"", "my key"}),
       "#;my key=1\n"},
      {"in the other order", "my key=1\n", Disable({"", "my key"}, ';'),
       ";#my key=1\n"},
      {"two for a key without a letter", "--=1\n", Disable({"", "--"}),
       "#;--=1\n"},
      {"one for a word of other bytes", "\xc3\xa4=1\n",
       Disable({"", "\xc3\xa4"}), "#\xc3\xa4=1\n"},
      {"a section", "[r]\n  [s] x\n# c\nk=1\n#j=1\n;;i=1\n\na b=1\n[t]\nk=1\n",
       Disable({"s"}),
       "[r]\n  #[s] x\n# c\n#k=1\n##j=1\n#;;i=1\n\n#;a b=1\n[t]\nk=1\n"},
      {"all its parts", "[s]\n[t]\n[s]\nk=1\n", Disable({"s"}, ';'),
       ";[s]\n[t]\n;[s]\n;k=1\n"},
      {"not the disabled section below", "[s]\nk=1\n#[t]\n#j=1\n",
       Disable({"s"}), "#[s]\n#k=1\n#[t]\n#j=1\n"},
      {"the keys before any header", "k=1\n[s]\nk=2\n", Disable({""}),
       "#k=1\n[s]\nk=2\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentRenameTest, ChangesTheName) {
  const ChangeCase cases[] = {
      {"a key", "[s]\n  k = 1 \r\n", Rename({"s", "k"}, " my key "),
       "[s]\n  my key = 1 \r\n"},
      {"all active duplicates", "k=1\n#k=2\nk=3\n", Rename({"", "k"}, "n"),
       "n=1\n#k=2\nn=3\n"},
      {"one of them", "k=1\nk=2\n", Rename({"", "k", 1}, "n"), "n=1\nk=2\n"},
      {"to that of a disabled one", "k=1\n#n=2\n", Rename({"", "k"}, "n"),
       "n=1\n#n=2\n"},
      {"a key whose value continues", "k=1\n  more\n", Rename({"", "k"}, "n"),
       "n=1\n  more\n"},
      {"a section", "\t[s] remark\r\nk=1\n#[s]\n", Rename({"s"}, " n "),
       "\t[ n ] remark\r\nk=1\n#[s]\n"},
      {"all its parts", "[s]\n[t]\n[s]", Rename({"s"}, "n"), "[n]\n[t]\n[n]"},
      {"to the empty name", "[s]\n", Rename({"s"}, ""), "[]\n"},
      {"from the empty name", "[]\n", Rename({""}, "s"), "[s]\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentCommentTest, ReplacesTheCommentsAbove) {
  const ChangeCase cases[] = {
      {"none yet", "[s]\n  k=1\r\n", Comment({"s", "k"}, "about k"),
       "[s]\n  # about k\r\n  k=1\r\n"},
      {"other ones", "# a\n\n# b\n; c\nk=1\n", Comment({"", "k"}, "new"),
       "# a\n\n# new\nk=1\n"},
      {"several lines", "k=1", Comment({"", "k"}, "\n; a\n\n  b\r\n#c\n\n"),
       "; a\n#\n# b\n#c\nk=1"},
      {"none any more", "# a\n# b\nk=1\n", Comment({"", "k"}, ""), "k=1\n"},
      {"of the last duplicate", "k=1\nk=2\n", Comment({"", "k"}, "c"),
       "k=1\n# c\nk=2\n"},
      {"of the first one", "k=1\nk=2\n", Comment({"", "k", 1}, "c"),
       "# c\nk=1\nk=2\n"},
      {"of a header", "[r]\n[s]\n[s]\n", Comment({"s"}, "c"),
       "[r]\n# c\n[s]\n[s]\n"},
      {"prose with =", "k=1\n", Comment({"", "k"}, "it is a = b"),
       "# it is a = b\nk=1\n"},
      {"of a key whose value continues", "k=1\n  more\n",
       Comment({"", "k"}, "c"), "# c\nk=1\n  more\n"},
      {"below a backslash", "j=1\\\n# a\n  k=1\n", Comment({"", "k"}, "b"),
       "j=1\\\n  # b\n  k=1\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentEditTest, ReturnsWhyNothingChanges) {
  const RefusalCase cases[] = {
      {"delete no section", "[s]\n", Delete({"t", "k"}), Code::kNoSection},
      {"delete no key", "[s]\n", Delete({"s", "k"}), Code::kNoKey},
      {"delete no second one", "k=1\n#k=2\n", Delete({"", "k", 2}),
       Code::kNoKey},
      {"delete a disabled key", "#k=1\n", Delete({"", "k"}), Code::kDisabled},
      {"delete in a disabled section", "#[s]\n#k=1\n", Delete({"s", "k"}),
       Code::kDisabled},
      {"delete a disabled section", "#[s]\n", Delete({"s"}), Code::kDisabled},
      {"delete no keys at the top", "# c\n\n[s]\n", Delete({""}),
       Code::kNoSection},
      {"enable an active key", "k=1\n#k=2\n", Enable({"", "k"}),
       Code::kUnchanged},
      {"enable an active section", "[s]\n#[s]\n", Enable({"s"}),
       Code::kUnchanged},
      {"enable no key", "[s]\n", Enable({"s", "k"}), Code::kNoKey},
      {"enable no second one", "#k=1\n", Enable({"", "k", 2}), Code::kNoKey},
      {"enable in a disabled section", "#[s]\n#k=1\n", Enable({"s", "k"}),
       Code::kDisabled},
      {"enable no section", "# s\n", Enable({"s"}), Code::kNoSection},
      {"enable prose", "# my key = 1\n", Enable({"", "my key"}),
       Code::kNoSection},
      {"disable a disabled key", "#k=1\n", Disable({"", "k"}),
       Code::kUnchanged},
      {"disable a disabled section", "#[s]\n", Disable({"s"}),
       Code::kUnchanged},
      {"disable no key", "[s]\n", Disable({"s", "k"}), Code::kNoKey},
      {"disable no section", "", Disable({"s"}), Code::kNoSection},
      {"disable with another character", "k=1\n", Disable({"", "k"}, '!'),
       Code::kInvalid, 0, "a comment character is '#' or ';'"},
      {"rename to the same", "k=1\n", Rename({"", "k"}, " k "),
       Code::kUnchanged},
      {"rename a section to the same", "[s]\n", Rename({"s"}, "s"),
       Code::kUnchanged},
      {"rename no key", "[s]\n", Rename({"s", "k"}, "n"), Code::kNoKey},
      {"rename no section", "[s]\n", Rename({"t"}, "n"), Code::kNoSection},
      {"rename a disabled key", "#k=1\n", Rename({"", "k"}, "n"),
       Code::kDisabled},
      {"rename to a key that exists", "k=1\n\nn=2\nn=3\n",
       Rename({"", "k"}, "n"), Code::kExists, 3},
      {"rename to a section that exists", "[s]\n[n]\n", Rename({"s"}, "n"),
       Code::kExists, 2},
      {"rename to an empty key", "k=1\n", Rename({"", "k"}, " "),
       Code::kInvalid, 0, "a key cannot be empty"},
      {"rename to a bad section", "[s]\n", Rename({"s"}, "]"), Code::kInvalid,
       0, "a section name cannot contain ']'"},
      {"rename the keys at the top", "k=1\n", Rename({""}, "n"),
       Code::kNoHeader},
      {"comment the keys at the top", "k=1\n", Comment({""}, "c"),
       Code::kNoHeader},
      {"comment with the same", "# a\n#b\nk=1\n", Comment({"", "k"}, "a\n#b"),
       Code::kUnchanged},
      {"comment with a disabled key", "k=1\n", Comment({"", "k"}, "a=b"),
       Code::kInvalid, 0,
       "a comment cannot look like a disabled key or header"},
      {"comment with a disabled header", "k=1\n", Comment({"", "k"}, "x\n[a]"),
       Code::kInvalid, 0,
       "a comment cannot look like a disabled key or header"},
      {"comment no key", "[s]\n", Comment({"s", "k"}, "c"), Code::kNoKey},
      {"comment a disabled section", "#[s]\n", Comment({"s"}, "c"),
       Code::kDisabled},
  };
  CheckRefusals(cases);
}

TEST(IniDocumentEditTest, RefusesToChangeOtherLines) {
  const RefusalCase cases[] = {
      {"delete a continued value", "[s]\nk=1\n  more\n", Delete({"s", "k"}),
       Code::kMalformed, 3, kGoesOn},
      {"disable a continued value", "[s]\nk=1\n\tmore\n", Disable({"s", "k"}),
       Code::kMalformed, 3, kGoesOn},
      {"delete one that continues below a comment", "k=\n  # a\n  more\n",
       Delete({"", "k"}), Code::kMalformed, 3, kGoesOn},
      {"disable one that continues below a comment", "k=\n  # a\n  more\n",
       Disable({"", "k"}), Code::kMalformed, 3, kGoesOn},
      {"disable one below a backslash", "k=1\\\n  j=2\n", Disable({"", "k"}),
       Code::kMalformed, 2, kGoesOn},
      {"one continued duplicate of two", "k=1\n  more\nk=2\n",
       Delete({"", "k"}), Code::kMalformed, 2, kGoesOn},
      {"delete what separates a backslash", "a=1\\\nb=2\n  c=3\n",
       Delete({"", "b"}), Code::kMalformed, 3, kJoins},
      {"delete a section that does", "a=1\\\n[s]\n  [t]\n", Delete({"s"}),
       Code::kMalformed, 3, kJoins},
      {"delete a comment that does", "a=1\\\n# c\n  b=2\n",
       Comment({"", "b"}, ""), Code::kMalformed, 3, kJoins},
      {"enable a key below a backslash", "a=1\\\n  #b=2\n", Enable({"", "b"}),
       Code::kMalformed, 2, kJoins},
      {"enable a key with a backslash", "#a=1\\\n  b=2\n", Enable({"", "a"}),
       Code::kMalformed, 2, kJoins},
      {"enable such a section", "#[s]\n#a=1\\\n  #b=2\n", Enable({"s"}),
       Code::kMalformed, 3, kJoins},
      {"disable a section with another line", "[s]\nk=1\n\njunk\n",
       Disable({"s"}), Code::kMalformed, 4,
       "a line that is neither comment, header nor key=value cannot be "
       "disabled"},
      {"disable a section with one below a disabled section",
       "[s]\nk=1\n#[t]\n\njunk\n[u]\n", Disable({"s"}), Code::kMalformed, 5,
       "a line that is neither comment, header nor key=value cannot be "
       "disabled"},
      {"delete a section with one below a disabled section",
       "[r]\n[s]\nk=1\n#[t]\njunk\n[u]\n", Delete({"s"}), Code::kMalformed, 5,
       "this line would be in another section"},
      {"disable a section that is disabled elsewhere", "[s]\nk=1\n[t]\n#[s]\n",
       Disable({"s"}), Code::kExists, 4},
      {"disable a key into a disabled section", "[s]\n#[t]\n#j=1\nk=1\n",
       Disable({"s", "k"}), Code::kMalformed, 2,
       "the key would be in this disabled section"},
      {"add a section above another line", "[s]\nk=1\n#[t]\njunk\n[u]\n",
       Add({"n"}, "", {.where = IniPlace::Where::kAfter, .name = "s"}),
       Code::kMalformed, 4, "this line would be in the new section"},
      {"enable a section above another line", "[s]\n#[t]\n#j=1\n\njunk\n[u]\n",
       Enable({"t"}), Code::kMalformed, 5,
       "this line would be in the enabled section"},
      {"enable a section above keys of another", "[s]\n#[t]\n#j=1\n\nk=1\n",
       Enable({"t"}), Code::kMalformed, 5,
       "this key would be in the enabled section"},
  };
  CheckRefusals(cases);
}

// Makes the edits one after the other; all but the last one must be done.
DocumentEdit InTurn(const std::vector<DocumentEdit>& edits) {
  return [=](IniDocument& document) {
    IniResult result;
    for (const DocumentEdit& edit : edits) {
      EXPECT_EQ(result.code, Code::kDone);
      result = edit(document);
    }
    return result;
  };
}

// The first edit of marks is noted, the second one makes a copy.
TEST(IniDocumentEditTest, EditsTheSameLineAgain) {
  const std::string text = "[s]\n  k = 1 \r\n  a b=2";
  const ChangeCase cases[] = {
      {"disable twice", text, InTurn({Disable({"s", "k"}), Disable({"s"})}),
       "#[s]\n  ##k = 1 \r\n  #;a b=2"},
      {"with the other character", text,
       InTurn({Disable({"s", "k"}, ';'), Disable({"s"})}),
       "#[s]\n  #;k = 1 \r\n  #;a b=2"},
      {"disable twice, enable", text,
       InTurn({Disable({"s", "k"}), Disable({"s"}), Enable({"s"})}),
       "[s]\n  #k = 1 \r\n  a b=2"},
      {"disable, enable, disable", text,
       InTurn({Disable({"s"}), Enable({"s"}), Disable({"s"}, ';')}),
       ";[s]\n  ;k = 1 \r\n  ;#a b=2"},
      {"enable, set", "#[s]\n  # \tk = 1 \r\n",
       InTurn({Enable({"s"}), Set({"s", "k"}, "22")}), "[s]\n  k = 22 \r\n"},
      {"enable, rename", "#[s]\n  # \tk = 1 \r\n",
       InTurn({Enable({"s"}), Rename({"s", "k"}, "long"), Rename({"s"}, "t")}),
       "[t]\n  long = 1 \r\n"},
      {"enable, disable", "  # \tk = 1\n",
       InTurn({Enable({"", "k"}), Disable({"", "k"}, ';')}), "  ;k = 1\n"},
      {"set, disable, delete", "[s]\nk=1\n[t]\n",
       InTurn({Set({"s", "k"}, "2"), Disable({"s", "k"}), Delete({"s"})}),
       "[t]\n"},
      {"disable, add in the same style", "  k : = 1\n",
       InTurn({Disable({"", "k :"}), Set({"", "k :"}, "2")}),
       "  #;k : = 1\n  k : = 2\n"},
      {"disable, add behind it", "k = 1",
       InTurn({Disable({"", "k"}), Add({"", "k"}, "2")}), "#k = 1\nk = 2"},
      {"enable, comment", "\t# k=1\r\n",
       InTurn({Enable({"", "k"}), Comment({"", "k"}, "c")}),
       "\t# c\r\n\tk=1\r\n"},
      {"blanks of any number", "#" + std::string(254, ' ') + "k=1\n",
       Enable({"", "k"}), "k=1\n"},
      {"of more", "#" + std::string(255, ' ') + "k=1\n", Enable({"", "k"}),
       "k=1\n"},
  };
  CheckChanges(cases);
}

// One between those of the refused edit.
TEST(IniDocumentEditTest, ARefusalLeavesTheMarksOfAnEarlierEdit) {
  IniDocument document("[s]\nk=1\nj=2\n#[t]\n#i=3\nk=4\n");
  EXPECT_EQ(document.Disable({"s", "j"}).code, Code::kDone);
  EXPECT_EQ(document.Disable({"s", "k"}).code, Code::kMalformed);
  EXPECT_EQ(document.Text(), "[s]\nk=1\n#j=2\n#[t]\n#i=3\nk=4\n");
}

// Before the first header, such a line stays where it is.
TEST(IniDocumentEditTest, LeavesOtherLinesBelowDisabledSections) {
  const ChangeCase cases[] = {
      {"disable", "k=1\n#[t]\njunk\n[u]\n", Disable({""}),
       "#k=1\n#[t]\njunk\n[u]\n"},
      {"delete", "k=1\n#[t]\njunk\n[u]\n", Delete({""}), "#[t]\njunk\n[u]\n"},
      {"one of the next section", "[s]\nk=1\n#[t]\n[u]\njunk\n", Disable({"s"}),
       "#[s]\n#k=1\n#[t]\n[u]\njunk\n"},
  };
  CheckChanges(cases);
}

// The other lines of a text with an unclosed header can be edited.
TEST(IniDocumentEditTest, EditsBesideAnUnclosedHeader) {
  const std::string text = "[s]\nk=1\n[open\nj=2\n[t]\nl=3\n";
  const ChangeCase cases[] = {
      {"set", text, Set({"t", "l"}, "4"), "[s]\nk=1\n[open\nj=2\n[t]\nl=4\n"},
      {"disable", text, Disable({"s"}), "#[s]\n#k=1\n[open\nj=2\n[t]\nl=3\n"},
      {"delete", text, Delete({"t"}), "[s]\nk=1\n[open\nj=2\n"},
  };
  CheckChanges(cases);
  const RefusalCase refusals[] = {
      {"not of the section above", text, Delete({"s", "j"}), Code::kNoKey},
      {"not of its part", text, Delete({"ope", "j"}), Code::kNoSection},
  };
  CheckRefusals(refusals);
}

// A second section of the name would leave the first one as it is.
TEST(IniDocumentEditTest, RefusesTheSectionOfAnUnclosedHeader) {
  constexpr const char* kReason = "a header without ']'";
  const std::string text = "[s]\nk=1\n[ open \nj=2\n";
  const RefusalCase refusals[] = {
      {"set", text, Set({"open", "j"}, "3"), Code::kMalformed, 3, kReason},
      {"set a new key", text, Set({"open", "n"}, "3"), Code::kMalformed, 3,
       kReason},
      {"with spaces", text, Set({" open", "j"}, "3"), Code::kMalformed, 3,
       kReason},
      {"add", text, Add({"open"}), Code::kMalformed, 3, kReason},
      {"delete", text, Delete({"open"}), Code::kMalformed, 3, kReason},
      {"delete a key", text, Delete({"open", "j"}), Code::kMalformed, 3,
       kReason},
      {"enable", text, Enable({"open"}), Code::kMalformed, 3, kReason},
      {"disable", text, Disable({"open"}), Code::kMalformed, 3, kReason},
      {"rename", text, Rename({"open"}, "t"), Code::kMalformed, 3, kReason},
      {"comment", text, Comment({"open"}, "c"), Code::kMalformed, 3, kReason},
  };
  CheckRefusals(refusals);
  const ChangeCase cases[] = {
      {"but not of one that exists too", "[open\nj=2\n[open]\nk=1\n",
       Set({"open", "k"}, "3"), "[open\nj=2\n[open]\nk=3\n"},
      {"nor the one without a name", "[\n[s]\n", Set({"", "k"}, "3"),
       "k=3\n[\n[s]\n"},
  };
  CheckChanges(cases);
}

// It may be a line of a list, such as `hosts =`, `  [a,` and `  b]`.
TEST(IniDocumentEditTest, RefusesTheValueThatAnUnclosedHeaderMayContinue) {
  constexpr const char* kReason =
      "a value above may continue on this header without ']'";
  const std::string text = "[s]\nj=1\n[t]\nk =\n\n# c\n  [a,\n  b\nl=2\n";
  const RefusalCase refusals[] = {
      {"set", text, Set({"t", "k"}, "3"), Code::kMalformed, 7, kReason},
      {"delete", text, Delete({"t", "k"}), Code::kMalformed, 7, kReason},
      {"disable", text, Disable({"t", "k"}), Code::kMalformed, 7, kReason},
      {"a key between", text, Set({"t", "n"}, "3"), Code::kMalformed, 7,
       kReason},
      {"delete the section", text, Delete({"t"}), Code::kMalformed, 7, kReason},
      {"disable the section", text, Disable({"t"}), Code::kMalformed, 7,
       kReason},
      {"delete a header between", "  [b,\nk=1\n[s]\n  [a,\n", Delete({"s"}),
       Code::kMalformed, 4, kReason},
      {"disable it", "k=1\n[s]\n  [a,\n", Disable({"s"}), Code::kMalformed, 3,
       kReason},
      {"a new key above", "[s]\n  [a,\n", Set({"s", "n"}, "3"),
       Code::kMalformed, 2, kReason},
      {"an enabled key above", "#k=1\n  [a,\n", Enable({"", "k"}),
       Code::kMalformed, 2, kReason},
  };
  CheckRefusals(refusals);
  const ChangeCase cases[] = {
      {"but not another key", text, Set({"s", "j"}, "3"),
       "[s]\nj=3\n[t]\nk =\n\n# c\n  [a,\n  b\nl=2\n"},
      {"nor the section above", text, Delete({"s"}),
       "[t]\nk =\n\n# c\n  [a,\n  b\nl=2\n"},
      {"nor one that is not indented", "k=1\n[a,\n", Set({"", "k"}, "3"),
       "k=3\n[a,\n"},
      {"nor one below a header", "k=1\n[s]\n  [a,\n", Set({"", "k"}, "3"),
       "k=3\n[s]\n  [a,\n"},
  };
  CheckChanges(cases);
}

}  // namespace
}  // namespace fairlead::internal::ini_document_edit_test
