// Tests of the operations on sections of an INI file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "fairlead/fairlead.h"
#include "fairlead/ini/ini_testing.h"

namespace fairlead::internal::ini_sections_test {
namespace {

using testing::ElementsAre;

using IniSectionsTest = IniTest;

const EditCase kEdits[] = {
    // AddSection
    {"add to an empty file", "",
     [](auto& f) { return CIniFile::AddSection("a", f); }, "[a]\n"},
    {"add at the end", "k=v\n[b]\nx=1\n",
     [](auto& f) { return CIniFile::AddSection("a", f); },
     "k=v\n[b]\nx=1\n[a]\n"},
    {"add a second header of a name", "[a]\nx=1\n[b]\n",
     [](auto& f) { return CIniFile::AddSection("a", f); },
     "[a]\nx=1\n[b]\n[a]\n"},
    {"a key goes under the first header", "[a]\nx=1\n[b]\n[a]\n",
     [](auto& f) { return CIniFile::SetValue("y", "2", "a", f); },
     "[a]\ny=2\nx=1\n[b]\n[a]\n"},
    {"add a name with spaces, untrimmed", "",
     [](auto& f) { return CIniFile::AddSection(" a ", f); }, "[ a ]\n"},
    {"add the empty name", "k=v\n",
     [](auto& f) { return CIniFile::AddSection("", f); }, "k=v\n[]\n"},
    {"adding normalises the rest", "# c\n\n [x] y\n k = v \r\n# lost\n",
     [](auto& f) { return CIniFile::AddSection("a", f); },
     "# c\n[x]\nk=v\n[a]\n"},
    {"adding prints disabled lines", ";[x]\n#k=v\n",
     [](auto& f) { return CIniFile::AddSection("a", f); }, ";[x]\n#k=v\n[a]\n",
     "<;> <#> "},

    // RenameSection
    {"rename header and keys", "[a]\nx=1\n[b]\ny=2\n",
     [](auto& f) { return CIniFile::RenameSection("a", "c", f); },
     "[c]\nx=1\n[b]\ny=2\n"},
    {"rename every header of the name", "[a]\nx=1\n[b]\n;[a]\ny=2\n",
     [](auto& f) { return CIniFile::RenameSection("a", "c", f); },
     "[c]\nx=1\n[b]\n;[c]\ny=2\n", "<;> "},
    {"rename onto a name that exists", "[a]\nx=1\n[b]\ny=2\n",
     [](auto& f) { return CIniFile::RenameSection("a", "b", f); },
     "[b]\nx=1\n[b]\ny=2\n"},
    {"rename a missing section rewrites the file", "\n[a]\n k = v\n",
     [](auto& f) { return CIniFile::RenameSection("A", "c", f); },
     "[a]\nk=v\n"},
    {"rename compares whole names", "[ab]\n[a]\n",
     [](auto& f) { return CIniFile::RenameSection("a", "c", f); },
     "[ab]\n[c]\n"},
    {"rename the nameless section: damage gets the name",
     "k=v\njunk\n[]\n[b]\n",
     [](auto& f) { return CIniFile::RenameSection("", "c", f); },
     "k=v\n[c]\n[c]\n[b]\n"},
    {"rename to the empty name", "[a]\nx=1\n",
     [](auto& f) { return CIniFile::RenameSection("a", "", f); }, "[]\nx=1\n"},
    {"rename keeps comments", "#c\n[a]\n#d\nx=1\n",
     [](auto& f) { return CIniFile::RenameSection("a", "b", f); },
     "#c\n[b]\n#d\nx=1\n"},

    // CommentSection and UnCommentSection
    {"disable header and keys", "[a]\nx=1\ny=2\n[b]\nz=3\n",
     [](auto& f) { return CIniFile::CommentSection(';', "a", f); },
     ";[a]\n;x=1\n;y=2\n[b]\nz=3\n", "<;> <;> <;> "},
    {"disable by an enumerator", "[a]\nx=1\n",
     [](auto& f) { return CIniFile::CommentSection(CIniFile::Hash, "a", f); },
     "#[a]\n#x=1\n", "<#> <#> "},
    {"disable disabled records", "#[a]\n;x=1\n",
     [](auto& f) { return CIniFile::CommentSection(';', "a", f); },
     ";[a]\n;x=1\n", "<;> <;> "},
    {"disable keeps comments above", "#c\n[a]\n#d\nx=1\n",
     [](auto& f) { return CIniFile::CommentSection(';', "a", f); },
     "#c\n;[a]\n#d\n;x=1\n", "<;> <;> "},
    {"disable by any character", "[a]\nx=1\n",
     [](auto& f) { return CIniFile::CommentSection('!', "a", f); },
     "![a]\n!x=1\n", "<!> <!> "},
    {"disable by a space enables", ";[a]\nx=1\n",
     [](auto& f) { return CIniFile::CommentSection(' ', "a", f); },
     "[a]\nx=1\n"},
    {"disable a missing section rewrites the file", " [a] \n",
     [](auto& f) { return CIniFile::CommentSection('#', "b", f); }, "[a]\n"},
    {"disable the keys before any header", "k=v\n[a]\nx=1\n",
     [](auto& f) { return CIniFile::CommentSection('#', "", f); },
     "#k=v\n[a]\nx=1\n", "<#> "},
    {"enable header and keys", ";[a]\n#x=1\ny=2\n;[b]\n",
     [](auto& f) { return CIniFile::UnCommentSection("a", f); },
     "[a]\nx=1\ny=2\n;[b]\n", "<;> "},
    {"enable a missing section rewrites the file", " [a] \n",
     [](auto& f) { return CIniFile::UnCommentSection("b", f); }, "[a]\n"},

    // DeleteSection
    {"delete header, keys and comments", "[b]\n#c\n[a]\n#d\nx=1\n#e\n[d]\n",
     [](auto& f) { return CIniFile::DeleteSection("a", f); }, "[b]\n#e\n[d]\n"},
    {"delete under two headers", "[a]\nx=1\n[b]\ny=2\n[a]\nz=3\n",
     [](auto& f) { return CIniFile::DeleteSection("a", f); }, "[b]\ny=2\n"},
    {"delete disabled records too", ";[a]\n#x=1\n[b]\n",
     [](auto& f) { return CIniFile::DeleteSection("a", f); }, "[b]\n"},
    {"delete everything", "[a]\nx=1\n",
     [](auto& f) { return CIniFile::DeleteSection("a", f); }, ""},
    {"delete a missing section rewrites the file", " [a] \n",
     [](auto& f) { return CIniFile::DeleteSection("b", f); }, "[a]\n"},
    {"delete what precedes any header", "k=v\njunk\n[a]\nx=1\n",
     [](auto& f) { return CIniFile::DeleteSection("", f); }, "[a]\nx=1\n"},

    // SetSectionComments
    {"comments gain an LF", "[a]\nx=1\n",
     [](auto& f) { return CIniFile::SetSectionComments("#c", "a", f); },
     "#c\n[a]\nx=1\n"},
    {"comments that end in LF gain another", "[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("#c\n", "a", f); },
     "#c\n\n[a]\n"},
    {"two LFs gain a third", "[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("\n\n", "a", f); },
     "\n\n\n[a]\n"},
    {"two characters gain an LF", "[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("#\n", "a", f); },
     "#\n\n[a]\n"},
    {"a single character gains none", "[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("#", "a", f); },
     "#[a]\n"},
    {"a single LF gains none", "[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("\n", "a", f); },
     "\n[a]\n"},
    {"no comments", "#c\n[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("", "a", f); }, "[a]\n"},
    {"several lines replace the old ones", "#c\n;d\n[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("#1\n;2", "a", f); },
     "#1\n;2\n[a]\n"},
    {"comment characters are not added", "[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("k=v", "a", f); },
     "k=v\n[a]\n"},
    {"comments of the first header only", "[b]\n;[a]\n[a]\n",
     [](auto& f) { return CIniFile::SetSectionComments("#c", "a", f); },
     "[b]\n#c\n;[a]\n[a]\n", "<;> "},
};

TEST_F(IniSectionsTest, EditsRewriteTheFile) { CheckEdits(kEdits); }

TEST_F(IniSectionsTest, CommentsOfAMissingHeaderChangeNothing) {
  Write(" [a] \n k = v");
  EXPECT_FALSE(CIniFile::SetSectionComments("#c", "b", Path()));
  EXPECT_FALSE(CIniFile::SetSectionComments("#c", "A", Path()));
  EXPECT_EQ(Read(), " [a] \n k = v");
  Write(" k = v");  // The section "" exists, its header does not.
  EXPECT_FALSE(CIniFile::SetSectionComments("#c", "", Path()));
  EXPECT_EQ(Read(), " k = v");
}

TEST_F(IniSectionsTest, DisabledSectionsReadBackAsDisabled) {
  Write("[a]\nx=1\ny=2\n");
  CapturedOutput output;
  EXPECT_TRUE(CIniFile::CommentSection(';', "a", Path()));
  output.Take();
  Records records;
  CIniFile::Load(Path(), records);
  EXPECT_THAT(records, ElementsAre(Record{"", ';', "a", "", ""},
                                   Record{"", ';', "a", "x", "1"},
                                   Record{"", ';', "a", "y", "2"}));
  EXPECT_TRUE(CIniFile::UnCommentSection("a", Path()));
  CIniFile::Load(Path(), records);
  EXPECT_THAT(records, ElementsAre(Record{"", ' ', "a", "", ""},
                                   Record{"", ' ', "a", "x", "1"},
                                   Record{"", ' ', "a", "y", "2"}));
  EXPECT_EQ(Read(), "[a]\nx=1\ny=2\n");
}

TEST_F(IniSectionsTest, AnyOtherCharacterDoesNotDisable) {
  Write("[a]\nx=1\n");
  CapturedOutput output;
  EXPECT_TRUE(CIniFile::CommentSection('!', "a", Path()));
  output.Take();
  Records records;
  CIniFile::Load(Path(), records);
  EXPECT_THAT(records, ElementsAre(Record{}, Record{"", ' ', "", "!x", "1"}));
}

TEST_F(IniSectionsTest, TheNextLoadDropsAnEmptyLineOfComments) {
  Write("[a]\n");
  EXPECT_TRUE(CIniFile::SetSectionComments("#c\n", "a", Path()));
  EXPECT_EQ(CIniFile::Content(Path()), "#c\n[a]\n");
}

TEST_F(IniSectionsTest, GetSectionsCopiesEveryHeader) {
  Write("k=v\n#c\n[a]\nx=1\n;[b]\n[a]\ny=2\n");
  EXPECT_THAT(
      CIniFile::GetSections(Path()),
      ElementsAre(Record{"#c\n", ' ', "a", "", ""},
                  Record{"", ';', "b", "", ""}, Record{"", ' ', "a", "", ""}));
}

TEST_F(IniSectionsTest, DamageCountsAsAHeader) {
  Write("junk\n[a]\n=lost\n");
  EXPECT_THAT(CIniFile::GetSections(Path()),
              ElementsAre(Record{}, Record{"", ' ', "a", "", ""},
                          Record{"", ' ', "a", "", "lost"}));
  EXPECT_THAT(CIniFile::GetSectionNames(Path()), ElementsAre("", "a", "a"));
}

TEST_F(IniSectionsTest, GetSectionCopiesKeysOnly) {
  Write("k=v\n[a]\n#c\nx=1\n;y=2\n[b]\nz=3\n;[a]\nx=4\n");
  EXPECT_THAT(CIniFile::GetSection("a", Path()),
              ElementsAre(Record{"#c\n", ' ', "a", "x", "1"},
                          Record{"", ';', "a", "y", "2"},
                          Record{"", ' ', "a", "x", "4"}));
  EXPECT_THAT(CIniFile::GetSection("", Path()),
              ElementsAre(Record{"", ' ', "", "k", "v"}));
  EXPECT_THAT(CIniFile::GetSection("A", Path()), ElementsAre());
}

TEST_F(IniSectionsTest, GetSectionNamesIncludesDuplicatesAndDisabledOnes) {
  Write("[a]\n;[b]\n[a]\n");
  EXPECT_THAT(CIniFile::GetSectionNames(Path()), ElementsAre("a", "b", "a"));
  Write("k=v\n");
  EXPECT_THAT(CIniFile::GetSectionNames(Path()), ElementsAre());
}

TEST_F(IniSectionsTest, ASectionExistsIfItHasAnyRecord) {
  Write("[a]\n;[b]\n");
  EXPECT_TRUE(CIniFile::SectionExists("a", Path()));
  EXPECT_TRUE(CIniFile::SectionExists("b", Path()));
  EXPECT_FALSE(CIniFile::SectionExists("A", Path()));
  EXPECT_FALSE(CIniFile::SectionExists(" a", Path()));
  EXPECT_FALSE(CIniFile::SectionExists("", Path()));
  Write("k=v\n[a]\n");
  EXPECT_TRUE(CIniFile::SectionExists("", Path()));
  Write("#k=v\n");
  EXPECT_TRUE(CIniFile::SectionExists("", Path()));
  Write("[a]\njunk\n");
  EXPECT_TRUE(CIniFile::SectionExists("", Path()));
}

TEST_F(IniSectionsTest, ANameMayContainAZeroByte) {
  const std::string name("a\0b", 3);
  Write("[" + name + "]\nx=1\n");
  EXPECT_TRUE(CIniFile::SectionExists(name, Path()));
  EXPECT_FALSE(CIniFile::SectionExists("a", Path()));
  EXPECT_TRUE(CIniFile::RenameSection(name, "c", Path()));
  EXPECT_EQ(Read(), "[c]\nx=1\n");
}

TEST_F(IniSectionsTest, EditsOfAMissingFileCreateIt) {
  const std::pair<const char*, EditCall> edits[] = {
      {"[a]\n", [](auto& f) { return CIniFile::AddSection("a", f); }},
      {"", [](auto& f) { return CIniFile::RenameSection("a", "b", f); }},
      {"", [](auto& f) { return CIniFile::CommentSection('#', "a", f); }},
      {"", [](auto& f) { return CIniFile::UnCommentSection("a", f); }},
      {"", [](auto& f) { return CIniFile::DeleteSection("a", f); }}};
  for (const auto& [after, edit] : edits) {
    std::filesystem::remove(Path());
    EXPECT_TRUE(edit(Path()));
    ASSERT_TRUE(std::filesystem::exists(Path()));
    EXPECT_EQ(Read(), after);
  }
}

TEST_F(IniSectionsTest, OtherOperationsDoNotCreateAMissingFile) {
  EXPECT_FALSE(CIniFile::SetSectionComments("#c", "a", Path()));
  EXPECT_THAT(CIniFile::GetSections(Path()), ElementsAre());
  EXPECT_THAT(CIniFile::GetSection("a", Path()), ElementsAre());
  EXPECT_THAT(CIniFile::GetSectionNames(Path()), ElementsAre());
  EXPECT_FALSE(CIniFile::SectionExists("a", Path()));
  EXPECT_FALSE(CIniFile::SectionExists("", Path()));
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

}  // namespace
}  // namespace fairlead::internal::ini_sections_test
