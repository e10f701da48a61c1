// Reads cipher keys, and encrypts and decrypts streams of bytes.

#include "tool/crypt/cipher.h"

#include <algorithm>

#include "tool/base/concat.h"
#include "tool/base/environment.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/same_file.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kMaxRc4Key = 255;
// The library counts the bytes of a call in int.
constexpr std::size_t kMaxPart = std::size_t{1} << 20;

// A key as it was given, with its name for errors.
struct RawKey {
  std::string bytes;
  std::string name;
  ExitStatus status;
};

Cipher CipherOf(const Arguments<kCipherUses>& arguments) {
  if (arguments.Has(kAes)) return Cipher::kAesEcb;
  if (arguments.Has(kRc4)) return Cipher::kRc4Stream;
  return arguments.Chosen<Cipher>(kCipher);
}

// A newline that an editor appended to a text is not part of the key. Among
// other bytes it may be.
std::string WithoutNewline(std::string bytes) {
  std::string_view text = bytes;
  if (!text.ends_with('\n')) return bytes;
  text.remove_suffix(1);
  if (text.ends_with('\r')) text.remove_suffix(1);
  if (std::ranges::all_of(text, IsPrintable)) bytes.resize(text.size());
  return bytes;
}

// What is not a name may be the key itself, so it is not shown.
std::string NameOfVariable(const std::string& name) {
  const bool is_name =
      !name.empty() && (name[0] < '0' || name[0] > '9') &&
      name.find_first_not_of(
          "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
          "abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
  return is_name ? Quoted(name) : "(which is not a variable name)";
}

std::string KeyInEnvironment(const std::string& name) {
  const auto value = EnvironmentVariable(name.c_str());
  if (!value)
    throw Failure(kWrongUsage, Concat("the environment variable of -keyenv, ",
                                      NameOfVariable(name), ", is not set"));
  return std::string(*value);
}

RawKey ReadRawKey(const Arguments<kCipherUses>& arguments) {
  if (arguments.Has(kAes))
    return {arguments.Text(kAes), "the key of -aes", kWrongUsage};
  if (arguments.Has(kRc4))
    return {arguments.Text(kRc4), "the key of -rc4", kWrongUsage};
  if (arguments.Has(kKeyenv)) {
    const std::string name = arguments.Text(kKeyenv);
    return {KeyInEnvironment(name),
            Concat("the key in the variable ", Quoted(name)), kWrongUsage};
  }
  const std::string path = arguments.Text(kKeyfile);
  if (arguments.Has(kStdin) && IsStandardInput(path.c_str()))
    throw Failure(kWrongUsage,
                  "standard input cannot be both the key and the input; use a "
                  "key file of its own, or -keyenv");
  return {WithoutNewline(ReadFile(path)),
          Concat("the key in the file ", Quoted(path)), kMalformedInput};
}

void CheckLength(const RawKey& key, std::size_t max_size,
                 const std::string& what) {
  if (key.bytes.empty())
    throw Failure(key.status, Concat(key.name, " is empty"));
  if (key.bytes.size() > max_size)
    throw Failure(key.status,
                  Concat(key.name, " has ", key.bytes.size(), " bytes; ", what,
                         " accepts at most ", max_size));
}

CipherKey AesKey(const RawKey& key, const Arguments<kCipherUses>& arguments) {
  const int bits = static_cast<int>(arguments.Chosen<KeySize>(kBits));
  const auto size = static_cast<std::size_t>(bits) / 8;
  CheckLength(key, size, Concat("AES of ", bits, " bits"));
  return {.cipher = Cipher::kAesEcb, .bits = bits, .bytes = key.bytes};
}

RC4Key Rc4KeyOf(std::string_view bytes) {
  RC4Key key{};
  std::ranges::copy(bytes, key.key);
  key.length = static_cast<std::uint8_t>(bytes.size());
  return key;
}

std::variant<AES, RC4> Keyed(const CipherKey& key) {
  switch (key.cipher) {
    case Cipher::kAesEcb:
      return AES(key.bytes, key.bits);
    case Cipher::kRc4Stream:
      break;
  }
  return RC4(Rc4KeyOf(key.bytes));
}

}  // namespace

std::optional<CipherKey> ReadCipherKey(
    const Arguments<kCipherUses>& arguments) {
  if (!arguments.Has(kAes) && !arguments.Has(kRc4) && !arguments.Has(kCipher))
    return std::nullopt;
  const RawKey key = ReadRawKey(arguments);
  switch (CipherOf(arguments)) {
    case Cipher::kAesEcb:
      return AesKey(key, arguments);
    case Cipher::kRc4Stream:
      CheckLength(key, kMaxRc4Key, "RC4");
      return CipherKey{
          .cipher = Cipher::kRc4Stream, .bits = 0, .bytes = key.bytes};
  }
  return std::nullopt;
}

CipherStream::CipherStream(const CipherKey& key, Direction direction)
    : direction_(direction), cipher_(Keyed(key)) {}

std::string_view CipherStream::Take(std::string_view bytes) {
  buffer_.erase(0, done_);
  buffer_ += bytes;
  const bool blocks = std::holds_alternative<AES>(cipher_);
  done_ = buffer_.size() - (blocks ? buffer_.size() % kBlock : 0);
  for (std::size_t at = 0; at < done_; at += kMaxPart)
    // unsigned char may alias any object.
    Transform(reinterpret_cast<unsigned char*>(buffer_.data()) + at,
              static_cast<int>(std::min(kMaxPart, done_ - at)));
  return std::string_view(buffer_).substr(0, done_);
}

void CipherStream::Transform(unsigned char* bytes, int size) {
  if (RC4* const rc4 = std::get_if<RC4>(&cipher_))
    return rc4->Encode(bytes, size);
  const AES& aes = std::get<AES>(cipher_);
  if (direction_ == Direction::kEncrypt)
    aes.EncodeArray(bytes, size);
  else
    aes.DecodeArray(bytes, size);
}

std::string PaddingNote(std::size_t count) {
  return Concat("padded the last AES block with ", count,
                count == 1 ? " zero byte" : " zero bytes");
}

std::string KeyPaddingNote(const CipherKey& key) {
  const std::size_t given = key.bytes.size();
  const std::size_t size = static_cast<std::size_t>(key.bits) / 8;
  if (given >= size) return "";
  return Concat("padded the AES key of ", given,
                given == 1 ? " byte to " : " bytes to ", size, " with zeros");
}

}  // namespace fairlead::tool
