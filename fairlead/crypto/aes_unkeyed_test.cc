// Keyed contexts in a process that has not keyed one. A separate program, in
// which child processes do the keying.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <latch>
#include <new>
#include <thread>
#include <vector>

#include "fairlead/crypto/aes.h"

namespace fairlead::internal::aes_unkeyed_test {
namespace {

// FIPS-197, Appendix C.1.
constexpr unsigned char kKey[] = {0, 1, 2,  3,  4,  5,  6,  7,
                                  8, 9, 10, 11, 12, 13, 14, 15};
constexpr unsigned char kPlain[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55,
                                    0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb,
                                    0xcc, 0xdd, 0xee, 0xff};
constexpr unsigned char kCipher[] = {0x69, 0xc4, 0xe0, 0xd8, 0x6a, 0x7b,
                                     0x04, 0x30, 0xd8, 0xcd, 0xb7, 0x80,
                                     0x70, 0xb4, 0xc5, 0x5a};

// Returns whether `act` returns true in a child process.
bool TrueInChild(const std::function<bool()>& act) {
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) _exit(act() ? 0 : 1);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

// A context and an object, in memory shared with child processes.
struct Keyed {
  aes_context context;
  alignas(AES) unsigned char object[sizeof(AES)];

  const AES& aes() const {
    return *std::launder(reinterpret_cast<const AES*>(object));
  }
};

class AesUnkeyedTest : public testing::Test {
 protected:
  void SetUp() override {
    void* const memory = mmap(nullptr, sizeof(Keyed), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    keyed_ = static_cast<Keyed*>(memory);
    ASSERT_TRUE(TrueInChild([this] {
      new (keyed_->object)
          AES({reinterpret_cast<const char*>(kKey), sizeof kKey}, 128);
      return aes_set_key(&keyed_->context, kKey, 128) == 0;
    }));
  }
  void TearDown() override {
    if (keyed_ != nullptr) munmap(keyed_, sizeof(Keyed));
  }

  bool Encrypts() const {
    unsigned char output[16];
    aes_encrypt(&keyed_->context, kPlain, output);
    return std::equal(output, output + 16, kCipher);
  }
  bool Decrypts() const {
    unsigned char output[16];
    aes_decrypt(&keyed_->context, kCipher, output);
    return std::equal(output, output + 16, kPlain);
  }

  Keyed* keyed_ = nullptr;
};

TEST_F(AesUnkeyedTest, AContextOfAnotherProcessEncrypts) {
  EXPECT_TRUE(TrueInChild([this] { return Encrypts(); }));
}

TEST_F(AesUnkeyedTest, AContextOfAnotherProcessDecrypts) {
  EXPECT_TRUE(TrueInChild([this] { return Decrypts(); }));
}

using Transform = void (*)(const AES&, unsigned char*);

struct ObjectCase {
  const char* name;
  const unsigned char* before;
  const unsigned char* after;
  Transform transform;
};

constexpr ObjectCase kObjectCases[] = {
    {"EncodeBlock", kPlain, kCipher,
     [](const AES& aes, unsigned char* data) { aes.EncodeBlock(data); }},
    {"DecodeBlock", kCipher, kPlain,
     [](const AES& aes, unsigned char* data) { aes.DecodeBlock(data); }},
    {"EncodeArray", kPlain, kCipher,
     [](const AES& aes, unsigned char* data) { aes.EncodeArray(data, 16); }},
    {"DecodeArray", kCipher, kPlain,
     [](const AES& aes, unsigned char* data) { aes.DecodeArray(data, 16); }},
};

TEST_F(AesUnkeyedTest, AnObjectOfAnotherProcessTransforms) {
  for (const ObjectCase& c : kObjectCases)
    EXPECT_TRUE(TrueInChild([this, &c] {
      unsigned char data[16];
      std::copy_n(c.before, 16, data);
      c.transform(keyed_->aes(), data);
      return std::equal(data, data + 16, c.after);
    })) << c.name;
}

// Threads use a context keyed elsewhere, while others build the tables. Not in
// a child process, so that the thread sanitizer reports data races.
TEST_F(AesUnkeyedTest, ManyThreadsMayBeTheFirstToUseAContext) {
  constexpr int kThreads = 8;
  std::latch start(kThreads);
  std::vector<int> right(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([this, &start, &right, i] {
      start.arrive_and_wait();
      if (i % 4 == 0) aes_gen_tables();
      right[static_cast<std::size_t>(i)] =
          (i % 2 == 0 ? Encrypts() : Decrypts()) ? 1 : 0;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, std::vector<int>(kThreads, 1));
}

}  // namespace
}  // namespace fairlead::internal::aes_unkeyed_test
