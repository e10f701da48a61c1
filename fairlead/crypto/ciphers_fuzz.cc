// Compares all implementations of AES with the tables, and RC4 with a plain
// model. Some hundred inputs a second: each keys every implementation, and RC4
// discards 12,347 bytes for a key.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/plain_rc4_testing.h"
#include "fairlead/crypto/rc4.h"

namespace fairlead::internal {
namespace {

using Bytes = std::vector<unsigned char>;

void Require(bool condition) {
  if (!condition) std::abort();
}

// Returns the array padded to whole blocks.
Bytes Padded(const Bytes& data) {
  Bytes padded = data;
  padded.resize((data.size() + 15) / 16 * 16);
  return padded;
}

// The results of one implementation for a key and an array.
struct Outcome {
  Bytes context, encoded, decoded;
  bool operator==(const Outcome&) const = default;
};

Outcome Run(const AesImplementation& implementation, std::string_view key,
            int bits, const Bytes& data) {
  UseAesImplementation(implementation);
  const AES aes(key, bits);
  Outcome outcome{Bytes(sizeof aes), Padded(data), Padded(data)};
  std::memcpy(outcome.context.data(), &aes, sizeof aes);
  const int length = static_cast<int>(data.size());
  aes.EncodeArray(outcome.encoded.data(), length);
  aes.DecodeArray(outcome.decoded.data(), length);

  if (bits == 128 || bits == 192 || bits == 256) {
    Bytes back = outcome.encoded;
    aes.DecodeArray(back.data(), length);
    Require(back == Padded(data));
  }
  Bytes encoded = Padded(data);
  Bytes decoded = encoded;
  for (std::size_t i = 0; i < encoded.size(); i += 16) {
    aes.EncodeBlock(&encoded[i]);
    aes.DecodeBlock(&decoded[i]);
  }
  Require(encoded == outcome.encoded);
  Require(decoded == outcome.decoded);
  return outcome;
}

void CheckAes(std::string_view key, int bits, const Bytes& data) {
  const Outcome expected = Run(kAesTables, key, bits, data);
  for (const AesImplementation* implementation : AesImplementations())
    if (implementation->available())
      Require(Run(*implementation, key, bits, data) == expected);
}

// The first byte goes to GetByte(), the rest to Encode() in two pieces.
void CheckRc4(std::string_view key, const Bytes& data) {
  RC4Key record = {};
  const std::size_t length = std::min<std::size_t>(key.size(), 255);
  std::copy_n(key.begin(), length, record.key);
  record.length = static_cast<std::uint8_t>(length);
  PlainRc4 model(length == 0 ? Bytes(1)
                             : Bytes(record.key, record.key + length));
  model.Skip(12347);

  RC4 rc4(record);
  Require(rc4.GetByte() == model.Next());
  Bytes encoded = data;
  const std::size_t cut = data.empty() ? 0 : data[0] % (data.size() + 1);
  rc4.Encode(encoded.data(), static_cast<int>(cut));
  rc4.Encode(encoded.data() + cut, static_cast<int>(data.size() - cut));
  for (std::size_t i = 0; i < data.size(); ++i)
    Require(encoded[i] == (data[i] ^ model.Next()));
}

// Valid and invalid key sizes.
int Bits(unsigned char choice) {
  constexpr int kBits[] = {128, 192, 256, 0, -128, 127, 320, 1 << 30};
  return kBits[choice % 8];
}

}  // namespace
}  // namespace fairlead::internal

// The input: a choice of key size, the length of the key, the key, the data.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input,
                                      std::size_t size) {
  if (size < 2) return 0;
  const std::size_t key_size = std::min<std::size_t>(input[1], size - 2);
  const std::string_view key(reinterpret_cast<const char*>(input + 2),
                             key_size);
  const fairlead::internal::Bytes data(input + 2 + key_size, input + size);
  fairlead::internal::CheckAes(key, fairlead::internal::Bits(input[0]), data);
  fairlead::internal::CheckRc4(key, data);
  return 0;
}
