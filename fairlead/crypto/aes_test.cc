// All implementations of AES: the examples of FIPS-197, keys and the wrapper.

#include "fairlead/crypto/aes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/ciphers_testing.h"

namespace fairlead::internal::aes_test {
namespace {

using testing::Each;

// The layout is part of the interface: users may keep a record in their memory.
static_assert(std::is_trivial_v<aes_context> &&
              std::is_standard_layout_v<aes_context>);
static_assert(offsetof(aes_context, encKeys) == 0 &&
              offsetof(aes_context, decKeys) == 256 &&
              offsetof(aes_context, rounds) == 512 &&
              sizeof(aes_context) == 516);
static_assert(std::is_same_v<decltype(aes_context::rounds), std::int32_t>);
static_assert(sizeof(AES) == sizeof(aes_context) + sizeof(std::int32_t));
static_assert(std::is_constructible_v<AES, const char*, int> &&
              std::is_constructible_v<AES, std::string, int>);
static_assert(std::is_same_v<decltype(aes_set_key(nullptr, nullptr, 0)), int>);

constexpr int kSizes[] = {128, 192, 256};

using AesEachTest = AesImplementationTest;
INSTANTIATE_TEST_SUITE_P(Each, AesEachTest,
                         testing::ValuesIn(AesImplementations().begin(),
                                           AesImplementations().end()),
                         ImplementationName);

aes_context Keyed(const Bytes& key) {
  aes_context context;
  std::memset(&context, 0xA5, sizeof context);
  EXPECT_EQ(aes_set_key(&context, key.data(), static_cast<int>(key.size() * 8)),
            0);
  return context;
}

Bytes Encrypted(const aes_context& context, const Bytes& block) {
  Bytes output(16);
  aes_encrypt(&context, block.data(), output.data());
  return output;
}

Bytes Decrypted(const aes_context& context, const Bytes& block) {
  Bytes output(16);
  aes_decrypt(&context, block.data(), output.data());
  return output;
}

// FIPS-197, Appendix A: a key and all words of its expansion.
const std::vector<std::uint32_t> kExpansions[] = {
    {0x2b7e1516, 0x28aed2a6, 0xabf71588, 0x09cf4f3c, 0xa0fafe17, 0x88542cb1,
     0x23a33939, 0x2a6c7605, 0xf2c295f2, 0x7a96b943, 0x5935807a, 0x7359f67f,
     0x3d80477d, 0x4716fe3e, 0x1e237e44, 0x6d7a883b, 0xef44a541, 0xa8525b7f,
     0xb671253b, 0xdb0bad00, 0xd4d1c6f8, 0x7c839d87, 0xcaf2b8bc, 0x11f915bc,
     0x6d88a37a, 0x110b3efd, 0xdbf98641, 0xca0093fd, 0x4e54f70e, 0x5f5fc9f3,
     0x84a64fb2, 0x4ea6dc4f, 0xead27321, 0xb58dbad2, 0x312bf560, 0x7f8d292f,
     0xac7766f3, 0x19fadc21, 0x28d12941, 0x575c006e, 0xd014f9a8, 0xc9ee2589,
     0xe13f0cc8, 0xb6630ca6},
    {0x8e73b0f7, 0xda0e6452, 0xc810f32b, 0x809079e5, 0x62f8ead2, 0x522c6b7b,
     0xfe0c91f7, 0x2402f5a5, 0xec12068e, 0x6c827f6b, 0x0e7a95b9, 0x5c56fec2,
     0x4db7b4bd, 0x69b54118, 0x85a74796, 0xe92538fd, 0xe75fad44, 0xbb095386,
     0x485af057, 0x21efb14f, 0xa448f6d9, 0x4d6dce24, 0xaa326360, 0x113b30e6,
     0xa25e7ed5, 0x83b1cf9a, 0x27f93943, 0x6a94f767, 0xc0a69407, 0xd19da4e1,
     0xec1786eb, 0x6fa64971, 0x485f7032, 0x22cb8755, 0xe26d1352, 0x33f0b7b3,
     0x40beeb28, 0x2f18a259, 0x6747d26b, 0x458c553e, 0xa7e1466c, 0x9411f1df,
     0x821f750a, 0xad07d753, 0xca400538, 0x8fcc5006, 0x282d166a, 0xbc3ce7b5,
     0xe98ba06f, 0x448c773c, 0x8ecc7204, 0x01002202},
    {0x603deb10, 0x15ca71be, 0x2b73aef0, 0x857d7781, 0x1f352c07, 0x3b6108d7,
     0x2d9810a3, 0x0914dff4, 0x9ba35411, 0x8e6925af, 0xa51a8b5f, 0x2067fcde,
     0xa8b09c1a, 0x93d194cd, 0xbe49846e, 0xb75d5b9a, 0xd59aecb8, 0x5bf3c917,
     0xfee94248, 0xde8ebe96, 0xb5a9328a, 0x2678a647, 0x98312229, 0x2f6c79b3,
     0x812c81ad, 0xdadf48ba, 0x24360af2, 0xfab8b464, 0x98c5bfc9, 0xbebd198e,
     0x268c3ba7, 0x09e04214, 0x68007bac, 0xb2df3316, 0x96e939e4, 0x6c518d80,
     0xc814e204, 0x76a9fb8a, 0x5025c02d, 0x59c58239, 0xde136967, 0x6ccc5a71,
     0xfa256395, 0x9674ee15, 0x5886ca5d, 0x2e2f31d7, 0x7e0af1fa, 0x27cf73c3,
     0x749c47ab, 0x18501dda, 0xe2757e4f, 0x7401905a, 0xcafaaae3, 0xe4d59b34,
     0x9adf6ace, 0xbd10190d, 0xfe4890d1, 0xe6188d0b, 0x046df344, 0x706c631e}};

// Returns the key of an expansion: the bytes of its first words.
Bytes KeyOf(const std::vector<std::uint32_t>& expansion) {
  Bytes key;
  for (std::size_t i = 0; i < expansion.size() / 4 - 7; ++i)
    for (int shift = 24; shift >= 0; shift -= 8)
      key.push_back(static_cast<unsigned char>(expansion[i] >> shift));
  return key;
}

// Multiplication in GF(2^8), bit by bit.
std::uint8_t Product(unsigned a, unsigned b) {
  unsigned product = 0;
  for (; b != 0; b >>= 1, a = (a << 1) ^ ((a & 0x80) != 0 ? 0x11B : 0))
    if ((b & 1) != 0) product ^= a;
  return static_cast<std::uint8_t>(product);
}

// Returns the inverse column mixing of a word, byte by byte.
std::uint32_t Unmixed(std::uint32_t word) {
  constexpr unsigned kFactors[] = {14, 11, 13, 9};
  std::uint32_t result = 0;
  for (unsigned row = 0; row < 4; ++row) {
    std::uint8_t byte = 0;
    for (unsigned i = 0; i < 4; ++i)
      byte ^= Product(word >> (24 - 8 * ((row + i) % 4)) & 0xFF, kFactors[i]);
    result |= std::uint32_t{byte} << (24 - 8 * row);
  }
  return result;
}

TEST_P(AesEachTest, ExpandsTheKeysOfFips197) {
  for (const auto& words : kExpansions) {
    const std::size_t rounds = words.size() / 4 - 1;
    const Bytes key = KeyOf(words);
    SCOPED_TRACE(ToHex(key));
    const aes_context context = Keyed(key);
    EXPECT_EQ(context.rounds, static_cast<int>(rounds));
    for (std::size_t i = 0; i < words.size(); ++i) {
      EXPECT_EQ(context.encKeys[i], words[i]) << i;
      const std::size_t round = i / 4;
      const std::uint32_t back = words[4 * (rounds - round) + i % 4];
      const bool outer = round == 0 || round == rounds;
      EXPECT_EQ(context.decKeys[i], outer ? back : Unmixed(back)) << i;
    }
  }
}

// FIPS-197, Appendix C.1: the keys of the equivalent inverse cipher.
TEST_P(AesEachTest, MakesTheDecryptionKeysOfFips197) {
  const aes_context context =
      Keyed(FromHex("000102030405060708090a0b0c0d0e0f"));
  const std::uint32_t kFirst[] = {0x13111d7f, 0xe3944a17, 0xf307a78b,
                                  0x4d2b30c5, 0x13aa29be, 0x9c8faff6,
                                  0xf770f580, 0x00f7bf03};
  EXPECT_TRUE(std::equal(std::begin(kFirst), std::end(kFirst),
                         std::begin(context.decKeys)));
}

TEST_P(AesEachTest, KeyingWritesOnlyTheWordsInUse) {
  for (const int bits : kSizes) {
    const aes_context context =
        Keyed(Bytes(static_cast<std::size_t>(bits) / 8, 7));
    const int used = 4 * (bits / 32 + 7);
    EXPECT_THAT(std::vector(context.encKeys + used, context.encKeys + 64),
                Each(0xA5A5A5A5U));
    EXPECT_THAT(std::vector(context.decKeys + used, context.decKeys + 64),
                Each(0xA5A5A5A5U));
  }
}

struct Example {
  const char* key;
  const char* plain;
  const char* cipher;
};

// FIPS-197, Appendices B and C.
constexpr Example kExamples[] = {
    {"2b7e151628aed2a6abf7158809cf4f3c", "3243f6a8885a308d313198a2e0370734",
     "3925841d02dc09fbdc118597196a0b32"},
    {"000102030405060708090a0b0c0d0e0f", "00112233445566778899aabbccddeeff",
     "69c4e0d86a7b0430d8cdb78070b4c55a"},
    {"000102030405060708090a0b0c0d0e0f1011121314151617",
     "00112233445566778899aabbccddeeff", "dda97ca4864cdfe06eaf70a0ec0d7191"},
    {"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
     "00112233445566778899aabbccddeeff", "8ea2b7ca516745bfeafc49904b496089"},
};

TEST_P(AesEachTest, EncryptsAndDecryptsTheExamplesOfFips197) {
  for (const Example& example : kExamples) {
    SCOPED_TRACE(example.key);
    const Bytes key = FromHex(example.key);
    const aes_context context = Keyed(key);
    EXPECT_EQ(ToHex(Encrypted(context, FromHex(example.plain))),
              example.cipher);
    EXPECT_EQ(ToHex(Decrypted(context, FromHex(example.cipher))),
              example.plain);

    const AES aes(AsText(key), static_cast<int>(key.size()) * 8);
    Bytes block = FromHex(example.plain);
    aes.EncodeBlock(block.data());
    EXPECT_EQ(ToHex(block), example.cipher);
    aes.DecodeBlock(block.data());
    EXPECT_EQ(ToHex(block), example.plain);
  }
}

TEST_P(AesEachTest, LeavesTheContextUntouchedForAnyOtherKeySize) {
  const unsigned char key[32] = {1};
  for (const int bits : {0, 1, 16, 64, 127, 129, 160, 191, 193, 224, 255, 257,
                         512, -1, -128, -256, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(bits);
    aes_context context;
    std::memset(&context, 0x5C, sizeof context);
    const aes_context before = context;
    EXPECT_EQ(aes_set_key(&context, key, bits), 1);
    EXPECT_EQ(std::memcmp(&context, &before, sizeof context), 0);
  }
}

// Returns an encrypted block, which identifies the key of an object.
Bytes Fingerprint(const AES& aes) {
  Bytes block = FromHex("00112233445566778899aabbccddeeff");
  aes.EncodeBlock(block.data());
  return block;
}

Bytes Fingerprint(const Bytes& key) {
  return Encrypted(Keyed(key), FromHex("00112233445566778899aabbccddeeff"));
}

TEST_P(AesEachTest, PadsShortKeysWithZeros) {
  EXPECT_EQ(Fingerprint(AES("12345", 128)),
            Fingerprint(FromHex("31323334350000000000000000000000")));
  EXPECT_EQ(
      Fingerprint(AES(std::string("12345"), 192)),
      Fingerprint(FromHex("313233343500000000000000000000000000000000000000")));
  for (const int bits : kSizes) {
    const auto size = static_cast<std::size_t>(bits) / 8;
    EXPECT_EQ(Fingerprint(AES("", bits)), Fingerprint(Bytes(size)));
    for (std::size_t length = 0; length <= 40; ++length) {
      Bytes key(std::min(length, size), 'k');
      key.resize(size);
      EXPECT_EQ(Fingerprint(AES(std::string(length, 'k'), bits)),
                Fingerprint(key));
    }
  }
}

TEST_P(AesEachTest, TruncatesLongKeys) {
  const std::string key = "0123456789abcdefghijklmnopqrstuvwxyzABCD";
  ASSERT_EQ(key.size(), 40U);
  for (const int bits : kSizes)
    EXPECT_EQ(Fingerprint(AES(key, bits)),
              Fingerprint(Bytes(key.begin(), key.begin() + bits / 8)));
  EXPECT_NE(Fingerprint(AES(key, 128)), Fingerprint(AES(key, 256)));
}

TEST_P(AesEachTest, TakesAContextByReference) {
  unsigned char key[32];
  for (unsigned char i = 0; i < 32; ++i) key[i] = i;
  aes_context there{};
  aes_context here{};
  EXPECT_EQ(aes_set_key(there, key, 256), 0);
  EXPECT_EQ(aes_set_key(there, key, 255), 1);
  aes_set_key(&here, key, 256);
  EXPECT_EQ(std::memcmp(&here, &there, sizeof here), 0);

  unsigned char secret[16];
  unsigned char plain[16];
  aes_encrypt(there, key, secret);
  aes_decrypt(there, secret, plain);
  EXPECT_NE(std::memcmp(secret, key, 16), 0);
  EXPECT_EQ(std::memcmp(plain, key, 16), 0);
}

TEST_P(AesEachTest, TakesKeysWithZeroBytes) {
  const Bytes key = FromHex("00ff00010002000300040005000600ff");
  EXPECT_EQ(Fingerprint(AES(AsText(key), 128)), Fingerprint(key));
}

TEST_P(AesEachTest, AnObjectOfAnInvalidKeySizeHoldsAnEmptyContext) {
  const AES reference("", 0);
  const std::string key(5000, 'k');
  for (const int bits : {0, 7, 8, 64, 127, 129, 160, 255, 257, 320, 40000, -1,
                         -8, -128, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(bits);
    const AES aes(key, bits);
    const aes_context empty{};
    EXPECT_EQ(std::memcmp(&aes, &empty, sizeof empty), 0);
    EXPECT_EQ(Fingerprint(aes), Fingerprint(reference));
    Bytes data(64, 'd');
    aes.EncodeArray(data.data(), 64);
    aes.DecodeArray(data.data(), 64);
  }
}

TEST_P(AesEachTest, AnEmptyContextHasTheSameResultsInAllImplementations) {
  Bytes encoded(400, 'd');
  Bytes decoded = encoded;
  const AES aes("key", 100);
  const int size = static_cast<int>(encoded.size());
  aes.EncodeArray(encoded.data(), size);
  aes.DecodeArray(decoded.data(), size);
  UseAesImplementation(kAesTables);
  for (int i = 0; i < size; i += 16) {
    Bytes block(16, 'd');
    aes.EncodeBlock(block.data());
    EXPECT_TRUE(std::equal(block.begin(), block.end(), encoded.begin() + i));
    block.assign(16, 'd');
    aes.DecodeBlock(block.data());
    EXPECT_TRUE(std::equal(block.begin(), block.end(), decoded.begin() + i));
  }
}

struct RoundsCase {
  std::int32_t rounds;
  std::int32_t counted;
};

constexpr RoundsCase kRoundsCases[] = {
    {INT_MIN, 10}, {-1, 10}, {0, 10},  {9, 10},  {10, 10},      {11, 12},
    {12, 12},      {13, 14}, {14, 14}, {15, 14}, {INT_MAX, 14},
};

// In a context filled by hand, or never, no key past the last one is read.
TEST_P(AesEachTest, AnyNumberOfRoundsCountsAsAValidOne) {
  const Bytes block = FromHex("00112233445566778899aabbccddeeff");
  aes_context expected = Keyed(Bytes(32, 7));
  aes_context context = expected;
  for (const RoundsCase& c : kRoundsCases) {
    SCOPED_TRACE(c.rounds);
    expected.rounds = c.counted;
    context.rounds = c.rounds;
    EXPECT_EQ(Encrypted(context, block), Encrypted(expected, block));
    EXPECT_EQ(Decrypted(context, block), Decrypted(expected, block));
  }
}

// Objects can be copied, stored and compared byte by byte.
TEST_P(AesEachTest, AnObjectIsZeroPastItsKeys) {
  for (const int bits : kSizes) {
    SCOPED_TRACE(bits);
    alignas(AES) std::array<unsigned char, sizeof(AES)> memory;
    memory.fill(0xA5);
    new (memory.data()) AES("key", bits);
    aes_context context;
    std::memcpy(&context, memory.data(), sizeof context);
    const int used = 4 * (bits / 32 + 7);
    EXPECT_THAT(std::vector(context.encKeys + used, context.encKeys + 64),
                Each(0U));
    EXPECT_THAT(std::vector(context.decKeys + used, context.decKeys + 64),
                Each(0U));
  }
}

TEST_P(AesEachTest, CopiesAreKeyedAlike) {
  const AES aes("some key", 256);
  const AES copy = aes;
  EXPECT_EQ(Fingerprint(copy), Fingerprint(aes));
}

TEST_P(AesEachTest, FillsTheContextAsTheTablesDo) {
  std::mt19937 random(72);
  for (int i = 0; i < 3000; ++i) {
    const Bytes key = RandomBytes(random, 16 + 8 * (random() % 3));
    UseAesImplementation(kAesTables);
    const aes_context expected = Keyed(key);
    UseAesImplementation(*GetParam());
    const aes_context context = Keyed(key);
    ASSERT_EQ(std::memcmp(&context, &expected, sizeof context), 0)
        << ToHex(key);
  }
}

TEST(AesTest, ChoosesTheLastImplementationAvailable) {
  EXPECT_STREQ(AesImplementations().front()->name, "tables");
  EXPECT_TRUE(AesImplementations().front()->available());
  bool after = false;
  for (const AesImplementation* implementation : AesImplementations()) {
    EXPECT_FALSE(after && implementation->available()) << implementation->name;
    if (implementation == &FastestAesImplementation()) after = true;
  }
  EXPECT_TRUE(after);
}

// Returns the instructions that the kernel lets programs use, by its names.
std::set<std::string> ProcessorFlags() {
  std::ifstream file("/proc/cpuinfo");
  std::string line;
  while (std::getline(file, line))
    if (line.starts_with("flags")) break;
  std::istringstream words(line);
  return {std::istream_iterator<std::string>(words), {}};
}

TEST(AesTest, AnImplementationIsAvailableIfTheKernelListsItsInstructions) {
  const std::set<std::string> flags = ProcessorFlags();
  if (flags.empty()) GTEST_SKIP() << "no flags in /proc/cpuinfo";
  const auto all = [&flags](const std::vector<std::string>& names) {
    return std::ranges::all_of(
        names, [&flags](const std::string& name) { return flags.count(name); });
  };
  EXPECT_EQ(kAesInstructions.available(), all({"aes", "ssse3", "sse4_1"}));
  EXPECT_EQ(kAesVectors256.available(),
            kAesInstructions.available() && all({"avx", "avx2", "vaes"}));
  EXPECT_EQ(kAesVectors512.available(),
            kAesVectors256.available() && all({"avx512f"}));
}

}  // namespace
}  // namespace fairlead::internal::aes_test
