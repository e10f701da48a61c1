// The ciphers of `crypt` and `send`, and the sources of their keys.

#ifndef FAIRLEAD_TOOL_CRYPT_CIPHER_H_
#define FAIRLEAD_TOOL_CRYPT_CIPHER_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/rc4.h"
#include "tool/command/arguments.h"
#include "tool/command/parameters.h"

namespace fairlead::tool {

inline constexpr std::string_view kKeyElsewhere =
    "pass such a key with -cipher and -keyfile or -keyenv";

inline constexpr Parameter kAes = {
    .name = "aes",
    .placeholder = "KEY",
    .kind = Kind::kNonEmptyText,
    .group = Group::kCipher,
    .help =
        "AES-ECB with KEY as it is; a key on the command line is visible in "
        "the process list",
    .remedy = kKeyElsewhere,
    .secret = true};
inline constexpr Parameter kRc4 = {
    .name = "rc4",
    .placeholder = "KEY",
    .kind = Kind::kNonEmptyText,
    .group = Group::kCipher,
    .help =
        "RC4 without the first 12347 bytes of its stream, with KEY as it is, "
        "up to 255 bytes; visible likewise",
    .remedy = kKeyElsewhere,
    .secret = true};

enum class Cipher { kAesEcb, kRc4Stream };

inline constexpr auto kCiphers = std::to_array<Choice>(
    {{Cipher::kAesEcb, "aes"}, {Cipher::kRc4Stream, "rc4"}});

inline constexpr Parameter kCipher = {
    .name = "cipher",
    .kind = Kind::kChoice,
    .group = Group::kCipher,
    .help =
        "the same with the key of -keyfile or -keyenv, which the process list "
        "does not show",
    .choices = kCiphers,
    .secret = true};  // Refused, it may be a key that was meant for -aes.
inline constexpr Parameter kKeyfile = {
    .name = "keyfile",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kCipher,
    .help =
        "the bytes of FILE are the key; a newline at the end of printable "
        "ASCII text is not part of it, any other byte is"};
inline constexpr Parameter kKeyenv = {
    .name = "keyenv",
    .placeholder = "NAME",
    .kind = Kind::kNonEmptyText,
    .group = Group::kCipher,
    .help = "the value of the environment variable NAME is the key"};

/// In bits.
enum class KeySize { k128 = 128, k192 = 192, k256 = 256 };

inline constexpr auto kKeySizes = std::to_array<Choice>({
    {KeySize::k128, "128"},
    {KeySize::k192, "192"},
    {KeySize::k256, "256"},
});

inline constexpr Parameter kBits = {
    .name = "bits",
    .kind = Kind::kChoice,
    .group = Group::kCipher,
    .help =
        "the size of the AES key: 16, 24 or 32 bytes; a shorter key is padded "
        "with zero bytes, which weakens it; a longer one is an error",
    .choices = kKeySizes,
    .fallback = "128"};

/// -cipher with one source of the key.
inline constexpr auto kCipherWithKey = All(kCipher, OneOf(kKeyfile, kKeyenv));
inline constexpr auto kAesBits =
    OnlyWith(kBits, When(kAes), When(kCipher, Cipher::kAesEcb));

/// What ReadCipherKey() reads.
inline constexpr auto kCipherUses =
    Uses(AtMostOne(kAes, kRc4, kCipherWithKey), kAesBits, Optional(kStdin));

/// A cipher and its key.
struct CipherKey {
  Cipher cipher = Cipher::kAesEcb;
  int bits = 0;       ///< Of AES.
  std::string bytes;  ///< 1 to bits / 8, or to 255.
};

/// Returns the cipher and the key that the arguments name, or nothing if they
/// name none.
///
/// @throws Failure for a key that is empty or too long: with kMalformedInput if
///     it comes from a file, else with kWrongUsage; with kCannotRead
std::optional<CipherKey> ReadCipherKey(const Arguments<kCipherUses>& arguments);

enum class Direction { kEncrypt, kDecrypt };

/// Bytes that pass a cipher, in pieces of any size.
class CipherStream {
 public:
  static constexpr std::size_t kBlock = 16;  // Of AES; RC4 has none.

  CipherStream(const CipherKey& key, Direction direction);

  /// Returns what the bytes become, together with those that waited. Bytes that
  /// do not fill a block wait for the next call.
  ///
  /// @return valid until the next call
  std::string_view Take(std::string_view bytes);

  /// Returns how many bytes wait for the rest of their block; 0 for RC4.
  std::size_t waiting() const { return buffer_.size() - done_; }

  /// Returns how many bytes a block that was begun lacks.
  std::size_t lacking() const { return (kBlock - waiting()) % kBlock; }

  /// Returns what the waiting bytes become, padded with zero bytes to a block.
  std::string_view Fill() { return Take(std::string(lacking(), '\0')); }

 private:
  void Transform(unsigned char* bytes, int size);

  const Direction direction_;
  std::variant<AES, RC4> cipher_;
  std::string buffer_;    // What Take() returned, then what waits.
  std::size_t done_ = 0;  // The size of what Take() returned.
};

/// Returns "padded the last AES block with 11 zero bytes".
std::string PaddingNote(std::size_t count);

/// Returns "padded the AES key of 5 bytes to 16 with zeros", or "" for a key
/// that has its full size.
std::string KeyPaddingNote(const CipherKey& key);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_CRYPT_CIPHER_H_
