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
#include <utility>

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

// The functions below take the indices of vectors and of rounds as packs, so
// that the vectors are in registers whatever the level of optimization: a loop
// that is not unrolled keeps them in memory.

// Loads vectors and adds the first round key.
template <class Lanes, class State, std::size_t... kVector>
[[gnu::always_inline]] FAIRLEAD_AES_TARGET inline void LoadVectors(
    State& state, const std::uint32_t* key, const unsigned char* input,
    std::index_sequence<kVector...> /*vectors*/) {
  constexpr std::size_t kBytes = 16 * Lanes::kBlocks;
  const typename Lanes::Vector first = Lanes::Key(key);
  ((state[kVector] = Lanes::Xor(Lanes::Load(input + kBytes * kVector), first)),
   ...);
}

// Applies one round, which is not the last, to all vectors.
template <class Lanes, bool kEncrypt, class State, std::size_t... kVector>
[[gnu::always_inline]] FAIRLEAD_AES_TARGET inline void ProcessRound(
    State& state, const std::uint32_t* key,
    std::index_sequence<kVector...> /*vectors*/) {
  const typename Lanes::Vector next = Lanes::Key(key);
  ((state[kVector] = Lanes::template Round<kEncrypt>(state[kVector], next)),
   ...);
}

// Applies as many rounds, none of them the last, as the pack has indices.
template <class Lanes, bool kEncrypt, class State, class Vectors,
          std::size_t... kRound>
[[gnu::always_inline]] FAIRLEAD_AES_TARGET inline void ProcessRounds(
    State& state, const std::uint32_t* keys, Vectors vectors,
    std::index_sequence<kRound...> /*rounds*/) {
  (ProcessRound<Lanes, kEncrypt>(state, keys + 4 * kRound, vectors), ...);
}

// Applies the last round and stores the vectors.
template <class Lanes, bool kEncrypt, class State, std::size_t... kVector>
[[gnu::always_inline]] FAIRLEAD_AES_TARGET inline void StoreVectors(
    const State& state, const std::uint32_t* key, unsigned char* output,
    std::index_sequence<kVector...> /*vectors*/) {
  constexpr std::size_t kBytes = 16 * Lanes::kBlocks;
  const typename Lanes::Vector last = Lanes::Key(key);
  (Lanes::Store(output + kBytes * kVector,
                Lanes::template LastRound<kEncrypt>(state[kVector], last)),
   ...);
}

template <class Lanes, bool kEncrypt, std::size_t kVectors>
[[gnu::always_inline]] FAIRLEAD_AES_TARGET inline void ProcessVectors(
    const std::uint32_t* keys, std::int32_t rounds, const unsigned char* input,
    unsigned char* output) {
  constexpr std::make_index_sequence<kVectors> kAll;
  constexpr std::make_index_sequence<9> kNine;
  constexpr std::make_index_sequence<2> kTwo;
  // Compilers warn about vectors in a std::array.
  // NOLINTNEXTLINE(modernize-avoid-c-arrays)
  typename Lanes::Vector state[kVectors];
  LoadVectors<Lanes>(state, keys, input, kAll);
  ProcessRounds<Lanes, kEncrypt>(state, keys + 4, kAll, kNine);
  keys += 40;
  if (rounds > 10) {
    ProcessRounds<Lanes, kEncrypt>(state, keys, kAll, kTwo);
    keys += 8;
  }
  if (rounds > 12) {
    ProcessRounds<Lanes, kEncrypt>(state, keys, kAll, kTwo);
    keys += 8;
  }
  StoreVectors<Lanes, kEncrypt>(state, keys, output, kAll);
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
