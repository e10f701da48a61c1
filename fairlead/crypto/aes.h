// The AES block cipher: single 16-byte blocks, and arrays of them in place.

#ifndef FAIRLEAD_CRYPTO_AES_H_
#define FAIRLEAD_CRYPTO_AES_H_

#include <cstdint>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// @file
/// AES as in FIPS-197, for keys of 128, 192 and 256 bits. AES is what most
/// programs want; the functions below it are the cipher without the wrapper.
///
/// @par What it protects, and what it does not
/// These are bare blocks, kept for peers that expect them. Every block is
/// enciphered on its own (electronic code book): equal blocks give equal
/// blocks, so the pattern of the data shows through. Nothing is authenticated:
/// blocks can be altered, moved, repeated or left out unnoticed. A key is used
/// as it is given, so a password is a weak key. Keys stay in memory and are
/// never wiped. For anything new, take an authenticated cipher from a
/// cryptographic library.
///
/// @par Timing
/// Where the processor has AES instructions they are used, and the time taken
/// depends on neither key nor data. Elsewhere, lookup tables do the work, and
/// their timing does depend on both: who shares the machine may learn the key.
/// The results are the same bytes.
///
/// @par Thread safety
/// The lookup tables are computed once in a process, by the first keying or
/// use, safely from any number of threads. Afterwards nothing here has state of
/// its own: a keyed context or object is only read, and blocks of distinct
/// memory may be processed with it from any number of threads.
///
/// A child process has the tables and the keyed contexts of its parent. Call
/// aes_gen_tables() before a program with several threads forks: a child made
/// while another thread computes the tables would wait for them forever.

/// One keyed cipher. A plain record, filled by aes_set_key().
///
/// A round key is four words, and a word four key bytes, the first of them in
/// its most significant byte.
///
/// A copy is as good as the original, also in another process that has keyed
/// nothing: the first use of a context computes the tables, too. `rounds` other
/// than 10, 12 and 14 are safe to use, and what they make of data is
/// meaningless.
struct aes_context {
  // NOLINTBEGIN(modernize-avoid-c-arrays)
  std::uint32_t encKeys[64];  ///< For encryption: the first 4 * (rounds + 1).
  std::uint32_t decKeys[64];  ///< For decryption: the first 4 * (rounds + 1).
  // NOLINTEND(modernize-avoid-c-arrays)
  std::int32_t rounds;  ///< 10, 12 or 14.
};

/// Computes the tables behind the cipher, unless that has been done.
///
/// Nobody needs to call it, for every other function does; a program may do so
/// to pay some microseconds at a time of its choosing.
FAIRLEAD_EXPORT void aes_gen_tables() noexcept;

/// Computes the round keys of both directions.
///
/// @param ctx filled; words beyond those in use are left as they were
/// @param key `bits / 8` bytes
/// @param bits 128, 192 or 256
/// @return 0; or 1 for any other number of bits, and the context is untouched
/// @par Example
/// @code
/// const unsigned char key[16] = {1, 2, 3};
/// const unsigned char block[16] = {};
/// unsigned char secret[16];
/// fairlead::aes_context context;
/// if (fairlead::aes_set_key(&context, key, 128) == 0)
///   fairlead::aes_encrypt(&context, block, secret);
/// @endcode
FAIRLEAD_EXPORT std::int32_t aes_set_key(aes_context* ctx,
                                         const unsigned char* key,
                                         std::int32_t bits) noexcept;

/// The same, for a context that is at hand as a variable.
inline std::int32_t aes_set_key(aes_context& ctx, const unsigned char* key,
                                std::int32_t bits) noexcept {
  return aes_set_key(&ctx, key, bits);
}

/// Encrypts the 16 bytes at `input` to the 16 bytes at `output`.
///
/// The two must not overlap: AES::EncodeBlock() is for work in place.
FAIRLEAD_EXPORT void aes_encrypt(const aes_context* ctx,
                                 const unsigned char* input,
                                 unsigned char* output) noexcept;

/// The same, for a context that is at hand as a variable.
inline void aes_encrypt(const aes_context& ctx, const unsigned char* input,
                        unsigned char* output) noexcept {
  aes_encrypt(&ctx, input, output);
}

/// Decrypts the 16 bytes at `input` to the 16 bytes at `output`.
///
/// The two must not overlap: AES::DecodeBlock() is for work in place.
FAIRLEAD_EXPORT void aes_decrypt(const aes_context* ctx,
                                 const unsigned char* input,
                                 unsigned char* output) noexcept;

/// The same, for a context that is at hand as a variable.
inline void aes_decrypt(const aes_context& ctx, const unsigned char* input,
                        unsigned char* output) noexcept {
  aes_decrypt(&ctx, input, output);
}

/// AES with one key, for blocks and arrays in place.
///
/// An object is keyed for life. See the notes of this file on what
/// enciphering block by block does not protect.
///
/// @par Example
/// @code
/// unsigned char data[32] = "two blocks, one key";
/// const fairlead::AES aes("sixteen byte key", 128);
/// aes.EncodeArray(data, sizeof data);
/// aes.DecodeArray(data, sizeof data);  // as it was
/// @endcode
class FAIRLEAD_EXPORT AES {
 public:
  /// Keys the cipher with the first `bits / 8` bytes of `key`.
  ///
  /// A shorter key is filled up with zero bytes, a longer one is cut; no text
  /// is refused, so mind that a key of 5 letters is worth 5 letters.
  ///
  /// @param key any bytes, zero included
  /// @param bits 128, 192 or 256. Any other number is not reported: the object
  ///     is safe to use, and what it makes of data is meaningless.
  AES(std::string_view key, std::int32_t bits) noexcept;

  /// Encrypts the 16 bytes at `block` in place.
  void EncodeBlock(unsigned char* block) const noexcept;

  /// Decrypts the 16 bytes at `block` in place.
  void DecodeBlock(unsigned char* block) const noexcept;

  /// Encrypts an array in place, block by block.
  ///
  /// The last block is always a whole one: with a length of 17, 32 bytes are
  /// read and written. The memory must reach to the next multiple of 16.
  ///
  /// @param data the first byte; need not be aligned
  /// @param length bytes; 0 or less does nothing
  void EncodeArray(unsigned char* data, std::int32_t length) const noexcept;

  /// Decrypts an array in place, block by block, as EncodeArray() encrypts:
  /// the same length gives the data back, whole last block included.
  void DecodeArray(unsigned char* data, std::int32_t length) const noexcept;

 private:
  aes_context context_;  // All zero where the key size was refused.
  std::int32_t bits_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_AES_H_
