// Runs of bits from any place to any other, and bit strings read from text.
#include "fairlead/bits/bitstr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace fairlead {
namespace {

using testing::Each;
using testing::ElementsAre;

static_assert(sizeof(CBitstr) == 68);
static_assert(offsetof(CBitstr, data) == 0);
static_assert(offsetof(CBitstr, length) == 64);
static_assert(sizeof(CBitstr::data) == 64);
static_assert(std::is_same_v<decltype(CBitstr::data), unsigned int[16]>);
static_assert(std::is_same_v<decltype(CBitstr::length), int>);
static_assert(std::is_trivially_copyable_v<CBitstr>);
static_assert(std::is_standard_layout_v<CBitstr>);
static_assert(std::is_constructible_v<CBitstr, std::string>);
static_assert(std::is_constructible_v<CBitstr, const char*>);
static_assert(!std::is_convertible_v<std::string, CBitstr>);

using Words = std::vector<unsigned int>;

TEST(MoveBitsTest, ARunCrossesFromOneSourceWordToTheNext) {
  const Words source = {0xA1234567, 0x89ABCDEF};
  Words destination = {0};
  MoveBits(source.data(), 28, destination.data(), 0, 8, 1);
  EXPECT_THAT(destination, ElementsAre(0xFA));
}

TEST(MoveBitsTest, AStrideSkipsTheWordsBetween) {
  const Words source = {0x11111111, 0x22222222, 0x33333333, 0x44444444};
  Words destination = {0, 0xFFFFFFFF};
  MoveBits(source.data(), 0, destination.data(), 0, 40, 2);
  EXPECT_THAT(destination, ElementsAre(0x11111111, 0xFFFFFF33));
}

TEST(MoveBitsTest, ThirtyTwoBitsReplaceAWordOrPartsOfTwo) {
  const Words source = {0x12345678, 0};
  Words whole = {0xFFFFFFFF, 0xFFFFFFFF};
  MoveBits(source.data(), 0, whole.data(), 0, 32, 1);
  EXPECT_THAT(whole, ElementsAre(0x12345678, 0xFFFFFFFF));
  Words parts = {0xFFFFFFFF, 0xFFFFFFFF};
  MoveBits(source.data(), 0, parts.data(), 4, 32, 1);
  EXPECT_THAT(parts, ElementsAre(0x2345678F, 0xFFFFFFF1));
}

TEST(MoveBitsTest, NoBitsOverwriteTheRestOfTheWord) {
  const Words source = {0x12345678, 0};
  Words destination = {0xFFFFFFFF, 0xFFFFFFFF};
  MoveBits(source.data(), 0, destination.data(), 8, 0, 1);
  EXPECT_THAT(destination, ElementsAre(0x345678FF, 0xFFFFFFFF));
}

TEST(EndiansTest, ReversesTheBytes) {
  static_assert(Endians(0x11223344) == 0x44332211);
  EXPECT_EQ(Endians(0x000000FF), 0xFF000000);
  std::mt19937 random(7);
  for (int i = 0; i < 1000; ++i) {
    const auto value = static_cast<unsigned int>(random());
    ASSERT_EQ(Endians(value), __builtin_bswap32(value));
    ASSERT_EQ(Endians(Endians(value)), value);
  }
}

TEST(BitstrTest, ADefaultOneIsAllZero) {
  alignas(CBitstr) std::array<unsigned char, sizeof(CBitstr)> memory;
  memory.fill(0xEE);
  const CBitstr* const bits = new (memory.data()) CBitstr;
  EXPECT_THAT(bits->data, Each(0));
  EXPECT_EQ(bits->length, 0);
}

struct TextCase {
  const char* text;
  int length;
  unsigned int word;  // The first; all others are zero.
};

constexpr TextCase kTextCases[] = {
    {"300", 7, 0x2C},                // 0x12C: one byte is kept of seven
    {"255", 7, 0xFF},                //
    {"256", 7, 0},                   //
    {"0", 7, 0},                     //
    {"3-0 0", 7, 0x2C},              // hyphens and blanks do not count
    {"12ab", 7, 12},                 //
    {"99999999999999999", 7, 0xFF},  // 17 digits: 0x16345785D89FFFF
    {"100000000000000000", 0, 0},    // 18 digits: too many
    {"ab", 0, 0},                    // no number
    {"", 0, 0},                      //
};

TEST(BitstrTest, IsReadFromText) {
  for (const TextCase& c : kTextCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    alignas(CBitstr) std::array<unsigned char, sizeof(CBitstr)> memory;
    memory.fill(0xEE);
    const CBitstr* const bits =
        new (memory.data()) CBitstr(std::string(c.text));
    EXPECT_EQ(bits->length, c.length);
    EXPECT_EQ(bits->data[0], c.word);
    for (int i = 1; i < 16; ++i) EXPECT_EQ(bits->data[i], 0);
  }
}

}  // namespace
}  // namespace fairlead
