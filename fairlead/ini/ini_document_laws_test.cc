// Tests what every edit of an INI document keeps, with random documents made of
// awkward lines.

#include "fairlead/ini/ini_document_laws.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <random>

#include "fairlead/ini/ini_document_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::ini_document_laws_test {
namespace {

using namespace std::string_literals;

constexpr int kSteps = Rounds(100'000);

const std::vector<std::string> kLines = {"[s]",
                                         "[s]",
                                         "[t]",
                                         "  [t]  ",
                                         "#[s]",
                                         ";[t]",
                                         "# [s]",
                                         "[]",
                                         "[s] text",
                                         "#[s] text",
                                         "[open",
                                         "  [open",
                                         "k=1",
                                         "k = 2",
                                         "  k = 3  ",
                                         "\tj=4",
                                         "j=",
                                         "j = ",
                                         "#k=5",
                                         "; k = 6",
                                         "  #j=7",
                                         "##k=8",
                                         "#;k=9",
                                         ";#[s]",
                                         "a b = 1",
                                         "#;a b=2",
                                         "# a b=3",
                                         ";;a b=4",
                                         "=v",
                                         "#=v",
                                         "junk",
                                         "  more",
                                         "  more [t]",
                                         "\tmore\\",
                                         "# text",
                                         "; text",
                                         "#",
                                         ";;;",
                                         "# ---=-",
                                         "--=1",
                                         "#--=1",
                                         "",
                                         "",
                                         "  ",
                                         "k=\\",
                                         "  j=x\\",
                                         "  k=y",
                                         "[t]\\",
                                         "k=a\0b"s,
                                         "\xff=\xfe",
                                         "\r#k=1",
                                         "a\rb=1",
                                         "k=\r",
                                         "# see [1]",
                                         "#;[t]",
                                         "k[=1",
                                         "k==",
                                         "\\",
                                         "more\\",
                                         "#\\",
                                         "[a]b]",
                                         "#k=z\\",
                                         "  #[t]",
                                         "\xef\xbb\xbfk=2",
                                         "#\xef\xbb\xbfj=2",
                                         "\xef\xbb\xbf[s]",
                                         "\xef\xbb\xbf# text",
                                         "\xef\xbb\xbf"};
const std::vector<std::string> kSections = {"s", "s", "t", "", "u", "s]", "\n"};
const std::vector<std::string> kKeys = {
    "k",  "k",  "j",    " k ",           "a b",          "n", "", "#k", "k=n",
    "[k", "--", "\xff", "\xef\xbb\xbfk", "\xef\xbb\xbfj"};
const std::vector<std::string> kTexts = {
    "",    "v",       " v ", "1",  "x\\", "a\nb", "#c",  "c\n\nd", "k = v",
    "[s]", "; c\r\n", "t",   "j",  "s",   "k",    "a b", "\0"s,    "##k=v",
    "n",   "=",       "m n", "s]", "[x",  "#;x=", "  ",  "a = b",  "u"};

class Generator {
 public:
  explicit Generator(unsigned seed) : engine_(seed) {}

  std::size_t Number(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_);
  }

  const std::string& Pick(const std::vector<std::string>& values) {
    return values[Number(values.size())];
  }

  std::string Text() {
    std::string text = Number(8) == 0 ? "\xef\xbb\xbf" : "";
    const std::size_t style = Number(4);
    for (std::size_t lines = Number(14); lines > 0; --lines) {
      const std::string& line = Pick(kLines);
      if (line == "[open" && Number(8) != 0) continue;
      const bool crlf = style == 0 || (style == 1 && Number(2) == 0);
      text += line + (crlf ? "\r\n" : "\n");
    }
    if (Number(4) == 0 && text.ends_with('\n')) text.pop_back();
    return text;
  }

  DocumentStep Step() {
    DocumentStep step;
    step.operation = static_cast<DocumentOperation>(Number(7));
    step.section = Pick(kSections);
    if (Number(3) != 0) step.key = Pick(kKeys);
    step.text = Pick(kTexts);
    step.index = Number(4) == 0 ? Number(4) : 0;
    step.mark = Number(2) == 0 ? '#' : ';';
    step.where = static_cast<IniPlace::Where>(Number(4));
    step.place = Pick(step.key ? kKeys : kSections);
    return step;
  }

 private:
  std::mt19937 engine_;
};

std::string Describe(const DocumentStep& step) {
  return testing::PrintToString(std::tuple(
      static_cast<int>(step.operation), step.section, step.key, step.text,
      step.index, step.mark, static_cast<int>(step.where), step.place));
}

class DocumentLawsTest : public testing::TestWithParam<IniReading> {};

TEST_P(DocumentLawsTest, HoldAfterEveryStep) {
  constexpr unsigned kSeed = 20'411;
  std::printf("seed %u\n", kSeed);
  Generator generator(kSeed);
  IniDocument document;
  std::map<IniResult::Code, int> codes;
  std::map<std::string, int> shown;
  for (int i = 0; i < kSteps; ++i) {
    if (generator.Number(4) == 0 || document.Text().size() > 400) {
      const std::string bytes = generator.Text();
      document = IniDocument(bytes, GetParam());
      EXPECT_EQ(FaultsOfReading(document, bytes), Faults())
          << testing::PrintToString(bytes);
    }
    const DocumentStep step = generator.Step();
    const DocumentLaws laws(document, GetParam(), step);
    ++codes[laws.result().code];
    for (const std::string& fault : laws.faults())
      if (++shown[fault] <= 2)
        ADD_FAILURE() << fault << " at step " << i << ": " << Describe(step)
                      << " on " << testing::PrintToString(document.Text())
                      << " left "
                      << testing::PrintToString(laws.after().Text());
    document = laws.after();
  }
  // The steps reach every result.
  const bool live = GetParam() == IniReading::kLive;
  EXPECT_EQ(codes.size(), live ? 9U : 8U);
  for (const auto& [code, count] : codes)
    EXPECT_GT(count, kSteps / 500) << static_cast<int>(code);
  for (const auto& [fault, count] : shown)
    std::printf("%d times: %s\n", count, fault.c_str());
}

INSTANTIATE_TEST_SUITE_P(Readings, DocumentLawsTest,
                         testing::Values(IniReading::kLive,
                                         IniReading::kRecords),
                         ReadingName);

}  // namespace
}  // namespace fairlead::internal::ini_document_laws_test
