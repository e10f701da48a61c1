// Tests of the values that parameters accept.

#include "tool/command/parameter.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>

#include "tool/base/failure.h"

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
constexpr Parameter kFast = {.name = "fast",
                             .kind = Kind::kSwitch,
                             .group = Group::kHow,
                             .help = "hurry"};
constexpr Parameter kTopic = {.name = "",
                              .placeholder = "TOPIC",
                              .kind = Kind::kNonEmptyText,
                              .group = Group::kArguments,
                              .help = "what to explain"};

TEST(ParameterTest, IsSpelledAsOnTheCommandLine) {
  EXPECT_EQ(Spelling(kColour), "-colour red|green|blue");
  EXPECT_EQ(Spelling(kPort), "-port N");
  EXPECT_EQ(Spelling(kFast), "-fast");
  EXPECT_EQ(Spelling(kTopic), "TOPIC");
}

TEST(ParameterTest, IsExplainedWithRangeAndDefault) {
  EXPECT_EQ(Explanation(kColour), "the colour (default red)");
  EXPECT_EQ(Explanation(kPort), "the port [1..65535] (default 7000)");
  EXPECT_EQ(Explanation(kAny), "a number [0..2147483647]");
  EXPECT_EQ(Explanation(kFast), "hurry");
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
