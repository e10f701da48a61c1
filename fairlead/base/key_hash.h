// The seeded hash of the library's hash tables. Not installed.

#ifndef FAIRLEAD_BASE_KEY_HASH_H_
#define FAIRLEAD_BASE_KEY_HASH_H_

#include <sys/random.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace fairlead::internal {

// The random seed of the hash: input cannot be chosen so that its keys collide.
struct HashSecret {
  std::uint64_t start = 0;
  std::uint64_t factor = 0;
};

// Draws a seed. If the system has no random numbers, uses the address of the
// stack, which is random too, with fewer bits.
inline HashSecret DrawHashSecret() {
  HashSecret secret;
  if (getrandom(&secret, sizeof secret, GRND_NONBLOCK) != sizeof secret)
    secret = {reinterpret_cast<std::uintptr_t>(&secret), 0x9e3779b97f4a7c15};
  return secret;
}

// Returns the seed of this process, which is drawn at the first call.
inline const HashSecret& ProcessHashSecret() {
  static const HashSecret secret = DrawHashSecret();
  return secret;
}

template <typename Word>
std::uint64_t LoadWord(const char* from) {
  Word word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

__extension__ using Wide = unsigned __int128;

// Combines both halves of the product, so that every bit of a factor affects
// the low bits of the result, which select the slot.
inline std::uint64_t Fold(std::uint64_t one, std::uint64_t other) {
  const Wide product = Wide{one} * other;
  return static_cast<std::uint64_t>(product) ^
         static_cast<std::uint64_t>(product >> 64U);
}

// Packs a text of less than 8 bytes; different texts of one length give
// different numbers.
inline std::uint64_t ShortText(const char* text, std::size_t size) {
  if (size >= 4)
    return LoadWord<std::uint32_t>(text) |
           LoadWord<std::uint32_t>(text + size - 4) << 32U;
  if (size == 0) return 0;
  return LoadWord<std::uint8_t>(text) |
         LoadWord<std::uint8_t>(text + size / 2) << 8U |
         LoadWord<std::uint8_t>(text + size - 1) << 16U;
}

// Returns the hash of a key. Takes half the time of std::hash for short keys,
// which would cost more than the lookup: from 8 to 16 bytes, as most names
// have, no branch depends on the length. The length distinguishes "a" from
// "aaa".
inline std::uint64_t HashOfKey(std::string_view key, const HashSecret& secret) {
  const char* text = key.data();
  std::size_t size = key.size();
  std::uint64_t hash = secret.start;
  for (; size > 16; text += 8, size -= 8)
    hash = Fold(hash ^ LoadWord<std::uint64_t>(text), secret.factor);
  const bool is_short = size < 8;
  const std::uint64_t first =
      is_short ? ShortText(text, size) : LoadWord<std::uint64_t>(text);
  const std::uint64_t last =
      is_short ? 0 : LoadWord<std::uint64_t>(text + size - 8);
  hash = Fold(hash ^ first, secret.factor ^ last);
  return Fold(hash ^ key.size(), secret.factor);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_KEY_HASH_H_
