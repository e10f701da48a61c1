// All implementations of AES, and RC4, against OpenSSL with random input.

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <random>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/ciphers_testing.h"
#include "fairlead/crypto/rc4.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal {
namespace {

INSTANTIATE_TEST_SUITE_P(Each, AesImplementationTest,
                         testing::ValuesIn(AesImplementations().begin(),
                                           AesImplementations().end()),
                         ImplementationName);

const EVP_CIPHER* Cipher(std::size_t key_bytes) {
  if (key_bytes == 16) return EVP_aes_128_ecb();
  return key_bytes == 24 ? EVP_aes_192_ecb() : EVP_aes_256_ecb();
}

// OpenSSL's AES with one key, in one direction.
class Peer {
 public:
  void SetKey(const Bytes& key, bool encrypt) {
    EVP_CipherInit_ex(context_.get(), Cipher(key.size()), nullptr, key.data(),
                      nullptr, encrypt ? 1 : 0);
    EVP_CIPHER_CTX_set_padding(context_.get(), 0);
  }

  Bytes Transform(const Bytes& input) {
    Bytes output(input.size());
    int length = 0;
    EVP_CipherUpdate(context_.get(), output.data(), &length, input.data(),
                     static_cast<int>(input.size()));
    EXPECT_EQ(length, static_cast<int>(input.size()));
    return output;
  }

 private:
  std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context_{
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};
};

aes_context Keyed(const Bytes& key) {
  aes_context context = {};
  aes_set_key(&context, key.data(), static_cast<int>(key.size() * 8));
  return context;
}

Bytes Transformed(const aes_context& context, const Bytes& input,
                  bool encrypt) {
  Bytes output(16);
  if (encrypt)
    aes_encrypt(context, input.data(), output.data());
  else
    aes_decrypt(context, input.data(), output.data());
  return output;
}

TEST_P(AesImplementationTest, EqualsOpenSslForRandomKeysAndBlocks) {
  std::mt19937 random(91);
  Peer peer;
  for (int i = 0; i < Rounds(100'000); ++i) {
    const Bytes key = RandomBytes(random, 16 + 8 * (random() % 3));
    const Bytes block = RandomBytes(random, 16);
    const bool encrypt = i % 2 == 0;
    peer.SetKey(key, encrypt);
    ASSERT_EQ(Transformed(Keyed(key), block, encrypt), peer.Transform(block))
        << "key " << ToHex(key) << " block " << ToHex(block);
  }
}

TEST_P(AesImplementationTest, EqualsOpenSslForRandomArrays) {
  std::mt19937 random(92);
  Peer peer;
  for (int i = 0; i < Rounds(2000); ++i) {
    const Bytes key = RandomBytes(random, 16 + 8 * (random() % 3));
    Bytes data = RandomBytes(random, 16 * (1 + random() % 200));
    const bool encrypt = i % 2 == 0;
    peer.SetKey(key, encrypt);
    const Bytes expected = peer.Transform(data);
    const AES aes(AsText(key), static_cast<int>(key.size()) * 8);
    const int size = static_cast<int>(data.size());
    encrypt ? aes.EncodeArray(data.data(), size)
            : aes.DecodeArray(data.data(), size);
    ASSERT_EQ(data, expected) << "key " << ToHex(key) << " size " << size;
  }
}

// Returns the next key of NIST's Monte Carlo test: the key XORed with the last
// bytes of the last two results.
Bytes NextKey(Bytes key, const Bytes& previous, const Bytes& last) {
  Bytes tail = previous;
  tail.insert(tail.end(), last.begin(), last.end());
  tail.erase(tail.begin(), tail.end() - static_cast<long>(key.size()));
  for (std::size_t i = 0; i < key.size(); ++i) key[i] ^= tail[i];
  return key;
}

// The Monte Carlo test of NIST's AES validation suite (AESAVS, section 6.4.1):
// 100 keys with 1,000 blocks each, every result the input of the next block.
Bytes MonteCarlo(Bytes key, Bytes block,
                 const std::function<void(const Bytes& key)>& set_key,
                 const std::function<Bytes(const Bytes& block)>& transform) {
  for (int i = 0; i < Rounds(100); ++i) {
    Bytes previous;
    set_key(key);
    for (int j = 0; j < 1000; ++j) {
      previous = block;
      block = transform(block);
    }
    key = NextKey(key, previous, block);
  }
  return block;
}

void CompareMonteCarlo(const Bytes& key, const Bytes& block, bool encrypt) {
  aes_context context = {};
  Peer peer;
  const Bytes ours = MonteCarlo(
      key, block, [&](const Bytes& next) { context = Keyed(next); },
      [&](const Bytes& input) { return Transformed(context, input, encrypt); });
  const Bytes theirs = MonteCarlo(
      key, block, [&](const Bytes& next) { peer.SetKey(next, encrypt); },
      [&](const Bytes& input) { return peer.Transform(input); });
  EXPECT_EQ(ToHex(ours), ToHex(theirs))
      << "key " << ToHex(key) << (encrypt ? " encrypting" : " decrypting");
}

TEST_P(AesImplementationTest, EqualsOpenSslInTheMonteCarloTestOfNist) {
  std::mt19937 random(93);
  for (const std::size_t key_bytes : {16U, 24U, 32U})
    for (const bool encrypt : {true, false})
      CompareMonteCarlo(RandomBytes(random, key_bytes), RandomBytes(random, 16),
                        encrypt);
}

// OpenSSL's RC4, in a separate library context: in the default one the legacy
// provider would affect the other tests.
class PeerRc4 {
 public:
  PeerRc4()
      : library_(OSSL_LIB_CTX_new()),
        provider_(OSSL_PROVIDER_load(library_, "legacy")),
        cipher_(EVP_CIPHER_fetch(library_, "RC4", nullptr)),
        context_(EVP_CIPHER_CTX_new()) {}
  ~PeerRc4() {
    EVP_CIPHER_CTX_free(context_);
    EVP_CIPHER_free(cipher_);
    if (provider_ != nullptr) OSSL_PROVIDER_unload(provider_);
    OSSL_LIB_CTX_free(library_);
  }
  PeerRc4(const PeerRc4&) = delete;
  PeerRc4& operator=(const PeerRc4&) = delete;

  bool available() const { return cipher_ != nullptr; }

  // Returns the stream from its first byte.
  Bytes Stream(const Bytes& key, std::size_t count) {
    EVP_EncryptInit_ex2(context_, cipher_, nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_set_key_length(context_, static_cast<int>(key.size()));
    EVP_EncryptInit_ex2(context_, nullptr, key.data(), nullptr, nullptr);
    Bytes stream(count);
    int length = 0;
    EVP_EncryptUpdate(context_, stream.data(), &length, stream.data(),
                      static_cast<int>(count));
    EXPECT_EQ(length, static_cast<int>(count));
    return stream;
  }

 private:
  OSSL_LIB_CTX* library_;
  OSSL_PROVIDER* provider_;
  EVP_CIPHER* cipher_;
  EVP_CIPHER_CTX* context_;
};

TEST(Rc4OpenSslTest, EqualsOpenSslForEveryKeyLength) {
  PeerRc4 peer;
  if (!peer.available()) GTEST_SKIP() << "OpenSSL has no legacy provider";
  std::mt19937 random(94);
  for (std::size_t length = 1; length <= 255; ++length) {
    const Bytes bytes = RandomBytes(random, length);
    RC4Key key = {};
    std::copy(bytes.begin(), bytes.end(), key.key);
    key.length = static_cast<unsigned char>(length);
    Bytes data(3000);
    RC4(key).Encode(data.data(), 3000);
    const Bytes stream = peer.Stream(bytes, 12347 + 3000);
    ASSERT_EQ(data, Bytes(stream.begin() + 12347, stream.end()))
        << "key " << ToHex(bytes);
  }
}

}  // namespace
}  // namespace fairlead::internal
