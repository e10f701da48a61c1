// Arrays, with all implementations of AES: whole blocks, of any length.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <random>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/ciphers_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::aes_arrays_test {
namespace {

constexpr int kSizes[] = {128, 192, 256};

using AesEachArraysTest = AesImplementationTest;
INSTANTIATE_TEST_SUITE_P(Each, AesEachArraysTest,
                         testing::ValuesIn(AesImplementations().begin(),
                                           AesImplementations().end()),
                         ImplementationName);

// Returns the number of bytes processed for a length.
int Touched(int length) { return length <= 0 ? 0 : (length + 15) / 16 * 16; }

TEST_P(AesEachArraysTest, ArraysAreWholeBlocksOfTheirLength) {
  EXPECT_EQ(Touched(16), 16);
  EXPECT_EQ(Touched(17), 32);
  constexpr std::size_t kGuard = 19;  // Odd: nothing is aligned.
  std::mt19937 random(71);
  for (const int bits : kSizes) {
    const AES aes(AsText(RandomBytes(random, 32)), bits);
    for (int length = -17; length <= 300; ++length) {
      SCOPED_TRACE(length);
      const auto touched = static_cast<std::size_t>(Touched(length));
      const Bytes before = RandomBytes(random, touched + 2 * kGuard);
      Bytes encoded = before;
      Bytes decoded = before;
      for (std::size_t i = 0; i < touched; i += 16) {
        aes.EncodeBlock(&encoded[kGuard + i]);
        aes.DecodeBlock(&decoded[kGuard + i]);
      }

      Bytes data = before;
      aes.EncodeArray(&data[kGuard], length);
      EXPECT_EQ(data, encoded);
      aes.DecodeArray(&data[kGuard], length);
      EXPECT_EQ(data, before);
      aes.DecodeArray(&data[kGuard], length);
      EXPECT_EQ(data, decoded);
      aes.EncodeArray(&data[kGuard], length);
      EXPECT_EQ(data, before);
    }
  }
}

TEST_P(AesEachArraysTest, ExtremeNegativeLengthsDoNothing) {
  const AES aes("key", 128);
  unsigned char byte = 'x';
  for (const int length : {0, -1, -15, -16, -17, INT_MIN, INT_MIN + 1}) {
    aes.EncodeArray(&byte, length);
    aes.DecodeArray(&byte, length);
  }
  EXPECT_EQ(byte, 'x');
  aes.EncodeArray(nullptr, 0);
  aes.DecodeArray(nullptr, -5);
}

TEST_P(AesEachArraysTest, TransformsArraysAsTheTablesDo) {
  std::mt19937 random(73);
  for (int i = 0; i < 1000; ++i) {
    const int bits = kSizes[random() % 3];
    const AES aes(AsText(RandomBytes(random, 32)), bits);
    const int length = static_cast<int>(random() % 2000);
    Bytes expected =
        RandomBytes(random, static_cast<std::size_t>(Touched(length)));
    Bytes data = expected;
    UseAesImplementation(kAesTables);
    i % 2 == 0 ? aes.EncodeArray(expected.data(), length)
               : aes.DecodeArray(expected.data(), length);
    UseAesImplementation(*GetParam());
    i % 2 == 0 ? aes.EncodeArray(data.data(), length)
               : aes.DecodeArray(data.data(), length);
    ASSERT_EQ(data, expected) << bits << " bits, length " << length;
  }
}

// Two gigabytes of addresses: one megabyte of memory, mapped repeatedly.
class EndlessMemory {
 public:
  static constexpr std::size_t kSize = std::size_t{1} << 31;
  static constexpr std::size_t kPiece = std::size_t{1} << 20;

  EndlessMemory() {
    const int file = memfd_create("endless", 0);
    if (file < 0 || ftruncate(file, kPiece) != 0) return;
    void* start = mmap(nullptr, kSize, PROT_NONE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (start == MAP_FAILED) return;
    start_ = static_cast<unsigned char*>(start);
    for (std::size_t at = 0; at < kSize; at += kPiece)
      if (mmap(start_ + at, kPiece, PROT_READ | PROT_WRITE,
               MAP_SHARED | MAP_FIXED, file, 0) == MAP_FAILED)
        usable_ = false;
    close(file);
  }
  ~EndlessMemory() {
    if (start_ != nullptr) munmap(start_, kSize);
  }
  EndlessMemory(const EndlessMemory&) = delete;
  EndlessMemory& operator=(const EndlessMemory&) = delete;

  unsigned char* start() const { return usable_ ? start_ : nullptr; }

 private:
  unsigned char* start_ = nullptr;
  bool usable_ = true;
};

TEST(AesArraysTest, TheMaximalLengthIsProcessedToItsEnd) {
  if (kSanitized || &FastestAesImplementation() == &kAesTables)
    GTEST_SKIP() << "two gigabytes take too long";
  const EndlessMemory memory;
  if (memory.start() == nullptr) GTEST_SKIP() << "no memory to map";
  const AES aes("key", 128);
  unsigned char* const last = memory.start() + EndlessMemory::kPiece - 16;
  Bytes expected(last, last + 16);
  for (std::size_t at = 0; at < EndlessMemory::kSize;
       at += EndlessMemory::kPiece)
    aes.EncodeBlock(expected.data());

  aes.EncodeArray(memory.start(), INT_MAX);
  EXPECT_TRUE(std::equal(last, last + 16, expected.begin()));
  aes.DecodeArray(memory.start(), INT_MAX);
  EXPECT_TRUE(std::all_of(memory.start(),
                          memory.start() + EndlessMemory::kPiece,
                          [](unsigned char byte) { return byte == 0; }));
}

}  // namespace
}  // namespace fairlead::internal::aes_arrays_test
