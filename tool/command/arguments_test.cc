// Tests of the parsing of arguments.

#include "tool/command/arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <concepts>
#include <optional>
#include <string>
#include <vector>

#include "tool/base/failure.h"
#include "tool/command/command.h"
#include "tool/command/duration.h"
#include "tool/command/parameters.h"

namespace fairlead::tool::arguments_test {
namespace {

using testing::HasSubstr;

enum class Shell { kBash, kZsh };
enum class LineEnd { kNone, kLf, kCrlf };

constexpr auto kShells =
    std::to_array<Choice>({{Shell::kBash, "bash"}, {Shell::kZsh, "zsh"}});
constexpr auto kLineEnds = std::to_array<Choice>({
    {LineEnd::kNone, "none"},
    {LineEnd::kLf, "lf"},
    {LineEnd::kCrlf, "crlf"},
});

constexpr Parameter kShell = {.name = "",
                              .kind = Kind::kChoice,
                              .group = Group::kArguments,
                              .help = "a shell",
                              .choices = kShells};
constexpr Parameter kTopic = {.name = "",
                              .placeholder = "TOPIC",
                              .kind = Kind::kNonEmptyText,
                              .group = Group::kArguments,
                              .help = "a topic"};
constexpr Parameter kName = {.name = "name",
                             .placeholder = "WORDS",
                             .kind = Kind::kText,
                             .group = Group::kWhat,
                             .help = "any text",
                             .remedy = "write \\x2d for it"};
constexpr Parameter kPath = {.name = "path",
                             .placeholder = "PATH",
                             .kind = Kind::kFile,
                             .group = Group::kWhat,
                             .help = "a file"};
constexpr Parameter kPort = {.name = "port",
                             .placeholder = "N",
                             .kind = Kind::kNumber,
                             .group = Group::kWhat,
                             .help = "a port",
                             .range = {.least = 1, .most = 65535},
                             .fallback = "7000"};
constexpr Parameter kCount = {.name = "count",
                              .placeholder = "N",
                              .kind = Kind::kNumber,
                              .group = Group::kWhat,
                              .help = "a count",
                              .range = {.least = 0, .most = UINT64_MAX}};
constexpr Parameter kShift = {.name = "shift",
                              .placeholder = "N",
                              .kind = Kind::kInteger,
                              .group = Group::kWhat,
                              .help = "a shift",
                              .range = {.least = 0, .most = 65535},
                              .remedy = kLeadWithSpace};
constexpr Parameter kIdle = {.name = "idle",
                             .placeholder = "TIME",
                             .kind = Kind::kDuration,
                             .group = Group::kHowLong,
                             .help = "a time",
                             .range = {.least = 1, .most = 3'600'000},
                             .unlimited = kNoLimit,
                             .fallback = "5"};
constexpr Parameter kEol = {.name = "eol",
                            .kind = Kind::kChoice,
                            .group = Group::kWhat,
                            .help = "a line end",
                            .choices = kLineEnds,
                            .fallback = "none"};
constexpr Parameter kLoud = {.name = "loud",
                             .kind = Kind::kSwitch,
                             .group = Group::kWhat,
                             .help = "a switch"};
constexpr Parameter kStranger = {.name = "stranger",
                                 .kind = Kind::kSwitch,
                                 .group = Group::kWhat,
                                 .help = "in no table"};

constexpr auto kUses =
    Uses(Optional(kName), Optional(kPath), Optional(kPort), Optional(kCount),
         Optional(kShift), Optional(kIdle), Optional(kEol), Optional(kLoud));
constexpr auto kPortUses = Uses(Optional(kPort), Optional(kLoud));
constexpr auto kOperandUses =
    Uses(Optional(kShell, Optional(kTopic)), Optional(kLoud), Optional(kName));

constexpr Command kTry = {.name = "try", .action = {kUses}};
constexpr Command kWithOperands = {.name = "try", .action = {kOperandUses}};

extern const Command kFamily;
constexpr Command kQuick = {
    .name = "quick", .parent = &kFamily, .action = {kPortUses}};
constexpr Command kSlow = {
    .name = "slow", .parent = &kFamily, .action = {kUses}};
constexpr const Command* kMembers[] = {&kQuick, &kSlow};
constexpr Command kFamily = {.name = "family", .subcommands = kMembers};

// The arguments of a command, and the result of parsing them.
class Parsed {
 public:
  explicit Parsed(std::vector<std::string> words, const Command& command = kTry)
      : words_(std::move(words)) {
    words_.insert(words_.begin(), std::string(command.name));
    for (std::string& word : words_) pointers_.push_back(word.data());
    arguments_.emplace(command, pointers_);
  }
  const ParsedArguments* operator->() const { return &*arguments_; }
  const ParsedArguments& operator*() const { return *arguments_; }

 private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
  std::optional<ParsedArguments> arguments_;
};

std::string Refusal(std::vector<std::string> words,
                    const Command& command = kTry) {
  try {
    const Parsed parsed(std::move(words), command);
    return "accepted";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kWrongUsage);
    return failure.what();
  }
}

TEST(ArgumentsTest, ReturnsWhatWasGiven) {
  const Parsed parsed({"-name", "Some Words", "-port", "80", "-loud", "-eol",
                       "crlf", "-path", "a/b"});
  const Arguments<kUses> arguments(*parsed);
  EXPECT_EQ(arguments.Text(kName), "Some Words");
  EXPECT_EQ(arguments.Number(kPort), 80);
  EXPECT_TRUE(arguments.Has(kLoud));
  EXPECT_EQ(arguments.Text(kEol), "crlf");
  EXPECT_EQ(arguments.Chosen<LineEnd>(kEol), LineEnd::kCrlf);
  EXPECT_EQ(arguments.Text(kPath), "a/b");
  EXPECT_FALSE(arguments.Has(kCount));
}

TEST(ArgumentsTest, ReturnsTheDefaultElse) {
  const Parsed parsed({});
  const Arguments<kUses> arguments(*parsed);
  EXPECT_EQ(arguments.Number(kPort), 7000);
  EXPECT_EQ(arguments.Number(kCount), 0);
  EXPECT_EQ(arguments.Text(kEol), "none");
  EXPECT_EQ(arguments.Chosen<LineEnd>(kEol), LineEnd::kNone);
  EXPECT_EQ(arguments.Text(kName), "");
  EXPECT_FALSE(arguments.Has(kName));
  EXPECT_FALSE(arguments.Has(kLoud));
}

TEST(ArgumentsTest, AWideNumberKeepsItsBits) {
  const Parsed parsed({"-count", "18446744073709551615"});
  EXPECT_EQ(Arguments<kUses>(*parsed).WideNumber(kCount), UINT64_MAX);
  EXPECT_EQ(Refusal({"-count", "18446744073709551616"}),
            "-count: 18446744073709551616 is out of range (expected 0 to "
            "18446744073709551615)");
}

TEST(ArgumentsTest, AnIntegerMayBeNegative) {
  const auto integer = [](const std::vector<std::string>& words) {
    return Arguments<kUses>(*Parsed(words)).Integer(kShift);
  };
  EXPECT_EQ(integer({}), 0);
  EXPECT_EQ(integer({"-shift", "65535"}), 65535);
  EXPECT_EQ(integer({"-shift", " 4"}), 4);
  EXPECT_EQ(integer({"-shift", "  -65535"}), -65535);
  EXPECT_EQ(Refusal({"-shift", "-4"}),
            "-shift: a value cannot begin with '-'; write a space before it");
}

// arguments_misread.cc shows that a duration as a number does not compile.
TEST(ArgumentsTest, ADurationIsInMillisecondsOrNone) {
  const auto duration = [](const std::vector<std::string>& words) {
    return Arguments<kUses>(*Parsed(words)).Duration(kIdle);
  };
  using std::chrono::milliseconds;
  EXPECT_EQ(duration({}), milliseconds(5000));
  EXPECT_EQ(duration({"-idle", "500ms"}), milliseconds(500));
  EXPECT_EQ(duration({"-idle", "0.25"}), milliseconds(250));
  EXPECT_EQ(duration({"-idle", "1h"}), milliseconds(3'600'000));
  EXPECT_EQ(duration({"-idle", "none"}), std::nullopt);
  EXPECT_EQ(Refusal({"-idle", "2h"}),
            "-idle: '2h' is out of range (expected 1ms to 1h: 30 or 0.5 for "
            "seconds, 500ms, 2m, 1h, 1d, or none)");
}

// arguments_unlisted.cc shows that no other parameter compiles.
TEST(ArgumentsTest, ATableListsItsParametersAndConvertsToASmallerOne) {
  static_assert(Lists(kPortUses, kPort));
  static_assert(!Lists(kPortUses, kName));
  static_assert(!Lists(kUses, kStranger));
  static_assert(std::convertible_to<Arguments<kUses>, Arguments<kPortUses>>);
  static_assert(!std::convertible_to<Arguments<kPortUses>, Arguments<kUses>>);
  static_assert(
      !std::convertible_to<Arguments<kOperandUses>, Arguments<kPortUses>>);

  const Parsed parsed({"-port", "81"});
  const Arguments<kPortUses> smaller = Arguments<kUses>(*parsed);
  EXPECT_EQ(smaller.Number(kPort), 81);
}

TEST(ArgumentsTest, AParameterThatTheCommandLacksIsAbsent) {
  const Parsed parsed({});
  EXPECT_FALSE(parsed->Has(kStranger));
  EXPECT_FALSE(parsed->Has(kShell));
  EXPECT_EQ(parsed->Text(kShell), "");
}

TEST(ArgumentsTest, ATextMayBeEmptyOrTheParsersOwnMarker) {
  EXPECT_TRUE(Parsed({"-name", ""})->Has(kName));
  EXPECT_EQ(Parsed({"-name", ""})->Text(kName), "");
  EXPECT_EQ(Parsed({"-name", "n//a"})->Text(kName), "n//a");
}

TEST(ArgumentsTest, ForgivesCaseAndASecondDash) {
  EXPECT_EQ(Parsed({"--PORT", "81"})->Text(kPort), "81");
  EXPECT_TRUE(Parsed({"--loud"})->Has(kLoud));
  EXPECT_EQ(Parsed({"--name", "Case Stays"})->Text(kName), "Case Stays");
  EXPECT_EQ(Refusal({"---port", "81"}),
            "unknown option --port; did you mean -port?");
}

TEST(ArgumentsTest, TheLastOfARepeatedOptionCounts) {
  EXPECT_EQ(Parsed({"-port", "1", "-port", "2"})->Text(kPort), "2");
  EXPECT_FALSE(Parsed({"-loud", "-loud", "off"})->Has(kLoud));
}

TEST(ArgumentsTest, ASwitchAcceptsOnAndOff) {
  for (const char* const on : {"on", "yes", "true", "1", "ON", "Yes"})
    EXPECT_TRUE(Parsed({"-loud", on})->Has(kLoud)) << on;
  for (const char* const off : {"off", "no", "false", "0", "OFF", "No"})
    EXPECT_FALSE(Parsed({"-loud", off})->Has(kLoud)) << off;
}

TEST(ArgumentsTest, ASwitchReportsAnUnexpectedValue) {
  for (const std::string word : {"file.txt", "", "2", "onn"})
    EXPECT_EQ(Refusal({"-loud", word}),
              "-loud is a switch and cannot be followed by '" + word +
                  "' (expected on, off, yes, no, true, false, 1, 0 or "
                  "nothing)");
}

TEST(ArgumentsTest, ChecksValues) {
  EXPECT_EQ(Refusal({"-port", "x"}),
            "-port: 'x' is not an integer (expected 1 to 65535)");
  EXPECT_EQ(Refusal({"-port", "-5"}),
            "-port: -5 is out of range (expected 1 to 65535)");
  EXPECT_EQ(Refusal({"-eol", "cr"}),
            "-eol: 'cr' is not valid; choose none, lf or crlf");
  EXPECT_EQ(Refusal({"-path", ""}), "-path PATH must not be empty");
}

TEST(ArgumentsTest, AnUnknownOptionSuggestsTheNearest) {
  EXPECT_EQ(Refusal({"-prot", "1"}),
            "unknown option -prot; did you mean -port?");
  EXPECT_EQ(Refusal({"-Nmae", "1"}),
            "unknown option -Nmae; did you mean -name?");
  EXPECT_EQ(Refusal({"-zzz"}), "unknown option -zzz; see 'fairlead help try'");
}

// The text after the sign may be a key.
TEST(ArgumentsTest, AnOptionWithASignShowsHowToWriteIt) {
  EXPECT_EQ(Refusal({"-port=81"}), "unknown option -port=...; write -port N");
  EXPECT_EQ(Refusal({"--Port=81"}), "unknown option -Port=...; write -port N");
  EXPECT_EQ(Refusal({"-prot=81"}),
            "unknown option -prot=...; did you mean -port?");
  EXPECT_EQ(Refusal({"-=x"}), "unknown option -=...; see 'fairlead help try'");
}

TEST(ArgumentsTest, AnOptionOfAnotherSubcommandDoesNotGoWithThisOne) {
  EXPECT_EQ(Refusal({"-port", "1"}, kQuick), "accepted");
  EXPECT_EQ(Refusal({"-name", "x"}, kQuick),
            "-name does not go with 'family quick'; see 'fairlead help family "
            "quick'");
  EXPECT_EQ(Refusal({"-zzz"}, kQuick),
            "unknown option -zzz; see 'fairlead help family quick'");
}

TEST(ArgumentsTest, ALoneDashNamesNothing) {
  const std::string text =
      "a lone '-' names no option; see 'fairlead help try'";
  EXPECT_EQ(Refusal({"-"}), text);
  EXPECT_EQ(Refusal({"--"}), text);
  EXPECT_EQ(Refusal({"-loud", "-"}), text);
}

TEST(ArgumentsTest, ReportsAMissingValue) {
  EXPECT_EQ(Refusal({"-name"}), "-name: missing value; write -name WORDS");
  EXPECT_EQ(Refusal({"-name", "-port", "1"}),
            "-name: missing value; write -name WORDS");
  EXPECT_EQ(Refusal({"-port", "--loud"}),
            "-port: missing value; write -port N");
}

TEST(ArgumentsTest, AValueThatBeginsWithADashHasARemedy) {
  EXPECT_EQ(Refusal({"-name", "-x"}),
            "-name: a value cannot begin with '-'; write \\x2d for it");
  EXPECT_EQ(Refusal({"-name", "--x"}),
            "-name: a value cannot begin with '-'; write \\x2d for it");
  EXPECT_EQ(Refusal({"-path", "-x"}),
            "-path: a value cannot begin with '-'; write ./ before it");
  EXPECT_EQ(Refusal({"-eol", "-x"}), "-eol: a value cannot begin with '-'");
}

TEST(ArgumentsTest, ErrorsAreHarmlessLines) {
  EXPECT_EQ(Refusal({"-eol", "\033[1m\n"}),
            "-eol: '\\x1b[1m\\n' is not valid; choose none, lf or crlf");
  EXPECT_EQ(Refusal({"-\033zzz"}),
            "unknown option -\\x1bzzz; see 'fairlead help try'");
  EXPECT_EQ(Refusal({"-port", std::string(200, '9')}),
            "-port: " + std::string(100, '9') +
                "... is out of range (expected 1 to 65535)");
}

TEST(ArgumentsTest, ReportsAnUnexpectedArgument) {
  EXPECT_EQ(Refusal({"-name", "a", "b"}),
            "unexpected argument 'b' after 'a'; quote values that contain "
            "spaces");
  EXPECT_EQ(Refusal({"-loud", "on", "b"}),
            "unexpected argument 'b' after 'on'; quote values that contain "
            "spaces");
  EXPECT_EQ(Refusal({"stray"}),
            "unexpected argument 'stray'; options are written -name value");
  EXPECT_EQ(Refusal({""}),
            "unexpected argument ''; options are written -name value");
}

// Any argument of a command that takes a secret may be the secret, misplaced.
TEST(ArgumentsTest, DoesNotShowWhatMayBeASecret) {
  static constexpr Parameter kPin = {.name = "pin",
                                     .placeholder = "PIN",
                                     .kind = Kind::kNonEmptyText,
                                     .group = Group::kWhat,
                                     .help = "a secret",
                                     .secret = true};
  static constexpr auto kPinUses = Uses(kPin, Optional(kName), Optional(kLoud));
  const Command command = {.name = "try", .action = {kPinUses}};
  EXPECT_EQ(Refusal({"-pin", "12", "34"}, command),
            "unexpected argument after the value of -pin; quote values that "
            "contain spaces");
  EXPECT_EQ(Refusal({"12", "-pin"}, command),
            "unexpected argument after 'try'; options are written -name value");
  EXPECT_EQ(Refusal({"-name", "a", "12"}, command),
            "unexpected argument after the value of -name; quote values that "
            "contain spaces");
  EXPECT_EQ(Refusal({"--LOUD", "on", "12"}, command),
            "unexpected argument after the value of -loud; quote values that "
            "contain spaces");
  EXPECT_EQ(Refusal({"-loud", "12"}, command),
            "-loud is a switch and cannot be followed by a value (expected on, "
            "off, yes, no, true, false, 1, 0 or nothing)");
}

TEST(ArgumentsTest, OperandsFollowTheCommandInOrder) {
  const Parsed one({"zsh", "-loud"}, kWithOperands);
  EXPECT_EQ(one->Text(kShell), "zsh");
  EXPECT_FALSE(one->Has(kTopic));
  const Parsed two({"bash", "two words", "-name", "x"}, kWithOperands);
  EXPECT_EQ(two->Text(kShell), "bash");
  EXPECT_EQ(two->Text(kTopic), "two words");
  EXPECT_EQ(two->Text(kName), "x");
  EXPECT_FALSE(Parsed({"-loud"}, kWithOperands)->Has(kShell));

  EXPECT_EQ(Refusal({"fish"}, kWithOperands),
            "'fish' is not valid; choose bash or zsh");
  EXPECT_EQ(Refusal({"bash", "a", "b"}, kWithOperands),
            "unexpected argument 'b' after 'a'");
  EXPECT_THAT(Refusal({"-loud", "on", "zsh"}, kWithOperands),
              HasSubstr("unexpected argument 'zsh' after 'on'"));
}

}  // namespace
}  // namespace fairlead::tool::arguments_test
