// How often conversions allocate. A program of its own, which counts every
// allocation.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "fairlead/bits/converter.h"
#include "fairlead/testing/allocation_count.h"

namespace fairlead::internal {
namespace {

TEST(ConverterAllocationTest, ATextOf1024CharactersIsReadWithoutAnAllocation) {
  const std::string text = "A-" + std::string(1022, 'A');
  for (const std::size_t cut : {0U, 1U, 1000U}) {
    CConverter converter(static_cast<int>(1023 - cut) * 6, 6, 0);
    const std::string_view shown(text.data(), 1024 - cut);
    const std::size_t before = allocations;
    const bool loaded = converter.LoadData(shown);
    EXPECT_EQ(allocations, before);
    EXPECT_TRUE(loaded);
  }
}

TEST(ConverterAllocationTest, ATextIsWrittenWithOneAllocationAtMost) {
  for (const int width : {0, 1, 6, 8, 9}) {
    SCOPED_TRACE(width);
    const CConverter converter(60, width, 3);
    std::size_t before = allocations;
    const std::string text = converter.GetStr();
    EXPECT_LE(allocations, before + 1);
    before = allocations;
    const std::string divided = converter.GetDividedStr();
    EXPECT_LE(allocations, before + 1);
  }
}

}  // namespace
}  // namespace fairlead::internal
