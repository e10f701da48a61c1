// Looks sixteen digits up at once, in tables held in registers.
#include "fairlead/bits/converter_sixteens.h"

#include <tmmintrin.h>

#include <array>
#include <cstddef>
#include <string_view>

#include "fairlead/bits/bitstr.h"

#define FAIRLEAD_SHUFFLES __attribute__((target("ssse3")))

namespace fairlead::internal {
namespace {

constexpr std::size_t kDigits = 16;
constexpr std::size_t kFilled = 12;  // Bytes that sixteen digits fill.

// Can sixteen bytes be loaded or stored from byte `byte` on?
bool HasRoom(std::size_t byte) { return byte + sizeof(__m128i) <= kDataBytes; }

bool ProcessorShuffles() {
  return static_cast<bool>(__builtin_cpu_supports("ssse3"));
}

FAIRLEAD_SHUFFLES __m128i Load(const void* data) {
  return _mm_loadu_si128(static_cast<const __m128i*>(data));
}

FAIRLEAD_SHUFFLES void Store(void* data, __m128i vector) {
  _mm_storeu_si128(static_cast<__m128i*>(data), vector);
}

// Sixteen entries of a table, with indexes from 16 * kFirst to 16 * kEnd - 1. A
// shuffle looks up in sixteen entries, and gives zero where the index is above
// 0x7F: so the indexes of other parts are lifted there.
template <std::size_t kFirst, std::size_t kEnd>
FAIRLEAD_SHUFFLES __m128i LookUp(const void* table, __m128i index) {
  __m128i found = _mm_setzero_si128();
  for (std::size_t part = kFirst; part < kEnd; ++part) {
    const auto* const entries = static_cast<const char*>(table) + 16 * part;
    const __m128i within =
        _mm_xor_si128(index, _mm_set1_epi8(static_cast<char>(16 * part)));
    const __m128i lifted = _mm_adds_epu8(within, _mm_set1_epi8(0x70));
    found = _mm_or_si128(found, _mm_shuffle_epi8(Load(entries), lifted));
  }
  return found;
}

// Twelve bytes as sixteen values: of every three, into four bytes. The first
// value starts at bit `first` of the first byte, 0 to 7.
FAIRLEAD_SHUFFLES __m128i Spread(__m128i bytes, std::size_t first) {
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

// The opposite; the last four bytes are zero.
FAIRLEAD_SHUFFLES __m128i Join(__m128i values) {
  const __m128i twelves = _mm_maddubs_epi16(values, _mm_set1_epi16(0x4001));
  const __m128i threes = _mm_madd_epi16(twelves, _mm_set1_epi32(0x10000001));
  return _mm_shuffle_epi8(threes, _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12,
                                                13, 14, -1, -1, -1, -1));
}

// Drops the first `count` values and moves the others to the front; zeros
// follow.
FAIRLEAD_SHUFFLES __m128i Drop(__m128i values, std::size_t count) {
  alignas(32) static constexpr std::array<signed char, 32> kFrom = {
      0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
      -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  return _mm_shuffle_epi8(values, Load(&kFrom[count]));
}

FAIRLEAD_SHUFFLES std::size_t Write(const CConverter& converter,
                                    const unsigned char* bytes, char* out,
                                    std::size_t size) {
  const char* const table = converter.alphabet;
  std::size_t at = 0;
  std::size_t byte = 0;
  for (; at + kDigits <= size && HasRoom(byte); at += kDigits, byte += kFilled)
    Store(out + at, LookUp<0, 4>(table, Spread(Load(bytes + byte), 0)));
  // The last sixteen, some of which are written already.
  const std::size_t bit = (size - kDigits) * 6;
  if (at == size || !HasRoom(bit / 8)) return at;
  Store(out + size - kDigits,
        LookUp<0, 4>(table, Spread(Load(bytes + bit / 8), bit % 8)));
  return size;
}

// Sixteen values; false if one of them has more than six bits, or a digit is no
// printable one.
FAIRLEAD_SHUFFLES bool Values(const CConverter& converter, const char* text,
                              __m128i& values) {
  const __m128i digits = Load(text);
  values = LookUp<2, 8>(converter.reverse, digits);
  // Compared with their signs, bytes above 0x7F are below the blank, too.
  const __m128i unlisted = _mm_cmplt_epi8(digits, _mm_set1_epi8(' '));
  // Only the top bits count: `large` lacks those that have one themselves.
  const __m128i large = _mm_cmpgt_epi8(values, _mm_set1_epi8(0x3F));
  const __m128i wrong = _mm_or_si128(_mm_or_si128(values, large), unlisted);
  return _mm_movemask_epi8(wrong) == 0;
}

FAIRLEAD_SHUFFLES std::size_t Read(const CConverter& converter,
                                   std::string_view text,
                                   unsigned char* bytes) {
  __m128i values;
  std::size_t at = 0;
  std::size_t byte = 0;
  for (; at + kDigits <= text.size() && HasRoom(byte);
       at += kDigits, byte += kFilled) {
    if (!Values(converter, &text[at], values)) return at;
    Store(bytes + byte, Join(values));
  }
  // The last sixteen, some of which are read already.
  const std::size_t last = text.size() - kDigits;
  if (at == text.size() || !HasRoom(byte) ||
      !Values(converter, &text[last], values))
    return at;
  Store(bytes + byte, Join(Drop(values, at - last)));
  return text.size();
}

}  // namespace

std::size_t WriteSixteens(const CConverter& converter,
                          const unsigned char* bytes, char* out,
                          std::size_t size) {
  return ProcessorShuffles() ? Write(converter, bytes, out, size) : 0;
}

std::size_t ReadSixteens(const CConverter& converter, std::string_view text,
                         unsigned char* bytes) {
  return ProcessorShuffles() ? Read(converter, text, bytes) : 0;
}

}  // namespace fairlead::internal
