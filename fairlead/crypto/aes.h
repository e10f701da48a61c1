// The AES block cipher: single 16-byte blocks, and arrays of them in place.

#ifndef FAIRLEAD_CRYPTO_AES_H_
#define FAIRLEAD_CRYPTO_AES_H_

#include <cstdint>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// @file
/// AES (FIPS-197) for keys of 128, 192 and 256 bits, in ECB mode: each block is
/// encrypted on its own. Most programs want the class AES. Thread-safe; a keyed
/// context or object is only read. In a program with threads, call
/// aes_gen_tables() before fork(): a child created while it runs waits forever.
/// @par Security
/// Only for peers that require it: new protocols need an authenticated cipher
/// of a cryptographic library. Equal blocks encrypt to equal blocks. Nothing is
/// authenticated. Keys are used as given and are not wiped from memory. Without
/// AES instructions, which are used if available, tables make the time depend
/// on the key: a process on the same machine may recover it.

/// One keyed cipher. Plain record, filled by aes_set_key(). A round key is four
/// big-endian words. Other `rounds` are safe, but give meaningless results.
struct aes_context {
  // NOLINTBEGIN(modernize-avoid-c-arrays)
  std::uint32_t encKeys[64];  ///< Encryption; the first 4 * (rounds + 1).
  std::uint32_t decKeys[64];  ///< Decryption; as many.
  // NOLINTEND(modernize-avoid-c-arrays)
  std::int32_t rounds;  ///< 10, 12 or 14.
};

/// Builds the tables, in microseconds. Optional: all functions call it.
FAIRLEAD_EXPORT void aes_gen_tables() noexcept;

/// Computes the round keys from `bits / 8` bytes of `key`; keeps unused words.
/// @code
/// const unsigned char key[16] = {1, 2, 3};
/// unsigned char secret[16];
/// fairlead::aes_context context;
/// if (fairlead::aes_set_key(&context, key, 128) == 0)
///   fairlead::aes_encrypt(&context, key, secret);
/// @endcode
/// @return 0; 1 if `bits` is not 128, 192 or 256, with the context unchanged
FAIRLEAD_EXPORT std::int32_t aes_set_key(aes_context* ctx,
                                         const unsigned char* key,
                                         std::int32_t bits) noexcept;

/// Overload for a reference.
inline std::int32_t aes_set_key(aes_context& ctx, const unsigned char* key,
                                std::int32_t bits) noexcept {
  return aes_set_key(&ctx, key, bits);
}

/// Encrypts 16 bytes from `input` to `output`, which must not overlap.
FAIRLEAD_EXPORT void aes_encrypt(const aes_context* ctx,
                                 const unsigned char* input,
                                 unsigned char* output) noexcept;

/// Overload for a reference.
inline void aes_encrypt(const aes_context& ctx, const unsigned char* input,
                        unsigned char* output) noexcept {
  aes_encrypt(&ctx, input, output);
}

/// Decrypts 16 bytes from `input` to `output`, which must not overlap.
FAIRLEAD_EXPORT void aes_decrypt(const aes_context* ctx,
                                 const unsigned char* input,
                                 unsigned char* output) noexcept;

/// Overload for a reference.
inline void aes_decrypt(const aes_context& ctx, const unsigned char* input,
                        unsigned char* output) noexcept {
  aes_decrypt(&ctx, input, output);
}

/// AES with one key, for blocks and arrays in place, in ECB mode: see above.
/// @code
/// unsigned char data[32] = "two blocks, one key";
/// const fairlead::AES aes("sixteen byte key", 128);
/// aes.EncodeArray(data, 32);
/// aes.DecodeArray(data, 32);  // data[0] == 't'
/// @endcode
class FAIRLEAD_EXPORT AES {
 public:
  /// Keys the cipher with the first `bits / 8` bytes of `key`; pads a shorter
  /// one, which is weak, with zeros. Does not report other `bits` than 128, 192
  /// and 256: the object is safe, but its results are meaningless.
  AES(std::string_view key, std::int32_t bits) noexcept;

  /// Encrypts 16 bytes in place.
  void EncodeBlock(unsigned char* block) const noexcept;

  /// Decrypts 16 bytes in place.
  void DecodeBlock(unsigned char* block) const noexcept;

  /// Encrypts an array in place. Rounds the length up to a multiple of 16: with
  /// 17, 32 bytes are read and written. Does nothing if it is 0 or less.
  void EncodeArray(unsigned char* data, std::int32_t length) const noexcept;

  /// Reverses EncodeArray() with the same length.
  void DecodeArray(unsigned char* data, std::int32_t length) const noexcept;

 private:
  aes_context context_;  // All zero if the key size is invalid.
  std::int32_t bits_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_AES_H_
