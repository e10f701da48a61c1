// The command `code` as a process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <string_view>

#include "fairlead/bits/converter.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789abcdefghijklmnopqrstuvwxyz0@#";

// Runs; the command is to succeed and to say nothing to the person.
std::string Answer(const Words& words) {
  const Outcome outcome = Fairlead(Words{"code"} + words);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  return outcome.output;
}

// Runs; the command is to end so and to print nothing.
std::string Refusal(int status, const Words& words) {
  const Outcome outcome = Fairlead(Words{"code"} + words);
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.output, "");
  return outcome.error;
}

std::string Hex(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes) digits += HexByte(byte);
  return digits;
}

struct CodeCase {
  const char* bits;
  const char* width;
  const char* group;
  const char* number;
  const char* hex;
  const char* text;
};

constexpr CodeCase kCases[] = {
    {"30", "6", "2", "0", "00000000", "AA-AA-A"},
    {"30", "6", "2", "83", "53000000", "TB-AA-A"},  // 19 and 1.
    {"6", "6", "0", "25", "19", "Z"},
    {"6", "6", "0", "26", "1a", "1"},
    {"6", "6", "0", "34", "22", "9"},
    {"6", "6", "0", "35", "23", "a"},
    {"6", "6", "0", "60", "3c", "z"},
    {"6", "6", "0", "61", "3d", "0"},
    {"6", "6", "0", "62", "3e", "@"},
    {"6", "6", "0", "63", "3f", "#"},
    {"24", "6", "2", "16777215", "ffffff", "##-##"},
    {"24", "6", "3", "16777215", "ffffff", "###-#"},
    {"24", "6", "4", "16777215", "ffffff", "####"},
    {"24", "6", "5", "16777215", "ffffff", "####"},
    {"24", "6", "1", "1", "010000", "B-A-A-A"},
    {"1", "1", "4", "1", "01", "B"},
    {"8", "1", "4", "6", "06", "ABBA-AAAA"},
    {"16", "4", "4", "4660", "3412", "EDCB"},  // 0x1234.
    {"15", "5", "4", "32767", "ff7f", "666"},  // 31 is "6".
    {"14", "7", "4", "8127", "bf1f", "##"},    // 63 and 63 << 7.
    {"16", "8", "4", "16191", "3f3f", "##"},
    {"64", "4", "0", "18446744073709551615", "ffffffffffffffff",
     "PPPPPPPPPPPPPPPP"},
    {"66", "6", "0", "18446744073709551615", "ffffffffffffffff00",
     "##########P"},
    {"56", "0", "0", "12", "0c000000000000", "00000000000000012"},
    {"56", "0", "3", "300", "2c010000000000", "000-000-000-000-003-00"},
    {"32", "0", "4", "4294967295", "ffffffff", "4294-9672-95"},
    {"1", "0", "4", "1", "01", "1"},
    {"4", "0", "4", "15", "0f", "15"},
    {"63", "0", "0", "9223372036854775807", "ffffffffffffff7f",
     "9223372036854775807"},
};

TEST(CodeCommandTest, BitsToTextAndBack) {
  for (const CodeCase& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.text << " of " << c.bits << " bits");
    const Words make = {"make",  "-bits",  c.bits, "-width",
                        c.width, "-group", c.group};
    const std::string line = Concat(c.text, "\n");
    EXPECT_EQ(Answer(make + Words{"-number", c.number}), line);
    EXPECT_EQ(Answer(make + Words{"-hex", c.hex}), line);
    EXPECT_EQ(
        Answer({"read", "-bits", c.bits, "-width", c.width, "-text", c.text}),
        Concat("hex ", c.hex, "\nnumber ", c.number, "\n"));
  }
}

TEST(CodeCommandTest, TheWidthIsSixAndTheGroupFourIfNothingElseIsSaid) {
  EXPECT_EQ(Answer({"make", "-bits", "48", "-number", "83"}), "TBAA-AAAA\n");
  EXPECT_EQ(Answer({"read", "-bits", "48", "-text", "TBAA-AAAA"}),
            "hex 530000000000\nnumber 83\n");
  EXPECT_EQ(Answer({"make", "-bits", "56", "-width", "0", "-number", "12"}),
            "0000-0000-0000-0001-2\n");
}

TEST(CodeCommandTest, HexadecimalDigitsMayBeFewerOrEndInZeros) {
  const auto text = [](const char* digits) {
    return Answer({"make", "-bits", "30", "-group", "0", "-hex", digits});
  };
  EXPECT_EQ(text("53"), "TBAAA\n");
  EXPECT_EQ(text("53 00"), "TBAAA\n");
  EXPECT_EQ(text("530000000000"), "TBAAA\n");
  EXPECT_EQ(text("FFffFF3F"), "#####\n");
  EXPECT_EQ(Answer({"make", "-bits", "6", "-hex",
                    Concat("01", std::string(200, '0'))}),
            "B\n");
}

TEST(CodeCommandTest, OneFormIsALineOfItsOwn) {
  const Words read = {"read", "-bits", "30", "-text", "TBAAA", "-form"};
  EXPECT_EQ(Answer(read + Words{"hex"}), "53000000\n");
  EXPECT_EQ(Answer(read + Words{"number"}), "83\n");
  EXPECT_EQ(Answer(read + Words{"all"}), "hex 53000000\nnumber 83\n");
  EXPECT_EQ(Refusal(2, read + Words{"text"}),
            "fairlead code: -form: 'text' is not valid; choose hex, number or "
            "all\n");
}

TEST(CodeCommandTest, ANumberIsThereUpToSixtyFourBits) {
  const Words read = {"read", "-bits", "72", "-width", "4", "-text"};
  EXPECT_EQ(Answer(read + Words{"PPPPPPPPPPPPPPPPAA"}),
            "hex ffffffffffffffff00\nnumber 18446744073709551615\n");
  const Words wide = read + Words{"AAAAAAAAAAAAAAAABA"};
  EXPECT_EQ(Answer(wide), "hex 000000000000000001\n");
  EXPECT_EQ(Refusal(2, wide + Words{"-form", "number"}),
            "fairlead code: -form number is not available here; choose hex or "
            "all\n");
}

TEST(CodeCommandTest, HyphensAndBlanksDoNotCount) {
  const auto hex = [](const char* width, const char* bits, const char* text) {
    return Answer({"read", "-bits", bits, "-width", width, "-form", "hex",
                   "-text", text});
  };
  const std::string plain = hex("6", "36", "ABCDEF");
  EXPECT_EQ(plain, "40200c4401\n");
  EXPECT_EQ(hex("6", "36", "AB-CD EF"), plain);
  EXPECT_EQ(hex("6", "36", " -A--B  CDEF- "), plain);
  EXPECT_EQ(hex("0", "56", " 1-2 "), "0c000000000000\n");
  EXPECT_EQ(hex("0", "56", "00000000000000000000000-0-12"), "0c000000000000\n");
  EXPECT_EQ(hex("0", "8", "0"), "00\n");
  EXPECT_EQ(hex("0", "8", "000"), "00\n");
  EXPECT_EQ(Refusal(2, {"read", "-bits", "36", "-text", "-ABCDEF"}),
            "fairlead code: -text: a value cannot begin with '-'; write "
            "a space before it\n");
}

// The text of bytes, made bit by bit.
std::string TextOf(std::string_view bytes, std::size_t bits,
                   std::size_t width) {
  std::string text;
  for (std::size_t at = 0; at < bits; at += width) {
    std::size_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
      const auto byte = static_cast<unsigned char>(bytes[(at + i) / 8]);
      value |= static_cast<std::size_t>(byte >> (at + i) % 8 & 1U) << i;
    }
    text += kAlphabet.at(value);
  }
  return text;
}

// Bytes with random bits, of which a character of seven or eight gets six.
std::string RandomBytes(std::mt19937& random, std::size_t bits,
                        std::size_t width) {
  std::string bytes((bits + 7) / 8, '\0');
  for (std::size_t at = 0; at < bits; ++at)
    if (at % width < 6 && random() % 2 == 1)
      bytes[at / 8] = static_cast<char>(bytes[at / 8] | 1 << at % 8);
  return bytes;
}

TEST(CodeCommandTest, NoBitIsLostAtAnyWidth) {
  constexpr unsigned int kSeed = 20261121;
  std::mt19937 random(kSeed);  // NOLINT(cert-msc51-cpp): the same each time.
  for (std::size_t width = 1; width <= 8; ++width) {
    for (const std::size_t wanted :
         {1U, 7U, 8U, 9U, 31U, 40U, 64U, 65U, 255U, 511U}) {
      const std::size_t bits = (wanted + width - 1) / width * width;
      if (bits > 512) continue;
      SCOPED_TRACE(testing::Message()
                   << bits << " bits of width " << width << ", seed " << kSeed);
      const std::string bytes = RandomBytes(random, bits, width);
      const std::string text = TextOf(bytes, bits, width);
      const Words layout = {"-bits", std::to_string(bits), "-width",
                            std::to_string(width)};
      EXPECT_EQ(
          Answer(Words{"make", "-group", "0", "-hex", Hex(bytes)} + layout),
          Concat(text, "\n"));
      EXPECT_EQ(Answer(Words{"read", "-form", "hex", "-text", text} + layout),
                Concat(Hex(bytes), "\n"));
    }
  }
}

TEST(CodeCommandTest, NoDecimalBitIsLost) {
  for (const unsigned int bits :
       {1U, 3U, 4U, 7U, 8U, 9U, 31U, 32U, 33U, 56U, 62U, 63U}) {
    const std::uint64_t most = (std::uint64_t{1} << bits) - 1;
    SCOPED_TRACE(testing::Message() << bits << " bits");
    const Words layout = {"-bits", std::to_string(bits), "-width", "0"};
    const std::string text = Answer(
        Words{"make", "-group", "0", "-number", std::to_string(most)} + layout);
    EXPECT_EQ(text, Concat(std::to_string(most), "\n"));
    EXPECT_EQ(
        Answer(Words{"read", "-form", "number", "-text", std::to_string(most)} +
               layout),
        text);
    EXPECT_THAT(
        Refusal(3, Words{"read", "-text", std::to_string(most + 1)} + layout),
        HasSubstr(Concat("' needs more than ", bits, " bits\n")))
        << most;
  }
}

TEST(CodeCommandTest, TheTextIsTheLibrarys) {
  CBitstr bits;
  for (std::uint32_t& word : bits.data) word = 0x9E3779B9;
  std::string bytes(sizeof(bits.data), '\0');
  std::memcpy(bytes.data(), bits.data, bytes.size());
  for (const int width : {1, 2, 4}) {
    CConverter converter(512, width, 5);
    converter.LoadData(bits);
    const std::string text = converter.GetDividedStr();
    EXPECT_EQ(Answer({"make", "-bits", "512", "-width", std::to_string(width),
                      "-group", "5", "-hex", Hex(bytes)}),
              Concat(text, "\n"));
    CConverter reader(512, width, 5);
    EXPECT_TRUE(reader.LoadData(text));
    EXPECT_EQ(std::memcmp(reader.GetBitstr().data, bits.data, bytes.size()), 0);
  }
}

TEST(CodeCommandTest, PartOfACharacterIsRefused) {
  const auto refusal = [](const char* bits, const char* width) {
    const Words layout = {"-bits", bits, "-width", width};
    const std::string make = Refusal(2, Words{"make", "-number", "0"} + layout);
    EXPECT_EQ(Refusal(2, Words{"read", "-text", "A"} + layout), make);
    return make;
  };
  EXPECT_EQ(
      refusal("32", "6"),
      "fairlead code: -bits 32 is not a multiple of -width 6; the nearest "
      "are 30 and 36\n");
  EXPECT_EQ(
      refusal("5", "6"),
      "fairlead code: -bits 5 is not a multiple of -width 6; the nearest is "
      "6\n");
  EXPECT_EQ(
      refusal("512", "6"),
      "fairlead code: -bits 512 is not a multiple of -width 6; the nearest "
      "is 510\n");
  EXPECT_EQ(refusal("64", "0"),
            "fairlead code: -bits 64 is more than the 63 of a decimal number; "
            "write -width 1 to 8\n");
}

TEST(CodeCommandTest, ANumberOutsideItsRangeIsRefused) {
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

TEST(CodeCommandTest, AValueThatDoesNotFitIsRefused) {
  const auto refusal = [](const char* bits, const char* width, const char* door,
                          const std::string& value) {
    return Refusal(2, {"make", "-bits", bits, "-width", width, door, value});
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

TEST(CodeCommandTest, WhatHasNoTextIsRefused) {
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

TEST(CodeCommandTest, WhatIsNoValueIsRefused) {
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

TEST(CodeCommandTest, ATextOfAnotherLengthIsMalformed) {
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

TEST(CodeCommandTest, ACharacterThatDoesNotBelongIsMalformed) {
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
  // The library takes these.
  EXPECT_EQ(
      refusal("12", "6", "A\xE9"),
      Concat("fairlead code: -text 'A\\xe9' contains '\\xe9', which is not one "
             "of ",
             kAlphabet, "\n"));
  EXPECT_THAT(refusal("16", "8", "A!"), HasSubstr("contains '!'"));
  EXPECT_THAT(refusal("14", "7", "A\x80"), HasSubstr("contains '\\x80'"));
  EXPECT_THAT(refusal("12", "6", "A\t"), HasSubstr("contains '\\t'"));
}

TEST(CodeCommandTest, EveryCharacterBelongsAtItsWidthsOnly) {
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
    if (width == 6) continue;  // There is no next one.
    EXPECT_EQ(read(kAlphabet[count]).status, 3);
  }
}

TEST(CodeCommandTest, WhatIsNoDecimalNumberIsMalformed) {
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

TEST(CodeCommandTest, ADecimalNumberAboveItsBitsIsMalformed) {
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

TEST(CodeCommandTest, ASubcommandAndItsParametersAreNeeded) {
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

TEST(CodeCommandTest, AFullOutputIsAnError) {
  const Outcome outcome =
      RunProgram({.arguments = {"code", "make", "-bits", "6", "-number", "1"},
                  .output_path = "/dev/full"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("cannot write standard output"));
}

// The words with one blank between them, however the lines are broken.
std::string OneLine(const std::string& text) {
  std::istringstream in(text);
  std::string line;
  for (std::string word; in >> word;) line += Concat(word, " ");
  return line;
}

TEST(CodeCommandTest, HelpSaysTheOrderOfTheBits) {
  std::string help;
  for (const Words& words : {Words{"help", "code"},
                             {"help", "code", "make"},
                             {"help", "code", "read"}})
    help += OneLine(Fairlead(words).output);
  EXPECT_THAT(help, HasSubstr("the first byte holds bits 0 to 7"));
  EXPECT_THAT(help, HasSubstr("A to Z, 1 to 9, a to z, 0, @ and #"));
  EXPECT_THAT(help, HasSubstr("[1..512]"));
  EXPECT_THAT(help, HasSubstr("[0..8] (default 6)"));
  EXPECT_THAT(help, HasSubstr("[0..512] (default 4)"));
  EXPECT_THAT(help, HasSubstr("choose a multiple of 8"));
}

}  // namespace
}  // namespace fairlead::tool
