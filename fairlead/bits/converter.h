// Bit strings as short text that a user can read and type, and back.

#ifndef FAIRLEAD_BITS_CONVERTER_H_
#define FAIRLEAD_BITS_CONVERTER_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/bits/bitstr.h"
#include "fairlead/export.h"

namespace fairlead {

/// Converts `totalBits` bits to text and back, in linear time. Plain value.
/// Throws std::bad_alloc only. Bits beyond 512 are not stored and read as 0. A
/// failure sets `error` for good: use a new converter for each untrusted text.
/// @code
/// fairlead::CConverter converter(30, 6, 2);
/// converter.LoadData("TB-AA-A");  // converter.bitstr.data[0] == 83
/// @endcode
/// - digits: a character holds `bitsPerChar` bits, 1 to 8, lowest bits first.
///   Values 0 to 63 are "A" to "Z", "1" to "9", "a" to "z", "0", "@", "#";
///   larger ones are "-", which does not read back. A negative `bitsPerChar`
///   writes "" and fails to read; above 8, only the low 8 bits are written.
/// - decimal, if `bitsPerChar` is 0: the bits, at most 64, are one number,
///   padded with zeros to the most digits that `totalBits` can need.
struct FAIRLEAD_EXPORT CConverter {
  // NOLINTBEGIN(modernize-avoid-c-arrays)
  char alphabet[256];          ///< Digit value to character.
  unsigned char reverse[256];  ///< Character to digit value; 255: none.
  // NOLINTEND(modernize-avoid-c-arrays)

  CBitstr bitstr;            ///< The current contents.
  std::int32_t totalBits;    ///< Bits in a text; negative: 0.
  std::int32_t bitsPerChar;  ///< Bits per character; 0 for decimal.
  std::int32_t groupSize;    ///< Characters per group; 0: one group.

  /// 0, or why a load failed. Digits: 1 not `totalBits / bitsPerChar` of them,
  /// 2 one of more than `bitsPerChar` bits. Decimal: 3 more digits than
  /// `totalBits` can need, 4 no signed 64-bit number.
  std::int32_t error = 0;

  CConverter(int total_bits, int bits_per_char, int group_size) noexcept;

  /// Returns the text without its hyphens and spaces, which loads skip.
  [[nodiscard]] static std::string ExtractMeat(std::string_view text);

  /// Reads a text. A failure sets `error` and returns zeros, except for the
  /// whole bytes before error 2. Digits: `length` is `totalBits / 8`; a missing
  /// last one is 0; bytes above 0x7F are 45; of 8 bits, any byte is accepted.
  /// Decimal: reads a number as `>>` does; `length` is rounded up.
  CBitstr StrToBitstr(std::string_view text);

  bool LoadData(std::string_view text);  ///< Sets `bitstr`; returns !`error`.
  bool LoadData(const CBitstr& bits) noexcept;  ///< Sets it; returns true.

  /// Returns `bitstr`.
  [[nodiscard]] CBitstr GetBitstr() const noexcept { return bitstr; }

  /// Returns `totalBits` bits as text. The last digit may have bits past them.
  /// Decimal: "" above 64 bits; 64 are signed, with zeros before the minus.
  [[nodiscard]] std::string BitstrToStr(const CBitstr& bits) const;

  /// Returns `bitstr` as text.
  [[nodiscard]] std::string GetStr() const { return BitstrToStr(bitstr); }

  /// Returns the text with a "-" after every |size| characters, not at its end.
  [[nodiscard]] static std::string GetDividedStr(std::string_view text,
                                                 int size);

  /// Returns GetStr() in groups of `groupSize`, less a digit that is not full.
  [[nodiscard]] std::string GetDividedStr() const;
};

}  // namespace fairlead

#endif  // FAIRLEAD_BITS_CONVERTER_H_
