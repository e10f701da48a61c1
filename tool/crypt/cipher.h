// The ciphers of `crypt` and `send`, and the doors by which a key comes.

#ifndef FAIRLEAD_TOOL_CRYPT_CIPHER_H_
#define FAIRLEAD_TOOL_CRYPT_CIPHER_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/rc4.h"
#include "tool/command/arguments.h"

namespace fairlead::tool {

inline constexpr Parameter kAes = {
    .name = "aes",
    .word = "KEY",
    .kind = Kind::kWord,
    .group = "Cipher",
    .help =
        "AES, each block of 16 bytes by itself, with these letters as the key; "
        "a key on the command line is seen by who lists the processes"};
inline constexpr Parameter kRc4 = {
    .name = "rc4",
    .word = "KEY",
    .kind = Kind::kWord,
    .group = "Cipher",
    .help =
        "RC4 without the first 12347 bytes of its stream, with these letters "
        "as the key, 255 at most; seen by others as well"};
inline constexpr Parameter kCipher = {
    .name = "cipher",
    .word = "aes|rc4",
    .kind = Kind::kChoice,
    .group = "Cipher",
    .help =
        "the same with the key of -keyfile or -keyenv, which the list of "
        "processes does not show"};
inline constexpr Parameter kKeyfile = {
    .name = "keyfile",
    .word = "PATH",
    .kind = Kind::kFile,
    .group = "Cipher",
    .help =
        "the bytes of this file are the key of -cipher; a line break at the "
        "end of printable ASCII text is not part of it, any other byte is"};
inline constexpr Parameter kKeyenv = {
    .name = "keyenv",
    .word = "NAME",
    .kind = Kind::kWord,
    .group = "Cipher",
    .help = "the value of this environment variable is the key of -cipher"};
inline constexpr Parameter kBits = {
    .name = "bits",
    .word = "128|192|256",
    .kind = Kind::kChoice,
    .group = "Cipher",
    .help =
        "the size of the AES key, 16, 24 or 32 bytes; a shorter key is filled "
        "up with zero bytes, which is told, and a longer one refused",
    .fallback = "128"};

/// A cipher and its key.
struct CipherKey {
  bool aes = false;   ///< Else RC4.
  int bits = 0;       ///< Of AES.
  std::string bytes;  ///< 1 to bits / 8, or to 255.
};

/// Checks that the parameters above go together: at most one cipher, with one
/// key, and -bits with AES alone.
///
/// @throws Failure with kWrongUsage
void CheckCipherUsage(const Arguments& arguments);

/// The cipher and the key that the arguments name, or nothing where they name
/// none. Tells the person of an AES key that is too short.
///
/// @throws Failure for a key that is empty or too long: with kMalformedInput
///     where it stands in a file, else with kWrongUsage; with kCannotRead
std::optional<CipherKey> ReadCipherKey(const Arguments& arguments);

enum class Direction { kEncrypt, kDecrypt };

/// Bytes that pass a cipher, in pieces of any size.
class CipherStream {
 public:
  static constexpr std::size_t kBlock = 16;  // Of AES; RC4 has none.

  CipherStream(const CipherKey& key, Direction direction);

  /// What the bytes become, together with those that waited. Bytes that fill no
  /// block wait for the next.
  ///
  /// @return valid until the next call
  std::string_view Take(std::string_view bytes);

  /// How many bytes wait for the rest of their block; always 0 for RC4.
  std::size_t waiting() const { return buffer_.size() - done_; }

  /// How many bytes a block that was begun lacks.
  std::size_t lacking() const { return (kBlock - waiting()) % kBlock; }

  /// What becomes of the bytes that wait, with zero bytes to complete the
  /// block.
  std::string_view Fill() { return Take(std::string(lacking(), '\0')); }

 private:
  void Transform(unsigned char* bytes, int size);

  const Direction direction_;
  std::variant<AES, RC4> cipher_;
  std::string buffer_;    // What Take() returned, and behind it what waits.
  std::size_t done_ = 0;  // The size of what Take() returned.
};

/// "11 zero bytes were added, to fill the last block of AES"
std::string PaddingNote(std::size_t count);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_CRYPT_CIPHER_H_
