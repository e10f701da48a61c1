// AES by the processor's AES instructions, one block per register.

#include "fairlead/crypto/aes_instructions.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/aes_processor.h"
#include "fairlead/crypto/aes_tables.h"

#define FAIRLEAD_AES_TARGET __attribute__((target("aes,sse4.1")))
#include "fairlead/crypto/aes_lanes.h"

namespace fairlead::internal {
namespace {

struct ThisSource;
using Lanes = BlockLanes<ThisSource>;

FAIRLEAD_AES_TARGET inline void StoreKey(std::uint32_t* words, __m128i key) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(words), Lanes::SwapWords(key));
}

// Returns SubWord(RotWord()) of the fourth word XORed with the round constant,
// in all words. With equal columns the last round of AES is only the S-box.
FAIRLEAD_AES_TARGET inline __m128i RotatedLast(__m128i key, std::size_t index) {
  const auto constant = static_cast<int>(RCON[index] >> 24);
  return _mm_aesenclast_si128(_mm_shuffle_epi8(key, _mm_set1_epi32(0x0C0F0E0D)),
                              _mm_set1_epi32(constant));
}

// Returns SubWord() of the fourth word, in all words.
FAIRLEAD_AES_TARGET inline __m128i Last(__m128i key) {
  return _mm_aesenclast_si128(_mm_shuffle_epi32(key, 0xFF),
                              _mm_setzero_si128());
}

// Returns each word XORed with all words before it.
FAIRLEAD_AES_TARGET inline __m128i Sums(__m128i key) {
  key = _mm_xor_si128(key, _mm_slli_si128(key, 4));
  return _mm_xor_si128(key, _mm_slli_si128(key, 8));
}

// Stores a round key for both directions. Decryption uses them in reverse
// order, all but the first and last unmixed.
template <std::size_t kRounds>
FAIRLEAD_AES_TARGET inline void PutKey(aes_context* ctx, std::size_t round,
                                       __m128i key) {
  const bool outer = round == 0 || round == kRounds;
  StoreKey(ctx->encKeys + 4 * round, key);
  StoreKey(ctx->decKeys + 4 * (kRounds - round),
           outer ? key : _mm_aesimc_si128(key));
}

FAIRLEAD_AES_TARGET void Expand128(aes_context* ctx,
                                   const unsigned char* bytes) {
  __m128i key = Lanes::Load(bytes);
  PutKey<10>(ctx, 0, key);
  for (std::size_t round = 1; round <= 10; ++round) {
    key = _mm_xor_si128(Sums(key), RotatedLast(key, round - 1));
    PutKey<10>(ctx, round, key);
  }
}

FAIRLEAD_AES_TARGET inline __m128i NextKey(__m128i key, __m128i rest,
                                           std::size_t index) {
  const __m128i last = _mm_shuffle_epi32(rest, 0x55);
  return _mm_xor_si128(Sums(key), RotatedLast(last, index));
}

FAIRLEAD_AES_TARGET inline __m128i NextRest(__m128i key, __m128i rest) {
  rest = _mm_xor_si128(rest, _mm_slli_si128(rest, 4));
  return _mm_xor_si128(rest, _mm_shuffle_epi32(key, 0xFF));
}

// Expands six words per step: four in `key`, two in the lower half of `rest`.
// Two steps make three round keys.
FAIRLEAD_AES_TARGET void Expand192(aes_context* ctx,
                                   const unsigned char* bytes) {
  __m128i key = Lanes::Load(bytes);
  __m128i rest = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes + 16));
  PutKey<12>(ctx, 0, key);
  for (std::size_t round = 1, step = 0; round <= 12; round += 3, step += 2) {
    key = NextKey(key, rest, step);
    PutKey<12>(ctx, round, _mm_unpacklo_epi64(rest, key));
    rest = NextRest(key, rest);
    PutKey<12>(ctx, round + 1, _mm_alignr_epi8(rest, key, 8));
    key = NextKey(key, rest, step + 1);
    PutKey<12>(ctx, round + 2, key);
    rest = NextRest(key, rest);
  }
}

FAIRLEAD_AES_TARGET void Expand256(aes_context* ctx,
                                   const unsigned char* bytes) {
  __m128i even = Lanes::Load(bytes);
  __m128i odd = Lanes::Load(bytes + 16);
  PutKey<14>(ctx, 0, even);
  for (std::size_t round = 1; round <= 13; round += 2) {
    PutKey<14>(ctx, round, odd);
    even = _mm_xor_si128(Sums(even), RotatedLast(odd, round / 2));
    PutKey<14>(ctx, round + 1, even);
    odd = _mm_xor_si128(Sums(odd), Last(even));
  }
}

}  // namespace

FAIRLEAD_AES_TARGET void AesInstructions::SetKey(aes_context* ctx,
                                                 const unsigned char* key,
                                                 std::int32_t rounds) noexcept {
  if (rounds == 10) Expand128(ctx, key);
  if (rounds == 12) Expand192(ctx, key);
  if (rounds == 14) Expand256(ctx, key);
  ctx->rounds = rounds;
}

FAIRLEAD_AES_TARGET void AesInstructions::EncryptBlock(
    const aes_context* ctx, const unsigned char* input,
    unsigned char* output) noexcept {
  ProcessVectors<Lanes, true, 1>(ctx->encKeys, ctx->rounds, input, output);
}

FAIRLEAD_AES_TARGET void AesInstructions::DecryptBlock(
    const aes_context* ctx, const unsigned char* input,
    unsigned char* output) noexcept {
  ProcessVectors<Lanes, false, 1>(ctx->decKeys, ctx->rounds, input, output);
}

FAIRLEAD_AES_TARGET void AesInstructions::EncryptBlocks(
    const aes_context* ctx, unsigned char* data, std::size_t blocks) noexcept {
  ProcessBlocks<Lanes, true>(ctx->encKeys, ctx->rounds, data, blocks);
}

FAIRLEAD_AES_TARGET void AesInstructions::DecryptBlocks(
    const aes_context* ctx, unsigned char* data, std::size_t blocks) noexcept {
  ProcessBlocks<Lanes, false>(ctx->decKeys, ctx->rounds, data, blocks);
}

const AesImplementation kAesInstructions = {
    .name = "instructions",
    .available = ProcessorHasAes,
    .set_key = AesInstructions::SetKey,
    .encrypt_block = AesInstructions::EncryptBlock,
    .decrypt_block = AesInstructions::DecryptBlock,
    .encrypt_blocks = AesInstructions::EncryptBlocks,
    .decrypt_blocks = AesInstructions::DecryptBlocks,
};

}  // namespace fairlead::internal
