// The checksum of runs of values, which equals that of one value at a time.

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/bits/crc.h"

namespace fairlead::crc_runs_test {
namespace {

constexpr std::size_t kLong = 100'000;

using Values = std::vector<std::uint32_t>;

CCRC OneByOne(CCRC crc, const Values& values) {
  for (const std::uint32_t value : values) crc.AddVal(value);
  return crc;
}

CCRC AtOnce(CCRC crc, const Values& values) {
  std::wstring text;
  for (const std::uint32_t value : values)
    text.push_back(static_cast<wchar_t>(value));
  crc.AddVal(text);
  return crc;
}

void ExpectSame(const CCRC& one, const CCRC& other) {
  ASSERT_EQ(one.state, other.state) << "rotation " << one.rotation;
  ASSERT_EQ(one.count, other.count) << "rotation " << one.rotation;
}

// Four gigabytes of zeros, of which only the last few are read.
TEST(CrcRunsTest, ATextOfGigabytesIsAddedAndCounted) {
  const std::size_t size = (std::size_t{1} << 32) + 5;
  void* const zeros = mmap(nullptr, size, PROT_READ,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (zeros == MAP_FAILED) GTEST_SKIP() << "cannot map four gigabytes";
  CCRC crc{.state = ~std::uint64_t{0}, .rotation = 8, .count = 2};
  crc.AddVal(std::string_view(static_cast<const char*>(zeros), size));
  EXPECT_EQ(crc.count, 7);
  EXPECT_EQ(crc.state, 0xFFFFFFFFFFFFFFFFU);
  munmap(zeros, size);
}

// Memory of which only the last bytes may be read.
class UnreadableMemory {
 public:
  static constexpr std::size_t kUnreadable = std::size_t{1} << 20;

  UnreadableMemory() {
    void* const start =
        mmap(nullptr, kSize, PROT_NONE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (start == MAP_FAILED) return;
    start_ = static_cast<unsigned char*>(start);
    usable_ =
        mprotect(start_ + kUnreadable, kPage, PROT_READ | PROT_WRITE) == 0;
  }
  ~UnreadableMemory() {
    if (start_ != nullptr) munmap(start_, kSize);
  }
  UnreadableMemory(const UnreadableMemory&) = delete;
  UnreadableMemory& operator=(const UnreadableMemory&) = delete;

  bool usable() const { return usable_; }

  unsigned char* readable() const { return start_ + kUnreadable; }

  // Returns the unreadable memory and the first readable bytes.
  std::string_view Text(std::size_t bytes) const {
    return {reinterpret_cast<const char*>(start_), kUnreadable + bytes};
  }

 private:
  static constexpr std::size_t kPage = std::size_t{1} << 16;
  static constexpr std::size_t kSize = kUnreadable + kPage;

  unsigned char* start_ = nullptr;
  bool usable_ = false;
};

// These are the last ceil(32 / (32 - r)) for a left rotation by r bits.
TEST(CrcRunsTest, WithAFullUpperHalfOnlyTheLastValuesAreRead) {
  const UnreadableMemory memory;
  ASSERT_TRUE(memory.usable());
  std::mt19937 random(66);
  for (std::size_t i = 0; i < 32; ++i)
    memory.readable()[i] = static_cast<unsigned char>(random());
  for (int rotation = -31; rotation <= 31; ++rotation) {
    if (rotation == 0) continue;
    SCOPED_TRACE(rotation);
    const int left = rotation > 0 ? rotation : 32 + rotation;
    const auto relevant = static_cast<std::size_t>((63 - left) / (32 - left));
    for (const std::uint64_t state : {0xFFFFFFFF00000000, 0xFFFFFFFFFFFFFFFF}) {
      CCRC crc{.state = state, .rotation = rotation};
      CCRC expected = crc;
      crc.AddVal(memory.Text(relevant));
      for (const char c : memory.Text(relevant).substr(memory.kUnreadable))
        expected.AddVal(std::string_view(&c, 1));
      EXPECT_EQ(crc.state, expected.state);
    }
  }
}

// A sequence of values: each may depend on its index and on the state.
struct Input {
  const char* name;
  std::function<std::uint32_t(std::size_t, const CCRC&)> value;
};

std::vector<Input> Inputs(std::mt19937& random) {
  const auto any = [&random] { return static_cast<std::uint32_t>(random()); };
  return {
      {"random", [=](std::size_t, const CCRC&) { return any(); }},
      {"text", [=](std::size_t, const CCRC&) { return 32 + any() % 95; }},
      {"zeros", [](std::size_t, const CCRC&) { return 0U; }},
      {"ones", [](std::size_t, const CCRC&) { return ~0U; }},
      {"constant", [](std::size_t, const CCRC&) { return 0x80402010U; }},
      {"sparse",
       [=](std::size_t, const CCRC&) {
         return any() % 50 == 0 ? 1U << any() % 32 : 0U;
       }},
      {"rare",
       [=](std::size_t, const CCRC&) {
         return any() % 5000 == 0 ? 1U << any() % 32 : 0U;
       }},
      // Each value cancels the rotated lower half, so that the upper half gains
      // a bit only now and then.
      {"late",
       [=](std::size_t i, const CCRC& crc) {
         CCRC next = crc;
         next.AddVal(0U);
         const auto rotated = static_cast<std::uint32_t>(next.state);
         return i % 700 == 699 ? rotated ^ 1U << any() % 32 : rotated;
       }},
      {"never",
       [](std::size_t, const CCRC& crc) {
         CCRC next = crc;
         next.AddVal(0U);
         return static_cast<std::uint32_t>(next.state);
       }},
  };
}

std::vector<std::uint64_t> StartStates(std::mt19937& random) {
  const std::uint64_t low = random();
  const std::uint64_t ones = ~std::uint64_t{0} << 32;
  const std::uint64_t hole = std::uint64_t{1} << (32 + random() % 32);
  return {0, low, ones | low, (ones ^ hole) | low, ~std::uint64_t{0}};
}

Values Generated(const Input& input, CCRC crc, std::size_t size) {
  Values values;
  for (std::size_t i = 0; i < size; ++i) {
    values.push_back(input.value(i, crc));
    crc.AddVal(values.back());
  }
  return values;
}

// Lengths around those at which values begin to be skipped.
TEST(CrcRunsTest, ShortRunsEqualSingleValues) {
  std::mt19937 random(64);
  for (int rotation = -32; rotation <= 32; ++rotation)
    for (const Input& input : Inputs(random))
      for (const std::uint64_t start : StartStates(random)) {
        SCOPED_TRACE(input.name);
        CCRC single{.state = start, .rotation = rotation, .count = INT_MAX - 9};
        const CCRC fresh = single;
        Values values;
        for (std::size_t size = 0; size < 150; ++size) {
          if (size < 40 || size % 8 < 2)
            ExpectSame(AtOnce(fresh, values), single);
          if (HasFatalFailure()) return;
          values.push_back(input.value(size, single));
          single.AddVal(values.back());
        }
      }
}

TEST(CrcRunsTest, LongRunsEqualSingleValues) {
  std::mt19937 random(65);
  for (int rotation = -32; rotation <= 32; ++rotation)
    for (const Input& input : Inputs(random)) {
      SCOPED_TRACE(input.name);
      const std::uint64_t start = StartStates(random)[random() % 5];
      const CCRC fresh{.state = start, .rotation = rotation};
      const std::size_t size = kLong / 10 + random() % (kLong / 10 * 9);
      const Values values =
          Generated(input, fresh, random() % 16 ? 2000 : size);
      ExpectSame(AtOnce(fresh, values), OneByOne(fresh, values));
      if (HasFatalFailure()) return;
    }
}

TEST(CrcRunsTest, LongTextsAndArraysEqualSingleValues) {
  std::mt19937 random(66);
  for (int rotation = -40; rotation <= 40; ++rotation)
    for (const unsigned int range : {1U, 2U, 16U, 128U, 256U}) {
      std::vector<unsigned char> bytes(random() % 3 == 0 ? kLong : 500);
      for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random() % range);
      const CCRC fresh{.state = StartStates(random)[random() % 5],
                       .rotation = rotation};
      CCRC array = fresh;
      array.AddArr(bytes.data(), static_cast<int>(bytes.size()));
      ExpectSame(array, OneByOne(fresh, Values(bytes.begin(), bytes.end())));

      const std::string text(bytes.begin(), bytes.end());
      CCRC string = fresh;
      string.AddVal(text);
      Values extended;
      for (const char c : text)
        extended.push_back(c < 0 ? 0xFFFFFF00U | static_cast<unsigned char>(c)
                                 : static_cast<unsigned char>(c));
      ExpectSame(string, OneByOne(fresh, extended));
      if (HasFatalFailure()) return;
    }
}

// Exactly as many as the header says: one less does not determine the state.
TEST(CrcRunsTest, WithAFullUpperHalfOnlyTheLastValuesMatter) {
  const std::uint64_t ones = ~std::uint64_t{0} << 32;
  std::mt19937 random(67);
  for (int rotation = 1; rotation < 32; ++rotation) {
    const int relevant = (32 + 31 - rotation) / (32 - rotation);
    std::uint32_t differs = 0;
    for (int trial = 0; trial < 100; ++trial) {
      CCRC one{.state = ones | random(), .rotation = rotation};
      CCRC other{.state = ones | random(), .rotation = rotation};
      for (int i = 0; i < relevant; ++i) {
        if (i + 1 == relevant) differs |= one.state != other.state;
        const auto value = static_cast<std::uint32_t>(random());
        one.AddVal(value);
        other.AddVal(value);
      }
      ASSERT_EQ(one.state, other.state);
    }
    EXPECT_TRUE(differs);
  }
}

}  // namespace
}  // namespace fairlead::crc_runs_test
