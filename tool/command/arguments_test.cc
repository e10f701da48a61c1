#include "tool/command/arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

using testing::HasSubstr;

constexpr Parameter kOperand = {.name = "",
                                .word = "bash|zsh",
                                .kind = Kind::kChoice,
                                .group = "",
                                .help = "a shell"};
constexpr Parameter kName = {.name = "name",
                             .word = "WORDS",
                             .kind = Kind::kText,
                             .group = "",
                             .help = "any text (\\xHH)"};
constexpr Parameter kPath = {.name = "path",
                             .word = "PATH",
                             .kind = Kind::kFile,
                             .group = "",
                             .help = "a file"};
constexpr Parameter kPort = {.name = "port",
                             .word = "N",
                             .kind = Kind::kNumber,
                             .group = "",
                             .help = "a port",
                             .least = 1,
                             .most = 65535,
                             .fallback = "7000"};
constexpr Parameter kCount = {.name = "count",
                              .word = "N",
                              .kind = Kind::kNumber,
                              .group = "",
                              .help = "a count",
                              .least = 0,
                              .most = 2147483647};
constexpr Parameter kEol = {.name = "eol",
                            .word = "none|lf|crlf",
                            .kind = Kind::kChoice,
                            .group = "",
                            .help = "a line end",
                            .fallback = "none"};
constexpr Parameter kLoud = {.name = "loud",
                             .word = "",
                             .kind = Kind::kSwitch,
                             .group = "",
                             .help = "a switch"};
constexpr Parameter kStranger = {.name = "stranger",
                                 .word = "",
                                 .kind = Kind::kSwitch,
                                 .group = "",
                                 .help = "in no table"};

constexpr Parameter kParameters[] = {kName, kPath, kPort, kCount, kEol, kLoud};

constexpr Command kCommand = {.name = "try",
                              .usage = "",
                              .summary = "",
                              .story = "",
                              .operand = nullptr,
                              .parameters = kParameters,
                              .examples = {},
                              .statuses = {},
                              .run = nullptr};

constexpr Command kWithOperand = {.name = "try",
                                  .usage = "",
                                  .summary = "",
                                  .story = "",
                                  .operand = &kOperand,
                                  .parameters = kParameters,
                                  .examples = {},
                                  .statuses = {},
                                  .run = nullptr};

// The words behind the command, and the arguments made of them.
class Parsed {
 public:
  explicit Parsed(std::vector<std::string> words,
                  const Command& command = kCommand)
      : words_(std::move(words)) {
    words_.insert(words_.begin(), "try");
    for (std::string& word : words_) pointers_.push_back(word.data());
    arguments_.emplace(command, pointers_);
  }
  const Arguments* operator->() const { return &*arguments_; }

 private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
  std::optional<Arguments> arguments_;
};

std::string Refusal(std::vector<std::string> words,
                    const Command& command = kCommand) {
  try {
    const Parsed parsed(std::move(words), command);
    return "accepted";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kWrongUsage);
    return failure.what();
  }
}

TEST(ArgumentsTest, GivesWhatWasGiven) {
  const Parsed parsed({"-name", "Some Words", "-port", "80", "-loud", "-eol",
                       "crlf", "-path", "a/b"});
  EXPECT_EQ(parsed->Text(kName), "Some Words");
  EXPECT_EQ(parsed->Number(kPort), 80);
  EXPECT_TRUE(parsed->Has(kLoud));
  EXPECT_EQ(parsed->Text(kEol), "crlf");
  EXPECT_EQ(parsed->Text(kPath), "a/b");
  EXPECT_FALSE(parsed->Has(kCount));
}

TEST(ArgumentsTest, FallsBackOnTheTable) {
  const Parsed parsed({});
  EXPECT_EQ(parsed->Number(kPort), 7000);
  EXPECT_EQ(parsed->Number(kCount), 0);
  EXPECT_EQ(parsed->Text(kEol), "none");
  EXPECT_EQ(parsed->Text(kName), "");
  EXPECT_FALSE(parsed->Has(kName));
  EXPECT_FALSE(parsed->Has(kLoud));
}

TEST(ArgumentsTest, ATextMayBeEmptyOrTheParsersOwnMarker) {
  EXPECT_TRUE(Parsed({"-name", ""})->Has(kName));
  EXPECT_EQ(Parsed({"-name", ""})->Text(kName), "");
  EXPECT_EQ(Parsed({"-name", "n//a"})->Text(kName), "n//a");
}

TEST(ArgumentsTest, ForgivesCaseAndASecondDash) {
  EXPECT_EQ(Parsed({"--PORT", "81"})->Number(kPort), 81);
  EXPECT_TRUE(Parsed({"--loud"})->Has(kLoud));
  EXPECT_EQ(Parsed({"--name", "Case Stays"})->Text(kName), "Case Stays");
  EXPECT_THAT(Refusal({"---port", "81"}), HasSubstr("--port is unknown"));
}

TEST(ArgumentsTest, TheLastOfANameGivenTwiceCounts) {
  EXPECT_EQ(Parsed({"-port", "1", "-port", "2"})->Number(kPort), 2);
  EXPECT_FALSE(Parsed({"-loud", "-loud", "off"})->Has(kLoud));
}

TEST(ArgumentsTest, ASwitchTakesAWordForOnOrOff) {
  for (const char* const on : {"on", "yes", "true", "1", "ON", "Yes"})
    EXPECT_TRUE(Parsed({"-loud", on})->Has(kLoud)) << on;
  for (const char* const off : {"off", "no", "false", "0", "OFF", "No"})
    EXPECT_FALSE(Parsed({"-loud", off})->Has(kLoud)) << off;
}

TEST(ArgumentsTest, ASwitchNamesTheWordThatItSwallowed) {
  for (const std::string word : {"file.txt", "", "2", "onn"})
    EXPECT_THAT(Refusal({"-loud", word}),
                HasSubstr("the switch -loud took the word '" + word + "'"));
}

struct NumberCase {
  const char* text;
  const char* refusal;  // Null for none.
};

constexpr NumberCase kNumberCases[] = {
    {"1", nullptr},
    {"65535", nullptr},
    {"0080", nullptr},
    {"0", "-port 0 is outside 1 to 65535"},
    {"65536", "-port 65536 is outside 1 to 65535"},
    {"70000", "-port 70000 is outside 1 to 65535"},
    {"-5", "-port -5 is outside 1 to 65535"},
    {"2147483648", "-port 2147483648 is outside 1 to 65535"},
    {"99999999999999999999", "-port 99999999999999999999 is outside"},
    {"12abc", "-port '12abc' is not a whole number; it may be 1 to 65535"},
    {"abc", "-port 'abc' is not a whole number"},
    {"", "-port '' is not a whole number"},
    {" 80", "-port ' 80' is not a whole number"},
    {"80 ", "-port '80 ' is not a whole number"},
    {"+80", "-port '+80' is not a whole number"},
    {"8.0", "-port '8.0' is not a whole number"},
    {"0x50", "-port '0x50' is not a whole number"},
    {"-5a", "-port '-5a' is not a whole number"},
};

TEST(ArgumentsTest, TakesWholeNumbersInTheirRangeOnly) {
  for (const NumberCase& c : kNumberCases) {
    SCOPED_TRACE(c.text);
    EXPECT_THAT(Refusal({"-port", c.text}),
                HasSubstr(c.refusal == nullptr ? "accepted" : c.refusal));
  }
}

TEST(ArgumentsTest, AChoiceIsOneOfItsWords) {
  EXPECT_EQ(Parsed({"-eol", "lf"})->Text(kEol), "lf");
  for (const std::string word : {"LF", "cr", "", "none|lf"})
    EXPECT_EQ(Refusal({"-eol", word}),
              "-eol '" + word + "' is none of none|lf|crlf");
}

TEST(ArgumentsTest, AFileHasAName) {
  EXPECT_EQ(Refusal({"-path", ""}), "-path PATH must not be empty");
}

TEST(ArgumentsTest, AnUnknownNameOffersTheNearest) {
  EXPECT_THAT(Refusal({"-prot", "1"}),
              HasSubstr("-prot is unknown; the nearest is -port"));
  EXPECT_THAT(Refusal({"-Nmae", "1"}),
              HasSubstr("-Nmae is unknown; the nearest is -name"));
  EXPECT_THAT(Refusal({"-zzz"}), HasSubstr("'fairlead help try' lists all"));
}

TEST(ArgumentsTest, ALoneDashNamesNothing) {
  EXPECT_THAT(Refusal({"-"}), HasSubstr("a lone '-' names nothing"));
  EXPECT_THAT(Refusal({"--"}), HasSubstr("a lone '-' names nothing"));
  EXPECT_THAT(Refusal({"-loud", "-"}), HasSubstr("a lone '-'"));
}

TEST(ArgumentsTest, AMissingValueIsTold) {
  EXPECT_EQ(Refusal({"-name"}), "-name WORDS: the value is missing");
  EXPECT_EQ(Refusal({"-name", "-port", "1"}),
            "-name WORDS: the value is missing");
  EXPECT_EQ(Refusal({"-port", "--loud"}), "-port N: the value is missing");
}

TEST(ArgumentsTest, AValueThatBeginsWithADashIsToldWithItsRemedy) {
  EXPECT_EQ(Refusal({"-name", "-x"}),
            "-name WORDS: the value cannot begin with '-'; write "
            "\\x2d for that");
  EXPECT_EQ(Refusal({"-path", "-x"}),
            "-path PATH: the value cannot begin with '-'; write "
            "./ before it");
  EXPECT_EQ(Refusal({"-eol", "-x"}),
            "-eol none|lf|crlf: the value cannot begin with '-'");
}

// Of two '-' the first is passed over, so the word is not quoted.
TEST(ArgumentsTest, AValueThatBeginsWithTwoDashesIsTold) {
  EXPECT_EQ(
      Refusal({"-name", "--x"}),
      "-name WORDS: the value cannot begin with '-'; write \\x2d for that");
}

TEST(ArgumentsTest, ErrorsAreHarmlessLines) {
  EXPECT_EQ(Refusal({"-eol", "\033[1m\n"}),
            "-eol '\\x1b[1m\\n' is none of none|lf|crlf");
  EXPECT_EQ(Refusal({"-\033zzz"}),
            "-\\x1bzzz is unknown ('fairlead help try' lists all)");
  EXPECT_EQ(Refusal({"-port", std::string(200, '9')}),
            "-port " + std::string(100, '9') + "... is outside 1 to 65535");
}

TEST(ArgumentsTest, AWordTooManyIsTold) {
  EXPECT_THAT(Refusal({"-name", "a", "b"}),
              HasSubstr("'b' is one word too many after 'a'"));
  EXPECT_THAT(Refusal({"-loud", "on", "b"}),
              HasSubstr("'b' is one word too many after 'on'"));
  EXPECT_THAT(Refusal({"stray"}), HasSubstr("'stray' stands alone"));
  EXPECT_THAT(Refusal({""}), HasSubstr("'' stands alone"));
}

TEST(ArgumentsTest, AnOperandStandsDirectlyBehindTheCommand) {
  const Parsed parsed({"zsh", "-loud"}, kWithOperand);
  EXPECT_TRUE(parsed->Has(kOperand));
  EXPECT_EQ(parsed->Text(kOperand), "zsh");
  EXPECT_FALSE(Parsed({"-loud"}, kWithOperand)->Has(kOperand));
  EXPECT_EQ(Refusal({"fish"}, kWithOperand), "'fish' is none of bash|zsh");
  EXPECT_EQ(Refusal({"bash", "zsh"}, kWithOperand),
            "'zsh' is one word too many after 'bash'");
  EXPECT_THAT(Refusal({"-loud", "on", "zsh"}, kWithOperand),
              HasSubstr("'zsh' is one word too many"));
}

// A name that no table holds would be asked for in vain for ever.
TEST(ArgumentsDeathTest, AskingForAStrangerEndsTheProgram) {
  const Parsed parsed({});
  EXPECT_DEATH(parsed->Has(kStranger), "");
  EXPECT_DEATH(parsed->Text(kOperand), "");
}

}  // namespace
}  // namespace fairlead::tool
