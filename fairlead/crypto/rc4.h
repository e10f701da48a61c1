// The RC4 stream cipher, its first 12,347 bytes thrown away.

#ifndef FAIRLEAD_CRYPTO_RC4_H_
#define FAIRLEAD_CRYPTO_RC4_H_

#include <cstdint>

#include "fairlead/export.h"

namespace fairlead {

/// A key for RC4. A plain record.
struct RC4Key {
  /// The first `length` bytes count.
  unsigned char key[256];  // NOLINT(modernize-avoid-c-arrays)
  std::uint8_t length;     ///< 1 to 255. With 0, `key[0]` alone is the key.
};

/// RC4 whose stream begins with the 12,348th byte.
///
/// This is RC4 with one change: after the key set-up the first 12,347 bytes of
/// the key stream are thrown away. Encrypting and decrypting are one operation:
/// XOR with the stream of an object made from the same key, from the same place
/// on. To decrypt, make a new object and pass the same bytes in the same order.
///
/// @par What it protects, and what it does not
/// RC4 is broken, and this is here for peers that still speak it. Its stream
/// can be told from random bytes, which gives away text that is sent often
/// enough; the bytes thrown away were the worst of it, not all of it. Never use
/// a key twice: two texts under one key give away their XOR, and there is no
/// nonce that would tell them apart. Nothing is authenticated: who flips a bit
/// on the way flips it in the text. The state stays in memory and is not wiped.
/// For anything new, take an authenticated cipher from a cryptographic library.
///
/// @par Thread safety
/// Each byte moves the stream on: an object is not to be shared without a lock.
/// Distinct objects are independent. A copy goes on from the same place. A
/// child process has copies of its parent's objects: give it another key, lest
/// both use the same stream.
///
/// @par Example
/// @code
/// const fairlead::RC4Key key = {{'s', 'e', 'c', 'r', 'e', 't'}, 6};
/// unsigned char text[] = "hello";
/// fairlead::RC4(key).Encode(text, 5);  // unreadable
/// fairlead::RC4(key).Encode(text, 5);  // "hello"
/// @endcode
class FAIRLEAD_EXPORT RC4 {
 public:
  /// Keys the cipher and throws away the first 12,347 bytes of the stream,
  /// which takes about as long as enciphering as many.
  explicit RC4(const RC4Key& key) noexcept;

  /// XORs each byte with the next one of the stream, in place.
  ///
  /// @param data the first byte
  /// @param length bytes; 0 or less changes neither data nor stream
  void Encode(unsigned char* data, std::int32_t length) noexcept;

  /// Takes the next byte of the stream, 0 to 255.
  std::int32_t GetByte() noexcept;

 private:
  std::uint32_t x_ = 0;  // 0 to 255.
  std::uint32_t y_ = 0;  // 0 to 255.
  // A permutation of 0 to 255.
  std::uint32_t m_[256];  // NOLINT(modernize-avoid-c-arrays)
};

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_RC4_H_
