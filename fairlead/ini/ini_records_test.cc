#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "fairlead/fairlead.h"
#include "fairlead/ini/ini_test.h"

namespace fairlead {
namespace {

using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

using IniRecordsTest = IniTest;

const EditCase kEdits[] = {
    // SetValue: a new section
    {"a new section in an empty file", "",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[s]\nk=v\n"},
    {"a new section goes to the end", "x=1\n[a]\ny=2\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "x=1\n[a]\ny=2\n[s]\nk=v\n"},
    {"a new section keeps the blanks of the key", "",
     [](auto& f) { return CIniFile::SetValue(" k ", "v", "s", f); },
     "[s]\n k =v\n"},
    {"a value keeps its blanks", "",
     [](auto& f) { return CIniFile::SetValue("k", " v ", "s", f); },
     "[s]\nk= v \n"},
    {"section names are exact", "[S]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "s", f); },
     "[S]\nk=1\n[s]\nk=v\n"},
    {"section names are not trimmed", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", " s", f); },
     "[s]\nk=1\n[ s]\nk=v\n"},
    {"the nameless section is new without a key before a header", "[a]\n",
     [](auto& f) { return CIniFile::SetValue("k", "v", "", f); },
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
    {"a new key loses its blanks", "[s]\n",
     [](auto& f) { return CIniFile::SetValue(" \t\r\nk \t\r\n", "v", "s", f); },
     "[s]\nk=v\n"},
    {"blanks inside a key stay", "[s]\n",
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
    {"an empty key where no header is", "a=1\n",
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
    {"disable by the other character", "[s]\n;k=2\n",
     [](auto& f) {
       return CIniFile::CommentRecord(CIniFile::Hash, "k", "s", f);
     },
     "[s]\n#k=2\n", "<#> "},
    {"disable the first of two", "[s]\nk=1\nk=2\n",
     [](auto& f) {
       return CIniFile::CommentRecord(CIniFile::Hash, "k", "s", f);
     },
     "[s]\n#k=1\nk=2\n", "<#> "},
    {"disable what is disabled saves again", " [s]\n#k=1\n",
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
    {"enable what is active saves again", " [s]\nk=1\n",
     [](auto& f) { return CIniFile::UnCommentRecord("k", "s", f); },
     "[s]\nk=1\n"},

    // DeleteRecord
    {"delete a key and its comments", "[s]\n#c\nk=1\n#d\na=2\n",
     [](auto& f) { return CIniFile::DeleteRecord("k", "s", f); },
     "[s]\n#d\na=2\n"},
    {"delete the first of two", "[s]\nk=1\na=2\nk=3\n",
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
    {"comments gain an LF after their own", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#a\n", "k", "s", f); },
     "[s]\n#a\n\nk=1\n"},
    {"one character gains none", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#", "k", "s", f); },
     "[s]\n#k=1\n"},
    {"an LF alone gains none", "[s]\nk=1\n",
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
    {"comments of the first of two", "[s]\nk=1\nk=2\n",
     [](auto& f) { return CIniFile::SetRecordComments("#a", "k", "s", f); },
     "[s]\n#a\nk=1\nk=2\n"},
    {"comments of a header by an empty key", "[s]\nk=1\n",
     [](auto& f) { return CIniFile::SetRecordComments("#a", "", "s", f); },
     "#a\n[s]\nk=1\n"},
};

TEST_F(IniRecordsTest, EditsBytesIntoBytes) { EditsAsTold(kEdits); }

const Edit kEditsOfTheFound[] = {
    [](auto& f) {
      return CIniFile::CommentRecord(CIniFile::Hash, "k", "s", f);
    },
    [](auto& f) { return CIniFile::UnCommentRecord("k", "s", f); },
    [](auto& f) { return CIniFile::DeleteRecord("k", "s", f); },
    [](auto& f) { return CIniFile::SetRecordComments("#a", "k", "s", f); },
    // Only SetValue() and RecordExists() cut the blanks of a key.
    [](auto& f) {
      return CIniFile::CommentRecord(CIniFile::Hash, " a ", "s", f);
    },
    [](auto& f) { return CIniFile::UnCommentRecord(" a ", "s", f); },
    [](auto& f) { return CIniFile::DeleteRecord(" a ", "s", f); },
    [](auto& f) { return CIniFile::SetRecordComments("#a", " a ", "s", f); },
};

TEST_F(IniRecordsTest, EditsOfAMissingKeyLeaveTheFileUntouched) {
  const std::string text = " [s] \n a = 1\n;K=2\n[t]\nk=3";
  Write(text);
  CaptureStdout();
  for (const Edit& edit : kEditsOfTheFound) EXPECT_FALSE(edit(Path()));
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(Read(), text);
}

TEST_F(IniRecordsTest, EditsOfAMissingKeyDoNotCreateAFile) {
  for (const Edit& edit : kEditsOfTheFound) EXPECT_FALSE(edit(Path()));
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

TEST_F(IniRecordsTest, SetValueCreatesAMissingFile) {
  EXPECT_TRUE(CIniFile::SetValue("k", "v", "s", Path()));
  EXPECT_EQ(Read(), "[s]\nk=v\n");
}

TEST_F(IniRecordsTest, SetValuePutsKeysOnTopOneAfterTheOther) {
  for (const char* key : {"a", "b", "c"})
    EXPECT_TRUE(CIniFile::SetValue(key, key, "s", Path()));
  EXPECT_EQ(Read(), "[s]\nc=c\nb=b\na=a\n");
}

// The blanks go when the file is loaded, so that the second call finds the key.
TEST_F(IniRecordsTest, SetValueTwiceWithBlanksIsOneKey) {
  EXPECT_TRUE(CIniFile::SetValue(" k ", "1", "s", Path()));
  EXPECT_TRUE(CIniFile::SetValue(" k ", "2", "s", Path()));
  EXPECT_EQ(Read(), "[s]\nk=2\n");
}

TEST_F(IniRecordsTest, CommentsAreStoredWithTheirLf) {
  Write("[s]\nk=1\n");
  EXPECT_TRUE(CIniFile::SetRecordComments("#a\n", "k", "s", Path()));
  EXPECT_THAT(CIniFile::GetRecord("k", "s", Path()),
              ElementsAre(Record{"#a\n", ' ', "s", "k", "1"}));
}

// --- Reading from a file -----------------------------------------------------

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
    {"[s]\nk=\nk=2\n", "k", "s", "", true},  // empty is a value
    {"[s]\nk=1\n", "K", "s", "", false},
    {"[s]\nk=1\n", "k", "S", "", false},
    {"k=1\n", "k", "", "1", true},
    {"[s]\nk=1\n", "k", "", "", false},
    {"[s]\nk=1\n", "", "s", "", true},      // the header
    {"[s]\n=v\n", "", "s", "", true},       // the header comes before
    {"=v\n", "", "", "v", true},            // no header before
    {"junk\n=v\n", "", "", "", true},       // damage comes before
    {"#c\njunk\n=v\n", "", "", "v", true},  // but not below a comment
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

TEST_F(IniRecordsTest, RecordExistsAloneCutsTheKey) {
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
  CaptureStdout();
  CIniFile::GetRecord("k", "s", Path());
  CIniFile::GetValue("k", "s", Path());
  CIniFile::RecordExists("k", "s", Path());
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(Read(), text);
}

// --- Lookups of an object ----------------------------------------------------

class IniLookupTest : public IniTest {
 protected:
  // A section of the keys k1, k2... so that key kN is at position N.
  void LoadKeys(int count) {
    std::string text = "[s]\n";
    for (int i = 1; i < count; ++i)
      text += "k" + std::to_string(i) + "=" + std::to_string(i) + "\n";
    ini_.Load(Write(text));
    first_ = ini_.cursor - count;
  }

  std::string Statistics() const {
    return std::to_string(ini_.rediscovered) + " of " +
           std::to_string(ini_.researches) + " of " +
           std::to_string(ini_.searches) + ", " + ini_.lastLookup;
  }

  // The values found, and what was printed meanwhile.
  std::string Print(const std::vector<std::string>& keys) {
    CaptureStdout();
    for (const std::string& key : keys) ini_.GetRecord(key, "s");
    return GetCapturedStdout();
  }

  CIniFile ini_;
  Records::iterator first_;
};

TEST_F(IniLookupTest, FindsNothingBeforeLoading) {
  CaptureStdout();
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "d");
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
}

TEST_F(IniLookupTest, FindsNothingAfterALoadThatFailed) {
  Write("[s]\nk=v\n");
  ini_.Load(Path());
  ini_.GetRecord("k", "s");
  Write("[s]\nk=v\n[open\n");
  EXPECT_THROW(ini_.Load(Path()), std::out_of_range);
  EXPECT_FALSE(ini_.loaded);
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "d");
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
  ini_.loaded = true;  // Whoever sets it finds an empty list.
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/k");
}

TEST_F(IniLookupTest, SearchesAMissingFileAsAnEmptyOne) {
  EXPECT_TRUE(ini_.Load(Path("missing.ini")));
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/k");
}

TEST_F(IniLookupTest, CopiesTheRecordFound) {
  ini_.Load(Write("k=0\n[s]\n#c\n;k=1\n"));
  EXPECT_THAT(ini_.GetRecord("k", "s"),
              ElementsAre(Record{"#c\n", ';', "s", "k", "1"}));
  EXPECT_THAT(ini_.GetRecord("k", ""),
              ElementsAre(Record{"", ' ', "", "k", "0"}));
  EXPECT_THAT(ini_.GetRecord("", "s"),
              ElementsAre(Record{"", ' ', "s", "", ""}));
  EXPECT_THAT(ini_.GetRecord(" k", "s"), ElementsAre());
  EXPECT_THAT(ini_.GetRecord("K", "s"), ElementsAre());
}

TEST_F(IniLookupTest, TheFirstLookupBeginsAtTheBeginning) {
  for (const int length : {1, 2, 5, 6, 7, 30}) {
    SCOPED_TRACE(length);
    LoadKeys(length);
    EXPECT_EQ(Print({""}), "");  // The header, at position 0.
    EXPECT_EQ(ini_.cursor, first_);
    EXPECT_EQ(Statistics(), "0 of 0 of 1, s/");
  }
}

TEST_F(IniLookupTest, ThreeLookupsAt20And2And21) {
  LoadKeys(30);
  EXPECT_EQ(Print({"k20"}), "");
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/k20");
  EXPECT_EQ(Print({"k2"}),
            "re-search: [s/k2] after [s/k20] discovered 1 from 1; "
            "total searches=2\n");
  EXPECT_EQ(Statistics(), "1 of 1 of 2, s/k2");
  EXPECT_EQ(ini_.cursor - first_, 2);
  EXPECT_EQ(Print({"k21"}), "");
  EXPECT_EQ(Statistics(), "1 of 1 of 3, s/k21");
  EXPECT_EQ(ini_.cursor - first_, 21);
}

TEST_F(IniLookupTest, StepsBackFiveRecordsWhereMorePrecede) {
  struct Step {
    int from;
    int to;
    bool again;
  };
  constexpr Step kSteps[] = {{0, 0, false},   {1, 0, true},   {5, 5, false},
                             {5, 4, true},    {5, 0, true},   {6, 1, false},
                             {6, 0, true},    {7, 2, false},  {7, 1, true},
                             {29, 24, false}, {29, 23, true}, {0, 29, false},
                             {6, 29, false},  {29, 29, false}};
  for (const Step& step : kSteps) {
    SCOPED_TRACE(testing::Message() << step.from << " to " << step.to);
    LoadKeys(30);
    ini_.cursor = first_ + step.from;
    const std::string key = step.to == 0 ? "" : "k" + std::to_string(step.to);
    EXPECT_EQ(Print({key}), "");  // Never at the first search.
    EXPECT_EQ(ini_.cursor - first_, step.to);
    EXPECT_EQ(ini_.researches, step.again ? 1 : 0);
    EXPECT_EQ(ini_.rediscovered, step.again ? 1 : 0);
    EXPECT_EQ(ini_.searches, 1);
  }
}

TEST_F(IniLookupTest, WhatIsNotFoundLeavesTheCursor) {
  LoadKeys(30);
  EXPECT_EQ(Print({"none"}), "");
  EXPECT_EQ(ini_.cursor - first_, 30);
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/none");  // One pass: from the start.
  EXPECT_EQ(Print({"k20", "none"}), "");
  EXPECT_EQ(ini_.cursor - first_, 20);
  EXPECT_EQ(Statistics(), "0 of 1 of 3, s/none");
  EXPECT_EQ(Print({"k1"}),
            "re-search: [s/k1] after [s/none] discovered 1 from 2; "
            "total searches=4\n");
}

// One key may stand in a section twice: which one is found is up to the cursor.
TEST_F(IniLookupTest, ThePlaceOfTheCursorDecidesBetweenDuplicates) {
  ini_.Load(Write("[s]\nk=1\na=2\nb=3\nc=4\nd=5\ne=6\nk=7\nf=8\n"));
  first_ = ini_.cursor - 9;
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
  EXPECT_EQ(ini_.GetValueDef("s", "a", "-"), "2");
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "7");  // From a, at 2.
  EXPECT_EQ(ini_.GetValueDef("s", "f", "-"), "8");
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "7");  // From b, at 3.
  CaptureStdout();
  EXPECT_EQ(ini_.GetValueDef("s", "", "-"), "");  // The header: again.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
  EXPECT_EQ(GetCapturedStdout(),
            "re-search: [s/] after [s/k] discovered 1 from 1; "
            "total searches=6\n");
  ini_.cursor = first_ + 6;  // Looks from 1 on.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
  ini_.cursor = first_ + 7;  // Looks from 2 on.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "7");
  ini_.cursor = first_ + 9;  // Nothing found yet: looks from 0 on.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
}

TEST_F(IniLookupTest, LoadingAgainStartsAfresh) {
  LoadKeys(30);
  Print({"k20", "k2", "k21"});
  ini_.Load(Write("[t]\nk20=other\n"));
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
  EXPECT_THAT(ini_.GetRecord("k20", "s"), ElementsAre());
  EXPECT_EQ(ini_.GetValueDef("t", "k20", ""), "other");
}

TEST_F(IniLookupTest, CountersTurnOverWhereTheyEnd) {
  LoadKeys(10);
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  ini_.searches = ini_.researches = ini_.rediscovered = kMost;
  ini_.cursor = first_ + 9;
  EXPECT_EQ(Print({"k1"}),
            "re-search: [s/k1] after [] discovered -2147483648 from "
            "-2147483648; total searches=-2147483648\n");
}

TEST_F(IniLookupTest, AValueIsReturnedEvenIfEmpty) {
  ini_.Load(Write("[s]\nk=\n"));
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "");
  EXPECT_EQ(ini_.GetValueDef("s", "none", "d"), "d");
  EXPECT_EQ(ini_.GetValueDef("k", "s", "d"), "d");  // The section is first.
  EXPECT_EQ(Statistics(), "0 of 2 of 3, k/s");
}

TEST_F(IniLookupTest, TraceTellsOfEveryValue) {
  ini_.Load(Write("[s]\nk=v w\ne=\n"));
  CaptureStdout();
  ini_.GetValueDef("s", "k", "d");
  EXPECT_EQ(GetCapturedStdout(), "");
  ini_.trace = true;
  CaptureStdout();
  ini_.GetValueDef("s", "k", "d");
  ini_.GetValueDef("s", "none", "d");
  ini_.GetValueDef("s", "e", "d");
  ini_.GetRecord("k", "s");  // No value, no line, only its own.
  EXPECT_EQ(GetCapturedStdout(),
            "[s] k ==> v w\n"
            "[s] none --> d\n"
            "[s] e ==> \n"
            "re-search: [s/k] after [s/e] discovered 1 from 2; "
            "total searches=5\n");
}

TEST_F(IniLookupTest, TraceFollowsTheReSearchLine) {
  LoadKeys(30);
  ini_.GetValueDef("s", "k20", "");
  ini_.trace = true;
  CaptureStdout();
  ini_.GetValueDef("s", "k2", "");
  EXPECT_EQ(GetCapturedStdout(),
            "re-search: [s/k2] after [s/k20] discovered 1 from 1; "
            "total searches=2\n"
            "[s] k2 ==> 2\n");
}

TEST_F(IniLookupTest, TraceTellsOfDefaultsBeforeLoadingToo) {
  ini_.trace = true;
  CaptureStdout();
  ini_.GetValueDef("s", "k", "d");
  EXPECT_EQ(GetCapturedStdout(), "[s] k --> d\n");
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
}

// As it ends one that goes through a format; the value itself stays whole.
TEST_F(IniLookupTest, AZeroByteEndsATextInAPrintedLine) {
  const std::string value("a\0b", 3);
  ini_.Load(Write("[s]\nk=" + value + "\nx=1\n"));
  ini_.trace = true;
  CaptureStdout();
  EXPECT_EQ(ini_.GetValueDef("s", "k", ""), value);
  ini_.GetRecord("x", "s");
  ini_.GetRecord(std::string("k\0", 2), std::string("s\0t", 3));
  ini_.GetRecord("k", "s");
  EXPECT_EQ(GetCapturedStdout(),
            "[s] k ==> a\n"
            "re-search: [s/k] after [s] discovered 1 from 2; "
            "total searches=4\n");
}

TEST_F(IniLookupTest, LoadingKeepsTrace) {
  ini_.trace = true;
  ini_.Load(Write(""));
  EXPECT_TRUE(ini_.trace);
}

// Arguments are as good as copies: lastLookup changes below them.
TEST_F(IniLookupTest, ArgumentsMayStandInTheObject) {
  ini_.Load(Write("[s]\nk=1\nx=2\n[s/k]\ns/k=3\n[t]\ns/k=4\n"));
  ini_.GetRecord("k", "s");
  ini_.trace = true;
  CaptureStdout();
  // Here the name would be "t/s" if lastLookup changed before the line.
  EXPECT_EQ(ini_.GetValueDef("t", ini_.lastLookup, "d"), "4");
  ini_.cursor = ini_.cursor + 1;
  ini_.GetRecord("k", "s");
  EXPECT_EQ(ini_.GetValueDef("", "none", ini_.lastLookup), "s/k");
  ini_.GetRecord("k", "s");
  EXPECT_EQ(ini_.GetValueDef(ini_.lastLookup, ini_.lastLookup, "d"), "3");
  EXPECT_EQ(GetCapturedStdout(),
            "[t] s/k ==> 4\n"
            "[] none --> s/k\n"
            "[s/k] s/k ==> 3\n");
  EXPECT_EQ(ini_.lastLookup, "s/k/s/k");
  ini_.GetRecord(ini_.cursor->Key, ini_.cursor->Section);
  EXPECT_EQ(ini_.lastLookup, "s/k/s/k");
}

TEST_F(IniLookupTest, LookupsLeaveTheFileAlone) {
  const std::string text = " [s] \n ;k = v";
  ini_.Load(Write(text));
  std::filesystem::remove(Path());
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "v");
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

}  // namespace
}  // namespace fairlead
