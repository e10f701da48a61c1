// The command `code` as a process: conversions.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "fairlead/bits/converter.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/testing.h"
#include "tool/values/code_testing.h"

namespace fairlead::tool::code_command_test {
namespace {

using code_testing::Answer;
using code_testing::kAlphabet;
using code_testing::Refusal;
using testing::HasSubstr;

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

TEST(CodeCommandTest, DefaultsToWidthSixAndGroupsOfFour) {
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

TEST(CodeCommandTest, OneFormIsPrintedAlone) {
  const Words read = {"read", "-bits", "30", "-text", "TBAAA", "-form"};
  EXPECT_EQ(Answer(read + Words{"hex"}), "53000000\n");
  EXPECT_EQ(Answer(read + Words{"number"}), "83\n");
  EXPECT_EQ(Answer(read + Words{"all"}), "hex 53000000\nnumber 83\n");
  EXPECT_EQ(Refusal(2, read + Words{"text"}),
            "fairlead code: -form: 'text' is not valid; choose hex, number or "
            "all\n");
}

TEST(CodeCommandTest, ANumberIsPrintedUpTo64Bits) {
  const Words read = {"read", "-bits", "72", "-width", "4", "-text"};
  EXPECT_EQ(Answer(read + Words{"PPPPPPPPPPPPPPPPAA"}),
            "hex ffffffffffffffff00\nnumber 18446744073709551615\n");
  const Words wide = read + Words{"AAAAAAAAAAAAAAAABA"};
  EXPECT_EQ(Answer(wide), "hex 000000000000000001\n");
  EXPECT_EQ(Refusal(2, wide + Words{"-form", "number"}),
            "fairlead code: -form number: the value needs 65 bits, more than "
            "the 64 of a number\n");
}

TEST(CodeCommandTest, HyphensAndSpacesAreIgnored) {
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

// Returns the text of the bytes, converted bit by bit.
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

// Returns random bytes. A character of 7 or 8 bits has only 6 random ones.
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
    for (const std::size_t wanted : {1U, 8U, 31U, 65U, 511U}) {
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
    const std::uint64_t max = (std::uint64_t{1} << bits) - 1;
    SCOPED_TRACE(testing::Message() << bits << " bits");
    const Words layout = {"-bits", std::to_string(bits), "-width", "0"};
    const std::string text = Answer(
        Words{"make", "-group", "0", "-number", std::to_string(max)} + layout);
    EXPECT_EQ(text, Concat(std::to_string(max), "\n"));
    EXPECT_EQ(
        Answer(Words{"read", "-form", "number", "-text", std::to_string(max)} +
               layout),
        text);
    EXPECT_THAT(
        Refusal(3, Words{"read", "-text", std::to_string(max + 1)} + layout),
        HasSubstr(Concat("' needs more than ", bits, " bits\n")))
        << max;
  }
}

TEST(CodeCommandTest, AgreesWithTheLibrary) {
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

TEST(CodeCommandTest, AFullOutputIsAnError) {
  const Outcome outcome =
      RunProgram({.arguments = {"code", "make", "-bits", "6", "-number", "1"},
                  .output_path = "/dev/full"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("cannot write standard output"));
}

TEST(CodeCommandTest, HelpDocumentsTheOrderOfTheBits) {
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
}  // namespace fairlead::tool::code_command_test
