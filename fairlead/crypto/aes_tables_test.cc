// The lookup tables of AES, against the arithmetic that they replace.

#include "fairlead/crypto/aes_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

#include "fairlead/crypto/aes.h"

namespace fairlead::internal::aes_tables_test {
namespace {

// Multiplication in GF(2^8), bit by bit.
std::uint32_t Product(std::uint32_t a, std::uint32_t b) {
  std::uint32_t product = 0;
  for (; b != 0; b >>= 1, a = (a << 1) ^ ((a & 0x80) != 0 ? 0x11B : 0))
    if ((b & 1) != 0) product ^= a;
  return product;
}

class AesTablesTest : public testing::Test {
 protected:
  AesTablesTest() { aes_gen_tables(); }
};

// FIPS-197, section 4.2: {57} times {83}, and {57} times {13}.
TEST_F(AesTablesTest, TheOracleMultiplies) {
  EXPECT_EQ(Product(0x57, 0x83), 0xC1U);
  EXPECT_EQ(Product(0x57, 0x13), 0xFEU);
}

// FIPS-197, section 5.1.1: the inverse, then bit i XOR the bits 4 to 7 above
// it XOR bit i of 0x63. Inverses are found by exhaustive search.
TEST_F(AesTablesTest, TheSBoxIsTheInverseAndTheAffineTransform) {
  for (unsigned x = 0; x < 256; ++x) {
    unsigned inverse = 0;
    for (unsigned y = 1; y < 256; ++y)
      if (Product(x, y) == 1) inverse = y;
    unsigned expected = 0;
    for (unsigned i = 0; i < 8; ++i) {
      unsigned bit = inverse >> i ^ 0x63U >> i;
      for (unsigned above = 4; above < 8; ++above)
        bit ^= inverse >> ((i + above) % 8);
      expected |= (bit & 1) << i;
    }
    EXPECT_EQ(FSb[x], expected) << x;
  }
}

// FIPS-197, section 5.1.1, figure 7: {53} becomes {ed}.
TEST_F(AesTablesTest, TheSBoxHasItsPublishedValues) {
  EXPECT_EQ(FSb[0x00], 0x63);
  EXPECT_EQ(FSb[0x53], 0xED);
  EXPECT_EQ(FSb[0xFF], 0x16);
  EXPECT_EQ(RSb[0x63], 0x00);
  EXPECT_EQ(RSb[0x00], 0x52);
}

TEST_F(AesTablesTest, TheSBoxesAreInverse) {
  for (unsigned x = 0; x < 256; ++x) {
    EXPECT_EQ(RSb[FSb[x]], x);
    EXPECT_EQ(FSb[RSb[x]], x);
  }
}

std::uint32_t Column(unsigned s, unsigned a, unsigned b, unsigned c,
                     unsigned d) {
  return Product(s, a) << 24 | Product(s, b) << 16 | Product(s, c) << 8 |
         Product(s, d);
}

TEST_F(AesTablesTest, TheRoundTablesAreColumnsOfTheSBoxes) {
  for (unsigned x = 0; x < 256; ++x) {
    SCOPED_TRACE(x);
    const std::uint32_t forward = Column(FSb[x], 2, 1, 1, 3);
    EXPECT_EQ(FT0[x], forward);
    EXPECT_EQ(FT1[x], std::rotr(forward, 8));
    EXPECT_EQ(FT2[x], std::rotr(forward, 16));
    EXPECT_EQ(FT3[x], std::rotr(forward, 24));
    const std::uint32_t reverse = Column(RSb[x], 14, 9, 13, 11);
    EXPECT_EQ(RT0[x], reverse);
    EXPECT_EQ(RT1[x], std::rotr(reverse, 8));
    EXPECT_EQ(RT2[x], std::rotr(reverse, 16));
    EXPECT_EQ(RT3[x], std::rotr(reverse, 24));
    const std::uint32_t key = Column(x, 14, 9, 13, 11);
    EXPECT_EQ(KT0[x], key);
    EXPECT_EQ(KT1[x], std::rotr(key, 8));
    EXPECT_EQ(KT2[x], std::rotr(key, 16));
    EXPECT_EQ(KT3[x], std::rotr(key, 24));
  }
}

// FIPS-197, Appendix A: the values of Rcon.
TEST_F(AesTablesTest, TheRoundConstantsDouble) {
  constexpr std::uint32_t kExpected[] = {
      0x01000000, 0x02000000, 0x04000000, 0x08000000, 0x10000000,
      0x20000000, 0x40000000, 0x80000000, 0x1B000000, 0x36000000};
  EXPECT_THAT(RCON, testing::ElementsAreArray(kExpected));
}

}  // namespace
}  // namespace fairlead::internal::aes_tables_test
