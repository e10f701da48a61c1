// Six bits per character, converted many characters at a time, with texts of
// all lengths and with changed tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>

#include "fairlead/bits/converter.h"
#include "fairlead/bits/converter_model.h"

namespace fairlead::internal::converter_tables_test {
namespace {

constexpr std::size_t kMaxLength = 100;  // More than the 86 that hold 512 bits.

unsigned int SixBits(const CBitstr& bits, std::size_t at) {
  unsigned int value = 0;
  for (std::size_t i = 6; i-- > 0;) {
    const std::size_t bit = at * 6 + i;
    value =
        value << 1U | (bit < 512 ? bits.data[bit / 32] >> bit % 32 & 1U : 0);
  }
  return value;
}

TEST(ConverterTablesTest, EveryChangedSymbolIsWritten) {
  std::mt19937 random(20261121);
  for (std::size_t size = 0; size <= kMaxLength; ++size) {
    CConverter converter(static_cast<int>(size) * 6, 6, 0);
    for (char& symbol : converter.alphabet)
      symbol = static_cast<char>(random());
    CBitstr bits;
    for (unsigned int& word : bits.data)
      word = static_cast<unsigned int>(random());
    bits.length = -1;  // Must not be read as data.
    std::string expected;
    for (std::size_t i = 0; i < size; ++i)
      expected += converter.alphabet[SixBits(bits, i)];
    EXPECT_EQ(converter.BitstrToStr(bits), expected) << size;
    converter.LoadData(bits);
    EXPECT_EQ(converter.GetDividedStr(), expected) << size;
  }
}

TEST(ConverterTablesTest, EveryChangedValueIsRead) {
  std::mt19937 random(20261121);
  for (std::size_t size = 0; size <= kMaxLength; ++size) {
    CConverter converter(static_cast<int>(size) * 6, 6, 0);
    for (unsigned char c = 0; c < 0x80; ++c)
      if (c != '-' && c != ' ') converter.reverse[c] = random() % 64;
    std::string text(size, '\0');
    for (char& c : text) {
      c = static_cast<char>(random() % 0x80);
      if (c == '-' || c == ' ') c = 'A';
      // Half of the texts have no control characters, which end the fast
      // reading.
      if (size % 2 == 0 && c < ' ') c = static_cast<char>(c + '0');
    }
    ASSERT_TRUE(converter.LoadData(text)) << size;
    EXPECT_EQ(converter.bitstr.length, static_cast<int>(size) * 6 / 8);
    for (std::size_t i = 0; i < std::min<std::size_t>(size, 85); ++i) {
      const std::size_t whole = size * 6 / 8 * 8;  // Bits of whole bytes.
      const std::size_t left = std::min<std::size_t>(whole - i * 6, 6);
      const unsigned int value =
          converter.reverse[static_cast<unsigned char>(text[i])];
      EXPECT_EQ(SixBits(converter.bitstr, i), value & ((1U << left) - 1))
          << size << ' ' << i;
    }
    for (std::size_t bit = size * 6 / 8 * 8; bit < 512; ++bit)
      EXPECT_EQ(converter.bitstr.data[bit / 32] >> bit % 32 & 1U, 0U);
  }
}

TEST(ConverterTablesTest, AnyByteIsReadAlikeAtEveryPosition) {
  for (const std::size_t size : {15U, 16U, 17U, 20U, 31U, 32U, 80U, 85U, 90U}) {
    const int total = static_cast<int>(size) * 6;
    for (std::size_t at = 0; at < size; ++at)
      for (int byte = 0; byte < 256; ++byte) {
        std::string text(size, '#');
        text[at] = static_cast<char>(byte);
        CConverter converter(total, 6, 0);
        const auto read = ConverterModel{total, 6, 0}.ReadText(text);
        ASSERT_EQ(converter.LoadData(text), read.error == 0);
        ASSERT_EQ(converter.error, read.error)
            << size << ' ' << at << ' ' << byte;
        ASSERT_EQ(converter.bitstr.length, read.length);
        ASSERT_EQ(std::memcmp(converter.bitstr.data, read.bytes.data(), 64), 0)
            << size << ' ' << at << ' ' << byte;
      }
  }
}

TEST(ConverterTablesTest, AChangedValueMayBeTooLarge) {
  for (const std::size_t size : {5U, 8U, 16U, 20U, 85U})
    for (std::size_t at = 0; at < size; ++at)
      for (const unsigned int value : {63U, 64U, 127U, 128U, 192U, 255U}) {
        std::string text(size, 'A');
        text[at] = 'x';
        CConverter converter(static_cast<int>(size) * 6, 6, 0);
        converter.reverse[std::size_t{'x'}] = static_cast<unsigned char>(value);
        EXPECT_EQ(converter.LoadData(text), value < 64)
            << size << ' ' << at << ' ' << value;
        EXPECT_EQ(converter.error, value < 64 ? 0 : 2);
      }
}

}  // namespace
}  // namespace fairlead::internal::converter_tables_test
