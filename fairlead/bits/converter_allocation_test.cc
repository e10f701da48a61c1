// How often conversions allocate. A program of its own, which counts every
// allocation.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

#include "fairlead/bits/converter.h"

namespace {
std::size_t allocations = 0;
}  // namespace

// Not inline: g++ would warn of std::free() on the result of operator new.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace fairlead {
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
}  // namespace fairlead
