// Tests what an INI document reads, in both readings, and that it is a value.

#include "fairlead/ini/ini_document.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document_testing.h"

namespace fairlead::internal::ini_document_test {
namespace {

using namespace std::literals;

constexpr IniReading kReadings[] = {IniReading::kLive, IniReading::kRecords};

// Line, character, section, key, value.
using Row =
    std::tuple<std::size_t, char, std::string, std::string, std::string>;

Row AsRow(const IniEntry& entry) {
  return {entry.line, entry.mark, std::string(entry.section),
          std::string(entry.key), std::string(entry.value)};
}

std::vector<Row> RowsOf(const std::string& text, IniReading reading) {
  std::vector<Row> rows;
  for (const IniEntry& entry : IniDocument(text, reading))
    rows.push_back(AsRow(entry));
  return rows;
}

TEST(IniDocumentTest, FollowsItsExample) {
  IniDocument document("[server]\n  port = 80  \n#tls=on\n");
  EXPECT_EQ(document.Value("server", "port"), "80");
  EXPECT_TRUE(document.Set({"server", "port"}, "7000").IsOk());
  EXPECT_TRUE(document.Enable({"server", "tls"}).IsOk());
  EXPECT_EQ(document.Text(), "[server]\n  port = 7000  \ntls=on\n");
}

TEST(IniDocumentTest, TextIsTheInput) {
  const std::string texts[] = {
      "",
      "\n",
      "\0"s,
      "no newline",
      "\xef\xbb\xbf",
      "\xef\xbb\xbf[s]\r\nk=1\n\r\r\n",
      "[open\n=\n[]\n]\n#\n \t\n",
      "\xff\xfe[\0s\0]\0"s,
      "a=1\\\n  b=2\\\n\n  c=3",
  };
  for (const std::string& text : texts) {
    for (const IniReading reading : kReadings) {
      const IniDocument document(text, reading);
      EXPECT_EQ(document.Text(), text);
      EXPECT_FALSE(document.IsEdited());
    }
  }
  EXPECT_EQ(IniDocument().Text(), "");
}

// The pieces of an unedited text are one, but for a byte order mark.
TEST(IniDocumentTest, PassesTheTextOnInPieces) {
  const auto pieces = [](const IniDocument& document) {
    std::vector<std::string> result;
    document.ForEachPiece(
        [&](std::string_view piece) { result.emplace_back(piece); });
    return result;
  };
  using Pieces = std::vector<std::string>;
  EXPECT_EQ(pieces(IniDocument()), Pieces());
  IniDocument document("[s]\nk=1\nj=2\n");
  EXPECT_EQ(pieces(document), (Pieces{"[s]\nk=1\nj=2\n"}));
  document.Set({"s", "k"}, "3");
  EXPECT_EQ(pieces(document), (Pieces{"[s]\n", "k=3\n", "j=2\n"}));
}

TEST(IniDocumentTest, IteratesOverTheEntries) {
  const std::string text =
      "\n top = 1 \r\n# prose, a = b\n#off=2\n[ s ] remark\nk=\n  more\n"
      "#;my key = 3\n; [t]\n#k=4\n\n[]\njunk\n=v\n";
  const std::vector<Row> live = {
      {2, ' ', "", "top", "1"},       {4, '#', "", "off", "2"},
      {5, ' ', " s ", "", ""},        {6, ' ', " s ", "k", ""},
      {8, '#', " s ", "my key", "3"}, {9, ';', "t", "", ""},
      {10, '#', "t", "k", "4"},       {12, ' ', "", "", ""},
  };
  const std::vector<Row> records = {
      {2, ' ', "", "top", "1"},        {3, '#', "", "prose, a", "b"},
      {4, '#', "", "off", "2"},        {5, ' ', " s ", "", ""},
      {6, ' ', " s ", "k", ""},        {7, ' ', "", "", ""},
      {8, '#', " s ", ";my key", "3"}, {9, ';', "t", "", ""},
      {10, '#', "t", "k", "4"},        {12, ' ', "", "", ""},
      {13, ' ', "", "", ""},           {14, ' ', "", "", "v"},
  };
  EXPECT_EQ(RowsOf(text, IniReading::kLive), live);
  EXPECT_EQ(RowsOf(text, IniReading::kRecords), records);
}

TEST(IniDocumentTest, IteratesByCopies) {
  const IniDocument document("[s]\nk=1\n");
  auto entry = document.begin();
  EXPECT_TRUE(entry->IsHeader());
  EXPECT_FALSE((*entry).IsDisabled());
  EXPECT_EQ((entry++)->line, 1U);
  EXPECT_EQ(entry->key, "k");
  EXPECT_FALSE(entry->IsHeader());
  EXPECT_TRUE(++entry == document.end());
  const IniDocument empty;
  EXPECT_TRUE(empty.begin() == empty.end());
}

struct LineCase {
  const char* line;
  Row live;
  const char* why = "";
};

// What one line is in the live reading; line 0 for no entry.
TEST(IniDocumentTest, TellsDisabledLinesFromProse) {
  const Row none = {};
  const LineCase cases[] = {
      {"#k=v", {1, '#', "", "k", "v"}},
      {" ;\t k = v ", {1, ';', "", "k", "v"}},
      {"#php.ini-path=v", {1, '#', "", "php.ini-path", "v"}},
      {"#\xc3\xa4=v", {1, '#', "", "\xc3\xa4", "v"}},
      {"#A=v", {1, '#', "", "A", "v"}},
      {"#Z=v", {1, '#', "", "Z", "v"}},
      {"#a=v", {1, '#', "", "a", "v"}},
      {"#z=v", {1, '#', "", "z", "v"}},
      {"#0=v", {1, '#', "", "0", "v"}},
      {"#9=v", {1, '#', "", "9", "v"}},
      {"#_=v", {1, '#', "", "_", "v"}},
      {"#@=v", none, "before A"},
      {"#^=v", none, "after Z"},
      {"#`=v", none, "before a"},
      {"#{=v", none, "after z"},
      {"#/=v", none, "before 0"},
      {"#:=v", none, "after 9"},
      {"#;two words=v", {1, '#', "", "two words", "v"}},
      {";#-=v", {1, ';', "", "-", "v"}},
      {"#[s]", {1, '#', "s", "", ""}},
      {"#[s] remark", {1, '#', "s", "", ""}},
      {"; [s]", {1, ';', "s", "", ""}},
      {"; [s] remark", none, "prose"},
      {"# two words=v", none, "prose"},
      {"#K=v", {1, '#', "", "K", "v"}},
      {"#7=v", {1, '#', "", "7", "v"}},
      {"#_=v", {1, '#', "", "_", "v"}},
      {"#{^:=v", none, "no letter, digit or underscore"},
      {"#;", none, "nothing"},
      {"#====", none, "a ruler"},
      {"# --- = ---", none, "a ruler"},
      {"##k=v", none, "disabled twice"},
      {"##[s]", none, "disabled twice"},
      {"#;k=v", none, "two characters are for several words"},
      {"#; two words=v", none, "a blank between"},
      {"##two words=v", none, "equal characters"},
      {"#;#two words=v", none, "three characters"},
      {"#[s", none, "unclosed"},
      {"#k", none, "no ="},
      {"#", none, ""},
      {"# # k=v", none, "a comment in a comment"},
      {"=v", none, "no key"},
      {"k", none, "no ="},
      {"k=a#b;c", {1, ' ', "", "k", "a#b;c"}},
      {"[s]]", {1, ' ', "s", "", ""}},
  };
  for (const LineCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.line << ": " << c.why);
    const auto rows = RowsOf(c.line, IniReading::kLive);
    if (c.live == none)
      EXPECT_TRUE(rows.empty());
    else
      EXPECT_EQ(rows, std::vector<Row>{c.live});
  }
}

TEST(IniDocumentTest, ReadsWhatABackslashContinues) {
  const std::vector<Row> rows = {{1, ' ', "", "a", "1\\"},
                                 {3, ' ', "", "c", "\\"},
                                 {4, ' ', "", "d", "\\"},
                                 {5, '#', "", "e", "1"},
                                 {6, ' ', "", "f", "1"}};
  EXPECT_EQ(
      RowsOf("a=1\\\n  b=2\nc=\\\nd=\\\n  #e=1\n  f=1\n", IniReading::kLive),
      rows);
  EXPECT_EQ(RowsOf("a=1\\\n  b=2\\\n  [s]\n", IniReading::kLive).size(), 1U);
  EXPECT_EQ(RowsOf("a=1\\\n  b=2\n", IniReading::kRecords).size(), 2U);
  // Also a line of the value that is not indented.
  EXPECT_EQ(RowsOf("a=1\\\nx\\\ny\\\n  b=2\n", IniReading::kLive).size(), 1U);
  EXPECT_EQ(RowsOf("x\\\ny\\\n  b=2\n", IniReading::kLive).size(), 1U);
  EXPECT_EQ(RowsOf("a=1\nx\\\n  b=2\n", IniReading::kLive).size(), 2U);
}

struct FindCase {
  IniName name;
  Code live;
  std::size_t live_line;
  Code records;
  std::size_t records_line;
};

TEST(IniDocumentTest, FindsSectionsAndKeys) {
  const std::string text =
      "k=1\n"
      "[s]\n#k=1\nk=2\nk=3\n#off=1\n"
      "#[t]\n#k=4\n"
      "[s]\nlast=1\n[s]\nlast=2\n"
      "[ u]\nK=5\n";
  const FindCase cases[] = {
      {{""}, Code::kDone, 0, Code::kDone, 1},
      {{"s"}, Code::kDone, 2, Code::kDone, 2},
      {{"t"}, Code::kDisabled, 7, Code::kDone, 7},
      {{"u"}, Code::kNoSection, 0, Code::kNoSection, 0},
      {{" u"}, Code::kDone, 13, Code::kDone, 13},
      {{"", "k"}, Code::kDone, 1, Code::kDone, 1},
      {{"s", "k"}, Code::kDone, 5, Code::kDone, 3},
      {{"s", "\tk \r\n"}, Code::kDone, 5, Code::kDone, 3},
      {{"s", "k", 1}, Code::kDone, 4, Code::kDone, 3},
      {{"s", "k", 2}, Code::kDone, 5, Code::kDone, 4},
      {{"s", "k", 3}, Code::kNoKey, 0, Code::kDone, 5},
      {{"s", "k", 4}, Code::kNoKey, 0, Code::kNoKey, 0},
      {{"s", "off"}, Code::kDisabled, 6, Code::kDone, 6},
      {{"t", "k"}, Code::kDisabled, 8, Code::kDone, 8},
      {{"s", "last"}, Code::kDone, 12, Code::kDone, 10},
      {{"s", "x"}, Code::kNoKey, 0, Code::kNoKey, 0},
      {{"t", "x"}, Code::kNoKey, 0, Code::kNoKey, 0},
      {{"x", "k"}, Code::kNoSection, 0, Code::kNoSection, 0},
      {{" u", "k"}, Code::kNoKey, 0, Code::kNoKey, 0},
      {{"s", ""}, Code::kNoKey, 0, Code::kNoKey, 0},
  };
  const IniDocument live(text);
  const IniDocument records(text, IniReading::kRecords);
  for (const FindCase& c : cases) {
    SCOPED_TRACE(testing::Message()
                 << c.name.section << '/' << c.name.key.value_or("-") << ' '
                 << c.name.index);
    EXPECT_EQ(live.Find(c.name).code, c.live);
    EXPECT_EQ(live.Find(c.name).entry.line, c.live_line);
    EXPECT_EQ(bool(live.Find(c.name)), c.live == Code::kDone);
    EXPECT_EQ(records.Find(c.name).code, c.records);
    EXPECT_EQ(records.Find(c.name).entry.line, c.records_line);
  }
  EXPECT_EQ(live.Value("s", "k"), "3");
  EXPECT_EQ(records.Value("s", "k"), "1");
  EXPECT_EQ(live.Value("s", "off"), std::nullopt);
  EXPECT_EQ(records.Value("s", "off"), "1");
}

// A section without any key before the first header is none.
TEST(IniDocumentTest, FindsTheSectionWithoutHeader) {
  EXPECT_EQ(IniDocument("").Find({""}).code, Code::kNoSection);
  EXPECT_EQ(IniDocument("# c\n\n[s]\n").Find({""}).code, Code::kNoSection);
  EXPECT_EQ(IniDocument("#k=1\n").Find({""}).code, Code::kDisabled);
  EXPECT_EQ(IniDocument("#[s]\n#k=1\n").Find({""}).code, Code::kNoSection);
  EXPECT_EQ(IniDocument("[]\n").Find({""}).entry.line, 1U);
}

TEST(IniDocumentTest, ReturnsComments) {
  const std::string text = "# far\n\n  # near \r\n;\nk=1\n#j=1\n[s]\n# end\n";
  const auto comments = [&](IniReading reading, std::string_view section,
                            std::optional<std::string_view> key) {
    const IniDocument document(text, reading);
    return document.Comments(
        document.Find({.section = section, .key = key}).entry);
  };
  EXPECT_EQ(comments(IniReading::kLive, "", "k"), "  # near \r\n;\n");
  EXPECT_EQ(comments(IniReading::kRecords, "", "k"), "# far\n  # near \r\n;\n");
  EXPECT_EQ(comments(IniReading::kLive, "", "j"), "");
  EXPECT_EQ(comments(IniReading::kLive, "s", std::nullopt), "");
  const IniDocument document(text);
  EXPECT_EQ(document.Comments({}), "");
  EXPECT_EQ(document.Comments({.line = 99}), "");
}

TEST(IniDocumentTest, ReturnsTheTextOfARecord) {
  const std::string text =
      "\xef\xbb\xbf# a\nk = 1\r\n  more\n\n[s]\n# b\nk=2\n\nj=3\n# c\n\n[t]\n"
      "[s]\nk=4";
  const IniDocument live(text);
  EXPECT_EQ(live.TextOf({"", "k"}), "# a\nk = 1\r\n  more\n");
  EXPECT_EQ(live.TextOf({""}), "# a\nk = 1\r\n  more\n");
  EXPECT_EQ(live.TextOf({"s", "k", 1}), "# b\nk=2\n");
  EXPECT_EQ(live.TextOf({"s", "k"}), "k=4");
  EXPECT_EQ(live.TextOf({"s"}), "[s]\n# b\nk=2\n\nj=3\n# c\n[s]\nk=4");
  EXPECT_EQ(live.TextOf({"x"}), "");
  EXPECT_EQ(IniDocument("k=\n\n# a\n  more\n# b\nj=1\n").TextOf({"", "k"}),
            "k=\n\n# a\n  more\n");
  EXPECT_EQ(live.TextOf({"s", "x"}), "");
  const IniDocument records(text, IniReading::kRecords);
  EXPECT_EQ(records.TextOf({"s", "k"}), "# b\nk=2\n");
  EXPECT_EQ(records.TextOf({"t"}), "# c\n[t]\n");
  std::vector<std::string> lines;
  records.ForEachLineOf(
      {"t"}, [&lines](std::string_view line) { lines.emplace_back(line); });
  EXPECT_EQ(lines, (std::vector<std::string>{"# c\n", "[t]\n"}));
  EXPECT_EQ(records.TextOf({"s"}), "[s]\n# b\nk=2\nj=3\n[s]\nk=4");
}

TEST(IniDocumentTest, FindsTheUnclosedHeader) {
  const std::string text = "[s]\n#[off\n[open\nk=1\n[open2\n[t]\nj=1\n";
  const IniDocument live(text);
  EXPECT_EQ(live.UnclosedHeader(), 3U);
  EXPECT_EQ(live.Find({"s", "k"}).code, Code::kNoKey);
  EXPECT_EQ(live.Value("t", "j"), "1");
  EXPECT_EQ(RowsOf(text, IniReading::kLive).size(), 3U);
  const IniDocument records(text, IniReading::kRecords);
  EXPECT_EQ(records.UnclosedHeader(), 2U);
  EXPECT_EQ(records.Value("t", "j"), std::nullopt);
  EXPECT_EQ(RowsOf(text, IniReading::kRecords).size(), 1U);
  EXPECT_EQ(IniDocument("[s]\n").UnclosedHeader(), 0U);
}

TEST(IniDocumentTest, PassesUnchangedLinesAsPartsOfTheOriginalText) {
  const std::string text = "\xef\xbb\xbf[s]\nk=1\nj=2\n";
  IniDocument document(text);
  document.Set({"s", "k"}, "3");
  EXPECT_EQ(document.OriginalText(), text);
  const std::string_view original = document.OriginalText();
  std::vector<std::string> parts;
  document.ForEachPiece([&](std::string_view piece) {
    const bool is_part = piece.data() >= original.data() &&
                         piece.data() < original.data() + original.size();
    parts.push_back((is_part ? "old " : "new ") + std::string(piece));
  });
  EXPECT_EQ(parts, (std::vector<std::string>{"old \xef\xbb\xbf", "old [s]\n",
                                             "new k=3\n", "old j=2\n"}));
}

TEST(IniDocumentTest, PassesDisabledLinesOnTogether) {
  const std::string begin = "[s]\nk=1\n";
  IniDocument document(begin + "\n; c\n" + begin + "[t]\n");
  document.Disable({"s"});
  std::vector<std::string> parts;
  document.ForEachPiece(
      [&](std::string_view piece) { parts.emplace_back(piece); });
  EXPECT_EQ(parts, (std::vector<std::string>{"#[s]\n#k=1\n", "\n; c\n",
                                             "#[s]\n#k=1\n", "[t]\n"}));
}

// The views are those of the text as it is now.
TEST(IniDocumentTest, ReadsDisabledLines) {
  IniDocument document("[s]\n# c\n  a b = 1 \n[t]\n  #; c d= 2\n#j =\n");
  document.Disable({"s"}, ';');
  const IniFound key = document.Find({.section = "s", .key = "a b"});
  EXPECT_EQ(key.code, IniResult::Code::kDisabled);
  EXPECT_EQ(key.entry.section, "s");
  EXPECT_EQ(key.entry.key, "a b");
  EXPECT_EQ(key.entry.value, "1");
  EXPECT_EQ(key.entry.mark, ';');
  EXPECT_EQ(document.Comments(key.entry), "# c\n");
  document.Enable({"t", "j"});
  EXPECT_EQ(document.Value("t", "j"), "");
  EXPECT_EQ(document.TextOf({.section = "t"}), "[t]\n  #; c d= 2\nj =\n");
  EXPECT_EQ(document.Text(),
            ";[s]\n# c\n  ;#a b = 1 \n[t]\n  #; c d= 2\nj =\n");
}

TEST(IniDocumentTest, IsAValue) {
  static_assert(std::is_nothrow_move_constructible_v<IniDocument>);
  static_assert(std::is_nothrow_move_assignable_v<IniDocument>);
  IniDocument first("k=1\n");
  IniDocument copy = first;
  copy.Set({"", "k"}, "2");
  EXPECT_EQ(first.Text(), "k=1\n");
  EXPECT_FALSE(first.IsEdited());
  IniDocument again;
  again = copy;
  EXPECT_TRUE(again.IsEdited());
  again.Set({"", "k"}, "3");
  EXPECT_EQ(copy.Text(), "k=2\n");
  IniDocument moved = std::move(again);
  EXPECT_EQ(moved.Text(), "k=3\n");
  first = std::move(moved);
  EXPECT_EQ(first.Text(), "k=3\n");
  moved = copy;  // One that was moved from takes a new value.
  EXPECT_EQ(moved.Text(), "k=2\n");
  const IniDocument records("#k=1\n", IniReading::kRecords);
  EXPECT_EQ(IniDocument(records).Value("", "k"), "1");
}

// Views of an edited document are of its new lines.
TEST(IniDocumentTest, FindsWhatItWasGiven) {
  IniDocument document;
  for (int i = 0; i < 1000; ++i)
    document.Set({"s", "key " + std::to_string(i)}, std::to_string(i * i));
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(document.Value("s", "key " + std::to_string(i)),
              std::to_string(i * i));
}

// These words have the same hash.
TEST(IniDocumentTest, ComparesNamesWithEqualHashes) {
  const IniDocument document("[liquid]\nliquid=1\n");
  EXPECT_EQ(document.Value("liquid", "liquid"), "1");
  EXPECT_EQ(document.Find({"liquid", "costarring"}).code, Code::kNoKey);
  EXPECT_EQ(document.Find({"costarring", "liquid"}).code, Code::kNoSection);
}

// Edits move the text that they have added.
TEST(IniDocumentTest, TakesPartsOfItsText) {
  const std::string value(1000, 'v');
  for (const IniReading reading : kReadings) {
    IniDocument document("", reading);
    document.Set({"s", "k"}, value);
    document.Set({"t", "j"}, *document.Value("s", "k"));
    const IniEntry entry = document.Find({"s", "k"}).entry;
    document.Set({entry.value, entry.value}, entry.value);
    EXPECT_EQ(document.Value(value, value), value);
    EXPECT_EQ(document.Value("t", "j"), value);
  }
  IniDocument document("k=1\nk=2\n");
  document.Set({"", "j"}, value);
  document.Rename({"", "k"}, *document.Value("", "j"));
  EXPECT_EQ(document.Text(), value + "=1\n" + value + "=2\nj=" + value + '\n');
}

}  // namespace
}  // namespace fairlead::internal::ini_document_test
