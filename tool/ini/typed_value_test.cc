// Tests of typed values. Their forms are tested with the command.

#include "tool/ini/typed_value.h"

#include <gtest/gtest.h>

#include <optional>

namespace fairlead::tool::ini::typed_value_test {
namespace {

TEST(TypedValueTest, ErrorsNameTheType) {
  EXPECT_EQ(Spelled(Type::kInt), "a whole number");
  EXPECT_EQ(Spelled(Type::kBool), "one of 1, yes, true, on, 0, no, false, off");
  EXPECT_EQ(Spelled(Type::kSize), "a size in bytes");
}

TEST(TypedValueTest, ASizeEndsAtTheLargestNumber) {
  EXPECT_EQ(TypedValue(Type::kSize, "16777215 TiB"), "18446742974197923840");
  EXPECT_EQ(TypedValue(Type::kSize, "16777216 TiB"), std::nullopt);
  EXPECT_EQ(TypedValue(Type::kSize, "18446744073709551615"),
            "18446744073709551615");
  EXPECT_EQ(TypedValue(Type::kSize, "18446744073709551616"), std::nullopt);
}

}  // namespace
}  // namespace fairlead::tool::ini::typed_value_test
