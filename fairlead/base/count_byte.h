// Counts a byte in a text, sixteen at a time at every level of optimisation.
// Not installed.

#ifndef FAIRLEAD_BASE_COUNT_BYTE_H_
#define FAIRLEAD_BASE_COUNT_BYTE_H_

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace fairlead::internal {

// Returns how often the byte is in the text.
inline std::size_t CountByte(std::string_view text, char byte) {
  constexpr std::size_t kLane = sizeof(__m128i);
  constexpr std::size_t kMost = 255;  // Lanes until a counter could overflow.
  using Bytes [[gnu::vector_size(kLane)]] = signed char;
  const __m128i wanted = _mm_set1_epi8(byte);
  const char* at = text.data();
  std::size_t lanes = text.size() / kLane;
  __m128i sums = _mm_setzero_si128();
  while (lanes > 0) {
    const std::size_t batch = std::min(lanes, kMost);
    Bytes counters = {};
    for (std::size_t i = 0; i < batch; ++i, at += kLane) {
      const __m128i bytes =
          _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
      counters -= reinterpret_cast<Bytes>(_mm_cmpeq_epi8(bytes, wanted));
    }
    sums +=
        _mm_sad_epu8(reinterpret_cast<__m128i>(counters), _mm_setzero_si128());
    lanes -= batch;
  }
  const auto halves =
      static_cast<std::uint64_t>(_mm_cvtsi128_si64(sums)) +
      static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_srli_si128(sums, 8)));
  const auto rest = std::count(at, text.data() + text.size(), byte);
  return halves + static_cast<std::size_t>(rest);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_COUNT_BYTE_H_
