// AES by the processor's own instructions, one block in each register.

#include "fairlead/crypto/aes_instructions.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_paths.h"
#include "fairlead/crypto/aes_processor.h"
#include "fairlead/crypto/aes_tables.h"

#define FAIRLEAD_AES_TARGET __attribute__((target("aes,sse4.1")))
#include "fairlead/crypto/aes_lanes.h"

namespace fairlead {
namespace {

// The round keys are kept as words, the instructions take them as bytes.
FAIRLEAD_AES_TARGET inline __m128i SwapWords(__m128i words) {
  return _mm_shuffle_epi8(words, _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4,
                                              5, 6, 7, 0, 1, 2, 3));
}

FAIRLEAD_AES_TARGET inline __m128i LoadKey(const std::uint32_t* words) {
  return SwapWords(_mm_loadu_si128(reinterpret_cast<const __m128i*>(words)));
}

FAIRLEAD_AES_TARGET inline void StoreKey(std::uint32_t* words, __m128i key) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(words), SwapWords(key));
}

struct Lanes {
  using Vector = __m128i;
  static constexpr std::size_t kBlocks = 1;

  FAIRLEAD_AES_TARGET static Vector Key(const std::uint32_t* words) {
    return LoadKey(words);
  }
  FAIRLEAD_AES_TARGET static Vector Load(const unsigned char* data) {
    return _mm_loadu_si128(reinterpret_cast<const Vector*>(data));
  }
  FAIRLEAD_AES_TARGET static void Store(unsigned char* data, Vector vector) {
    _mm_storeu_si128(reinterpret_cast<Vector*>(data), vector);
  }
  FAIRLEAD_AES_TARGET static Vector Xor(Vector a, Vector b) {
    return _mm_xor_si128(a, b);
  }
  template <bool kEncrypt>
  FAIRLEAD_AES_TARGET static Vector Round(Vector state, Vector key) {
    return kEncrypt ? _mm_aesenc_si128(state, key)
                    : _mm_aesdec_si128(state, key);
  }
  template <bool kEncrypt>
  FAIRLEAD_AES_TARGET static Vector LastRound(Vector state, Vector key) {
    return kEncrypt ? _mm_aesenclast_si128(state, key)
                    : _mm_aesdeclast_si128(state, key);
  }
};

// SubWord(RotWord()) of the fourth word with the round constant, in all words:
// with equal columns, the last round of AES is nothing but the S-box.
FAIRLEAD_AES_TARGET inline __m128i RotatedLast(__m128i key, int index) {
  const auto constant = static_cast<int>(aes_tables::RCON[index] >> 24);
  return _mm_aesenclast_si128(_mm_shuffle_epi8(key, _mm_set1_epi32(0x0C0F0E0D)),
                              _mm_set1_epi32(constant));
}

// SubWord() of the fourth word, in all words.
FAIRLEAD_AES_TARGET inline __m128i Last(__m128i key) {
  return _mm_aesenclast_si128(_mm_shuffle_epi32(key, 0xFF),
                              _mm_setzero_si128());
}

// Each word XORed with all words before it.
FAIRLEAD_AES_TARGET inline __m128i Sums(__m128i key) {
  key = _mm_xor_si128(key, _mm_slli_si128(key, 4));
  return _mm_xor_si128(key, _mm_slli_si128(key, 8));
}

FAIRLEAD_AES_TARGET void Expand128(std::uint32_t* words,
                                   const unsigned char* bytes) {
  __m128i key = Lanes::Load(bytes);
  StoreKey(words, key);
  for (int i = 0; i < 10; ++i) {
    key = _mm_xor_si128(Sums(key), RotatedLast(key, i));
    StoreKey(words += 4, key);
  }
}

// Six words a step: four in `key`, two in the lower half of `rest`.
FAIRLEAD_AES_TARGET void Expand192(std::uint32_t* words,
                                   const unsigned char* bytes) {
  const auto store_rest = [](std::uint32_t* to,
                             __m128i rest) FAIRLEAD_AES_TARGET {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), SwapWords(rest));
  };
  __m128i key = Lanes::Load(bytes);
  __m128i rest = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes + 16));
  StoreKey(words, key);
  store_rest(words + 4, rest);
  for (int i = 0;; ++i) {
    const __m128i last = _mm_shuffle_epi32(rest, 0x55);
    key = _mm_xor_si128(Sums(key), RotatedLast(last, i));
    StoreKey(words += 6, key);
    if (i == 7) return;
    rest = _mm_xor_si128(rest, _mm_slli_si128(rest, 4));
    rest = _mm_xor_si128(rest, _mm_shuffle_epi32(key, 0xFF));
    store_rest(words + 4, rest);
  }
}

FAIRLEAD_AES_TARGET void Expand256(std::uint32_t* words,
                                   const unsigned char* bytes) {
  __m128i even = Lanes::Load(bytes);
  __m128i odd = Lanes::Load(bytes + 16);
  StoreKey(words, even);
  StoreKey(words += 4, odd);
  for (int i = 0;; ++i) {
    even = _mm_xor_si128(Sums(even), RotatedLast(odd, i));
    StoreKey(words += 4, even);
    if (i == 6) return;
    odd = _mm_xor_si128(Sums(odd), Last(even));
    StoreKey(words += 4, odd);
  }
}

// The same round keys backwards; all but the outer two are unmixed.
FAIRLEAD_AES_TARGET void Reverse(aes_context* ctx) {
  const std::uint32_t* from = ctx->encKeys + 4 * ctx->rounds;
  std::uint32_t* to = ctx->decKeys;
  StoreKey(to, LoadKey(from));
  for (std::int32_t round = 1; round < ctx->rounds; ++round)
    StoreKey(to += 4, _mm_aesimc_si128(LoadKey(from -= 4)));
  StoreKey(to + 4, LoadKey(from - 4));
}

}  // namespace

namespace aes_instructions {

FAIRLEAD_AES_TARGET void SetKey(aes_context* ctx, const unsigned char* key,
                                std::int32_t rounds) {
  if (rounds == 10) Expand128(ctx->encKeys, key);
  if (rounds == 12) Expand192(ctx->encKeys, key);
  if (rounds == 14) Expand256(ctx->encKeys, key);
  ctx->rounds = rounds;
  Reverse(ctx);
}

FAIRLEAD_AES_TARGET void EncryptBlock(const aes_context* ctx,
                                      const unsigned char* input,
                                      unsigned char* output) {
  ProcessVectors<Lanes, true, 1>(ctx->encKeys, ctx->rounds, input, output);
}

FAIRLEAD_AES_TARGET void DecryptBlock(const aes_context* ctx,
                                      const unsigned char* input,
                                      unsigned char* output) {
  ProcessVectors<Lanes, false, 1>(ctx->decKeys, ctx->rounds, input, output);
}

FAIRLEAD_AES_TARGET void EncryptBlocks(const aes_context* ctx,
                                       unsigned char* data,
                                       std::size_t blocks) {
  ProcessBlocks<Lanes, true>(ctx->encKeys, ctx->rounds, data, blocks);
}

FAIRLEAD_AES_TARGET void DecryptBlocks(const aes_context* ctx,
                                       unsigned char* data,
                                       std::size_t blocks) {
  ProcessBlocks<Lanes, false>(ctx->decKeys, ctx->rounds, data, blocks);
}

}  // namespace aes_instructions

const AesPath kAesInstructions = {
    .name = "instructions",
    .available = ProcessorHasAes,
    .set_key = aes_instructions::SetKey,
    .encrypt_block = aes_instructions::EncryptBlock,
    .decrypt_block = aes_instructions::DecryptBlock,
    .encrypt_blocks = aes_instructions::EncryptBlocks,
    .decrypt_blocks = aes_instructions::DecryptBlocks,
};

}  // namespace fairlead
