// Conversions of single texts and settings, with literal results.

#include "fairlead/bits/converter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace fairlead::converter_test {
namespace {

using testing::Each;

static_assert(std::is_standard_layout_v<CConverter>);
static_assert(std::is_trivially_copyable_v<CConverter>);
static_assert(offsetof(CConverter, alphabet) == 0);
static_assert(offsetof(CConverter, reverse) == 256);
static_assert(offsetof(CConverter, bitstr) == 512);
static_assert(offsetof(CConverter, totalBits) == 580);
static_assert(offsetof(CConverter, bitsPerChar) == 584);
static_assert(offsetof(CConverter, groupSize) == 588);
static_assert(offsetof(CConverter, error) == 592);
static_assert(sizeof(CConverter) == 596);

TEST(ConverterTest, StartsEmptyWithItsTables) {
  alignas(CConverter) std::array<unsigned char, sizeof(CConverter)> memory;
  memory.fill(0xEE);
  const CConverter& made = *new (memory.data()) CConverter(30, 6, 2);
  EXPECT_EQ(made.totalBits, 30);
  EXPECT_EQ(made.bitsPerChar, 6);
  EXPECT_EQ(made.groupSize, 2);
  EXPECT_EQ(made.error, 0);
  EXPECT_EQ(made.bitstr.length, 0);
  EXPECT_THAT(made.bitstr.data, Each(0U));
  const std::string symbols =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789abcdefghijklmnopqrstuvwxyz0@#" +
      std::string(192, '-');
  EXPECT_EQ(std::string(made.alphabet, 256), symbols);
  std::array<int, 256> reverse;
  reverse.fill(255);
  for (int value = 0; value < 64; ++value)
    reverse[static_cast<unsigned char>(
        symbols[static_cast<std::size_t>(value)])] = value;
  for (std::size_t c = 0; c < 256; ++c)
    EXPECT_EQ(made.reverse[c], reverse[c]) << c;
  EXPECT_EQ(made.reverse[std::size_t{'A'}], 0);
  EXPECT_EQ(made.reverse[std::size_t{'1'}], 26);
  EXPECT_EQ(made.reverse[std::size_t{'a'}], 35);
  EXPECT_EQ(made.reverse[std::size_t{'0'}], 61);
  EXPECT_EQ(made.reverse[std::size_t{'@'}], 62);
  EXPECT_EQ(made.reverse[std::size_t{'#'}], 63);
  EXPECT_EQ(made.reverse[std::size_t{'-'}], 255);
  EXPECT_EQ(made.reverse[std::size_t{'!'}], 255);
}

TEST(ConverterTest, ExtractMeatDropsHyphensAndSpaces) {
  CConverter converter(30, 6, 2);
  EXPECT_EQ(converter.ExtractMeat("AB-CD EF"), "ABCDEF");
  EXPECT_EQ(converter.ExtractMeat(""), "");
  EXPECT_EQ(converter.ExtractMeat("- -- "), "");
  EXPECT_EQ(converter.ExtractMeat("a\tb\n_\xE9"), "a\tb\n_\xE9");
  EXPECT_EQ(converter.ExtractMeat(std::string("-a\0b ", 5)),
            std::string("a\0b", 3));
  EXPECT_EQ(converter.ExtractMeat(std::string(5000, '-') + "x"), "x");
}

TEST(ConverterTest, GroupedTextReadsBack) {
  CConverter converter(30, 6, 2);
  EXPECT_TRUE(converter.LoadData("TB-AA-A"));
  EXPECT_EQ(converter.GetStr(), "TBAAA");
  EXPECT_EQ(converter.GetDividedStr(), "TB-AA-A");
  EXPECT_EQ(converter.bitstr.data[0], 83U);

  CConverter plain(36, 6, 2);
  CConverter grouped(36, 6, 2);
  EXPECT_TRUE(plain.LoadData("ABCDEF"));
  EXPECT_TRUE(grouped.LoadData("AB-CD EF"));
  EXPECT_EQ(std::memcmp(&plain, &grouped, sizeof(plain)), 0);
}

TEST(ConverterTest, ZerosAreWrittenAsA) {
  CConverter converter(30, 6, 2);
  CBitstr bits;
  bits.data[0] = 0xC0000000;  // Beyond the 30 bits.
  converter.LoadData(bits);
  EXPECT_EQ(converter.GetStr(), "AAAAA");
  EXPECT_EQ(converter.GetDividedStr(), "AA-AA-A");
}

TEST(ConverterTest, LoadDataAcceptsTextAndBits) {
  CConverter converter(30, 6, 2);
  EXPECT_FALSE(converter.LoadData("A"));
  CBitstr bits;
  bits.data[0] = 7;
  bits.data[15] = 8;
  bits.length = 77;
  EXPECT_TRUE(converter.LoadData(bits));  // Even after an error.
  EXPECT_EQ(converter.error, 1);
  EXPECT_EQ(converter.bitstr.length, 77);
  EXPECT_EQ(converter.GetBitstr().length, 77);
  EXPECT_EQ(converter.GetBitstr().data[0], 7U);
  EXPECT_EQ(converter.GetBitstr().data[15], 8U);
}

TEST(ConverterTest, StrToBitstrKeepsTheContents) {
  CConverter converter(30, 6, 2);
  ASSERT_TRUE(converter.LoadData("TBAAA"));
  const CBitstr other = converter.StrToBitstr("CAAAA");
  EXPECT_EQ(other.data[0], 2U);
  EXPECT_EQ(other.length, 3);
  EXPECT_EQ(converter.GetStr(), "TBAAA");
  converter.StrToBitstr("A");
  EXPECT_EQ(converter.error, 1);
  EXPECT_EQ(converter.GetStr(), "TBAAA");
}

struct ReadCase {
  int total;
  int width;
  std::string text;
  int error;
  int length;
  std::uint64_t number;  // The first 64 bits.
};

const ReadCase kReadCases[] = {
    {30, 6, "AAAA", 1, 0, 0},      // one character too few
    {30, 6, "AAAAAA", 1, 0, 0},    // one too many
    {30, 6, "", 1, 0, 0},          //
    {0, 6, "", 0, 0, 0},           // no bits from no characters
    {0, 6, "A", 1, 0, 0},          //
    {5, 6, "", 0, 0, 0},           // the one character is missing
    {8, 8, "!", 0, 1, 255},        // eight bits accept any character
    {30, 6, "AAA!A", 2, 0, 0},     //
    {30, 6, "#A!AA", 2, 0, 63},    // one whole byte before the error
    {30, 6, "##!AA", 2, 0, 0xFF},  //
    {30, 6,
     "A\xE9"
     "AAA",
     0, 3, 45 << 6},  // 45 = "k", as all above 0x7F
    {30, 6,
     "A\x80"
     "AAA",
     0, 3, 45 << 6},  //
    {30, 6,
     "A\xFF"
     "AAA",
     0, 3, 45 << 6},  //
    {30, 6,
     "A\x7F"
     "AAA",
     2, 0, 0},                  //
    {10, 5, "A\xE9", 2, 0, 0},  // 45 exceeds five bits
    {14, 7,
     "\xE9"
     "B",
     0, 1, 0xAD},            // 45 | 1 << 7
    {14, 7, "!B", 2, 0, 0},  //
    {16, 8,
     "\xE9"
     "B",
     0, 2, 0x012D},                          //
    {4, 1, "ABBA", 0, 0, 0},                 // no whole byte
    {8, 1, "ABBAAAAB", 0, 1, 0x86},          //
    {8, 1, "ABBAAAAC", 2, 0, 0},             //
    {20, 6, "###", 0, 2, 0x3FFFF},           // a fourth character is read as 0
    {56, 0, "00012", 0, 7, 12},              //
    {56, 0, "000", 0, 7, 0},                 //
    {56, 0, "123456789012345678", 3, 0, 0},  // 18 digits
    {56, 0, "012345678901234567", 0, 7, 12345678901234567},
    {56, 0, "12ab", 0, 7, 12},        //
    {56, 0, "ab", 4, 0, 0},           //
    {56, 0, "", 4, 0, 0},             //
    {56, 0, "0ab", 4, 0, 0},          // the zero is dropped first
    {56, 0, "0x12", 4, 0, 0},         //
    {56, 0, "+5", 0, 7, 5},           //
    {56, 0, "++5", 4, 0, 0},          //
    {56, 0, "+", 4, 0, 0},            //
    {56, 0, "-5", 0, 7, 5},           // a hyphen is not a minus sign
    {56, 0, "\t\n\v\f\r5", 0, 7, 5},  //
    {56, 0, "\t", 4, 0, 0},           //
    {56, 0, "+\t5", 4, 0, 0},         //
    {56, 0, "1 2-3", 0, 7, 123},      //
    {56, 0, "99999999999999999", 0, 7, 0x6345785D89FFFF},  // cut to 56 bits
    {64, 0, "9223372036854775807", 0, 8, 9223372036854775807},
    {64, 0, "9223372036854775808", 4, 0, 0},   //
    {64, 0, "18446744073709551615", 4, 0, 0},  //
    {64, 0, "99999999999999999999", 4, 0, 0},  //
    {64, 0, "100000000000000000000", 3, 0, 0},
    {0, 0, "7", 0, 0, 0},        // one digit, no byte
    {0, 0, "10", 3, 0, 0},       //
    {1, 0, "9", 0, 1, 9},        //
    {100, 0, "7", 0, 13, 7},     // the length exceeds the number
    {6, -6, "", 1, 0, 0},        //
    {6, INT_MIN, "", 1, 0, 0},   //
    {INT_MIN, -1, "", 1, 0, 0},  //
    {-5, 6, "", 0, 0, 0},        //
    {-50, 6, "", 1, 0, 0},       //
    {-4, 0, "", 4, 0, 0},        //
    {-4, 0, "0", 3, 0, 0},       //
    {INT_MIN, 0, "", 3, 0, 0},   //
};

TEST(ConverterTest, ReadsOrReportsAnError) {
  for (const ReadCase& c : kReadCases) {
    SCOPED_TRACE(testing::Message() << c.total << " bits, " << c.width
                                    << " per character: \"" << c.text << '"');
    CConverter converter(c.total, c.width, 3);
    CBitstr full;
    std::memset(full.data, 0xEE, sizeof(full.data));
    full.length = 99;
    converter.LoadData(full);  // Replaced even by a failed load.
    EXPECT_EQ(converter.LoadData(c.text), c.error == 0);
    EXPECT_EQ(converter.error, c.error);
    EXPECT_EQ(converter.bitstr.length, c.length);
    std::uint64_t number = 0;
    std::memcpy(&number, converter.bitstr.data, sizeof(number));
    EXPECT_EQ(number, c.number);
    for (int i = 2; i < 16; ++i) EXPECT_EQ(converter.bitstr.data[i], 0U);
  }
}

TEST(ConverterTest, AnErrorIsKeptButALaterTextIsLoaded) {
  CConverter converter(30, 6, 2);
  EXPECT_FALSE(converter.LoadData("A"));
  EXPECT_FALSE(converter.LoadData("TBAAA"));
  EXPECT_EQ(converter.error, 1);
  EXPECT_EQ(converter.GetStr(), "TBAAA");
  EXPECT_EQ(converter.bitstr.length, 3);
  EXPECT_FALSE(converter.LoadData("TB!AA"));
  EXPECT_EQ(converter.error, 2);
  EXPECT_FALSE(converter.LoadData("TBAAA"));
  EXPECT_EQ(converter.error, 2);
}

struct WriteCase {
  int total;
  std::uint64_t number;
  const char* text;
};

constexpr WriteCase kDecimalCases[] = {
    {0, 5, "0"},
    {1, 3, "1"},
    {3, 0xFF, "7"},
    {4, 0xFF, "15"},
    {32, 12, "0000000012"},
    {56, 12, "00000000000000012"},
    {63, ~std::uint64_t{0}, "9223372036854775807"},
    {64, 12, "00000000000000000012"},
    {64, ~std::uint64_t{4}, "000000000000000000-5"},
    {64, std::uint64_t{1} << 63, "-9223372036854775808"},
    {65, 12, ""},
    {512, 12, ""},
    {-1, 12, "0"},
    {INT_MIN, 12, "0"},
};

TEST(ConverterTest, WritesDecimals) {
  for (const WriteCase& c : kDecimalCases) {
    SCOPED_TRACE(testing::Message() << c.total << " bits");
    CConverter converter(c.total, 0, 0);
    CBitstr bits;
    std::memcpy(bits.data, &c.number, sizeof(c.number));
    converter.LoadData(bits);
    EXPECT_EQ(converter.GetStr(), c.text);
    EXPECT_EQ(converter.BitstrToStr(bits), c.text);
    EXPECT_EQ(converter.GetDividedStr(), c.total < 0 ? "" : c.text);
  }
}

TEST(ConverterTest, ADecimalReadsBackPaddedAndGrouped) {
  CConverter converter(56, 0, 3);
  ASSERT_TRUE(converter.LoadData("00012"));
  EXPECT_EQ(converter.bitstr.length, 7);
  EXPECT_EQ(converter.GetStr(), "00000000000000012");
  EXPECT_EQ(converter.GetDividedStr(), "000-000-000-000-000-12");
  ASSERT_TRUE(converter.LoadData(converter.GetDividedStr()));
  EXPECT_EQ(converter.bitstr.data[0], 12U);
}

TEST(ConverterTest, DividesAnyText) {
  CConverter converter(30, 6, 2);
  EXPECT_EQ(converter.GetDividedStr("ABCDEFG", 3), "ABC-DEF-G");
  EXPECT_EQ(converter.GetDividedStr("ABCDEF", 3), "ABC-DEF");
  EXPECT_EQ(converter.GetDividedStr("ABC", 1), "A-B-C");
  EXPECT_EQ(converter.GetDividedStr("A", 1), "A");
  EXPECT_EQ(converter.GetDividedStr("", 3), "");
  EXPECT_EQ(converter.GetDividedStr("", 0), "");
  EXPECT_EQ(converter.GetDividedStr("ABC", 0), "ABC");
  EXPECT_EQ(converter.GetDividedStr("ABC", 3), "ABC");
  EXPECT_EQ(converter.GetDividedStr("ABC", INT_MAX), "ABC");
  EXPECT_EQ(converter.GetDividedStr("ABC", -2), "AB-C");
  EXPECT_EQ(converter.GetDividedStr("ABC", INT_MIN), "ABC");
  EXPECT_EQ(converter.GetDividedStr("A-B", 1), "A---B");
}

TEST(ConverterTest, TheDividedFormLeavesOutACharacterThatIsNotFull) {
  CConverter converter(32, 6, 2);
  CBitstr bits;
  bits.data[0] = 83;
  bits.data[1] = 0xFF;
  converter.LoadData(bits);
  EXPECT_EQ(converter.GetStr(), "TBAAAz");  // Bits 32 to 35 are shown too.
  EXPECT_EQ(converter.GetDividedStr(), "TB-AA-A");
  EXPECT_EQ(CConverter(5, 6, 2).GetDividedStr(), "");
  EXPECT_EQ(CConverter(0, 6, 2).GetDividedStr(), "");
  EXPECT_EQ(CConverter(0, 6, 2).GetStr(), "");
  EXPECT_EQ(CConverter(0, 0, 2).GetDividedStr(), "0");
  EXPECT_EQ(CConverter(65, 0, 2).GetDividedStr(), "");
}

TEST(ConverterTest, ValuesWithoutASymbolAreHyphens) {
  CConverter converter(16, 8, 1);
  CBitstr bits;
  bits.data[0] = 0x3F40;
  converter.LoadData(bits);
  EXPECT_EQ(converter.GetStr(), "-#");
  EXPECT_EQ(converter.GetDividedStr(), "--#");
}

TEST(ConverterTest, NineBitsPerCharacterWriteTheLowEight) {
  CConverter converter(18, 9, 0);
  CBitstr bits;
  bits.data[0] = 0x1FF | 5U << 9;
  EXPECT_EQ(converter.BitstrToStr(bits), "-F");
}

TEST(ConverterTest, OutOfRangeSettingsAreSafe) {
  for (const int total : {INT_MIN, -600, -1, 0, 1, 30, 600, 100'000})
    for (const int width : {INT_MIN, -600, -6, -1, 0, 6, 9, 33, 600, INT_MAX})
      for (const int group : {INT_MIN, -1, 0, 1, INT_MAX}) {
        CConverter converter(total, width, group);
        CBitstr bits;
        std::memset(bits.data, 0xFF, sizeof(bits.data));
        converter.LoadData(bits);
        const std::string text = converter.GetStr();
        EXPECT_TRUE(width >= 0 || text.empty());
        const std::string divided = converter.GetDividedStr();
        converter.LoadData(text);
        converter.LoadData(divided);
        converter.LoadData("");
        converter.LoadData("A");
        EXPECT_TRUE(width >= 0 || converter.error == 1);
      }
}

// Returns the number of digits of 2^n - 1 for n from 0 to 512, by doubling.
std::vector<std::size_t> DigitCounts() {
  std::vector<std::size_t> sizes = {1};  // No bits are written as 0.
  std::string digits = "1";              // 2^n, the last digit first.
  while (sizes.size() <= 512) {
    int carry = 0;
    for (char& digit : digits) {
      const int twice = (digit - '0') * 2 + carry;
      digit = static_cast<char>('0' + twice % 10);
      carry = twice / 10;
    }
    if (carry != 0) digits += '1';
    sizes.push_back(digits.size());  // No power of two is a power of ten.
  }
  return sizes;
}

TEST(ConverterTest, ADecimalMayHaveAsManyDigitsAsTheGreatest) {
  const std::vector<std::size_t> sizes = DigitCounts();
  ASSERT_EQ(sizes[56], 17U);
  ASSERT_EQ(sizes[485], 146U);  // log10(2^485) is 145.9995.
  for (int total = 1; total <= 512; ++total) {
    SCOPED_TRACE(total);
    const std::size_t digits = sizes[static_cast<std::size_t>(total)];
    CConverter longest(total, 0, 0);
    const bool fits = digits < 20;  // 1111111111111111111 is below 2^63.
    EXPECT_EQ(longest.LoadData(std::string(digits, '1')), fits);
    EXPECT_EQ(longest.error, fits ? 0 : 4);
    CConverter longer(total, 0, 0);
    EXPECT_FALSE(longer.LoadData(std::string(digits + 1, '1')));
    EXPECT_EQ(longer.error, 3);
  }
}

TEST(ConverterTest, EveryExtremeIsWrittenWithAllDigits) {
  const std::vector<std::size_t> sizes = DigitCounts();
  for (int total = 1; total <= 64; ++total) {
    SCOPED_TRACE(total);
    const std::uint64_t greatest = ~std::uint64_t{0} >> (64 - total);
    for (const std::uint64_t value :
         {std::uint64_t{0}, std::uint64_t{1}, greatest / 2, greatest / 2 + 1,
          greatest - 1, greatest}) {
      CBitstr bits;
      std::memcpy(bits.data, &value, sizeof value);
      std::string expected = std::to_string(static_cast<std::int64_t>(value));
      const std::size_t digits = sizes[static_cast<std::size_t>(total)];
      if (expected.size() < digits)
        expected.insert(0, digits - expected.size(), '0');
      EXPECT_EQ(CConverter(total, 0, 0).BitstrToStr(bits), expected);
    }
  }
}

TEST(ConverterTest, AChangedTableIsUsed) {
  CConverter converter(12, 6, 0);
  std::swap(converter.alphabet[0], converter.alphabet[1]);
  EXPECT_EQ(converter.GetStr(), "BB");
  converter.alphabet[0xE9] = 'A';  // The value of the byte 0xE9: 65.
  EXPECT_FALSE(converter.LoadData("A\xE9"));
  EXPECT_EQ(converter.error, 2);
}

// Values of skipped characters and of bytes above 0x7F are never used.
TEST(ConverterTest, AChangedTableAffectsNeitherSkippedNorHighBytes) {
  for (const char skipped : {'-', ' '}) {
    for (const unsigned int size : {1U, 7U, 8U, 20U}) {
      std::string text(size, 'A');
      text[size / 2] = skipped;
      CConverter converter(static_cast<int>(size) * 6, 6, 0);
      converter.reverse[static_cast<unsigned char>(skipped)] = 0;
      EXPECT_FALSE(converter.LoadData(text));
      EXPECT_EQ(converter.error, 1);
    }
  }
  CConverter high(66, 6, 0);
  high.reverse[0xE9] = 0;
  EXPECT_TRUE(
      high.LoadData("AAAAAAA\xE9"
                    "AAA"));
  EXPECT_EQ(high.GetStr(), "AAAAAAAkAAA");
  EXPECT_EQ(high.bitstr.data[1], 45U << 10);
  CConverter last(18, 6, 0);
  last.reverse[0xE9] = 0;
  EXPECT_TRUE(
      last.LoadData("A\xE9"
                    "A"));
  EXPECT_EQ(last.bitstr.data[0], 45U << 6 & 0xFFFFU);
}

}  // namespace
}  // namespace fairlead::converter_test
