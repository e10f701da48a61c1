// The block loop of AES by instructions, for vectors of any width. Not
// installed.
//
// `Lanes` is a class with the operations on one vector of `kBlocks` blocks. A
// source that includes this header defines FAIRLEAD_AES_TARGET, the attribute
// that permits its instructions, and its `Lanes` in an anonymous namespace: the
// linker must not merge code that needs different processors.

#ifndef FAIRLEAD_CRYPTO_AES_LANES_H_
#define FAIRLEAD_CRYPTO_AES_LANES_H_

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace fairlead::internal {

// One block per vector. `Source` is a type in an anonymous namespace.
template <class Source>
struct BlockLanes {
  using Vector = __m128i;
  static constexpr std::size_t kBlocks = 1;

  // Round keys are stored as words; the instructions need bytes.
  FAIRLEAD_AES_TARGET static Vector SwapWords(Vector words) {
    return _mm_shuffle_epi8(words, _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4,
                                                5, 6, 7, 0, 1, 2, 3));
  }
  FAIRLEAD_AES_TARGET static Vector Key(const std::uint32_t* words) {
    return SwapWords(_mm_loadu_si128(reinterpret_cast<const Vector*>(words)));
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

// Enough vectors in flight hide the latency of a round.
constexpr std::size_t kMaxVectors = 8;

// Applies `kRounds` rounds, none of them the last, to all vectors of an array.
template <class Lanes, bool kEncrypt, int kRounds, class State>
[[gnu::always_inline]] FAIRLEAD_AES_TARGET inline void ProcessRounds(
    State& state, const std::uint32_t* keys) {
  for (int round = 0; round < kRounds; ++round, keys += 4) {
    const typename Lanes::Vector key = Lanes::Key(keys);
    for (auto& vector : state)
      vector = Lanes::template Round<kEncrypt>(vector, key);
  }
}

template <class Lanes, bool kEncrypt, std::size_t kVectors>
FAIRLEAD_AES_TARGET inline void ProcessVectors(const std::uint32_t* keys,
                                               std::int32_t rounds,
                                               const unsigned char* input,
                                               unsigned char* output) {
  constexpr std::size_t kBytes = 16 * Lanes::kBlocks;
  // Compilers warn about vectors in a std::array.
  // NOLINTNEXTLINE(modernize-avoid-c-arrays)
  typename Lanes::Vector state[kVectors];
  typename Lanes::Vector key = Lanes::Key(keys);
  for (std::size_t i = 0; i < kVectors; ++i)
    state[i] = Lanes::Xor(Lanes::Load(input + kBytes * i), key);

  // Constant numbers of rounds are unrolled.
  ProcessRounds<Lanes, kEncrypt, 9>(state, keys + 4);
  keys += 40;
  if (rounds > 10) {
    ProcessRounds<Lanes, kEncrypt, 2>(state, keys);
    keys += 8;
  }
  if (rounds > 12) {
    ProcessRounds<Lanes, kEncrypt, 2>(state, keys);
    keys += 8;
  }

  key = Lanes::Key(keys);
  for (std::size_t i = 0; i < kVectors; ++i)
    Lanes::Store(output + kBytes * i,
                 Lanes::template LastRound<kEncrypt>(state[i], key));
}

// Processes all whole vectors, in groups of `kVectors`, then of half as many
// and so on. Returns the number of blocks processed.
template <class Lanes, bool kEncrypt, std::size_t kVectors = kMaxVectors>
FAIRLEAD_AES_TARGET inline std::size_t ProcessBlocks(const std::uint32_t* keys,
                                                     std::int32_t rounds,
                                                     unsigned char* data,
                                                     std::size_t blocks) {
  constexpr std::size_t kGroup = kVectors * Lanes::kBlocks;
  std::size_t done = 0;
  for (; blocks - done >= kGroup; done += kGroup) {
    unsigned char* const group = data + 16 * done;
    ProcessVectors<Lanes, kEncrypt, kVectors>(keys, rounds, group, group);
  }
  if constexpr (kVectors > 1)
    done += ProcessBlocks<Lanes, kEncrypt, kVectors / 2>(
        keys, rounds, data + 16 * done, blocks - done);
  return done;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_LANES_H_
