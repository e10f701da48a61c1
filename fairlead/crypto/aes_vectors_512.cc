// AES by the processor's own instructions, four blocks in each register.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_instructions.h"
#include "fairlead/crypto/aes_paths.h"
#include "fairlead/crypto/aes_processor.h"

#define FAIRLEAD_AES_TARGET __attribute__((target("aes,vaes,avx512f")))
#include "fairlead/crypto/aes_lanes.h"

namespace fairlead {
namespace {

struct Here;

struct Lanes {
  using Vector = __m512i;
  static constexpr std::size_t kBlocks = 4;

  FAIRLEAD_AES_TARGET static Vector Key(const std::uint32_t* words) {
    // The form without a mask makes g++ 12 warn of its own header.
    return _mm512_maskz_broadcast_i32x4(0xFFFF, BlockLanes<Here>::Key(words));
  }
  FAIRLEAD_AES_TARGET static Vector Load(const unsigned char* data) {
    return _mm512_loadu_si512(reinterpret_cast<const Vector*>(data));
  }
  FAIRLEAD_AES_TARGET static void Store(unsigned char* data, Vector vector) {
    _mm512_storeu_si512(reinterpret_cast<Vector*>(data), vector);
  }
  FAIRLEAD_AES_TARGET static Vector Xor(Vector a, Vector b) {
    return _mm512_xor_si512(a, b);
  }
  template <bool kEncrypt>
  FAIRLEAD_AES_TARGET static Vector Round(Vector state, Vector key) {
    return kEncrypt ? _mm512_aesenc_epi128(state, key)
                    : _mm512_aesdec_epi128(state, key);
  }
  template <bool kEncrypt>
  FAIRLEAD_AES_TARGET static Vector LastRound(Vector state, Vector key) {
    return kEncrypt ? _mm512_aesenclast_epi128(state, key)
                    : _mm512_aesdeclast_epi128(state, key);
  }
};

FAIRLEAD_AES_TARGET void EncryptBlock(const aes_context* ctx,
                                      const unsigned char* input,
                                      unsigned char* output) {
  ProcessVectors<BlockLanes<Here>, true, 1>(ctx->encKeys, ctx->rounds, input,
                                            output);
}

FAIRLEAD_AES_TARGET void DecryptBlock(const aes_context* ctx,
                                      const unsigned char* input,
                                      unsigned char* output) {
  ProcessVectors<BlockLanes<Here>, false, 1>(ctx->decKeys, ctx->rounds, input,
                                             output);
}

FAIRLEAD_AES_TARGET void EncryptBlocks(const aes_context* ctx,
                                       unsigned char* data,
                                       std::size_t blocks) {
  const std::size_t done =
      ProcessBlocks<Lanes, true>(ctx->encKeys, ctx->rounds, data, blocks);
  aes_instructions::EncryptBlocks(ctx, data + 16 * done, blocks - done);
}

FAIRLEAD_AES_TARGET void DecryptBlocks(const aes_context* ctx,
                                       unsigned char* data,
                                       std::size_t blocks) {
  const std::size_t done =
      ProcessBlocks<Lanes, false>(ctx->decKeys, ctx->rounds, data, blocks);
  aes_instructions::DecryptBlocks(ctx, data + 16 * done, blocks - done);
}

}  // namespace

const AesPath kAesVectors512 = {
    .name = "vectors512",
    .available = ProcessorHasWiderAes,
    .set_key = aes_instructions::SetKey,
    .encrypt_block = EncryptBlock,
    .decrypt_block = DecryptBlock,
    .encrypt_blocks = EncryptBlocks,
    .decrypt_blocks = DecryptBlocks,
};

}  // namespace fairlead
