// The command `code` as a process: values and usages that it refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "tool/base/concat.h"
#include "tool/testing.h"
#include "tool/values/code_testing.h"

namespace fairlead::tool::code_errors_test {
namespace {

using code_testing::Answer;
using code_testing::kAlphabet;
using code_testing::Refusal;
using testing::EndsWith;
using testing::HasSubstr;

TEST(CodeErrorsTest, PartOfACharacterIsRefused) {
  const auto refusal = [](const char* bits, const char* width) {
    const Words layout = {"-bits", bits, "-width", width};
    const std::string make = Refusal(2, Words{"make", "-number", "0"} + layout);
    EXPECT_EQ(Refusal(2, Words{"read", "-text", "A"} + layout), make);
    return make;
  };
  EXPECT_EQ(
      refusal("32", "6"),
      "fairlead code: -bits 32 is not a multiple of -width 6; the nearest "
      "multiples are 30 and 36\n");
  EXPECT_EQ(refusal("5", "6"),
            "fairlead code: -bits 5 is not a multiple of -width 6; the nearest "
            "multiple is 6\n");
  EXPECT_EQ(
      refusal("512", "6"),
      "fairlead code: -bits 512 is not a multiple of -width 6; the nearest "
      "multiple is 510\n");
  EXPECT_EQ(refusal("64", "0"),
            "fairlead code: -bits 64 is more than the 63 of a decimal number; "
            "write -width 1 to 8\n");
}

TEST(CodeErrorsTest, ANumberOutsideItsRangeIsRefused) {
  const Words number = {"-number", "0"};
  const Words text = {"-text", "A"};
  EXPECT_EQ(Refusal(2, Words{"make", "-bits", "0"} + number),
            "fairlead code: -bits: 0 is out of range (expected 1 to 512)\n");
  EXPECT_EQ(Refusal(2, Words{"read", "-bits", "513"} + text),
            "fairlead code: -bits: 513 is out of range (expected 1 to 512)\n");
  EXPECT_EQ(Refusal(2, Words{"make", "-bits", "9", "-width", "9"} + number),
            "fairlead code: -width: 9 is out of range (expected 0 to 8)\n");
  EXPECT_EQ(Refusal(2, Words{"make", "-bits", "6", "-group", "513"} + number),
            "fairlead code: -group: 513 is out of range (expected 0 to 512)\n");
  EXPECT_EQ(Refusal(2, Words{"make", "-bits", "x"} + number),
            "fairlead code: -bits: 'x' is not an integer (expected 1 to "
            "512)\n");
  EXPECT_EQ(Refusal(2, Words{"make", "-bits", "6", "-group", "-1"} + number),
            "fairlead code: -group: -1 is out of range (expected 0 to 512)\n");
}

TEST(CodeErrorsTest, AValueThatDoesNotFitIsRefused) {
  const auto refusal = [](const char* bits, const char* width,
                          const char* source, const std::string& value) {
    return Refusal(2, {"make", "-bits", bits, "-width", width, source, value});
  };
  EXPECT_EQ(refusal("30", "6", "-number", "1073741824"),
            "fairlead code: -number 1073741824 needs 31 bits, more than -bits "
            "30; write -bits 36 or more\n");
  EXPECT_EQ(refusal("8", "0", "-number", "256"),
            "fairlead code: -number 256 needs 9 bits, more than -bits 8; write "
            "-bits 9 or more\n");
  EXPECT_EQ(refusal("63", "0", "-number", "9223372036854775808"),
            "fairlead code: -number 9223372036854775808 needs 64 bits, more "
            "than -bits 63; -width 0 allows at most 63\n");
  EXPECT_EQ(refusal("6", "6", "-hex", "40"),
            "fairlead code: -hex '40' needs 7 bits, more than -bits 6; write "
            "-bits 12 or more\n");
  EXPECT_EQ(refusal("16", "4", "-hex", "00 00 01"),
            "fairlead code: -hex '00 00 01' needs 17 bits, more than -bits 16; "
            "write -bits 20 or more\n");
  EXPECT_THAT(refusal("512", "1", "-hex", std::string(128, '0') + "01"),
              EndsWith("needs 513 bits, more than -bits 512; -width 1 "
                       "allows at most 512\n"));
  EXPECT_THAT(refusal("6", "6", "-hex", std::string(126, '0') + "40"),
              EndsWith("needs 511 bits, more than -bits 6; -width 6 allows "
                       "at most 510\n"));
}

TEST(CodeErrorsTest, ValuesWithoutATextAreRefused) {
  constexpr char kFault[] =
      ": a character would have a value of 64 or more; write -width 6 or "
      "less\n";
  EXPECT_EQ(
      Refusal(2, {"make", "-bits", "7", "-width", "7", "-number", "64"}),
      Concat("fairlead code: -number 64 has no text with -width 7", kFault));
  EXPECT_EQ(
      Refusal(2, {"make", "-bits", "16", "-width", "8", "-hex", "00ff"}),
      Concat("fairlead code: -hex '00ff' has no text with -width 8", kFault));
}

TEST(CodeErrorsTest, InvalidValuesAreRefused) {
  const Words make = {"make", "-bits", "6"};
  EXPECT_EQ(Refusal(2, make + Words{"-number", "1x"}),
            "fairlead code: -number: '1x' is not an integer (expected 0 to "
            "18446744073709551615)\n");
  EXPECT_EQ(Refusal(2, make + Words{"-number", "18446744073709551616"}),
            "fairlead code: -number: 18446744073709551616 is out of range "
            "(expected 0 to 18446744073709551615)\n");
  EXPECT_THAT(Refusal(2, make + Words{"-number", "-1"}),
              HasSubstr("-number: -1 is out of range"));
  EXPECT_EQ(Refusal(2, make + Words{"-hex", "1"}),
            "fairlead code: -hex: '1' is not a pair of hexadecimal digits\n");
  EXPECT_EQ(Refusal(2, make + Words{"-hex", ""}),
            "fairlead code: -hex DIGITS must not be empty\n");
}

TEST(CodeErrorsTest, ATextOfAnotherLengthIsMalformed) {
  const auto refusal = [](const char* text) {
    return Refusal(3, {"read", "-bits", "30", "-text", text});
  };
  EXPECT_EQ(refusal("TB-AA"),
            "fairlead code: -text 'TB-AA' has 4 characters; 30 bits at 6 "
            "bits per character need 5\n");
  EXPECT_EQ(refusal("TBAA-AA"),
            "fairlead code: -text 'TBAA-AA' has 6 characters; 30 bits at 6 "
            "bits per character need 5\n");
  EXPECT_EQ(refusal(" - "),
            "fairlead code: -text ' - ' has 0 characters; 30 bits at 6 bits "
            "per character need 5\n");
  EXPECT_EQ(Refusal(2, {"read", "-bits", "30", "-text", ""}),
            "fairlead code: -text TEXT must not be empty\n");
}

TEST(CodeErrorsTest, AnInvalidCharacterIsMalformed) {
  const auto refusal = [](const char* bits, const char* width,
                          const std::string& text) {
    return Refusal(3, {"read", "-bits", bits, "-width", width, "-text", text});
  };
  EXPECT_EQ(
      refusal("30", "6", "TB!AA"),
      Concat("fairlead code: -text 'TB!AA' contains '!', which is not one "
             "of ",
             kAlphabet, "\n"));
  EXPECT_EQ(refusal("8", "4", "AQ"),
            "fairlead code: -text 'AQ' contains 'Q', which is not one of "
            "ABCDEFGHIJKLMNOP\n");
  EXPECT_EQ(refusal("8", "1", "ABABABAC"),
            "fairlead code: -text 'ABABABAC' contains 'C', which is not one of "
            "AB\n");
  // The library accepts these.
  EXPECT_EQ(
      refusal("12", "6", "A\xE9"),
      Concat("fairlead code: -text 'A\\xe9' contains '\\xe9', which is not one "
             "of ",
             kAlphabet, "\n"));
  EXPECT_THAT(refusal("16", "8", "A!"), HasSubstr("contains '!'"));
  EXPECT_THAT(refusal("14", "7", "A\x80"), HasSubstr("contains '\\x80'"));
  EXPECT_THAT(refusal("12", "6", "A\t"), HasSubstr("contains '\\t'"));
}

TEST(CodeErrorsTest, EveryCharacterIsValidFromItsWidthOn) {
  for (const int width : {1, 2, 3, 4, 5, 6}) {
    const std::size_t count = std::size_t{1} << width;
    const std::string layout = std::to_string(width);
    const auto read = [&layout](char c) {
      return Fairlead({"code",
                       "read",
                       "-bits",
                       layout,
                       "-width",
                       layout,
                       "-form",
                       "number",
                       "-text",
                       {c}});
    };
    EXPECT_EQ(read(kAlphabet[count - 1]).output, Concat(count - 1, "\n"));
    if (width == 6) continue;  // It is the last one.
    EXPECT_EQ(read(kAlphabet[count]).status, 3);
  }
}

TEST(CodeErrorsTest, AnInvalidDecimalNumberIsMalformed) {
  const auto refusal = [](const char* text) {
    return Refusal(3, {"read", "-bits", "56", "-width", "0", "-text", text});
  };
  EXPECT_EQ(refusal("12ab"),
            "fairlead code: -text '12ab' contains 'a', which is not one of "
            "0123456789\n");
  EXPECT_THAT(refusal("ab"), HasSubstr("contains 'a'"));
  EXPECT_THAT(refusal("+12"), HasSubstr("contains '+'"));
  EXPECT_THAT(refusal("1.2"), HasSubstr("contains '.'"));
  EXPECT_THAT(refusal("\t12"), HasSubstr("contains '\\t'"));
  EXPECT_THAT(refusal("12\n"), HasSubstr("contains '\\n'"));
  EXPECT_EQ(refusal(" - "), "fairlead code: -text ' - ' contains no number\n");
  EXPECT_EQ(refusal("123456789012345678"),
            "fairlead code: -text '123456789012345678' has more than the 17 "
            "digits of 56 bits\n");
  EXPECT_EQ(refusal("72057594037927936"),
            "fairlead code: -text '72057594037927936' needs more than 56 "
            "bits\n");
}

TEST(CodeErrorsTest, ATooLargeDecimalNumberIsMalformed) {
  const auto refusal = [](const char* bits, const char* text) {
    return Refusal(3, {"read", "-bits", bits, "-width", "0", "-text", text});
  };
  EXPECT_EQ(refusal("8", "256"),
            "fairlead code: -text '256' needs more than 8 bits\n");
  EXPECT_EQ(refusal("8", "999"),
            "fairlead code: -text '999' needs more than 8 bits\n");
  EXPECT_EQ(refusal("4", "16"),
            "fairlead code: -text '16' needs more than 4 bits\n");
  EXPECT_EQ(refusal("63", "9999999999999999999"),
            "fairlead code: -text '9999999999999999999' needs more than 63 "
            "bits\n");
  EXPECT_EQ(refusal("8", "1000"),
            "fairlead code: -text '1000' has more than the 3 digits of 8 "
            "bits\n");
}

TEST(CodeErrorsTest, ASubcommandAndItsParametersAreRequired) {
  EXPECT_EQ(Refusal(2, {}),
            "fairlead code: missing subcommand; see 'fairlead help code'\n");
  EXPECT_EQ(Refusal(2, {"maek"}),
            "fairlead code: unknown subcommand 'maek'; did you mean 'make'?\n");
  constexpr char kMake[] = "; see 'fairlead help code make'\n";
  EXPECT_EQ(Refusal(2, {"make", "-number", "1"}),
            Concat("fairlead code: missing -bits N", kMake));
  EXPECT_EQ(Refusal(2, {"make", "-bits", "6"}),
            Concat("fairlead code: missing -hex DIGITS or -number N", kMake));
  EXPECT_EQ(
      Refusal(2, {"make", "-bits", "6", "-hex", "01", "-number", "1"}),
      Concat("fairlead code: -hex and -number cannot be combined", kMake));
  EXPECT_EQ(Refusal(2, {"make", "-bits", "6", "-hex", "01", "-form", "hex"}),
            Concat("fairlead code: -form does not go with 'code make'", kMake));
  constexpr char kRead[] = "; see 'fairlead help code read'\n";
  EXPECT_EQ(Refusal(2, {"read", "-bits", "6"}),
            Concat("fairlead code: missing -text TEXT", kRead));
  EXPECT_EQ(Refusal(2, {"read", "-text", "A"}),
            Concat("fairlead code: missing -bits N", kRead));
  EXPECT_EQ(
      Refusal(2, {"read", "-text", "A", "-bits", "6", "-group", "2"}),
      Concat("fairlead code: -group does not go with 'code read'", kRead));
}

}  // namespace
}  // namespace fairlead::tool::code_errors_test
