// Looks up sixteen digits at once, in tables held in registers.

#include "fairlead/bits/converter_sixteens.h"

#include <tmmintrin.h>

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "fairlead/bits/bitstr.h"

#define FAIRLEAD_SSSE3 __attribute__((target("ssse3")))

namespace fairlead::internal {
namespace {

constexpr std::size_t kDigits = 16;
constexpr std::size_t kFilled = 12;  // Bytes that sixteen digits fill.

// Returns whether sixteen bytes can be loaded or stored at byte `byte`.
bool Fits(std::size_t byte) { return byte + sizeof(__m128i) <= kDataBytes; }

bool HasSsse3() { return static_cast<bool>(__builtin_cpu_supports("ssse3")); }

FAIRLEAD_SSSE3 inline __m128i Load(const void* data) {
  return _mm_loadu_si128(static_cast<const __m128i*>(data));
}

FAIRLEAD_SSSE3 inline void Store(void* data, __m128i vector) {
  _mm_storeu_si128(static_cast<__m128i*>(data), vector);
}

// Looks up sixteen entries in a part of a table, those with indexes from 16 *
// kPart on. A shuffle covers sixteen entries and returns zero for an index
// above 0x7F: indexes outside the part are raised above it.
template <std::size_t kPart>
[[gnu::always_inline]] FAIRLEAD_SSSE3 inline __m128i LookUpPart(
    const void* table, __m128i index) {
  const auto* const entries = static_cast<const char*>(table) + 16 * kPart;
  const __m128i within =
      _mm_xor_si128(index, _mm_set1_epi8(static_cast<char>(16 * kPart)));
  const __m128i raised = _mm_adds_epu8(within, _mm_set1_epi8(0x70));
  return _mm_shuffle_epi8(Load(entries), raised);
}

// Looks up sixteen entries in some parts of a table. The parts are a pack, not
// a loop, so that each has its constants at every level of optimization.
template <std::size_t... kPart>
[[gnu::always_inline]] FAIRLEAD_SSSE3 inline __m128i LookUp(
    const void* table, __m128i index, std::index_sequence<kPart...> /*parts*/) {
  __m128i found = _mm_setzero_si128();
  ((found = _mm_or_si128(found, LookUpPart<kPart>(table, index))), ...);
  return found;
}

using ValueParts = std::make_index_sequence<4>;            // Values below 64.
using AsciiParts = std::index_sequence<2, 3, 4, 5, 6, 7>;  // From a space on.

// Splits twelve bytes into sixteen values: every three bytes into four. The
// first value starts at bit `first`, 0 to 7, of the first byte.
FAIRLEAD_SSSE3 inline __m128i Spread(__m128i bytes, std::size_t first) {
  const __m128i fours = _mm_shuffle_epi8(
      bytes, _mm_setr_epi8(0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11, 12));
  const __m128i threes =
      _mm_srl_epi32(fours, _mm_cvtsi32_si128(static_cast<int>(first)));
  const __m128i twelves = _mm_or_si128(
      _mm_and_si128(threes, _mm_set1_epi32(0xFFF)),
      _mm_and_si128(_mm_slli_epi32(threes, 4), _mm_set1_epi32(0xFFF0000)));
  return _mm_or_si128(
      _mm_and_si128(twelves, _mm_set1_epi16(0x3F)),
      _mm_and_si128(_mm_slli_epi16(twelves, 2), _mm_set1_epi16(0x3F00)));
}

// The inverse of Spread(); the last four bytes are zero.
FAIRLEAD_SSSE3 inline __m128i Join(__m128i values) {
  const __m128i twelves = _mm_maddubs_epi16(values, _mm_set1_epi16(0x4001));
  const __m128i threes = _mm_madd_epi16(twelves, _mm_set1_epi32(0x10000001));
  return _mm_shuffle_epi8(threes, _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12,
                                                13, 14, -1, -1, -1, -1));
}

// Drops the first `count` values and moves the others to the front, followed by
// zeros.
FAIRLEAD_SSSE3 inline __m128i Drop(__m128i values, std::size_t count) {
  alignas(32) static constexpr std::array<signed char, 32> kFrom = {
      0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
      -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  return _mm_shuffle_epi8(values, Load(&kFrom[count]));
}

FAIRLEAD_SSSE3 std::size_t Write(const CConverter& converter,
                                 const unsigned char* bytes, char* out,
                                 std::size_t size) {
  const char* const table = converter.alphabet;
  std::size_t at = 0;
  std::size_t byte = 0;
  for (; at + kDigits <= size && Fits(byte); at += kDigits, byte += kFilled)
    Store(out + at, LookUp(table, Spread(Load(bytes + byte), 0), ValueParts()));
  // The last sixteen overlap those already written.
  const std::size_t bit = (size - kDigits) * 6;
  if (at == size || !Fits(bit / 8)) return at;
  Store(out + size - kDigits,
        LookUp(table, Spread(Load(bytes + bit / 8), bit % 8), ValueParts()));
  return size;
}

// Reads sixteen values. Returns false if one has more than six bits or a digit
// is not printable ASCII.
FAIRLEAD_SSSE3 inline bool Values(const CConverter& converter, const char* text,
                                  __m128i& values) {
  const __m128i digits = Load(text);
  values = LookUp(converter.reverse, digits, AsciiParts());
  // The comparison is signed: bytes above 0x7F are less than a space, too.
  const __m128i unlisted = _mm_cmplt_epi8(digits, _mm_set1_epi8(' '));
  // Only top bits are tested. Values above 0x7F have theirs set; `large` sets
  // it for 0x40 to 0x7F.
  const __m128i large = _mm_cmpgt_epi8(values, _mm_set1_epi8(0x3F));
  const __m128i wrong = _mm_or_si128(_mm_or_si128(values, large), unlisted);
  return _mm_movemask_epi8(wrong) == 0;
}

FAIRLEAD_SSSE3 std::size_t Read(const CConverter& converter,
                                std::string_view text, unsigned char* bytes) {
  __m128i values;
  std::size_t at = 0;
  std::size_t byte = 0;
  for (; at + kDigits <= text.size() && Fits(byte);
       at += kDigits, byte += kFilled) {
    if (!Values(converter, &text[at], values)) return at;
    Store(bytes + byte, Join(values));
  }
  // The last sixteen overlap those already read.
  const std::size_t last = text.size() - kDigits;
  if (at == text.size() || !Fits(byte) ||
      !Values(converter, &text[last], values))
    return at;
  Store(bytes + byte, Join(Drop(values, at - last)));
  return text.size();
}

}  // namespace

std::size_t WriteSixteens(const CConverter& converter,
                          const unsigned char* bytes, char* out,
                          std::size_t size) {
  return HasSsse3() ? Write(converter, bytes, out, size) : 0;
}

std::size_t ReadSixteens(const CConverter& converter, std::string_view text,
                         unsigned char* bytes) {
  return HasSsse3() ? Read(converter, text, bytes) : 0;
}

}  // namespace fairlead::internal
