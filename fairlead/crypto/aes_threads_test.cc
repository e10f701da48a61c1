// The first keying in a process, by several threads at once. A separate
// program, so that nothing has been keyed before.

#include <gtest/gtest.h>

#include <cstring>
#include <latch>
#include <thread>
#include <vector>

#include "fairlead/crypto/aes.h"

namespace fairlead::internal::aes_threads_test {
namespace {

constexpr int kThreads = 8;

// FIPS-197, Appendix C.1.
constexpr unsigned char kPlain[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55,
                                    0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb,
                                    0xcc, 0xdd, 0xee, 0xff};
constexpr unsigned char kCipher[] = {0x69, 0xc4, 0xe0, 0xd8, 0x6a, 0x7b,
                                     0x04, 0x30, 0xd8, 0xcd, 0xb7, 0x80,
                                     0x70, 0xb4, 0xc5, 0x5a};

bool KeysAndTransforms() {
  unsigned char key[16];
  for (unsigned char i = 0; i < 16; ++i) key[i] = i;
  aes_context context;
  if (aes_set_key(&context, key, 128) != 0) return false;
  unsigned char there[16];
  aes_encrypt(&context, kPlain, there);
  unsigned char back[16];
  aes_decrypt(&context, there, back);
  return std::memcmp(there, kCipher, 16) == 0 &&
         std::memcmp(back, kPlain, 16) == 0;
}

TEST(AesThreadsTest, ManyThreadsMayBeTheFirstToKey) {
  std::latch start(kThreads);
  std::vector<int> right(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&start, &right, i] {
      start.arrive_and_wait();
      if (i % 2 == 0) aes_gen_tables();
      right[static_cast<std::size_t>(i)] = KeysAndTransforms() ? 1 : 0;
      aes_gen_tables();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, std::vector<int>(kThreads, 1));
}

TEST(AesThreadsTest, ManyThreadsMayShareAnObject) {
  const AES aes("shared key", 256);
  unsigned char expected[320] = {};
  aes.EncodeArray(expected, sizeof expected);
  std::vector<int> right(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&aes, &right, &expected, i] {
      unsigned char data[320] = {};
      aes.EncodeArray(data, sizeof data);
      right[static_cast<std::size_t>(i)] =
          std::memcmp(data, expected, sizeof data) == 0 ? 1 : 0;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, std::vector<int>(kThreads, 1));
}

}  // namespace
}  // namespace fairlead::internal::aes_threads_test
