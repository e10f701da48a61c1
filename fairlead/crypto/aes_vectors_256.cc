// AES by the processor's AES instructions, two blocks per register.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/aes_processor.h"

#define FAIRLEAD_AES_TARGET __attribute__((target("aes,vaes,avx2")))
#include "fairlead/crypto/aes_vectors.h"

namespace fairlead::internal {
namespace {

struct ThisSource;
using Block = BlockLanes<ThisSource>;

struct Lanes {
  using Vector = __m256i;
  static constexpr std::size_t kBlocks = 2;

  FAIRLEAD_AES_TARGET static Vector Key(const std::uint32_t* words) {
    return _mm256_broadcastsi128_si256(Block::Key(words));
  }
  FAIRLEAD_AES_TARGET static Vector Load(const unsigned char* data) {
    return _mm256_loadu_si256(reinterpret_cast<const Vector*>(data));
  }
  FAIRLEAD_AES_TARGET static void Store(unsigned char* data, Vector vector) {
    _mm256_storeu_si256(reinterpret_cast<Vector*>(data), vector);
  }
  FAIRLEAD_AES_TARGET static Vector Xor(Vector a, Vector b) {
    return _mm256_xor_si256(a, b);
  }
  template <bool kEncrypt>
  FAIRLEAD_AES_TARGET static Vector Round(Vector state, Vector key) {
    return kEncrypt ? _mm256_aesenc_epi128(state, key)
                    : _mm256_aesdec_epi128(state, key);
  }
  template <bool kEncrypt>
  FAIRLEAD_AES_TARGET static Vector LastRound(Vector state, Vector key) {
    return kEncrypt ? _mm256_aesenclast_epi128(state, key)
                    : _mm256_aesdeclast_epi128(state, key);
  }
};

}  // namespace

constinit const AesImplementation kAesVectors256 =
    VectorImplementation<Lanes, Block>("vectors256", ProcessorHasVectorAes);

}  // namespace fairlead::internal
