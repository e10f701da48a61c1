// How keys spread over a table, whatever they look like.
#include "fairlead/log/key_hash.h"

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
#include "fairlead/log/log_testing.h"

namespace {

constexpr ssize_t kAsTheSystem = -2;
ssize_t random_answer = kAsTheSystem;  // What getrandom returns.

}  // namespace

extern "C" FAIRLEAD_EXPORT ssize_t getrandom(void* buffer, std::size_t size,
                                             unsigned flags) {
  if (random_answer != kAsTheSystem) return random_answer;
  return syscall(SYS_getrandom, buffer, size, flags);
}

namespace fairlead::internal {
namespace {

using log_testing::kSanitized;
using Keys = std::vector<std::string>;

// What the numbers are where the system has none, or too few.
HashSecret SecretWithoutRandomNumbers(ssize_t answer) {
  random_answer = answer;
  const HashSecret secret = DrawHashSecret();
  random_answer = kAsTheSystem;
  return secret;
}

// How many slots putting a key into a table looks at, on average, when at most
// half of them are taken in the end. Chance makes it 1.3 for the keys below;
// the counting ends where it is above 4.
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

constexpr double kMostMeanProbes = 1.4;

// A number as that many bytes, the most significant first.
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

// Sets of keys that differ in few of their bytes.
std::vector<Keys> AlikeKeys() {
  constexpr unsigned kMost = kSanitized ? 10000 : 100000;
  std::vector<Keys> sets;
  for (const std::size_t bytes : {4U, 5U, 6U, 7U, 8U, 9U, 12U, 16U, 24U, 31U}) {
    Keys& keys = sets.emplace_back();
    for (unsigned i = 0; i < kMost; ++i) keys.push_back(BigEndian(i, bytes));
  }
  for (const char* form : {"%08u", "%016x", "key %u"}) {
    Keys& keys = sets.emplace_back();
    for (unsigned i = 0; i < kMost; ++i) keys.push_back(Printed(form, i));
  }
  Keys& in_the_middle = sets.emplace_back();
  for (unsigned i = 0; i < kMost; ++i)
    in_the_middle.push_back(BigEndian(i, 8) + std::string(8, 'x'));
  return sets;
}

TEST(KeyHashTest, KeysThatAreAlikeSpreadAsByChance) {
  const HashSecret secret = DrawHashSecret();
  for (const Keys& keys : AlikeKeys()) {
    SCOPED_TRACE(testing::PrintToString(keys.back()));
    EXPECT_LT(MeanProbes(keys, secret), kMostMeanProbes);
  }
}

TEST(KeyHashTest, KeysSpreadWithoutRandomNumbersToo) {
  for (const ssize_t answer : {ssize_t{-1}, ssize_t{0}, ssize_t{8}}) {
    const HashSecret secret = SecretWithoutRandomNumbers(answer);
    EXPECT_NE(secret.start, 0U);
    EXPECT_EQ(secret.factor, 0x9e3779b97f4a7c15U);
    for (const Keys& keys : AlikeKeys()) {
      SCOPED_TRACE(testing::PrintToString(keys.back()));
      EXPECT_LT(MeanProbes(keys, secret), kMostMeanProbes);
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

// Their bytes are read alike, for they overlap.
TEST(KeyHashTest, LengthsOfOneByteAreDifferentKeys) {
  const HashSecret secret = DrawHashSecret();
  std::set<std::uint64_t> hashes;
  for (std::size_t size = 0; size <= 40; ++size)
    hashes.insert(HashOfKey(std::string(size, '\0'), secret));
  EXPECT_EQ(hashes.size(), 41U);
}

}  // namespace
}  // namespace fairlead::internal
