// The AES block cipher: single 16-byte blocks, and arrays of them in place.

#ifndef FAIRLEAD_CRYPTO_AES_H_
#define FAIRLEAD_CRYPTO_AES_H_

#include <cstdint>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// @file
/// AES as in FIPS-197, for keys of 128, 192 and 256 bits, in ECB mode: each
/// block is encrypted on its own. Most programs want the class AES.
///
/// @par Security
/// Kept for peers that expect bare blocks. Equal blocks encrypt to equal
/// blocks, so patterns in the data remain visible. Nothing is authenticated:
/// blocks can be altered, reordered, repeated or dropped unnoticed. Keys are
/// used as given (a password is a weak key) and are not wiped from memory. For
/// new protocols, use an authenticated cipher from a cryptographic library.
/// @par Timing
/// With the processor's AES instructions, which are used if available, the time
/// does not depend on key or data. Otherwise lookup tables are used, with the
/// same results, and a process on the same machine may recover the key by cache
/// timing.
/// @par Threads and fork
/// All functions may be called from any thread. A keyed context or object is
/// only read; distinct memory may be processed with it concurrently. A child
/// process inherits tables and contexts. In a program with threads, call
/// aes_gen_tables() before fork(): a child created while the tables are being
/// built waits forever.

/// One keyed cipher. Plain record, filled by aes_set_key().
///
/// A round key is four words of four key bytes each, the first one most
/// significant. A copy is equivalent, in another process, too. Values of
/// `rounds` other than 10, 12 and 14 are safe, but the results are meaningless.
struct aes_context {
  // NOLINTBEGIN(modernize-avoid-c-arrays)
  std::uint32_t encKeys[64];  ///< Encryption; the first 4 * (rounds + 1).
  std::uint32_t decKeys[64];  ///< Decryption; the first 4 * (rounds + 1).
  // NOLINTEND(modernize-avoid-c-arrays)
  std::int32_t rounds;  ///< 10, 12 or 14.
};

/// Builds the tables, if that is not done yet. Optional: all functions call it.
/// Call it early to spend those microseconds before the first keying.
FAIRLEAD_EXPORT void aes_gen_tables() noexcept;

/// Computes the round keys of both directions from `bits / 8` bytes of `key`.
/// Words of the context beyond those in use are unchanged.
/// @param bits 128, 192 or 256
/// @return 0; 1 for any other `bits`, with the context unchanged
/// @par Example
/// @code
/// const unsigned char key[16] = {1, 2, 3};
/// unsigned char secret[16];
/// fairlead::aes_context context;
/// if (fairlead::aes_set_key(&context, key, 128) == 0)
///   fairlead::aes_encrypt(&context, key, secret);
/// @endcode
FAIRLEAD_EXPORT std::int32_t aes_set_key(aes_context* ctx,
                                         const unsigned char* key,
                                         std::int32_t bits) noexcept;

/// Overload taking a reference.
inline std::int32_t aes_set_key(aes_context& ctx, const unsigned char* key,
                                std::int32_t bits) noexcept {
  return aes_set_key(&ctx, key, bits);
}

/// Encrypts 16 bytes from `input` to `output`, which must not overlap.
FAIRLEAD_EXPORT void aes_encrypt(const aes_context* ctx,
                                 const unsigned char* input,
                                 unsigned char* output) noexcept;

/// Overload taking a reference.
inline void aes_encrypt(const aes_context& ctx, const unsigned char* input,
                        unsigned char* output) noexcept {
  aes_encrypt(&ctx, input, output);
}

/// Decrypts 16 bytes from `input` to `output`, which must not overlap.
FAIRLEAD_EXPORT void aes_decrypt(const aes_context* ctx,
                                 const unsigned char* input,
                                 unsigned char* output) noexcept;

/// Overload taking a reference.
inline void aes_decrypt(const aes_context& ctx, const unsigned char* input,
                        unsigned char* output) noexcept {
  aes_decrypt(&ctx, input, output);
}

/// AES with one key, for blocks and arrays in place, in ECB mode: see above.
/// @par Example
/// @code
/// unsigned char data[32] = "two blocks, one key";
/// const fairlead::AES aes("sixteen byte key", 128);
/// aes.EncodeArray(data, 32);
/// aes.DecodeArray(data, 32);  // data[0] == 't'
/// @endcode
class FAIRLEAD_EXPORT AES {
 public:
  /// Keys the cipher with the first `bits / 8` bytes of `key`, which may hold
  /// any bytes; a shorter key is padded with zero bytes. Padding adds no
  /// security: a short key is weak.
  /// @param bits 128, 192 or 256. Other values are not reported: the object is
  ///     safe to use, but its results are meaningless.
  AES(std::string_view key, std::int32_t bits) noexcept;

  /// Encrypts 16 bytes in place.
  void EncodeBlock(unsigned char* block) const noexcept;

  /// Decrypts 16 bytes in place.
  void DecodeBlock(unsigned char* block) const noexcept;

  /// Encrypts an array in place, block by block. `data` need not be aligned.
  /// The length is rounded up to a multiple of 16: with 17, 32 bytes are read
  /// and written. Does nothing if it is 0 or less.
  void EncodeArray(unsigned char* data, std::int32_t length) const noexcept;

  /// Reverses EncodeArray() with the same length.
  void DecodeArray(unsigned char* data, std::int32_t length) const noexcept;

 private:
  aes_context context_;  // All zero if the key size is invalid.
  std::int32_t bits_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_AES_H_
