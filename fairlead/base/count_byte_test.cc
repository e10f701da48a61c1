// Tests of counting a byte.

#include "fairlead/base/count_byte.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace fairlead::internal::count_byte_test {
namespace {

TEST(CountByteTest, CountsInTheRestBehindTheLastLane) {
  EXPECT_EQ(CountByte("", '\n'), 0U);
  EXPECT_EQ(CountByte("\n", '\n'), 1U);
  EXPECT_EQ(CountByte("a\nb\nc", '\n'), 2U);
  EXPECT_EQ(CountByte("0123456789abcde\n\n", '\n'), 2U);
  EXPECT_EQ(CountByte(std::string(3, '\0'), '\0'), 3U);
  EXPECT_EQ(CountByte("\xff\xfe\xff", '\xff'), 2U);
}

// A counter of a lane has eight bits.
TEST(CountByteTest, CountsMoreThanALaneCanCount) {
  for (const std::size_t size : {4079U, 4080U, 4081U, 4096U, 4097U, 100'000U})
    EXPECT_EQ(CountByte(std::string(size, 'x'), 'x'), size);
}

TEST(CountByteTest, AgreesWithTheStandardAlgorithm) {
  std::mt19937 random(7);
  for (int round = 0; round < 2'000; ++round) {
    std::string text(random() % 9'000, 'a');
    for (char& c : text) c = static_cast<char>('a' + random() % 3);
    const std::size_t from = random() % (text.size() + 1);
    const std::string_view part = std::string_view(text).substr(from);
    ASSERT_EQ(CountByte(part, 'b'),
              static_cast<std::size_t>(std::ranges::count(part, 'b')));
  }
}

}  // namespace
}  // namespace fairlead::internal::count_byte_test
