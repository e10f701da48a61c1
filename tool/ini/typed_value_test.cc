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

TEST(TypedValueTest, ATruthHasEightSpellings) {
  for (const char* const word : {"1", "yes", "TRUE", "On"})
    EXPECT_EQ(TypedValue(Type::kBool, word), "true") << word;
  for (const char* const word : {"0", "no", "FALSE", "Off"})
    EXPECT_EQ(TypedValue(Type::kBool, word), "false") << word;
  for (const char* const word : {"", "2", "y", "nope", " no"})
    EXPECT_EQ(TypedValue(Type::kBool, word), std::nullopt) << word;
}

TEST(TypedValueTest, ASizeHasAUnitOrNone) {
  EXPECT_EQ(TypedValue(Type::kSize, "7"), "7");
  EXPECT_EQ(TypedValue(Type::kSize, "7 B"), "7");
  EXPECT_EQ(TypedValue(Type::kSize, "2k"), "2048");
  EXPECT_EQ(TypedValue(Type::kSize, "2 KiB"), "2048");
  EXPECT_EQ(TypedValue(Type::kSize, "2mb"), "2097152");
  EXPECT_EQ(TypedValue(Type::kSize, "1Gi"), "1073741824");
  for (const char* const size :
       {"", "k", "-1", "1 x", "1km", "1kk", "1i", "1bb", "1kib 2", "1 2"})
    EXPECT_EQ(TypedValue(Type::kSize, size), std::nullopt) << size;
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
