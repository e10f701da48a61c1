// Tests of the memory that reading and editing a file needs at most.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/export.h"
#include "fairlead/ini/edit_testing.h"
#include "fairlead/ini/file_edit.h"

namespace {

// The memory of this program that is in use, and the most there was.
std::size_t in_use = 0;
std::size_t peak = 0;

}  // namespace

// Not inlined: g++ warns about a `free` of what `new` returned.
[[gnu::noinline]] FAIRLEAD_EXPORT void* operator new(std::size_t size) {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  in_use += malloc_usable_size(memory);
  peak = std::max(peak, in_use);
  return memory;
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(void* memory) noexcept {
  in_use -= malloc_usable_size(memory);
  std::free(memory);
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, std::size_t /*size*/) noexcept {
  operator delete(memory);
}

namespace fairlead::internal {
namespace {

constexpr std::size_t kSize = 10'000'000;
constexpr std::size_t kRest = 200'000;  // Buffers, and the results.

class FileMemoryTest : public testing::Test {
 protected:
  // Returns the most memory that `act` uses at once.
  template <typename Act>
  static std::size_t PeakOf(const Act& act) {
    const std::size_t before = in_use;
    peak = in_use;
    act();
    return peak - before;
  }

  const TempFolder folder_;
  const std::string path_ = Put(folder_, "f", std::string(kSize, 'x'));
};

// Changes the first byte, and passes the text on in lines of 50 bytes.
bool ChangeFirst(std::optional<std::string> text, const PieceWriter& write) {
  text->front() = 'y';
  for (std::size_t at = 0; at < text->size(); at += 50)
    write(std::string_view(*text).substr(at, 50));
  return true;
}

TEST_F(FileMemoryTest, AFileIsReadIntoOneBuffer) {
  EXPECT_LE(
      PeakOf([&] { EXPECT_EQ(fairlead::ReadFile(path_).text.size(), kSize); }),
      kSize + kRest);
}

TEST_F(FileMemoryTest, AReplacementNeedsOneText) {
  for (const char* const suffix : {"", "~"})
    EXPECT_LE(PeakOf([&] {
                EXPECT_EQ(
                    RewriteFile(path_, ChangeFirst, {.backup_suffix = suffix}),
                    kWritten);
              }),
              kSize + kRest);
}

TEST_F(FileMemoryTest, InPlaceNeedsOneTextToo) {
  for (const char* const suffix : {"", "~"})
    EXPECT_LE(PeakOf([&] {
                EXPECT_EQ(
                    RewriteFile(path_, ChangeFirst,
                                {.in_place = true, .backup_suffix = suffix}),
                    kWritten);
              }),
              kSize + 2 * kRest);
}

TEST_F(FileMemoryTest, InPlaceAWhollyNewTextIsOneMore) {
  const auto rewrite = [](const std::optional<std::string>& text,
                          const PieceWriter& write) {
    for (std::size_t at = 0; at < text->size(); at += 50)
      write(std::string(50, 'y'));
    return true;
  };
  EXPECT_LE(PeakOf([&] {
              EXPECT_EQ(RewriteFile(path_, rewrite, {.in_place = true}),
                        kWritten);
            }),
            2 * kSize + kSize / 8 + 2 * kRest);
}

TEST_F(FileMemoryTest, EditFileNeedsBothTexts) {
  const auto change = [](std::optional<std::string> text) {
    ++text->front();
    return text;
  };
  for (const bool in_place : kBothWays)
    EXPECT_LE(PeakOf([&] {
                EXPECT_EQ(EditFile(path_, change, {.in_place = in_place}),
                          kWritten);
              }),
              2 * kSize + kSize / 8 + kRest);
}

}  // namespace
}  // namespace fairlead::internal
