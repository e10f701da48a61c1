// Copies of bit runs between any positions, and bit strings read from text.

#include "fairlead/bits/bitstr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "fairlead/bits/move_bits_model.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::bitstr_test {
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

TEST(MoveBitsTest, ACountOfZeroOverwritesTheRestOfTheWord) {
  const Words source = {0x12345678, 0};
  Words destination = {0xFFFFFFFF, 0xFFFFFFFF};
  MoveBits(source.data(), 0, destination.data(), 8, 0, 1);
  EXPECT_THAT(destination, ElementsAre(0x345678FF, 0xFFFFFFFF));
}

Words Random(std::size_t size, std::mt19937& random) {
  Words words(size);
  for (unsigned int& word : words) word = static_cast<unsigned int>(random());
  return words;
}

TEST(MoveBitsTest, CopiesEveryRunUpToAHundredBitsAndNothingElse) {
  std::mt19937 random(71);
  const Words before = Random(6, random);
  for (std::size_t stride = 1; stride <= 3; ++stride) {
    const Words source = Random(6 * stride, random);
    for (std::size_t from = 0; from < 64; ++from)
      for (std::size_t to = 0; to < 64; ++to)
        for (std::size_t count = 0; count <= 100; ++count) {
          std::array<unsigned int, 6> expected;
          std::copy(before.begin(), before.end(), expected.begin());
          std::array<unsigned int, 6> actual = expected;
          MoveBitByBit(source.data(), from, expected.data(), to, count, stride);
          MoveBits(source.data(), static_cast<int>(from), actual.data(),
                   static_cast<int>(to), static_cast<int>(count),
                   static_cast<int>(stride));
          ASSERT_EQ(actual, expected)
              << "from " << from << " to " << to << ", " << count << " bits";
        }
  }
}

// A usable page followed by a protected one: an access beyond an array that
// ends with the page faults.
class Fence {
 public:
  Fence() {
    void* const pages = mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) std::abort();
    start_ = static_cast<unsigned char*>(pages);
    if (mprotect(start_ + size_, size_, PROT_NONE) != 0) std::abort();
  }
  Fence(const Fence&) = delete;
  Fence& operator=(const Fence&) = delete;
  ~Fence() { munmap(start_, 2 * size_); }

  unsigned int* Last(std::size_t words) {
    return reinterpret_cast<unsigned int*>(start_ + size_) - words;
  }

 private:
  std::size_t size_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  unsigned char* start_ = nullptr;
};

TEST(MoveBitsTest, TouchesNoWordWithoutABitOfTheRun) {
  Fence source_fence;
  Fence destination_fence;
  std::mt19937 random(72);
  for (int trial = 0; trial < Rounds(100'000); ++trial) {
    const std::size_t from = random() % 70;
    const std::size_t to = random() % 70;
    const std::size_t stride = 1 + random() % 4;
    // In a quarter of the trials the run ends exactly with a source word.
    std::size_t count = 1 + random() % 520;
    if (random() % 4 == 0) count += 31 - (from + count + 31) % 32;
    const std::size_t source_size = (from + count - 1) / 32 * stride + 1;
    const std::size_t destination_size = (to + count - 1) / 32 + 1;
    unsigned int* const source = source_fence.Last(source_size);
    unsigned int* const destination = destination_fence.Last(destination_size);
    const Words filling = Random(source_size, random);
    std::copy(filling.begin(), filling.end(), source);
    Words expected = Random(destination_size, random);
    std::copy(expected.begin(), expected.end(), destination);

    MoveBitByBit(source, from, expected.data(), to, count, stride);
    MoveBits(source, static_cast<int>(from), destination, static_cast<int>(to),
             static_cast<int>(count), static_cast<int>(stride));
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), destination))
        << "from " << from << " to " << to << ", " << count << " bits";
  }
}

TEST(MoveBitsTest, RunsThatOverlapAreCopiedWordByWord) {
  std::mt19937 random(73);
  for (int trial = 0; trial < Rounds(100'000); ++trial) {
    const std::size_t from = random() % 100;
    const std::size_t to = random() % 100;
    const std::size_t stride = 1 + random() % 3;
    const std::size_t count = random() % 300;
    Words expected = Random(60, random);
    Words actual = expected;
    const std::size_t source_word = random() % 5;
    const std::size_t destination_word = random() % 5;
    MoveWordByWord(&expected[source_word], from, &expected[destination_word],
                   to, count, stride);
    MoveBits(&actual[source_word], static_cast<int>(from),
             &actual[destination_word], static_cast<int>(to),
             static_cast<int>(count), static_cast<int>(stride));
    ASSERT_EQ(actual, expected)
        << "from " << from << " to " << to << ", " << count << " bits";
  }
}

TEST(MoveBitsTest, PositionsGoFarBeyondFiveHundredBits) {
  Words source(40'000);
  source[20'000] = 0xABCD0000;
  Words destination(20'000, 0x11111111);
  MoveBits(source.data(), 20'000 * 32 + 16, destination.data(), 19'999 * 32 + 8,
           16, 1);
  EXPECT_EQ(destination[19'998], 0x11111111U);
  EXPECT_EQ(destination[19'999], 0x11ABCD11U);

  // A stride of two, beyond 19,000 words.
  source[39'998] = 0x12345678;
  MoveBits(source.data(), 19'999 * 32 + 4, destination.data(), 19'999 * 32 + 8,
           16, 2);
  EXPECT_EQ(destination[19'999], 0x11456711U);
}

TEST(MoveBitsTest, NegativeArgumentsTouchNoWordBeforeTheFirst) {
  const Words source = {1, 2, 3, 4, 5, 6};
  for (const int odd : {-1, -31, -32, -33, INT_MIN}) {
    Words destination = {5, 6, 7, 8, 9, 10};
    const unsigned int* const from = &source[2];
    unsigned int* const to = &destination[2];
    MoveBits(from, odd, to, 0, 8, 1);
    MoveBits(from, 0, to, odd, 8, 1);
    MoveBits(from, 0, to, 0, odd, 1);
    MoveBits(from, odd, to, odd, odd, 1);
    EXPECT_EQ(destination[0], 5U);
    EXPECT_EQ(destination[1], 6U);
    EXPECT_EQ(destination[4], 9U);
    EXPECT_EQ(destination[5], 10U);
  }
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

TEST(BitstrTest, IsAllZeroByDefault) {
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
    {"300", 7, 0x2C},                // 0x12C: one byte of seven is kept
    {"255", 7, 0xFF},                //
    {"256", 7, 0},                   //
    {"0", 7, 0},                     //
    {"3-0 0", 7, 0x2C},              // hyphens and spaces are skipped
    {"12ab", 7, 12},                 //
    {"99999999999999999", 7, 0xFF},  // 17 digits: 0x16345785D89FFFF
    {"100000000000000000", 0, 0},    // 18 digits: too many
    {"ab", 0, 0},                    // not a number
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
}  // namespace fairlead::internal::bitstr_test
