// Numbers as decimal text, for lines that are printed often. Not installed.

#ifndef FAIRLEAD_BASE_DECIMAL_H_
#define FAIRLEAD_BASE_DECIMAL_H_

#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fairlead::internal {

// The size of the longest text, "-2147483648".
constexpr std::size_t kMaxDecimal = 11;

// Returns the eight digits of a number below 10^8, one in each byte, the first
// in the lowest one. Splits all parts at once: a number into two of four
// digits, these into four of two, and these into the digits. The factors divide
// by 100 and by 10, exactly for parts of that size.
constexpr std::uint64_t EightDigits(std::uint32_t number) {
  const std::uint64_t fours = number / 10'000 | std::uint64_t{number % 10'000}
                                                    << 32U;
  const std::uint64_t upper_twos =
      (fours * 10'486 >> 20U) & 0x0000'007f'0000'007f;
  const std::uint64_t twos = upper_twos | (fours - 100 * upper_twos) << 16U;
  const std::uint64_t tens = (twos * 103 >> 10U) & 0x000f'000f'000f'000f;
  return tens | (twos - 10 * tens) << 8U;
}

// Writes a number at `out`, where kMaxDecimal bytes must be free, as
// std::to_chars does, several times as fast. Returns the end of the text.
inline char* WriteDecimal(std::int32_t number, char* out) {
  if (number < 0 || number >= 100'000'000)
    return std::to_chars(out, out + kMaxDecimal, number).ptr;
  const std::uint64_t digits = EightDigits(static_cast<std::uint32_t>(number));
  constexpr std::uint64_t kLastDigit = std::uint64_t{1} << 56U;  // Even if 0.
  const auto zeros =
      static_cast<unsigned>(std::countr_zero(digits | kLastDigit)) / 8U;
  const std::uint64_t text = (digits | 0x3030'3030'3030'3030) >> 8U * zeros;
  std::memcpy(out, &text, sizeof text);
  return out + (sizeof text - zeros);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_DECIMAL_H_
