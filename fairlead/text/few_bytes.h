// A small set of bytes, searched without a branch for each byte. Not installed.

#ifndef FAIRLEAD_TEXT_FEW_BYTES_H_
#define FAIRLEAD_TEXT_FEW_BYTES_H_

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "fairlead/base/eight_bytes.h"

namespace fairlead::internal {

// A set of one to eight bytes.
class FewBytes {
 public:
  static constexpr std::size_t kMost = 8;

  // How many of a text's first and last eight bytes belong to the set without a
  // gap.
  struct Ends {
    int leading;
    int trailing;
  };

  explicit FewBytes(std::string_view set) {
    std::uint64_t bytes = FirstBytes(set.data(), set.size());
    if (set.size() < kMost)  // The others repeat the first one.
      bytes |= EightTimes(static_cast<unsigned char>(set[0]))
               << 8U * set.size();
    const __m128i once = _mm_cvtsi64_si128(static_cast<std::int64_t>(bytes));
    twice_ = _mm_unpacklo_epi8(once, once);
  }

  bool Has(char c) const {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(twice_, _mm_set1_epi8(c))) != 0;
  }

  // Of a text of at least eight bytes.
  Ends CountAtEnds(std::string_view text) const {
    const __m128i ends = _mm_unpacklo_epi64(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text.data())),
        _mm_loadl_epi64(
            reinterpret_cast<const __m128i*>(text.data() + text.size() - 8)));
    const auto found = static_cast<unsigned>(
        _mm_movemask_epi8(Matches(ends, std::make_index_sequence<kMost>())));
    return {
        .leading = std::countr_one(static_cast<std::uint8_t>(found)),
        .trailing = std::countl_one(static_cast<std::uint8_t>(found >> 8U))};
  }

 private:
  // Returns the member in all sixteen bytes.
  template <std::size_t kMember>
  __m128i Spread() const {
    if constexpr (kMember < 4) {
      const __m128i four = _mm_shufflelo_epi16(twice_, 0x55 * kMember);
      return _mm_unpacklo_epi64(four, four);
    } else {
      const __m128i four = _mm_shufflehi_epi16(twice_, 0x55 * (kMember - 4));
      return _mm_unpackhi_epi64(four, four);
    }
  }

  template <std::size_t... kMember>
  __m128i Matches(__m128i bytes,
                  std::index_sequence<kMember...> /*members*/) const {
    __m128i matches = _mm_setzero_si128();
    ((matches =
          _mm_or_si128(matches, _mm_cmpeq_epi8(bytes, Spread<kMember>()))),
     ...);
    return matches;
  }

  __m128i twice_;  // Every member in two bytes.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TEXT_FEW_BYTES_H_
