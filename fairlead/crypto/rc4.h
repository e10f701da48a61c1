// The RC4 stream cipher without its first 12,347 bytes.

#ifndef FAIRLEAD_CRYPTO_RC4_H_
#define FAIRLEAD_CRYPTO_RC4_H_

#include <cstdint>

#include "fairlead/export.h"

namespace fairlead {

/// A key for RC4. Plain record.
struct RC4Key {
  /// Only the first `length` bytes are used.
  unsigned char key[256];  // NOLINT(modernize-avoid-c-arrays)
  std::uint8_t length;     ///< 1 to 255; 0 is as 1.
};

/// RC4 that discards the first 12,347 bytes of the key stream.
///
/// Encryption and decryption are the same operation, XOR with the key stream.
/// To decrypt, create an object with the same key and pass the bytes in order.
/// One thread per object. A copy continues at the same position, and so does a
/// forked child: use another key there.
/// @code
/// const fairlead::RC4Key key = {{'s', 'e', 'c', 'r', 'e', 't'}, 6};
/// unsigned char text[] = "hello";
/// fairlead::RC4(key).Encode(text, 5);
/// fairlead::RC4(key).Encode(text, 5);  // text[0] == 'h'
/// @endcode
/// @par Security
/// RC4 is broken; it is here for peers that require it: new protocols need an
/// authenticated cipher of a cryptographic library. Use a key once: texts with
/// the same key reveal their XOR. Nothing is authenticated. The state is not
/// wiped from memory.
class FAIRLEAD_EXPORT RC4 {
 public:
  /// Keys the cipher. Takes about as long as encrypting 12,347 bytes.
  explicit RC4(const RC4Key& key) noexcept;

  /// XORs each byte with the next byte of the stream, in place. Does nothing if
  /// `length` is 0 or less.
  void Encode(unsigned char* data, std::int32_t length) noexcept;

  /// Returns the next byte of the stream, 0 to 255.
  std::int32_t GetByte() noexcept;

 private:
  std::uint32_t x_ = 0;   // 0 to 255.
  std::uint32_t y_ = 0;   // 0 to 255.
  std::uint32_t m_[256];  // A permutation. NOLINT(modernize-avoid-c-arrays)
};

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_RC4_H_
