// AES by table lookup, for every processor.

#include <bit>
#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/aes_tables.h"

namespace fairlead::internal {
namespace {

// The bytes of a word, the most significant first.
constexpr std::uint32_t Byte0(std::uint32_t word) { return word >> 24; }
constexpr std::uint32_t Byte1(std::uint32_t word) { return word >> 16 & 0xFF; }
constexpr std::uint32_t Byte2(std::uint32_t word) { return word >> 8 & 0xFF; }
constexpr std::uint32_t Byte3(std::uint32_t word) { return word & 0xFF; }

std::uint32_t LoadWord(const unsigned char* p) {
  return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 |
         std::uint32_t{p[2]} << 8 | std::uint32_t{p[3]};
}

void StoreWord(unsigned char* p, std::uint32_t word) {
  p[0] = static_cast<unsigned char>(Byte0(word));
  p[1] = static_cast<unsigned char>(Byte1(word));
  p[2] = static_cast<unsigned char>(Byte2(word));
  p[3] = static_cast<unsigned char>(Byte3(word));
}

// Returns four bytes, each of another word, substituted by an S-box.
std::uint32_t Substitute(const ByteTable& box, std::uint32_t a, std::uint32_t b,
                         std::uint32_t c, std::uint32_t d) {
  return std::uint32_t{box[Byte0(a)]} << 24 |
         std::uint32_t{box[Byte1(b)]} << 16 |
         std::uint32_t{box[Byte2(c)]} << 8 | std::uint32_t{box[Byte3(d)]};
}

struct Encryption {
  static std::uint32_t Mix(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                           std::uint32_t d) {
    return FT0[Byte0(a)] ^ FT1[Byte1(b)] ^ FT2[Byte2(c)] ^ FT3[Byte3(d)];
  }
  static std::uint32_t Last(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                            std::uint32_t d) {
    return Substitute(FSb, a, b, c, d);
  }
};

// Rows shift the other way: b and d are swapped.
struct Decryption {
  static std::uint32_t Mix(std::uint32_t a, std::uint32_t d, std::uint32_t c,
                           std::uint32_t b) {
    return RT0[Byte0(a)] ^ RT1[Byte1(b)] ^ RT2[Byte2(c)] ^ RT3[Byte3(d)];
  }
  static std::uint32_t Last(std::uint32_t a, std::uint32_t d, std::uint32_t c,
                            std::uint32_t b) {
    return Substitute(RSb, a, b, c, d);
  }
};

// Returns a valid number of rounds, as a context may never have been keyed: the
// next greater one, or else the greatest.
std::int32_t ValidRounds(std::int32_t rounds) {
  if (rounds <= 10) return 10;
  return rounds <= 12 ? 12 : 14;
}

template <class Direction>
void Process(const std::uint32_t* keys, std::int32_t rounds,
             const unsigned char* input, unsigned char* output) {
  std::uint32_t a = LoadWord(input) ^ keys[0];
  std::uint32_t b = LoadWord(input + 4) ^ keys[1];
  std::uint32_t c = LoadWord(input + 8) ^ keys[2];
  std::uint32_t d = LoadWord(input + 12) ^ keys[3];

  keys += 4;
  rounds = ValidRounds(rounds);
  for (std::int32_t round = 1; round < rounds; ++round, keys += 4) {
    const std::uint32_t e = Direction::Mix(a, b, c, d) ^ keys[0];
    const std::uint32_t f = Direction::Mix(b, c, d, a) ^ keys[1];
    const std::uint32_t g = Direction::Mix(c, d, a, b) ^ keys[2];
    const std::uint32_t h = Direction::Mix(d, a, b, c) ^ keys[3];
    a = e;
    b = f;
    c = g;
    d = h;
  }

  StoreWord(output, Direction::Last(a, b, c, d) ^ keys[0]);
  StoreWord(output + 4, Direction::Last(b, c, d, a) ^ keys[1]);
  StoreWord(output + 8, Direction::Last(c, d, a, b) ^ keys[2]);
  StoreWord(output + 12, Direction::Last(d, a, b, c) ^ keys[3]);
}

void EncryptBlock(const aes_context* ctx, const unsigned char* input,
                  unsigned char* output) noexcept {
  Process<Encryption>(ctx->encKeys, ctx->rounds, input, output);
}

void DecryptBlock(const aes_context* ctx, const unsigned char* input,
                  unsigned char* output) noexcept {
  Process<Decryption>(ctx->decKeys, ctx->rounds, input, output);
}

void EncryptBlocks(const aes_context* ctx, unsigned char* data,
                   std::size_t blocks) noexcept {
  for (; blocks > 0; --blocks, data += 16) EncryptBlock(ctx, data, data);
}

void DecryptBlocks(const aes_context* ctx, unsigned char* data,
                   std::size_t blocks) noexcept {
  for (; blocks > 0; --blocks, data += 16) DecryptBlock(ctx, data, data);
}

// Returns the word after `previous` in the key expansion, before the XOR with
// the word one key length back.
std::uint32_t Step(std::uint32_t previous, unsigned index, unsigned key_words) {
  const auto substitute = [](std::uint32_t word) {
    return Substitute(FSb, word, word, word, word);
  };
  if (index % key_words == 0)
    return substitute(std::rotl(previous, 8)) ^ RCON[index / key_words - 1];
  if (key_words == 8 && index % 8 == 4) return substitute(previous);
  return previous;
}

// Inverse column mixing.
std::uint32_t Unmix(std::uint32_t word) {
  return KT0[Byte0(word)] ^ KT1[Byte1(word)] ^ KT2[Byte2(word)] ^
         KT3[Byte3(word)];
}

void SetKey(aes_context* ctx, const unsigned char* key,
            std::int32_t rounds) noexcept {
  const auto last = static_cast<unsigned>(rounds);
  const unsigned key_words = last - 6;
  std::uint32_t* const enc = ctx->encKeys;
  for (unsigned i = 0; i < key_words; ++i)
    enc[i] = LoadWord(key + std::size_t{4} * i);
  for (unsigned i = key_words; i < 4 * (last + 1); ++i)
    enc[i] = enc[i - key_words] ^ Step(enc[i - 1], i, key_words);

  // The same round keys in reverse order; all but the first and last unmixed.
  for (unsigned i = 0; i < 4 * (last + 1); ++i) {
    const unsigned round = i / 4;
    const std::uint32_t word = enc[4 * (last - round) + i % 4];
    ctx->decKeys[i] = round == 0 || round == last ? word : Unmix(word);
  }
  ctx->rounds = rounds;
}

}  // namespace

const AesImplementation kAesTables = {
    .name = "tables",
    .available = [] { return true; },
    .set_key = SetKey,
    .encrypt_block = EncryptBlock,
    .decrypt_block = DecryptBlock,
    .encrypt_blocks = EncryptBlocks,
    .decrypt_blocks = DecryptBlocks,
};

}  // namespace fairlead::internal
