// Tests of the keys of the once-only tracker.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "fairlead/log/only_once.h"
#include "fairlead/log/only_once_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::only_once_keys_test {
namespace {

using namespace std::string_literals;

TEST(OnlyOnceKeysTest, KeysMayBeLiteralsAndStrings) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  const std::string key = "string";
  EXPECT_TRUE(once.Start("literal", 10));
  EXPECT_TRUE(once.Start("another", 0.5));
  EXPECT_TRUE(once.Start(key, 10));
  EXPECT_FALSE(once.Start(key, 0.5F));
  EXPECT_FALSE(once.Start(key + "", 0.5));
  once.Update(key);
  once.Update("literal");
  once.IgnoreWave(key);
  once.IgnoreWave("literal");
}

TEST(OnlyOnceKeysTest, EachKeyIsASeparateEvent) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  const std::vector<std::string> keys = {"",
                                         "a",
                                         "A",
                                         "a ",
                                         "ab",
                                         "b",
                                         "\0"s,
                                         "a\0"s,
                                         "a\0b"s,
                                         "\xff",
                                         "\xff\xfe",
                                         std::string(1000, 'x'),
                                         std::string(1000, 'x') + "y"};
  for (const std::string& key : keys) EXPECT_TRUE(once.Start(key, 10)) << key;
  for (const std::string& key : keys) EXPECT_FALSE(once.Start(key, 10)) << key;
}

TEST(OnlyOnceKeysTest, RemembersManyKeys) {
  constexpr int kKeys = kSanitized ? 20000 : 100000;
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  int wrong = 0;
  for (int i = 0; i < kKeys; ++i) {
    Clock::Set(i);
    if (!once.Start("key " + std::to_string(i), kKeys)) ++wrong;
  }
  // Each key has its own timestamp: every second one has expired.
  for (int i = 0; i + 1 < kKeys; i += 2) {
    Clock::Set(kKeys + i + 0.5);
    if (!once.Start("key " + std::to_string(i), kKeys)) ++wrong;
    if (once.Start("key " + std::to_string(i + 1), kKeys)) ++wrong;
  }
  EXPECT_EQ(wrong, 0);
}

// The hash reads overlapping bytes, which are the same for these.
TEST(OnlyOnceKeysTest, RemembersKeysOfEqualBytesAndManyLengths) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  for (const char byte : {'\0', 'a', '\xff'})
    for (std::size_t size = byte == '\0' ? 0 : 1; size < 100; ++size)
      EXPECT_TRUE(once.Start(std::string(size, byte), 10));
  for (const char byte : {'\0', 'a', '\xff'})
    for (std::size_t size = 0; size < 100; ++size)
      EXPECT_FALSE(once.Start(std::string(size, byte), 10));
}

TEST(OnlyOnceKeysTest, TrackersAreIndependent) {
  const Clock clock;
  COnlyOnce one(OnceThrottle);
  COnlyOnce other(OnceThrottle);
  EXPECT_TRUE(one.Start("key", 10));
  EXPECT_TRUE(other.Start("key", 10));
}

}  // namespace
}  // namespace fairlead::internal::only_once_keys_test
