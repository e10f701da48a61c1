// Bit strings of fixed capacity, and copying of bit runs.

#ifndef FAIRLEAD_BITS_BITSTR_H_
#define FAIRLEAD_BITS_BITSTR_H_

#include <cstdint>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// Up to 512 bits. Plain value, which `fork()` copies. Bit i is bit i % 32 of
/// word i / 32, from the least significant; also bit i % 8 of byte i / 8.
struct FAIRLEAD_EXPORT CBitstr {
  std::uint32_t data[16] = {};  // NOLINT(modernize-avoid-c-arrays)
  std::int32_t length = 0;      ///< In bytes, if CConverter set it.

  CBitstr() = default;

  /// Reads a decimal number as `CConverter(56, 0, 3)` does, but keeps only its
  /// low byte: 300, which is 0x12C, gives 0x2C and the length 7. All zero if
  /// the text is no such number. Kept for compatibility: for the whole number,
  /// use CConverter::LoadData().
  explicit CBitstr(std::string_view text);
};

/// Copies `count` bits, in ascending order, from bit `source_bit` of the source
/// to bit `destination_bit` of the destination; keeps all other bits. Linear;
/// does not allocate. Bits are numbered as in CBitstr.
///
/// Source words are `stride` words apart (n reads a column of a table with n
/// columns); only those that contribute a bit are read, just before the word
/// they go to is written. Negative values give unspecified results, but no word
/// before the first is accessed. A count of 0 is not a no-op: it overwrites the
/// destination word from `destination_bit` to its end. Kept for compatibility.
/// @code
/// const unsigned int source[] = {0xA0000000, 0x5};
/// fairlead::CBitstr bits;  // 512 zeros
/// fairlead::MoveBits(source, 28, bits.data, 0, 8, 1);  // bits.data[0] == 0x5A
/// @endcode
FAIRLEAD_EXPORT void MoveBits(const unsigned int* source, int source_bit,
                              unsigned int* destination, int destination_bit,
                              int count, int stride) noexcept;

/// Returns the value with its bytes reversed: 0x44332211 for 0x11223344.
[[nodiscard]] constexpr unsigned int Endians(unsigned int value) noexcept {
  return value >> 24U | (value >> 8U & 0xFF00U) | (value & 0xFF00U) << 8U |
         value << 24U;
}

}  // namespace fairlead

#endif  // FAIRLEAD_BITS_BITSTR_H_
