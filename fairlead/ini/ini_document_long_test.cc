// Tests that a long document which has been edited is as one that reads the
// text anew, with random edits of many lines.

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_testing.h"
#include "fairlead/ini/ini_keys.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::ini_document_long_test {
namespace {

const std::vector<std::string> kLines = {
    "[s]",     "[t]",    "#[s]",
    "k=1",     "k = 2",  "  j = 3",
    "#k=4",    "",       "",
    "# x",     "junk",   "  more",
    "k=\\",    "m=5",    "a b = 6",
    "##k=7",   "#  j=8", "k=a long value of it",
    "  k=9\\", ";#;",    "#;a b=words",
    "n=1",     "[open"};
const std::vector<std::string> kSections = {"s", "t", "", "u"};
const std::vector<std::string> kKeys = {"k", "j", "m", "a b", "n", "o"};
const std::vector<std::string> kValues = {"1", "", "a longer value", "x\\"};

struct Step {
  std::size_t operation;
  std::string section;
  std::string key;
  bool has_key;
  std::string value;
  std::size_t index;

  IniName Name() const {
    IniName name = {.section = section, .index = index};
    if (has_key) name.key = key;
    return name;
  }

  IniResult Make(IniDocument& document) const {
    switch (operation) {
      case 0:
        return document.Add(Name(), value);
      case 1:
        return document.Delete(Name());
      case 2:
        return document.Enable(Name());
      case 3:
        return document.Disable(Name(), ';');
      case 4:
        return document.Rename(Name(), value);
      case 5:
        return document.Comment(Name(), value);
      default:
        return document.Set(Name(), value);
    }
  }
};

class Generator {
 public:
  explicit Generator(unsigned seed) : engine_(seed) {}

  std::size_t Number(std::size_t limit) { return engine_() % limit; }

  const std::string& Pick(const std::vector<std::string>& values) {
    return values[Number(values.size())];
  }

  // Most lines are one of a few, which are short in some texts.
  std::string Text() {
    const std::vector<std::string> common = {Pick(kLines), Pick(kLines),
                                             Number(2) == 0 ? "" : "#"};
    std::string text;
    for (std::size_t lines = Number(1'500); lines > 0; --lines) {
      const std::string& line = Pick(Number(4) == 0 ? kLines : common);
      if (line == "[open" && Number(500) != 0) continue;
      if ((line == "junk" || line.ends_with('\\')) && Number(20) != 0) continue;
      text += line + "\n";
    }
    return text;
  }

  struct Step Step() {
    return {.operation = Number(8),
            .section = Pick(kSections),
            .key = Pick(kKeys),
            .has_key = Number(4) != 0,
            .value = Pick(kValues),
            .index = Number(3) == 0 ? Number(50) : 0};
  }

 private:
  std::mt19937 engine_;
};

auto EntriesOf(const IniDocument& document) {
  std::vector<std::tuple<std::string, std::string, std::string, char, size_t>>
      entries;
  for (const IniEntry& entry : document)
    entries.emplace_back(entry.section, entry.key, entry.value, entry.mark,
                         entry.line);
  return entries;
}

std::vector<std::size_t> CountingLinesOf(const IniDocument& document) {
  const IniKeys keys(document);
  std::vector<std::size_t> lines = {keys.size()};
  for (const IniEntry& entry : document)
    if (const auto found = keys.Find(entry.section, entry.key))
      lines.push_back(2 * found->line + (keys.IsFirst(entry) ? 1 : 0));
  return lines;
}

// Expects what is passed on to be the text, and parts of the old one to be in
// their order.
void CheckPieces(const IniDocument& document, const std::string& text) {
  std::string passed;
  const std::string_view old = document.OriginalText();
  const char* end = old.data();
  document.ForEachPiece([&](std::string_view piece) {
    passed += piece;
    if (piece.data() < old.data() || piece.data() > old.data() + old.size())
      return;
    EXPECT_GE(piece.data(), end);
    end = piece.data() + piece.size();
  });
  EXPECT_EQ(passed, text);
}

class LongDocumentTest : public testing::TestWithParam<IniReading> {};

TEST_P(LongDocumentTest, IsAsOneThatReadsTheTextAnew) {
  constexpr unsigned kSeed = 90'533;
  std::printf("seed %u\n", kSeed);
  Generator generator(kSeed);
  int done = 0;
  for (int round = Rounds(20); round > 0; --round) {
    IniDocument document(generator.Text(), GetParam());
    for (int i = 0; i < 30 && !testing::Test::HasFailure(); ++i) {
      const Step step = generator.Step();
      IniDocument anew(document.Text(), GetParam());
      const IniResult expected = step.Make(anew);
      const IniResult result = step.Make(document);
      done += result.code == IniResult::Code::kDone ? 1 : 0;
      EXPECT_EQ(result.code, expected.code);
      EXPECT_EQ(result.line, expected.line);
      const std::string text = document.Text();
      EXPECT_EQ(text, anew.Text());
      CheckPieces(document, text);
      const IniDocument read(text, GetParam());
      EXPECT_EQ(EntriesOf(document), EntriesOf(read));
      EXPECT_EQ(CountingLinesOf(document), CountingLinesOf(read));
    }
  }
  EXPECT_GE(done, Rounds(20) * 4);
}

INSTANTIATE_TEST_SUITE_P(Readings, LongDocumentTest,
                         testing::Values(IniReading::kLive,
                                         IniReading::kRecords),
                         ReadingName);

}  // namespace
}  // namespace fairlead::internal::ini_document_long_test
