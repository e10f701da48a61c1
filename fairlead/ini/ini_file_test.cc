// Tests of loading and saving INI files, with literal texts and records.

#include "fairlead/ini/ini_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "fairlead/ini/ini_testing.h"

namespace fairlead::internal::ini_file_test {
namespace {

using namespace std::string_literals;

using IniFileTest = IniTest;

struct LoadCase {
  std::string text;
  Records records;
};

const LoadCase kLoadCases[] = {
    {"", {}},
    {"\n", {}},
    {" \t\r\n\r\n\t", {}},
    {"#a\n\n;b\n", {}},  // comments that no line follows

    // Headers.
    {"[a]", {{"", ' ', "a", "", ""}}},
    {"[a]x", {{"", ' ', "a", "", ""}}},
    {"[a]x=y", {{"", ' ', "a", "", ""}}},
    {"  [a]  ", {{"", ' ', "a", "", ""}}},
    {"[ a ]", {{"", ' ', " a ", "", ""}}},  // blanks inside belong to the name
    {"[\ta\r]", {{"", ' ', "\ta\r", "", ""}}},
    {"[]", {{"", ' ', "", "", ""}}},
    {"[[a]]", {{"", ' ', "[a", "", ""}}},  // the first ] ends the name
    {"[a=b]", {{"", ' ', "a=b", "", ""}}},
    {"[#a;]", {{"", ' ', "#a;", "", ""}}},
    {"[a\0b]"s, {{"", ' ', "a\0b"s, "", ""}}},
    {"[\xE4]", {{"", ' ', "\xE4", "", ""}}},
    {"[a]\n[A]", {{"", ' ', "a", "", ""}, {"", ' ', "A", "", ""}}},
    {"[a]\n[a]", {{"", ' ', "a", "", ""}, {"", ' ', "a", "", ""}}},

    // Keys.
    {"k=v", {{"", ' ', "", "k", "v"}}},
    {"  k  =  v = w  ", {{"", ' ', "", "k", "v = w"}}},
    {"\tk\t=\tv\t\r\n", {{"", ' ', "", "k", "v"}}},
    {"k=", {{"", ' ', "", "k", ""}}},
    {"k= \t\r", {{"", ' ', "", "k", ""}}},
    {"k==", {{"", ' ', "", "k", "="}}},
    {"k=v=w", {{"", ' ', "", "k", "v=w"}}},
    {"k m=v w", {{"", ' ', "", "k m", "v w"}}},
    {"k[=]", {{"", ' ', "", "k[", "]"}}},
    {"k = \"v\\n\" # w", {{"", ' ', "", "k", "\"v\\n\" # w"}}},
    {"k=#v", {{"", ' ', "", "k", "#v"}}},
    {"k\r=\rv", {{"", ' ', "", "k", "v"}}},
    {"k\rm=v\rw", {{"", ' ', "", "k\rm", "v\rw"}}},
    {"k\v=\fv", {{"", ' ', "", "k\v", "\fv"}}},  // \v and \f are not trimmed
    {"\0=\0"s, {{"", ' ', "", "\0"s, "\0"s}}},
    {"\0[a]=b"s, {{"", ' ', "", "\0[a]"s, "b"}}},
    {"\xEF\xBB\xBFk=v", {{"", ' ', "", "\xEF\xBB\xBFk", "v"}}},

    // The section is that of the last header before the key.
    {"k=1\n[a]\nk=2\n[b]\nk=3\n[a]\nm=4",
     {{"", ' ', "", "k", "1"},
      {"", ' ', "a", "", ""},
      {"", ' ', "a", "k", "2"},
      {"", ' ', "b", "", ""},
      {"", ' ', "b", "k", "3"},
      {"", ' ', "a", "", ""},
      {"", ' ', "a", "m", "4"}}},
    {"[a]\n[]\nk=v",
     {{"", ' ', "a", "", ""}, {"", ' ', "", "", ""}, {"", ' ', "", "k", "v"}}},

    // Disabled headers and keys; a disabled header begins a section as well.
    {"#k=v", {{"", '#', "", "k", "v"}}},
    {";k=v", {{"", ';', "", "k", "v"}}},
    {"#  key = v", {{"", '#', "", "key", "v"}}},
    {" ; \t k=v ", {{"", ';', "", "k", "v"}}},
    {";[old]", {{"", ';', "old", "", ""}}},
    {"# [old] x", {{"", '#', "old", "", ""}}},
    {"[a]\n;[b]\nk=v",
     {{"", ' ', "a", "", ""},
      {"", ';', "b", "", ""},
      {"", ' ', "b", "k", "v"}}},
    {"##k=v", {{"", '#', "", "#k", "v"}}},  // one character is taken off
    {"#;k=v", {{"", '#', "", ";k", "v"}}},
    {"; # [a]=v", {{"", ';', "", "# [a]", "v"}}},

    // Comments go to the next header or key, over blank lines.
    {"#note\nk=v", {{"#note\n", ' ', "", "k", "v"}}},
    {"  #  note  \r\n\n\n;more\n[a]", {{"#  note\n;more\n", ' ', "a", "", ""}}},
    {"#1\n#k=v\n#2\n;[a]\n#3",
     {{"#1\n", '#', "", "k", "v"}, {"#2\n", ';', "a", "", ""}}},
    {"#\n;\nk=v", {{"#\n;\n", ' ', "", "k", "v"}}},
    {"# a ] b\nk=v", {{"# a ] b\n", ' ', "", "k", "v"}}},
    {"#a\0b\nk=v"s, {{"#a\0b\n"s, ' ', "", "k", "v"}}},

    // A comment that holds = or [ is a disabled line.
    {"# see a=b", {{"", '#', "", "see a", "b"}}},
    {"# see [1]", {{"", '#', "", "", ""}}},
    {"#=", {{"", '#', "", "", ""}}},
    {"# a [b\nk=v", {{"", '#', "", "", ""}, {"", ' ', "", "k", "v"}}},
    {"#note\n# see [1]\nk=v", {{"#note\n", ' ', "", "k", "v"}}},
    {"#note\n# see a=b", {{"#note\n", '#', "", "see a", "b"}}},

    // Malformed lines: an empty record, or dropped below a comment.
    {"junk", {{"", ' ', "", "", ""}}},
    {"]", {{"", ' ', "", "", ""}}},
    {"x[a]", {{"", ' ', "", "", ""}}},
    {"\0"s, {{"", ' ', "", "", ""}}},
    {"#note\njunk", {}},
    {"#note\njunk\nmore\nk=v", {{"#note\n", ' ', "", "k", "v"}}},
    {"[a]\njunk\nk=v",  // it has no section, and the keys keep theirs
     {{"", ' ', "a", "", ""}, {"", ' ', "", "", ""}, {"", ' ', "a", "k", "v"}}},

    // An empty key: a header of its section, with a value.
    {"=v", {{"", ' ', "", "", "v"}}},
    {"[a]\n = v", {{"", ' ', "a", "", ""}, {"", ' ', "a", "", "v"}}},
    {"[a]\n#n\n;=v", {{"", ' ', "a", "", ""}, {"#n\n", ';', "a", "", "v"}}},
    {"=", {{"", ' ', "", "", ""}}},
    {"=[a]", {{"", ' ', "", "", "[a]"}}},

    // Line ends.
    {"[a]\r\nk=v\r\n", {{"", ' ', "a", "", ""}, {"", ' ', "a", "k", "v"}}},
    {"[a]\n\rk=v\n\r", {{"", ' ', "a", "", ""}, {"", ' ', "a", "k", "v"}}},
    {"k=v\rm=w", {{"", ' ', "", "k", "v\rm=w"}}},  // a lone CR ends no line
};

TEST_F(IniFileTest, LoadsEveryForm) {
  for (const LoadCase& c : kLoadCases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    EXPECT_EQ(Loaded(c.text), c.records);
    // The last line may end without LF.
    EXPECT_EQ(Loaded(c.text + "\n"), c.records);
  }
}

TEST_F(IniFileTest, LoadReplacesTheList) {
  Records records(3);
  EXPECT_TRUE(CIniFile::Load(Write("k=v"), records));
  EXPECT_EQ(records, (Records{{"", ' ', "", "k", "v"}}));
  EXPECT_TRUE(CIniFile::Load(Write(""), records));
  EXPECT_EQ(records, Records{});
}

TEST_F(IniFileTest, AHeaderWithoutABracketThrows) {
  for (const std::string line :
       {"[open", "[", "[[", "#[open", "; [", "[a=b", "  [a  \r", "#[k=v"}) {
    SCOPED_TRACE(line);
    Records records(2);
    try {
      CIniFile::Load(Write("k=v\n#note\n" + line + "\nm=w]\n"), records);
      ADD_FAILURE() << "did not throw";
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "basic_string::erase");
    }
    EXPECT_EQ(records, (Records{{"", ' ', "", "k", "v"}}));
  }
}

TEST_F(IniFileTest, ContentThrowsAtAHeaderWithoutABracket) {
  EXPECT_THROW(CIniFile::Content(Write("[open")), std::out_of_range);
}

TEST_F(IniFileTest, AMissingFileLeavesTheListAsItWas) {
  const Records before = {{"#\n", ';', "s", "k", "v"}};
  Records records = before;
  EXPECT_TRUE(CIniFile::Load(Path("none"), records));
  EXPECT_EQ(records, before);
  EXPECT_TRUE(CIniFile::Load("", records));
  EXPECT_EQ(records, before);
  EXPECT_FALSE(std::filesystem::exists(Path("none")));
}

TEST_F(IniFileTest, TheNameMayReferToTheListThatIsReplaced) {
  Records records = {{"", ' ', "", "include", Write("k=v")}};
  EXPECT_TRUE(CIniFile::Load(records[0].Value, records));
  EXPECT_EQ(records, (Records{{"", ' ', "", "k", "v"}}));
}

TEST_F(IniFileTest, ReadsLinesOfAMegabyte) {
  const std::string name(1 << 20, 'n');
  const std::string value(1 << 20, 'v');
  const std::string blanks(1 << 20, ' ');
  EXPECT_EQ(Loaded("#" + name + "\n[" + name + "]\n" + blanks + name + blanks +
                   "=" + blanks + value + blanks),
            (Records{{"#" + name + "\n", ' ', name, "", ""},
                     {"", ' ', name, name, value}}));
}

struct SaveCase {
  Record record;
  std::string text;
  const char* printed;
};

const SaveCase kSaveCases[] = {
    {{"", ' ', "a", "", ""}, "[a]\n", ""},
    {{"", ' ', "a", "k", "v"}, "k=v\n", ""},
    {{"", ' ', "", "k", ""}, "k=\n", ""},
    {{"", ' ', "", "", ""}, "[]\n", ""},
    {{"", ' ', "a", "", "lost"}, "[a]\n", ""},
    {{"", '#', "a", "", ""}, "#[a]\n", "<#> "},
    {{"", ';', "a", "k", "v"}, ";k=v\n", "<;> "},
    {{"#n\n", ' ', "a", "", ""}, "#n\n[a]\n", ""},
    {{"#n\n;m\n", ';', "a", "k", "v"}, "#n\n;m\n;k=v\n", "<;> "},
    // Written verbatim, whatever it reads back as.
    {{"n", ' ', "", "k", "v"}, "nk=v\n", ""},
    {{"", 'x', "", "k", "v"}, "xk=v\n", "<x> "},
    {{"", '%', "", "k", "v"}, "%k=v\n", "<%> "},
    {{"", ' ', "", " k ", " v\nw "}, " k = v\nw \n", ""},
    {{"", ' ', "a]b", "", ""}, "[a]b]\n", ""},
    {{"", ' ', "", "\0"s, "\0"s}, "\0=\0\n"s, ""},
};

TEST_F(IniFileTest, SavesEveryForm) {
  for (const SaveCase& c : kSaveCases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    CapturedOutput output;
    EXPECT_TRUE(CIniFile::Save(Path(), {c.record}));
    EXPECT_EQ(output.Take(), c.printed);
    EXPECT_EQ(Read(), c.text);
  }
}

TEST_F(IniFileTest, SavesRecordsInOrderAndNothingElse) {
  Records records;
  std::string text;
  std::string printed;
  for (const SaveCase& c : kSaveCases) {
    records.push_back(c.record);
    text += c.text;
    printed += c.printed;
  }
  const Records before = records;
  CapturedOutput output;
  EXPECT_TRUE(CIniFile::Save(Path(), records));
  EXPECT_EQ(output.Take(), printed);
  EXPECT_EQ(Read(), text);
  EXPECT_EQ(records, before);
}

TEST_F(IniFileTest, SavePrintsTheDisablingCharacterEvenZero) {
  CapturedOutput output;
  EXPECT_TRUE(CIniFile::Save(Path(), {{"", '\0', "", "k", "v"}}));
  EXPECT_EQ(output.Take(), "<\0> "s);
  EXPECT_EQ(Read(), "\0k=v\n"s);
}

TEST_F(IniFileTest, CreateEmptiesOrCreatesTheFile) {
  EXPECT_TRUE(CIniFile::Create(Path()));
  EXPECT_TRUE(std::filesystem::is_empty(Path()));
  Write("k=v");
  EXPECT_TRUE(CIniFile::Create(Path()));
  EXPECT_TRUE(std::filesystem::is_empty(Path()));
}

TEST_F(IniFileTest, ContentIsWhatSaveWouldWriteAndPrintsNothing) {
  const std::string text =
      "k = v\r\n\r\n# note\n[ a ] x\n;m = w = x\n#lost=no\n=e\njunk\n#end\n";
  const std::string saved =
      "k=v\n# note\n[ a ]\n;m=w = x\n#lost=no\n[ a ]\n[]\n";
  Write(text);
  CapturedOutput output;
  EXPECT_EQ(CIniFile::Content(Path()), saved);
  EXPECT_EQ(output.Take(), "");
  EXPECT_EQ(Read(), text);
  EXPECT_EQ(Saved(Loaded(text)), saved);
}

TEST_F(IniFileTest, ContentOfAMissingFileIsEmpty) {
  EXPECT_EQ(CIniFile::Content(Path("none")), "");
  EXPECT_EQ(CIniFile::Content(Write("\n#only\n")), "");
}

struct TripCase {
  std::string text;
  std::string saved;
};

const TripCase kTripCases[] = {
    {"\n#only\n\n;comments\n", ""},
    {"key=value\n[a]\nk=v", "key=value\n[a]\nk=v\n"},
    {"[a]x", "[a]\n"},
    {"  k  =  v = w  ", "k=v = w\n"},
    {";[old]", ";[old]\n"},
    {"# see a=b", "#see a=b\n"},
    {"# see [1]", "#[]\n"},
    {"junk", "[]\n"},
    {"#note\njunk", ""},
    {"#note\njunk\nk=v", "#note\nk=v\n"},
    {"[a]\n=v", "[a]\n[a]\n"},
    {"#c\n\n\n[a]", "#c\n[a]\n"},
    {"[a]\r\nk=v\r\n", "[a]\nk=v\n"},
};

TEST_F(IniFileTest, ARoundTripNormalises) {
  for (const TripCase& c : kTripCases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    EXPECT_EQ(Saved(Loaded(c.text)), c.saved);
  }
}

// The saved text is stable after one pass, the records loaded from it are not.
TEST_F(IniFileTest, AMalformedLineMovesTheKeysBelowItOutOfTheirSection) {
  const Records first = Loaded("[a]\njunk\nk=v\n");
  EXPECT_EQ(first.back(), (Record{"", ' ', "a", "k", "v"}));
  const std::string saved = Saved(first);
  EXPECT_EQ(saved, "[a]\n[]\nk=v\n");
  const Records second = Loaded(saved);
  EXPECT_EQ(second.back(), (Record{"", ' ', "", "k", "v"}));
  EXPECT_EQ(Saved(second), saved);
}

TEST_F(IniFileTest, ASavedListMayBeUnloadable) {
  const std::string saved = Saved({{"", ' ', "a\nb", "", ""}});
  EXPECT_EQ(saved, "[a\nb]\n");
  Records records;
  EXPECT_THROW(CIniFile::Load(Path(), records), std::out_of_range);
}

TEST(IniRecordTest, ANewRecordIsAnActiveHeaderWithoutName) {
  EXPECT_EQ(Record(), (Record{"", ' ', "", "", ""}));
}

TEST(IniRecordTest, FieldsAreInOrder) {
  const auto& [comments, commented, section, key, value] =
      Record{"c", '#', "s", "k", "v"};
  EXPECT_EQ(comments, "c");
  EXPECT_EQ(commented, '#');
  EXPECT_EQ(section, "s");
  EXPECT_EQ(key, "k");
  EXPECT_EQ(value, "v");
}

TEST(IniRecordTest, CommentCharactersAreCharacters) {
  EXPECT_EQ(CIniFile::Hash, '#');
  EXPECT_EQ(CIniFile::Semicolon, ';');
  const char commented = CIniFile::Semicolon;
  EXPECT_EQ(commented, ';');
  EXPECT_TRUE(
      (std::is_same_v<std::underlying_type_t<CIniFile::CommentChar>, char>));
}

TEST(IniRecordTest, PredicatesCompareExactly) {
  const Records list = {{"", ' ', "a", "", ""},
                        {"", ' ', "a", "k", "v"},
                        {"", ';', "A", "k", ""},
                        {"", '#', "a\0b"s, "k\0m"s, ""}};
  const auto found = [&list](const auto& predicate) {
    return std::find_if(list.begin(), list.end(), predicate) - list.begin();
  };
  EXPECT_EQ(found(CIniFile::RecordSectionIs{"a"}), 0);
  EXPECT_EQ(found(CIniFile::RecordSectionIs{"A"}), 2);
  EXPECT_EQ(found(CIniFile::RecordSectionIs{"a\0b"s}), 3);
  EXPECT_EQ(found(CIniFile::RecordSectionIs{""}), 4);
  EXPECT_EQ(found(CIniFile::RecordSectionIs{"a "}), 4);
  EXPECT_EQ(found(CIniFile::RecordSectionKeyIs{"a", ""}), 0);
  EXPECT_EQ(found(CIniFile::RecordSectionKeyIs{"a", "k"}), 1);
  EXPECT_EQ(found(CIniFile::RecordSectionKeyIs{"A", "k"}), 2);
  EXPECT_EQ(found(CIniFile::RecordSectionKeyIs{"a\0b"s, "k\0m"s}), 3);
  EXPECT_EQ(found(CIniFile::RecordSectionKeyIs{"a", "K"}), 4);
  EXPECT_EQ(found(CIniFile::RecordSectionKeyIs{"k", "a"}), 4);
}

// Sets the fields that lookups change.
void Disturb(CIniFile& ini) {
  ini.rediscovered = 1;
  ini.researches = 2;
  ini.searches = 3;
  ini.lastLookup = "s/k";
  ini.trace = true;
}

void ExpectNoLookups(const CIniFile& ini) {
  EXPECT_EQ(ini.rediscovered, 0);
  EXPECT_EQ(ini.researches, 0);
  EXPECT_EQ(ini.searches, 0);
  EXPECT_EQ(ini.lastLookup, "");
}

TEST_F(IniFileTest, ANewObjectHasNothing) {
  const CIniFile ini;
  EXPECT_FALSE(ini.loaded);
  EXPECT_FALSE(ini.trace);
  ExpectNoLookups(ini);
}

TEST_F(IniFileTest, MemberLoadStartsAfresh) {
  Write("[a]\nk=v\n");
  CIniFile ini;
  Disturb(ini);
  EXPECT_TRUE(ini.Load(Path()));
  EXPECT_TRUE(ini.loaded);
  EXPECT_TRUE(ini.trace);  // not a statistic
  ExpectNoLookups(ini);
  // The end of a list of two.
  ASSERT_EQ((ini.cursor - 1)->Key, "k");
  ASSERT_EQ((ini.cursor - 2)->Section, "a");
}

TEST_F(IniFileTest, MemberLoadOfAMissingFileSucceeds) {
  CIniFile ini;
  EXPECT_TRUE(ini.Load(Write("k=v")));
  Disturb(ini);
  EXPECT_TRUE(ini.Load(Path("none")));
  EXPECT_TRUE(ini.loaded);
  ExpectNoLookups(ini);
  EXPECT_EQ(ini.GetValueDef("", "k", "gone"), "gone");
  EXPECT_EQ(ini.searches, 1);
}

TEST_F(IniFileTest, AMemberLoadThatThrowsLeavesAnEmptyList) {
  CIniFile ini;
  EXPECT_TRUE(ini.Load(Write("k=v")));
  Disturb(ini);
  EXPECT_THROW(ini.Load(Write("a=1\n[open\n")), std::out_of_range);
  EXPECT_FALSE(ini.loaded);
  ExpectNoLookups(ini);
  EXPECT_EQ(ini.GetValueDef("", "k", "gone"), "gone");
  EXPECT_EQ(ini.GetValueDef("", "a", "gone"), "gone");
  ExpectNoLookups(ini);
  ini.loaded = true;  // The list itself is empty.
  EXPECT_EQ(ini.GetValueDef("", "a", "gone"), "gone");
  EXPECT_TRUE(ini.Load(Write("m=w")));
  EXPECT_TRUE(ini.loaded);
  EXPECT_EQ((ini.cursor - 1)->Value, "w");
}

TEST_F(IniFileTest, TheNameMayReferToTheObject) {
  CIniFile ini;
  ini.lastLookup = Write("k=v");
  EXPECT_TRUE(ini.Load(ini.lastLookup));
  EXPECT_EQ((ini.cursor - 1)->Value, "v");
  EXPECT_TRUE(ini.Load(Write("include=" + Path())));
  EXPECT_TRUE(ini.Load((ini.cursor - 1)->Value));
  EXPECT_EQ((ini.cursor - 1)->Key, "include");
}

class Derived : public CIniFile {
 public:
  explicit Derived(bool& gone) : gone_(gone) {}
  Derived(const Derived&) = delete;
  Derived& operator=(const Derived&) = delete;
  ~Derived() override { gone_ = true; }

 private:
  bool& gone_;
};

TEST_F(IniFileTest, CanBeOwnedThroughAPointerToTheBase) {
  bool gone = false;
  std::unique_ptr<CIniFile> ini = std::make_unique<Derived>(gone);
  EXPECT_TRUE(ini->Load(Write("k=v")));
  ini.reset();
  EXPECT_TRUE(gone);
}

TEST(IniFileTypeTest, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<CIniFile>);
  EXPECT_FALSE(std::is_copy_assignable_v<CIniFile>);
  EXPECT_TRUE(std::has_virtual_destructor_v<CIniFile>);
}

}  // namespace
}  // namespace fairlead::internal::ini_file_test
