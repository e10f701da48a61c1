// Bit strings as short text that a person can read and type, and back.

#ifndef FAIRLEAD_BITS_CONVERTER_H_
#define FAIRLEAD_BITS_CONVERTER_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/bits/bitstr.h"
#include "fairlead/export.h"

namespace fairlead {

/// Turns bits into text and text into bits, in one of two modes:
///
/// - digits: each character carries `bitsPerChar` bits, 1 to 8, the first
///   character the lowest. The values 0 to 63 are "A" to "Z", "1" to "9", "a"
///   to "z", "0", "@", "#", in this order; those from 64 on are all "-".
/// - decimal, when `bitsPerChar` is 0: the bits, 64 at most, are one number,
///   padded with zeros to as many digits as `totalBits` can need.
///
/// A text may be shown in groups divided by hyphens. Hyphens and blanks are
/// skipped when reading, so a grouped text reads back. (Widths of 7 and 8 write
/// "-" for values of 64 and more, and such a text does not read back.)
///
/// @par Errors
/// A failed load leaves its code in `error`, where it stays: each later load of
/// a text into the same converter then returns false as well. Take a fresh
/// converter for every text that may be wrong. Nothing is printed, and nothing
/// thrown but a failure to allocate a result.
///
/// @par Odd settings
/// Bits beyond 512 are not stored and read as zeros. A group size of 0 divides
/// nothing. A negative `bitsPerChar` writes empty texts and reads none (error
/// 1); above 8 it is not meant, and the text written is that of 8 low bits a
/// character. A negative `totalBits` stands for no bits.
///
/// @par Thread safety
/// A plain value: one thread per object, or any number of readers.
/// @par Cost
/// A text is written with one allocation of its final size at most, and read
/// with none when it has no more than 1024 characters. Making a
/// converter copies its two tables of 256 bytes.
/// @par Example
/// @code
/// fairlead::CConverter writer(30, 6, 2);
/// fairlead::CBitstr bits;
/// bits.data[0] = 83;
/// writer.LoadData(bits);
/// std::puts(writer.GetDividedStr().c_str());  // TB-AA-A
///
/// fairlead::CConverter reader(30, 6, 2);
/// if (reader.LoadData("TB-AA-A"))
///   std::printf("%u\n", reader.GetBitstr().data[0]);  // 83
/// @endcode
struct FAIRLEAD_EXPORT CConverter {
  /// Digit value to character.
  char alphabet[256];  // NOLINT(modernize-avoid-c-arrays)
  /// Character to digit value; 255 for "-" and for whatever is no digit.
  unsigned char reverse[256];  // NOLINT(modernize-avoid-c-arrays)
  CBitstr bitstr;              ///< The current contents.
  std::int32_t totalBits;      ///< Bits that a text stands for.
  std::int32_t bitsPerChar;    ///< Bits a character; 0 means decimal.
  std::int32_t groupSize;      ///< Characters a group in the divided form.

  /// 0, or what was wrong with a text that was loaded:
  /// - 1: without hyphens and blanks, it has not `totalBits / bitsPerChar`
  ///   characters (digits)
  /// - 2: a character's value needs more than `bitsPerChar` bits (digits)
  /// - 3: it has more digits than `totalBits` can need (decimal)
  /// - 4: it does not begin with a number of 64 bits, sign included (decimal)
  std::int32_t error = 0;

  /// An empty converter, with the three values as given.
  CConverter(int total_bits, int bits_per_char, int group_size) noexcept;

  /// The text without its hyphens and blanks.
  [[nodiscard]] static std::string ExtractMeat(std::string_view text);

  /// Reads a text into a new bit string, and sets `error` if it cannot. The
  /// current contents stay as they are.
  ///
  /// Digits: `length` becomes `totalBits / 8`. Only whole bytes are stored;
  /// when `totalBits` is no multiple of `bitsPerChar`, the character that the
  /// text lacks counts as zero. A byte above 0x7F is read as the value 45, and
  /// so accepted for six bits a character or more. With eight, every
  /// character is accepted.
  ///
  /// Decimal: leading zeros are dropped, then an optional sign and digits are
  /// read as a stream reads them; what follows the digits is ignored. `length`
  /// becomes `totalBits` / 8, rounded up, and so many bytes of the number are
  /// stored.
  ///
  /// @return the bits; on failure all zero, or after error 2 the whole bytes
  ///     that came before, with `length` 0
  CBitstr StrToBitstr(std::string_view text);

  /// Makes StrToBitstr() of the text the current contents, whether it failed or
  /// not.
  ///
  /// @return true if `error` is 0, so that no load before this failed either
  bool LoadData(std::string_view text);

  /// Makes the given bits and their length the current contents.
  ///
  /// @return true
  bool LoadData(const CBitstr& bits) noexcept;

  /// A copy of the current contents.
  [[nodiscard]] CBitstr GetBitstr() const noexcept { return bitstr; }

  /// The first `totalBits` bits of `bits` as text. The length is not looked at.
  ///
  /// Digits: `totalBits / bitsPerChar` characters, rounded up; the last one
  /// holds all of its bits, also those past `totalBits`.
  ///
  /// Decimal: "" for more than 64 bits. For exactly 64 the number is a signed
  /// one, and the zeros that fill it up stand in front of its minus sign.
  [[nodiscard]] std::string BitstrToStr(const CBitstr& bits) const;

  /// The current contents as text.
  [[nodiscard]] std::string GetStr() const { return BitstrToStr(bitstr); }

  /// The text with a "-" after every `size` characters, but none at its end. A
  /// negative size divides as its positive counterpart does.
  [[nodiscard]] static std::string GetDividedStr(std::string_view text,
                                                 int size);

  /// The current contents as text in groups of `groupSize`.
  ///
  /// Digits: of the text, `totalBits / bitsPerChar` characters, rounded down,
  /// are shown; a last one that is not full is left out. Decimal: the whole
  /// text.
  [[nodiscard]] std::string GetDividedStr() const;
};

}  // namespace fairlead

#endif  // FAIRLEAD_BITS_CONVERTER_H_
