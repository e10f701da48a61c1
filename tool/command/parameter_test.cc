// Tests of the values that parameters accept.

#include "tool/command/parameter.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/command/duration.h"

namespace fairlead::tool::parameter_test {
namespace {

enum class Colour { kRed, kGreen, kBlue };
enum class Shade { kDark };

constexpr auto kColours = std::to_array<Choice>({
    {Colour::kRed, "red", "like a rose"},
    {Colour::kGreen, "green"},
    {Colour::kBlue, "blue"},
});
constexpr auto kMixedChoices =
    std::to_array<Choice>({{Colour::kRed, "red"}, {Shade::kDark, "dark"}});

constexpr Parameter kColour = {.name = "colour",
                               .kind = Kind::kChoice,
                               .group = Group::kWhat,
                               .help = "the colour",
                               .choices = kColours,
                               .fallback = "red"};
constexpr Parameter kPort = {.name = "port",
                             .placeholder = "N",
                             .kind = Kind::kNumber,
                             .group = Group::kWhere,
                             .help = "the port",
                             .range = {.least = 1, .most = 65535},
                             .fallback = "7000"};
constexpr Parameter kAny = {.name = "any",
                            .placeholder = "N",
                            .kind = Kind::kNumber,
                            .group = Group::kWhere,
                            .help = "a number",
                            .range = kNaturalInt};
constexpr Parameter kIdle = {.name = "idle",
                             .placeholder = "TIME",
                             .kind = Kind::kDuration,
                             .group = Group::kHowLong,
                             .help = "the idle time",
                             .range = {.least = 1, .most = 86'400'000},
                             .unlimited = kNoLimit,
                             .fallback = "5"};
constexpr Parameter kDelay = {.name = "delay",
                              .placeholder = "TIME",
                              .kind = Kind::kDuration,
                              .group = Group::kHowLong,
                              .help = "the delay",
                              .range = {.least = 0, .most = 90'000}};
constexpr Parameter kRuns = {.name = "runs",
                             .placeholder = "N",
                             .kind = Kind::kNumber,
                             .group = Group::kHowLong,
                             .help = "the runs",
                             .range = {.least = 1, .most = 9},
                             .unlimited = "forever"};
constexpr Parameter kShift = {.name = "shift",
                              .placeholder = "N",
                              .kind = Kind::kInteger,
                              .group = Group::kHow,
                              .help = "the shift",
                              .range = {.least = 0, .most = 9}};
constexpr Parameter kFast = {.name = "fast",
                             .kind = Kind::kSwitch,
                             .group = Group::kHow,
                             .help = "hurry"};
constexpr std::array kNotWithSlow = {&kPort, &kIdle, &kFast};
constexpr Parameter kSlow = {.name = "slow",
                             .kind = Kind::kSwitch,
                             .group = Group::kHow,
                             .help = "do not hurry",
                             .fallback = "off",
                             .excluded = kNotWithSlow};
constexpr Parameter kTopic = {.name = "",
                              .placeholder = "TOPIC",
                              .kind = Kind::kNonEmptyText,
                              .group = Group::kArguments,
                              .help = "what to explain"};

TEST(ParameterTest, IsSpelledAsOnTheCommandLine) {
  EXPECT_EQ(Spelling(kColour), "-colour red|green|blue");
  EXPECT_EQ(Spelling(kPort), "-port N");
  EXPECT_EQ(Spelling(kFast), "-fast");
  EXPECT_EQ(Spelling(kIdle), "-idle TIME");
  EXPECT_EQ(Spelling(kTopic), "TOPIC");
}

TEST(ParameterTest, IsExplainedWithRangeAndDefault) {
  EXPECT_EQ(Explanation(kColour), "the colour (default red)");
  EXPECT_EQ(Explanation(kPort), "the port [1..65535] (default 7000)");
  EXPECT_EQ(Explanation(kAny), "a number [0..2147483647]");
  EXPECT_EQ(Explanation(kFast), "hurry");
  EXPECT_EQ(Explanation(kIdle), "the idle time [1ms..1d or none] (default 5)");
  EXPECT_EQ(Explanation(kDelay), "the delay [0..90s]");
  EXPECT_EQ(Explanation(kRuns), "the runs [1..9 or forever]");
  EXPECT_EQ(Explanation(kShift), "the shift [-9..9]");
  EXPECT_EQ(Explanation(kSlow),
            "do not hurry (default off); not with -port, -idle or -fast");
}

std::string Refusal(const Parameter& parameter, std::string_view value) {
  try {
    CheckValue(parameter, value);
    return "accepted";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kWrongUsage);
    return failure.what();
  }
}

struct NumberCase {
  const char* text;
  const char* refusal;
};

constexpr NumberCase kNumberCases[] = {
    {"1", "accepted"},
    {"65535", "accepted"},
    {"0080", "accepted"},
    {"0", "-port: 0 is out of range (expected 1 to 65535)"},
    {"65536", "-port: 65536 is out of range (expected 1 to 65535)"},
    {"-5", "-port: -5 is out of range (expected 1 to 65535)"},
    {"99999999999999999999",
     "-port: 99999999999999999999 is out of range (expected 1 to 65535)"},
    {"12abc", "-port: '12abc' is not an integer (expected 1 to 65535)"},
    {"", "-port: '' is not an integer (expected 1 to 65535)"},
    {" 80", "-port: ' 80' is not an integer (expected 1 to 65535)"},
    {"80 ", "-port: '80 ' is not an integer (expected 1 to 65535)"},
    {"+80", "-port: '+80' is not an integer (expected 1 to 65535)"},
    {"8.0", "-port: '8.0' is not an integer (expected 1 to 65535)"},
    {"0x50", "-port: '0x50' is not an integer (expected 1 to 65535)"},
    {"-5a", "-port: '-5a' is not an integer (expected 1 to 65535)"},
};

TEST(ParameterTest, ANumberIsAnIntegerInItsRange) {
  for (const NumberCase& c : kNumberCases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Refusal(kPort, c.text), c.refusal);
  }
}

TEST(ParameterTest, ANumberMayBeTheWordForNoLimit) {
  EXPECT_EQ(Refusal(kRuns, "9"), "accepted");
  EXPECT_EQ(Refusal(kRuns, "forever"), "accepted");
  EXPECT_EQ(Refusal(kRuns, "10"),
            "-runs: 10 is out of range (expected 1 to 9 or forever)");
  EXPECT_EQ(Refusal(kRuns, "none"),
            "-runs: 'none' is not an integer (expected 1 to 9 or forever)");
  EXPECT_EQ(Refusal(kPort, "forever"),
            "-port: 'forever' is not an integer (expected 1 to 65535)");
}

constexpr NumberCase kIntegerCases[] = {
    {"9", "accepted"},
    {" 9", "accepted"},
    {"  -9", "accepted"},
    {" -0", "accepted"},
    {" -07", "accepted"},
    {"10", "-shift: 10 is out of range (expected -9 to 9)"},
    {" -10", "-shift: -10 is out of range (expected -9 to 9)"},
    {" -99999999999999999999",
     "-shift: -99999999999999999999 is out of range (expected -9 to 9)"},
    {"", "-shift: '' is not an integer (expected -9 to 9)"},
    {" ", "-shift: ' ' is not an integer (expected -9 to 9)"},
    {" -", "-shift: ' -' is not an integer (expected -9 to 9)"},
    {"- 1", "-shift: '- 1' is not an integer (expected -9 to 9)"},
    {"--1", "-shift: '--1' is not an integer (expected -9 to 9)"},
    {"+1", "-shift: '+1' is not an integer (expected -9 to 9)"},
    {"1 ", "-shift: '1 ' is not an integer (expected -9 to 9)"},
    {"\t1", "-shift: '\\t1' is not an integer (expected -9 to 9)"},
};

TEST(ParameterTest, AnIntegerMayBeNegative) {
  for (const NumberCase& c : kIntegerCases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Refusal(kShift, c.text), c.refusal);
  }
}

struct DurationCase {
  const char* text;
  const char* fault;
};

constexpr DurationCase kDurationCases[] = {
    {"1ms", ""},
    {"0.001", ""},
    {"1d", ""},
    {"24h", ""},
    {"86400", ""},
    {"none", ""},
    {"0", "is out of range"},
    {"0ms", "is out of range"},
    {"86400001ms", "is out of range"},
    {"1.01d", "is out of range"},
    {"-5", "is out of range"},
    {"99999999999999999999d", "is out of range"},
    {"0.0005", "is not a whole number of milliseconds"},
    {"1.5ms", "is not a whole number of milliseconds"},
    {"", "is not a time"},
    {"-", "is not a time"},
    {"NONE", "is not a time"},
    {"5 s", "is not a time"},
    {" 5", "is not a time"},
    {"5w", "is not a time"},
};

TEST(ParameterTest, ADurationIsATimeInItsRange) {
  for (const auto& [text, fault] : kDurationCases) {
    const std::string refusal =
        Concat("-idle: '", text, "' ", fault,
               " (expected 1ms to 1d: 30 or 0.5 for seconds, 500ms, 2m, 1h, "
               "1d, or none)");
    EXPECT_EQ(Refusal(kIdle, text), *fault == 0 ? "accepted" : refusal);
  }
}

TEST(ParameterTest, NoneIsADurationOnlyWhereItIsAllowed) {
  EXPECT_EQ(Refusal(kDelay, "0"), "accepted");
  EXPECT_EQ(Refusal(kDelay, "1.5m"), "accepted");
  EXPECT_EQ(Refusal(kDelay, "none"),
            "-delay: 'none' is not a time (expected 0 to 90s: 30 or 0.5 for "
            "seconds, 500ms, 2m, 1h, 1d)");
}

TEST(ParameterTest, AChoiceIsOneOfItsNames) {
  EXPECT_EQ(Refusal(kColour, "green"), "accepted");
  for (const std::string text : {"Green", "", "red|green"})
    EXPECT_EQ(
        Refusal(kColour, text),
        "-colour: '" + text + "' is not valid; choose red, green or blue");
}

TEST(ParameterTest, AChoiceIsAValueOfAnEnumeration) {
  EXPECT_EQ(ValueNamed<Colour>(kColour, "red"), Colour::kRed);
  EXPECT_EQ(ValueNamed<Colour>(kColour, "blue"), Colour::kBlue);
  EXPECT_THROW(ValueNamed<Colour>(kColour, ""), Failure);
  static_assert(ChoiceName(kColour, Colour::kGreen) == "green");
  EXPECT_THROW(ChoiceName(kColour, Shade::kDark), std::logic_error);
}

// No other enumeration, and no misspelt default, can be asked for.
TEST(ParameterTest, OffersOneEnumerationWithItsDefault) {
  static_assert(Offers<Colour>(kColour));
  static_assert(!Offers<Shade>(kColour));
  static_assert(!Offers<Colour>(kPort));
  constexpr auto colour = [](std::string_view fallback) {
    Parameter parameter = kColour;
    parameter.fallback = fallback;
    return parameter;
  };
  static_assert(Offers<Colour>(colour("")));
  static_assert(!Offers<Colour>(colour("rde")));
  constexpr auto mixed = [] {
    Parameter parameter = kColour;
    parameter.choices = kMixedChoices;
    return parameter;
  };
  static_assert(!Offers<Colour>(mixed()));
}

TEST(ParameterTest, ASecretValueIsNotShown) {
  Parameter secret = kColour;
  secret.secret = true;
  EXPECT_EQ(Refusal(secret, "hunter2"),
            "-colour: the value is not valid; choose red, green or blue");
  secret = kFast;
  secret.secret = true;
  EXPECT_EQ(Refusal(secret, "hunter2"),
            "-fast is a switch and cannot be followed by a value (expected on, "
            "off, yes, no, true, false, 1, 0 or nothing)");
}

TEST(ParameterTest, AnOperandHasNoNameInAnError) {
  EXPECT_EQ(Refusal(kTopic, ""), "TOPIC must not be empty");
}

TEST(ParameterTest, EveryGroupHasAHeading) {
  for (const Group group : kGroups) EXPECT_FALSE(Heading(group).empty());
}

}  // namespace
}  // namespace fairlead::tool::parameter_test
