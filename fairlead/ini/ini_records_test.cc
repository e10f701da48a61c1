// Tests of the operations on single keys of an INI file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"

namespace fairlead::internal::ini_records_test {
namespace {

using testing::ElementsAre;

using IniRecordsTest = IniTest;

const EditCase kEdits[] = {
    // SetValue: a new section
    {"a new section in an empty file", "",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\nk=v\n"},
    {"a new section goes to the end", "x=1\n[a]\ny=2\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "x=1\n[a]\ny=2\n[s]\nk=v\n"},
    {"a new section does not trim the key", "",
     [](auto& f) { return CIniFile::SetValue(" k ", "v", "s", f); },
     "[s]\n k =v\n"},
    {"a value is not trimmed", "",
     [](auto& f) { return CIniFile::SetValue("k", " v ", "s", f); },
     "[s]\nk= v \n"},
    {"section names are exact", "[S]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[S]\nk=1\n[s]\nk=v\n"},
    {"section names are not trimmed", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", " s", f); },
     "[s]\nk=1\n[ s]\nk=v\n"},
    {"section "
     " is new if no key precedes a header",
     "[a]\n", [](auto& f) { return CIniFile::SetValue("k", "v", "", f); },
     "[a]\n[]\nk=v\n"},
    {"an empty key in a new section", "",
     [](auto& f) { return CIniFile::SetValue("", "v", "s", f); }, "[s]\n[s]\n"},
    {"a blank key in a new section", "",
     [](auto& f) { return CIniFile::SetValue(" ", "v", "s", f); },
     "[s]\n =v\n"},

    // SetValue: a new key
    {"a new key goes right below the header", "[s]\na=1\nb=2\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\nk=v\na=1\nb=2\n"},
    {"a new key is trimmed", "[s]\n",
     [](auto& f) { return CIniFile::SetValue(" \t\r\nk \t\r\n", "v", "s", f); },
     "[s]\nk=v\n"},
    {"spaces inside a key stay", "[s]\n",
     [](auto& f) { return CIniFile::SetValue(" a b ", "v", "s", f); },
     "[s]\na b=v\n"},
    {"a new key below a disabled header", ";[s]\na=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     ";[s]\nk=v\na=1\n", "<;> "},
    {"a new key below the first of two headers", "[s]\na=1\n[t]\n[s]\nb=2\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\nk=v\na=1\n[t]\n[s]\nb=2\n"},
    {"a new key below the first key before any header", "a=1\nb=2\n[s]\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "", f); },
     "a=1\nk=v\nb=2\n[s]\n"},
    {"a new key above the comments of the next", "#c\n[s]\n#d\na=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "#c\n[s]\nk=v\n#d\na=1\n"},
    {"key names are exact", "[s]\nK=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\nk=v\nK=1\n"},
    {"a key of another section is another key", "[t]\nk=1\n[s]\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[t]\nk=1\n[s]\nk=v\n"},
    {"an empty key in a section without a header", "a=1\n",
     [](auto& f) { return CIniFile::SetValue("", "v", "", f); }, "a=1\n[]\n"},

    // SetValue: a key that exists
    {"a value is replaced", "[s]\na=1\nk=old\nb=2\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\na=1\nk=v\nb=2\n"},
    {"a key is found by its trimmed name", "[s]\nk=old\n",
     [](auto& f) { return CIniFile::SetValue(" k\t", "v", "s", f); },
     "[s]\nk=v\n"},
    {"the first of two keys is replaced", "[s]\nk=1\nk=2\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\nk=v\nk=2\n"},
    {"a disabled key stays disabled", "[s]\n#k=old\nk=2\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\n#k=v\nk=2\n", "<#> "},
    {"comments stay", "[s]\n#c\nk=old\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\n#c\nk=v\n"},
    {"a key under the second header is found", "[s]\n[t]\n[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\n[t]\n[s]\nk=v\n"},
    {"a value becomes empty", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "", "s", f); }, "[s]\nk=\n"},
    {"an LF in a value breaks the line", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "a\nb=2", "s", f); },
     "[s]\nk=a\nb=2\n"},
    {"an empty key finds the header, which has no value", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("", "v", "s", f); }, "[s]\nk=1\n"},

    // CommentRecord and UnCommentRecord
    {"disable a key", "[s]\na=1\nk=2\n",
     [](auto& f) {
       return CIniFile::CommentRecord(CIniFile::Semicolon, "k", "s", f);
     },
     "[s]\na=1\n;k=2\n", "<;> "},
    {"disable with the other character", "[s]\n;k=2\n",
     [](auto& f) {
       return CIniFile::CommentRecord(CIniFile::Hash, "k", "s", f);
     },
     "[s]\n#k=2\n", "<#> "},
    {"disable the first of two keys", "[s]\nk=1\nk=2\n",
     [](auto& f) {
       return CIniFile::CommentRecord(CIniFile::Hash, "k", "s", f);
     },
     "[s]\n#k=1\nk=2\n", "<#> "},
    {"disabling a disabled key saves", " [s]\n#k=1\n",
     [](auto& f) {
       return CIniFile::CommentRecord(CIniFile::Hash, "k", "s", f);
     },
     "[s]\n#k=1\n", "<#> "},
    {"disable a header by an empty key", "[s]\nk=1\n",
     [](auto& f) {
       return CIniFile::CommentRecord(CIniFile::Hash, "", "s", f);
     },
     "#[s]\nk=1\n", "<#> "},
    {"enable a key", "[s]\n#c\n#k=1\n;k=2\n",
     [](auto& f) { return CIniFile::UnCommentRecord("k", "s", f); },
     "[s]\n#c\nk=1\n;k=2\n", "<;> "},
    {"enabling an active key saves", " [s]\nk=1\n",
     [](auto& f) { return CIniFile::UnCommentRecord("k", "s", f); },
     "[s]\nk=1\n"},

    // DeleteRecord
    {"delete a key and its comments", "[s]\n#c\nk=1\n#d\na=2\n",
     [](auto& f) { return CIniFile::DeleteRecord("k", "s", f); },
     "[s]\n#d\na=2\n"},
    {"delete the first of two keys", "[s]\nk=1\na=2\nk=3\n",
     [](auto& f) { return CIniFile::DeleteRecord("k", "s", f); },
     "[s]\na=2\nk=3\n"},
    {"delete a disabled key", "[s]\n;k=1\n",
     [](auto& f) { return CIniFile::DeleteRecord("k", "s", f); }, "[s]\n"},
    {"delete a header by an empty key: its keys stay", "[t]\n[s]\nk=1\n",
     [](auto& f) { return CIniFile::DeleteRecord("", "s", f); }, "[t]\nk=1\n"},

    // SetRecordComments
    {"comments gain an LF", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#a", "k", "s", f); },
     "[s]\n#a\nk=1\n"},
    {"comments that end in LF gain another", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#a\n", "k", "s", f); },
     "[s]\n#a\n\nk=1\n"},
    {"a single character gains none", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#", "k", "s", f); },
     "[s]\n#k=1\n"},
    {"a single LF gains none", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("\n", "k", "s", f); },
     "[s]\n\nk=1\n"},
    {"no comments", "[s]\n#c\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("", "k", "s", f); },
     "[s]\nk=1\n"},
    {"new comments replace the old", "[s]\n#c\n;d\n;k=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#1\n;2", "k", "s", f); },
     "[s]\n#1\n;2\n;k=1\n", "<;> "},
    {"comment characters are not added", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("[x]", "k", "s", f); },
     "[s]\n[x]\nk=1\n"},
    {"comments of the first of two keys", "[s]\nk=1\nk=2\n",
     [](auto& f) { return CIniFile::SetRecordComments("#a", "k", "s", f); },
     "[s]\n#a\nk=1\nk=2\n"},
    {"comments of a header by an empty key", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#a", "", "s", f); },
     "#a\n[s]\nk=1\n"},
};

TEST_F(IniRecordsTest, EditsRewriteTheFile) { CheckEdits(kEdits); }

const EditCall kEditsOfOneRecord[] = {
    [](auto& f) {
      return CIniFile::CommentRecord(CIniFile::Hash, "k", "s", f);
    },
    [](auto& f) { return CIniFile::UnCommentRecord("k", "s", f); },
    [](auto& f) { return CIniFile::DeleteRecord("k", "s", f); },
    [](auto& f) { return CIniFile::SetRecordComments("#a", "k", "s", f); },
    // Only SetValue() and RecordExists() trim the key.
    [](auto& f) {
      return CIniFile::CommentRecord(CIniFile::Hash, " a ", "s", f);
    },
    [](auto& f) { return CIniFile::UnCommentRecord(" a ", "s", f); },
    [](auto& f) { return CIniFile::DeleteRecord(" a ", "s", f); },
    [](auto& f) { return CIniFile::SetRecordComments("#a", " a ", "s", f); },
};

TEST_F(IniRecordsTest, EditsOfAMissingKeyChangeNothing) {
  const std::string text = " [s] \n a = 1\n;K=2\n[t]\nk=3";
  Write(text);
  CapturedOutput output;
  for (const EditCall& edit : kEditsOfOneRecord) EXPECT_FALSE(edit(Path()));
  EXPECT_EQ(output.Take(), "");
  EXPECT_EQ(Read(), text);
}

TEST_F(IniRecordsTest, EditsOfAMissingKeyDoNotCreateAFile) {
  for (const EditCall& edit : kEditsOfOneRecord) EXPECT_FALSE(edit(Path()));
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

TEST_F(IniRecordsTest, SetValueCreatesAMissingFile) {
  EXPECT_TRUE(CIniFile::SetValue("k", "v", "s", Path()));
  EXPECT_EQ(Read(), "[s]\nk=v\n");
}

TEST_F(IniRecordsTest, SetValueInsertsEachKeyAtTheTop) {
  for (const char* key : {"a", "b", "c"})
    EXPECT_TRUE(CIniFile::SetValue(key, key, "s", Path()));
  EXPECT_EQ(Read(), "[s]\nc=c\nb=b\na=a\n");
}

// Loading trims the key, so the second call finds it.
TEST_F(IniRecordsTest, SetValueTwiceWithSpacesSetsOneKey) {
  EXPECT_TRUE(CIniFile::SetValue(" k ", "1", "s", Path()));
  EXPECT_TRUE(CIniFile::SetValue(" k ", "2", "s", Path()));
  EXPECT_EQ(Read(), "[s]\nk=2\n");
}

TEST_F(IniRecordsTest, CommentsAreLoadedWithTheirLf) {
  Write("[s]\nk=1\n");
  EXPECT_TRUE(CIniFile::SetRecordComments("#a\n", "k", "s", Path()));
  EXPECT_THAT(CIniFile::GetRecord("k", "s", Path()),
              ElementsAre(Record{"#a\n", ' ', "s", "k", "1"}));
}

TEST_F(IniRecordsTest, GetRecordCopiesTheFirstMatch) {
  Write("k=0\n[s]\n#c\n;k=1\nk=2\n");
  EXPECT_THAT(CIniFile::GetRecord("k", "s", Path()),
              ElementsAre(Record{"#c\n", ';', "s", "k", "1"}));
  EXPECT_THAT(CIniFile::GetRecord("k", "", Path()),
              ElementsAre(Record{"", ' ', "", "k", "0"}));
  EXPECT_THAT(CIniFile::GetRecord("", "s", Path()),
              ElementsAre(Record{"", ' ', "s", "", ""}));
  EXPECT_THAT(CIniFile::GetRecord("K", "s", Path()), ElementsAre());
  EXPECT_THAT(CIniFile::GetRecord(" k", "s", Path()), ElementsAre());
  EXPECT_THAT(CIniFile::GetRecord("s", "k", Path()), ElementsAre());
}

struct ValueCase {
  const char* text;
  const char* key;
  const char* section;
  const char* value;
  bool exists;
};

constexpr ValueCase kValues[] = {
    {"[s]\nk=v\n", "k", "s", "v", true},
    {"[s]\n  k  =  v = w  \n", "k", "s", "v = w", true},
    {"[s]\nk=v", "k", "s", "v", true},  // no LF at the end
    {"[s]\r\nk=v\r\n", "k", "s", "v", true},
    {"[s]\nk=1\nk=2\n", "k", "s", "1", true},
    {"[s]\n#k=1\nk=2\n", "k", "s", "1", true},  // a disabled one counts
    {"[s]\n[t]\nk=1\n[s]\nk=2\n", "k", "s", "2", true},
    {"[s]\nk=\nk=2\n", "k", "s", "", true},  // an empty value counts
    {"[s]\nk=1\n", "K", "s", "", false},
    {"[s]\nk=1\n", "k", "S", "", false},
    {"k=1\n", "k", "", "1", true},
    {"[s]\nk=1\n", "k", "", "", false},
    {"[s]\nk=1\n", "", "s", "", true},      // the header
    {"[s]\n=v\n", "", "s", "", true},       // the header comes first
    {"=v\n", "", "", "v", true},            // there is no header
    {"junk\n=v\n", "", "", "", true},       // the malformed line comes first
    {"#c\njunk\n=v\n", "", "", "v", true},  // it is dropped below a comment
    {"#c\n[s]\njunk\n=v\n", "", "", "", true},
    {"", "", "", "", false},
    {"", "k", "s", "", false},
};

TEST_F(IniRecordsTest, GetValueAndRecordExistsFindTheFirstMatch) {
  for (const ValueCase& c : kValues) {
    SCOPED_TRACE(testing::Message() << testing::PrintToString(c.text) << ": "
                                    << c.section << '/' << c.key);
    Write(c.text);
    EXPECT_EQ(CIniFile::GetValue(c.key, c.section, Path()), c.value);
    EXPECT_EQ(CIniFile::RecordExists(c.key, c.section, Path()), c.exists);
    EXPECT_EQ(CIniFile::GetRecord(c.key, c.section, Path()).size(),
              c.exists ? 1U : 0U);
  }
}

TEST_F(IniRecordsTest, OnlyRecordExistsTrimsTheKey) {
  Write("[s]\nk=v\n");
  EXPECT_TRUE(CIniFile::RecordExists(" \t\r\nk \t\r\n", "s", Path()));
  EXPECT_FALSE(CIniFile::RecordExists("k", " s", Path()));
  EXPECT_TRUE(CIniFile::RecordExists("  ", "s", Path()));  // The header.
  EXPECT_EQ(CIniFile::GetValue(" k", "s", Path()), "");
}

TEST_F(IniRecordsTest, ReadingAMissingFileCreatesNothing) {
  EXPECT_THAT(CIniFile::GetRecord("k", "s", Path()), ElementsAre());
  EXPECT_EQ(CIniFile::GetValue("k", "s", Path()), "");
  EXPECT_FALSE(CIniFile::RecordExists("k", "s", Path()));
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

TEST_F(IniRecordsTest, ReadingWritesNothing) {
  const std::string text = " [s] \n;k = 1";
  Write(text);
  CapturedOutput output;
  CIniFile::GetRecord("k", "s", Path());
  CIniFile::GetValue("k", "s", Path());
  CIniFile::RecordExists("k", "s", Path());
  EXPECT_EQ(output.Take(), "");
  EXPECT_EQ(Read(), text);
}

}  // namespace
}  // namespace fairlead::internal::ini_records_test
