// Bit strings as short text that a user can read and type, and back.

#ifndef FAIRLEAD_BITS_CONVERTER_H_
#define FAIRLEAD_BITS_CONVERTER_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/bits/bitstr.h"
#include "fairlead/export.h"

namespace fairlead {

/// Converts bits to text and back, in one of two modes. Plain value, which
/// `fork()` copies.
///
/// - digits: a character holds `bitsPerChar` bits, 1 to 8, lowest bits first.
///   Values 0 to 63 are "A" to "Z", "1" to "9", "a" to "z", "0", "@", "#";
///   larger ones are "-", which does not read back.
/// - decimal, if `bitsPerChar` is 0: the bits, at most 64, are one number,
///   padded with zeros to the most digits that `totalBits` can need.
///
/// Hyphens may divide a text into groups: reading skips hyphens and spaces.
/// Bits beyond 512 are not stored and read as 0; a negative `totalBits` is 0;
/// a `groupSize` of 0 does not divide. A negative `bitsPerChar` writes "" and
/// fails to read (error 1); above 8, only the low 8 of those bits are written.
///
/// A failed load sets `error`, which is never cleared: use a new converter for
/// each untrusted text. Nothing is printed; only a failed allocation throws.
/// Writing allocates at most once, reading up to 1024 characters never.
/// @par Example
/// @code
/// fairlead::CConverter converter(30, 6, 2);
/// bool ok = converter.LoadData("TB-AA-A");       // ok == true
/// unsigned first = converter.bitstr.data[0];     // first == 83
/// std::string text = converter.GetDividedStr();  // text == "TB-AA-A"
/// @endcode
struct FAIRLEAD_EXPORT CConverter {
  // NOLINTBEGIN(modernize-avoid-c-arrays)
  char alphabet[256];          ///< Digit value to character.
  unsigned char reverse[256];  ///< Character to digit value; 255: none.
  // NOLINTEND(modernize-avoid-c-arrays)

  CBitstr bitstr;            ///< The current contents.
  std::int32_t totalBits;    ///< Bits in a text.
  std::int32_t bitsPerChar;  ///< Bits per character; 0 for decimal.
  std::int32_t groupSize;    ///< Characters per group in the divided form.

  /// 0, or what was wrong with a loaded text, without hyphens and spaces:
  /// 1 not `totalBits / bitsPerChar` characters (digits); 2 a character's value
  /// exceeds `bitsPerChar` bits (digits); 3 more digits than `totalBits` can
  /// need (decimal); 4 no signed 64-bit number at its start (decimal).
  std::int32_t error = 0;

  CConverter(int total_bits, int bits_per_char, int group_size) noexcept;

  /// Returns the text without its hyphens and spaces.
  [[nodiscard]] static std::string ExtractMeat(std::string_view text);

  /// Reads a text into a new bit string; sets `error` if that fails. Digits:
  /// whole bytes are stored, `length` is `totalBits / 8`. If `totalBits` is not
  /// a multiple of `bitsPerChar`, the missing last one counts as 0. Bytes above
  /// 0x7F have the value 45; 8 bits accept any character. Decimal: leading
  /// zeros are dropped, a number is read as `>>` does, the rest is ignored.
  /// `length`, the bytes stored, is `totalBits / 8`, rounded up.
  /// @return zero on failure, except for the whole bytes of data before error 2
  CBitstr StrToBitstr(std::string_view text);

  /// Sets the contents to StrToBitstr(text), even if that fails.
  /// @return true if neither this nor an earlier load failed: `error` is 0
  bool LoadData(std::string_view text);

  /// Sets the contents. Returns true.
  bool LoadData(const CBitstr& bits) noexcept;

  /// Returns a copy of the contents.
  [[nodiscard]] CBitstr GetBitstr() const noexcept { return bitstr; }

  /// Returns the first `totalBits` bits as text; ignores `bits.length`. Digits:
  /// whole characters, of which the last may include bits past `totalBits`.
  /// Decimal: "" for over 64 bits; 64 are signed, with zeros before the minus.
  [[nodiscard]] std::string BitstrToStr(const CBitstr& bits) const;

  /// Returns the contents as text.
  [[nodiscard]] std::string GetStr() const { return BitstrToStr(bitstr); }

  /// Returns the text with a "-" after every |size| characters, not at its end.
  [[nodiscard]] static std::string GetDividedStr(std::string_view text,
                                                 int size);

  /// Returns the contents as text in groups of `groupSize`; in digit mode,
  /// leaves out a last character that is not full.
  [[nodiscard]] std::string GetDividedStr() const;
};

}  // namespace fairlead

#endif  // FAIRLEAD_BITS_CONVERTER_H_
