// Tests of numbers as decimal text.

#include "fairlead/base/decimal.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace fairlead::internal::decimal_test {
namespace {

// Returns the text of a number. Fails if a byte beyond kMaxDecimal changes.
std::string TextOf(std::int32_t number) {
  std::array<char, kMaxDecimal + 1> bytes{};
  bytes.back() = '|';
  const char* const end = WriteDecimal(number, bytes.data());
  EXPECT_EQ(bytes.back(), '|') << number;
  return {bytes.data(), static_cast<std::size_t>(end - bytes.data())};
}

TEST(DecimalTest, WritesTheLimitsOfEveryLength) {
  EXPECT_EQ(TextOf(0), "0");
  EXPECT_EQ(TextOf(9), "9");
  EXPECT_EQ(TextOf(10), "10");
  EXPECT_EQ(TextOf(99'999), "99999");
  EXPECT_EQ(TextOf(100'000), "100000");
  EXPECT_EQ(TextOf(90'807'060), "90807060");
  EXPECT_EQ(TextOf(99'999'999), "99999999");
  EXPECT_EQ(TextOf(100'000'000), "100000000");
  EXPECT_EQ(TextOf(std::numeric_limits<std::int32_t>::max()), "2147483647");
  EXPECT_EQ(TextOf(-1), "-1");
  EXPECT_EQ(TextOf(std::numeric_limits<std::int32_t>::min()), "-2147483648");
}

// All parts of four digits, in the upper and in the lower half.
TEST(DecimalTest, WritesEveryPartAsToString) {
  for (std::int32_t part = 0; part < 10'000; ++part) {
    ASSERT_EQ(TextOf(part), std::to_string(part));
    ASSERT_EQ(TextOf(part * 10'000), std::to_string(part * 10'000));
    ASSERT_EQ(TextOf(part * 10'000 + 9'999 - part),
              std::to_string(part * 10'000 + 9'999 - part));
  }
}

TEST(DecimalTest, WritesRandomNumbersAsToString) {
  std::mt19937 random(20261122);
  for (int i = 0; i < 100'000; ++i) {
    const auto number = static_cast<std::int32_t>(random()) >> random() % 32U;
    ASSERT_EQ(TextOf(number), std::to_string(number));
  }
}

}  // namespace
}  // namespace fairlead::internal::decimal_test
