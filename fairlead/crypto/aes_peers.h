// AES of other libraries behind one interface, for the benchmarks. Not
// installed.
//
// Each class is keyed at construction, for both directions, and works on whole
// blocks in place.

#ifndef FAIRLEAD_CRYPTO_AES_PEERS_H_
#define FAIRLEAD_CRYPTO_AES_PEERS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"

#ifdef FAIRLEAD_PEER_OPENSSL
#include <openssl/evp.h>
#endif
#ifdef FAIRLEAD_PEER_CRYPTOPP
#include <cryptopp/aes.h>
#endif
#ifdef FAIRLEAD_PEER_GCRYPT
#include <gcrypt.h>
#endif
#ifdef FAIRLEAD_PEER_NETTLE
#include <nettle/aes.h>
#endif
#ifdef FAIRLEAD_PEER_BOTAN
#include <botan/block_cipher.h>
#endif

namespace fairlead::internal {

inline const unsigned char* KeyBytes(std::string_view key) {
  return reinterpret_cast<const unsigned char*>(key.data());
}

// fairlead with one of its implementations, and a name for it.
template <class Choice>
class FairleadAes {
 public:
  static constexpr const char* kName = Choice::kName;
  explicit FairleadAes(std::string_view key) {
    UseAesImplementation(Choice::Implementation());
    SetKey(key);
  }
  void SetKey(std::string_view key) {
    aes_.emplace(key, static_cast<int>(key.size()) * 8);
  }
  void Encode(unsigned char* data, std::size_t size) {
    size == 16 ? aes_->EncodeBlock(data)
               : aes_->EncodeArray(data, static_cast<int>(size));
  }
  void Decode(unsigned char* data, std::size_t size) {
    size == 16 ? aes_->DecodeBlock(data)
               : aes_->DecodeArray(data, static_cast<int>(size));
  }

 private:
  std::optional<AES> aes_;
};

#ifdef FAIRLEAD_PEER_OPENSSL
class OpenSsl {
 public:
  static constexpr char kName[] = "openssl";
  explicit OpenSsl(std::string_view key) {
    const EVP_CIPHER* cipher = key.size() == 16   ? EVP_aes_128_ecb()
                               : key.size() == 24 ? EVP_aes_192_ecb()
                                                  : EVP_aes_256_ecb();
    EVP_EncryptInit_ex(encode_.get(), cipher, nullptr, nullptr, nullptr);
    EVP_DecryptInit_ex(decode_.get(), cipher, nullptr, nullptr, nullptr);
    SetKey(key);
    EVP_CIPHER_CTX_set_padding(encode_.get(), 0);
    EVP_CIPHER_CTX_set_padding(decode_.get(), 0);
  }
  void SetKey(std::string_view key) {
    EVP_EncryptInit_ex(encode_.get(), nullptr, nullptr, KeyBytes(key), nullptr);
    EVP_DecryptInit_ex(decode_.get(), nullptr, nullptr, KeyBytes(key), nullptr);
  }
  void Encode(unsigned char* data, std::size_t size) {
    int length = 0;
    EVP_EncryptUpdate(encode_.get(), data, &length, data,
                      static_cast<int>(size));
  }
  void Decode(unsigned char* data, std::size_t size) {
    int length = 0;
    EVP_DecryptUpdate(decode_.get(), data, &length, data,
                      static_cast<int>(size));
  }

 private:
  using Context =
      std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;
  Context encode_{EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};
  Context decode_{EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};
};
#endif

#ifdef FAIRLEAD_PEER_CRYPTOPP
class CryptoPlusPlus {
 public:
  static constexpr char kName[] = "cryptopp";
  explicit CryptoPlusPlus(std::string_view key) { SetKey(key); }
  void SetKey(std::string_view key) {
    encode_.SetKey(KeyBytes(key), key.size());
    decode_.SetKey(KeyBytes(key), key.size());
  }
  void Encode(unsigned char* data, std::size_t size) {
    encode_.AdvancedProcessBlocks(data, nullptr, data, size, kParallel);
  }
  void Decode(unsigned char* data, std::size_t size) {
    decode_.AdvancedProcessBlocks(data, nullptr, data, size, kParallel);
  }

 private:
  static constexpr auto kParallel =
      CryptoPP::BlockTransformation::BT_AllowParallel;
  CryptoPP::AES::Encryption encode_;
  CryptoPP::AES::Decryption decode_;
};
#endif

#ifdef FAIRLEAD_PEER_GCRYPT
class Gcrypt {
 public:
  static constexpr char kName[] = "gcrypt";
  explicit Gcrypt(std::string_view key) {
    if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) == 0) {
      gcry_check_version(nullptr);
      gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    }
    const int algorithm = key.size() == 16   ? GCRY_CIPHER_AES128
                          : key.size() == 24 ? GCRY_CIPHER_AES192
                                             : GCRY_CIPHER_AES256;
    gcry_cipher_open(&cipher_, algorithm, GCRY_CIPHER_MODE_ECB, 0);
    SetKey(key);
  }
  ~Gcrypt() { gcry_cipher_close(cipher_); }
  Gcrypt(const Gcrypt&) = delete;
  Gcrypt& operator=(const Gcrypt&) = delete;

  // The library prepares decryption when it is first used.
  void SetKey(std::string_view key) {
    gcry_cipher_setkey(cipher_, key.data(), key.size());
  }
  void Encode(unsigned char* data, std::size_t size) {
    gcry_cipher_encrypt(cipher_, data, size, nullptr, 0);
  }
  void Decode(unsigned char* data, std::size_t size) {
    gcry_cipher_decrypt(cipher_, data, size, nullptr, 0);
  }

 private:
  gcry_cipher_hd_t cipher_ = nullptr;
};
#endif

#ifdef FAIRLEAD_PEER_NETTLE
class Nettle {
 public:
  static constexpr char kName[] = "nettle";
  explicit Nettle(std::string_view key) { SetKey(key); }
  void SetKey(std::string_view key) {
    const unsigned char* bytes = KeyBytes(key);
    rounds_ = key.size() / 4 + 6;
    if (rounds_ == 10) {
      aes128_set_encrypt_key(&encode128_, bytes);
      aes128_invert_key(&decode128_, &encode128_);
    } else if (rounds_ == 12) {
      aes192_set_encrypt_key(&encode192_, bytes);
      aes192_invert_key(&decode192_, &encode192_);
    } else {
      aes256_set_encrypt_key(&encode256_, bytes);
      aes256_invert_key(&decode256_, &encode256_);
    }
  }
  void Encode(unsigned char* data, std::size_t size) {
    if (rounds_ == 10)
      aes128_encrypt(&encode128_, size, data, data);
    else if (rounds_ == 12)
      aes192_encrypt(&encode192_, size, data, data);
    else
      aes256_encrypt(&encode256_, size, data, data);
  }
  void Decode(unsigned char* data, std::size_t size) {
    if (rounds_ == 10)
      aes128_decrypt(&decode128_, size, data, data);
    else if (rounds_ == 12)
      aes192_decrypt(&decode192_, size, data, data);
    else
      aes256_decrypt(&decode256_, size, data, data);
  }

 private:
  std::size_t rounds_ = 0;
  aes128_ctx encode128_, decode128_;
  aes192_ctx encode192_, decode192_;
  aes256_ctx encode256_, decode256_;
};
#endif

#ifdef FAIRLEAD_PEER_BOTAN
class BotanAes {
 public:
  static constexpr char kName[] = "botan";
  explicit BotanAes(std::string_view key)
      : cipher_(Botan::BlockCipher::create_or_throw(
            "AES-" + std::to_string(key.size() * 8))) {
    SetKey(key);
  }
  void SetKey(std::string_view key) {
    cipher_->set_key(KeyBytes(key), key.size());
  }
  void Encode(unsigned char* data, std::size_t size) {
    cipher_->encrypt_n(data, data, size / 16);
  }
  void Decode(unsigned char* data, std::size_t size) {
    cipher_->decrypt_n(data, data, size / 16);
  }

 private:
  std::unique_ptr<Botan::BlockCipher> cipher_;
};
#endif

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_PEERS_H_
