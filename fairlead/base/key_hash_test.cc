// Tests of how evenly the hash distributes similar keys.

#include "fairlead/base/key_hash.h"

#include <gtest/gtest.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/testing/sanitizers.h"

namespace {

constexpr ssize_t kCallSystem = -2;
ssize_t random_result = kCallSystem;  // What getrandom returns.

}  // namespace

extern "C" FAIRLEAD_EXPORT ssize_t getrandom(void* buffer, std::size_t size,
                                             unsigned flags) {
  if (random_result != kCallSystem) return random_result;
  return syscall(SYS_getrandom, buffer, size, flags);
}

namespace fairlead::internal {
namespace {

using Keys = std::vector<std::string>;

// Draws a seed while getrandom returns an error or too few bytes.
HashSecret SecretWithoutRandomNumbers(ssize_t result) {
  random_result = result;
  const HashSecret secret = DrawHashSecret();
  random_result = kCallSystem;
  return secret;
}

// Returns the mean number of probes per insertion into a table that ends up at
// most half full. Random hashes give 1.3; stops counting above 4.
double MeanProbes(const Keys& keys, const HashSecret& secret) {
  std::vector<bool> taken(std::bit_ceil(2 * keys.size()));
  std::size_t probes = 0;
  for (const std::string& key : keys) {
    std::size_t slot = HashOfKey(key, secret);
    while (++probes <= 4 * keys.size() && taken[slot % taken.size()]) ++slot;
    taken[slot % taken.size()] = true;
  }
  return static_cast<double>(probes) / static_cast<double>(keys.size());
}

constexpr double kMaxMeanProbes = 1.4;

// Returns a number as that many bytes, most significant first.
std::string BigEndian(std::uint64_t number, std::size_t bytes) {
  std::string text(bytes, '\0');
  for (std::size_t i = bytes; i > 0; --i, number >>= 8U)
    text[i - 1] = static_cast<char>(number);
  return text;
}

std::string Printed(const char* form, unsigned number) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), form, number);
  return text.data();
}

// Returns sets of keys that differ in few bytes.
std::vector<Keys> SimilarKeys() {
  constexpr unsigned kKeys = Rounds(100'000);
  std::vector<Keys> sets;
  for (const std::size_t bytes : {4U, 5U, 6U, 7U, 8U, 9U, 12U, 16U, 24U, 31U}) {
    Keys& keys = sets.emplace_back();
    for (unsigned i = 0; i < kKeys; ++i) keys.push_back(BigEndian(i, bytes));
  }
  for (const char* form : {"%08u", "%016x", "key %u"}) {
    Keys& keys = sets.emplace_back();
    for (unsigned i = 0; i < kKeys; ++i) keys.push_back(Printed(form, i));
  }
  Keys& in_the_middle = sets.emplace_back();
  for (unsigned i = 0; i < kKeys; ++i)
    in_the_middle.push_back(BigEndian(i, 8) + std::string(8, 'x'));
  return sets;
}

TEST(KeyHashTest, SimilarKeysSpreadEvenly) {
  const HashSecret secret = DrawHashSecret();
  for (const Keys& keys : SimilarKeys()) {
    SCOPED_TRACE(testing::PrintToString(keys.back()));
    EXPECT_LT(MeanProbes(keys, secret), kMaxMeanProbes);
  }
}

TEST(KeyHashTest, KeysSpreadEvenlyWithoutRandomNumbers) {
  for (const ssize_t result : {ssize_t{-1}, ssize_t{0}, ssize_t{8}}) {
    const HashSecret secret = SecretWithoutRandomNumbers(result);
    EXPECT_NE(secret.start, 0U);
    EXPECT_EQ(secret.factor, 0x9e3779b97f4a7c15U);
    for (const Keys& keys : SimilarKeys()) {
      SCOPED_TRACE(testing::PrintToString(keys.back()));
      EXPECT_LT(MeanProbes(keys, secret), kMaxMeanProbes);
    }
  }
}

TEST(KeyHashTest, TheHashDependsOnBothRandomNumbers) {
  const HashSecret secret = DrawHashSecret();
  const HashSecret other = DrawHashSecret();
  const std::uint64_t hash = HashOfKey("key", secret);
  EXPECT_NE(HashOfKey("key", {other.start, secret.factor}), hash);
  EXPECT_NE(HashOfKey("key", {secret.start, other.factor}), hash);
}

TEST(KeyHashTest, TheSeedOfAProcessIsDrawnOnce) {
  const HashSecret secret = ProcessHashSecret();
  EXPECT_NE(secret.start, DrawHashSecret().start);
  EXPECT_EQ(secret.start, ProcessHashSecret().start);
  EXPECT_EQ(secret.factor, ProcessHashSecret().factor);
}

TEST(KeyHashTest, TheHashDependsOnEveryByte) {
  const HashSecret secret = DrawHashSecret();
  for (std::size_t size = 1; size <= 40; ++size) {
    const std::string key(size, 'k');
    std::set<std::uint64_t> hashes = {HashOfKey(key, secret)};
    for (std::size_t at = 0; at < size; ++at) {
      std::string other = key;
      other[at] = 'j';
      EXPECT_TRUE(hashes.insert(HashOfKey(other, secret)).second)
          << "byte " << at << " of " << size;
    }
  }
}

// The hash reads overlapping bytes, which are the same for these.
TEST(KeyHashTest, KeysOfEqualBytesDifferByTheirLength) {
  const HashSecret secret = DrawHashSecret();
  std::set<std::uint64_t> hashes;
  for (std::size_t size = 0; size <= 40; ++size)
    hashes.insert(HashOfKey(std::string(size, '\0'), secret));
  EXPECT_EQ(hashes.size(), 41U);
}

}  // namespace
}  // namespace fairlead::internal
