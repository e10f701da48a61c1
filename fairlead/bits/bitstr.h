// Bit strings of fixed capacity, and copying runs of bits.

#ifndef FAIRLEAD_BITS_BITSTR_H_
#define FAIRLEAD_BITS_BITSTR_H_

#include <cstdint>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// Up to 512 bits. A plain value.
///
/// Bit i is bit i % 32 of word i / 32, which on this little-endian machine is
/// bit i % 8 of byte i / 8 as well, counting from the least significant.
///
/// @par Thread safety
/// A plain value: one thread per object, or any number of readers.
/// @par Example
/// @code
/// fairlead::CBitstr bits;    // 512 zeros
/// bits.data[0] = 0x12345678;  // the first 32 bits
/// @endcode
struct FAIRLEAD_EXPORT CBitstr {
  /// The bits.
  std::uint32_t data[16] = {};  // NOLINT(modernize-avoid-c-arrays)

  /// What whoever filled the record says its length is. CConverter counts bytes
  /// here, not bits.
  std::int32_t length = 0;

  /// All zero, the length too.
  CBitstr() = default;

  /// Reads a decimal number of up to 56 bits, and keeps its low byte alone.
  ///
  /// The text is read as `CConverter(56, 0, 3)` reads it. The length becomes 7,
  /// data byte 0 the low byte of the number, and all else 0: 300, which is
  /// 0x12C, gives 0x2C. The narrowing is kept as it always was; for the whole
  /// number take what CConverter::LoadData() made of the text. A text that is
  /// no such number gives a record of zeros.
  explicit CBitstr(std::string_view text);
};

/// Copies `count` bits, in ascending order, from bit `sourceBit` of the source
/// to bit `destinationBit` of the destination. The destination's other bits
/// stay as they are.
///
/// Bits are counted from the least significant of the first word, and a run
/// goes on from bit 31 of one word to bit 0 of the next. The source's words
/// stand `stride` apart: with 1 it is an array, with n the column of a table of
/// n columns. The destination's words are next to each other.
///
/// A count of 0 is no special case, and not nothing: from bit `destinationBit`
/// on, the rest of that word is overwritten with bits of the source.
///
/// @param source readable for one stride beyond the word with the last bit
///     copied; words that contribute no bit are not read
/// @param sourceBit,destinationBit 0 or more, of any size
/// @param count 0 or more. With a negative one, position or both, nothing is
///     promised but that no word before the first is touched.
/// @param stride words from one source word to the next
/// @par Overlap
/// Each word written is read from the source just before, so that of two runs
/// that overlap the later words see what was written to the earlier.
/// @par Cost
/// Some nanoseconds, and a fraction of one a word. Allocates nothing.
/// @par Example
/// @code
/// const unsigned int source[2] = {0xA0000000, 0x5};
/// unsigned int destination[1] = {};
/// fairlead::MoveBits(source, 28, destination, 0, 8, 1);  // 0x5A
/// @endcode
FAIRLEAD_EXPORT void MoveBits(const unsigned int* source, int sourceBit,
                              unsigned int* destination, int destinationBit,
                              int count, int stride) noexcept;

/// The value with its four bytes in reverse order: 0x11223344 becomes
/// 0x44332211.
[[nodiscard]] constexpr unsigned int Endians(unsigned int value) noexcept {
  return value >> 24U | (value >> 8U & 0xFF00U) | (value & 0xFF00U) << 8U |
         value << 24U;
}

}  // namespace fairlead

#endif  // FAIRLEAD_BITS_BITSTR_H_
