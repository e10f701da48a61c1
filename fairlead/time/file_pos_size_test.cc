// File positions as sizes: listed cases, then every boundary against repeated
// division.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "fairlead/testing/sanitizers.h"
#include "fairlead/time/file_pos.h"
#include "fairlead/time/file_pos_testing.h"
#include "gtest/gtest.h"

namespace fairlead::internal::file_pos_size_test {
namespace {

struct TextCase {
  std::uint64_t offset;
  const char* text;
};

constexpr TextCase kTextCases[] = {
    {0, "0 bytes"},
    {1, "1 bytes"},
    {512, "512 bytes"},
    {1023, "1023 bytes"},
    {1024, "1 Kb"},
    {1025, "1.01 Kb"},
    {1536, "1.51 Kb"},  // not 1.5: an exact fraction is rounded up, too
    {2047, "2 Kb"},
    {9 * kKilo + 1012, "9.99 Kb"},
    {9 * kKilo + 1013, "10 Kb"},
    {10 * kKilo, "10 Kb"},
    {10 * kKilo + 1, "10.1 Kb"},
    {10 * kKilo + 512, "10.6 Kb"},
    {10 * kKilo + 920, "10.9 Kb"},
    {10 * kKilo + 921, "11 Kb"},
    {99 * kKilo + 920, "99.9 Kb"},
    {99 * kKilo + 921, "100 Kb"},
    {100 * kKilo, "100 Kb"},
    {100 * kKilo + 1, "101 Kb"},
    {1023 * kKilo, "1023 Kb"},
    {1023 * kKilo + 1, "1024 Kb"},
    {1048575, "1024 Kb"},  // not 1 Mb
    {1048576, "1 Mb"},
    {1048577, "1.01 Mb"},  // the remainder of any division counts
    {std::uint64_t{1} << 30U, "1 Gb"},
    {std::uint64_t{1} << 40U, "1 Tb"},
    {std::uint64_t{1} << 50U, "1 Pb"},
    {std::uint64_t{1} << 60U, "1 Eb"},
    {(std::uint64_t{1} << 60U) + 1, "1.01 Eb"},
    {kSigned - 1, "8 Eb"},
    {kSigned, "8 Eb"},
    {kSigned + 1, "8.01 Eb"},
    {kMaxOffset, "16 Eb"},
};

TEST(FilePosSizeTest, WritesSizes) {
  for (const TextCase& c : kTextCases)
    EXPECT_EQ(At(c.offset).GetText(), c.text);
}

constexpr const char* kUnits[] = {"bytes", "Kb", "Mb", "Gb", "Tb", "Pb", "Eb"};

// Rounds a number of 1024ths in floating point. A float is exact here: 100 *
// 1024 + 1024 has 17 bits.
unsigned RoundedInFloat(unsigned fraction, int steps) {
  return static_cast<unsigned>(
      static_cast<float>(fraction * (1.0 / 1024) * steps + 1.0));
}

// The size by repeated division, rounded in floating point.
std::string Size(std::uint64_t offset) {
  if (offset < 1024) return std::to_string(offset) + " bytes";
  unsigned divisions = 0;
  unsigned remainder = 0;
  bool is_whole = true;
  for (; offset >= 1024; offset /= 1024) {
    remainder = offset % 1024;
    is_whole = is_whole && remainder == 0;
    ++divisions;
  }
  std::string decimals;
  if (!is_whole) {
    const int steps = offset < 10 ? 100 : offset < 100 ? 10 : 0;
    const unsigned shown = RoundedInFloat(remainder + 1, steps);
    if (steps == 0 || shown >= static_cast<unsigned>(steps))
      ++offset;
    else
      decimals =
          (steps == 100 && shown < 10 ? ".0" : ".") + std::to_string(shown);
  }
  return std::to_string(offset) + decimals + ' ' + kUnits[divisions];
}

TEST(FilePosSizeTest, WritesSizesUpToTwoMegabytesAsRepeatedDivisionDoes) {
  for (std::uint64_t offset = 0; offset < 2 * kKilo * kKilo; offset += 3)
    ASSERT_EQ(At(offset).GetText(), Size(offset)) << offset;
}

TEST(FilePosSizeTest, WritesSizesAroundEveryBoundary) {
  for (unsigned unit = 1; unit <= 6; ++unit) {
    const std::uint64_t one = std::uint64_t{1} << (10 * unit);
    for (const std::uint64_t whole : {1U, 2U, 8U, 9U, 10U, 11U, 15U, 98U, 99U,
                                      100U, 101U, 999U, 1000U, 1022U, 1023U}) {
      if (whole > kMaxOffset / one) continue;
      for (std::uint64_t part = 0; part < 1024; ++part) {
        for (std::uint64_t delta = 0; delta < 5; ++delta) {
          const std::uint64_t at =
              whole * one + part * (one / 1024) + delta - 2;
          ASSERT_EQ(At(at).GetText(), Size(at)) << at;
        }
      }
    }
  }
}

TEST(FilePosSizeTest, WritesRandomSizes) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < Rounds(200'000); ++i) {
    const std::uint64_t offset = RandomOffset(random);
    ASSERT_EQ(At(offset).GetText(), Size(offset))
        << "seed " << kSeed << ", " << offset;
  }
}

__extension__ using Wide = unsigned __int128;

// The bytes that a size text means, times 100.
Wide HundredfoldBytes(const std::string& text) {
  unsigned whole = 0;
  std::array<char, 4> decimals{};
  std::array<char, 8> unit{};
  if (std::sscanf(text.c_str(), "%u.%3s %7s", &whole, decimals.data(),
                  unit.data()) != 3)
    std::sscanf(text.c_str(), "%u %7s", &whole, unit.data());
  Wide hundredfold = whole * 100U;
  if (decimals[0] != '\0')
    hundredfold += static_cast<unsigned>(decimals[0] - '0') * 10U;
  if (decimals[1] != '\0')
    hundredfold += static_cast<unsigned>(decimals[1] - '0');
  for (const char* name : kUnits) {
    if (std::strcmp(name, unit.data()) == 0) return hundredfold;
    hundredfold *= 1024;
  }
  ADD_FAILURE() << "no such unit: " << text;
  return 0;
}

TEST(FilePosSizeTest, NeverShowsASmallerOrAMuchLargerSize) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < Rounds(100'000); ++i) {
    const std::uint64_t offset = RandomOffset(random);
    const std::string text = At(offset).GetText();
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", " << offset);
    const Wide actual = Wide{offset} * 100;
    const Wide shown = HundredfoldBytes(text);
    ASSERT_TRUE(shown >= actual) << text;
    // At most two steps of the last digit, each 1 % of the size or less.
    ASSERT_TRUE((shown - actual) * 50 <= actual) << text;
  }
}

}  // namespace
}  // namespace fairlead::internal::file_pos_size_test
