// AES by the processor's AES instructions, four blocks per register.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/aes_processor.h"

#define FAIRLEAD_AES_TARGET __attribute__((target("aes,vaes,avx512f")))
#include "fairlead/crypto/aes_vectors.h"

namespace fairlead::internal {
namespace {

struct ThisSource;
using Block = BlockLanes<ThisSource>;

struct Lanes {
  using Vector = __m512i;
  static constexpr std::size_t kBlocks = 4;

  FAIRLEAD_AES_TARGET static Vector Key(const std::uint32_t* words) {
    // Without a mask, g++ 12 warns about a header of its own.
    return _mm512_maskz_broadcast_i32x4(0xFFFF, Block::Key(words));
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

}  // namespace

constinit const AesImplementation kAesVectors512 =
    VectorImplementation<Lanes, Block>("vectors512", ProcessorHasWiderAes);

}  // namespace fairlead::internal
