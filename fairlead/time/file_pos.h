// A position in a file: moved, compared, as hexadecimal text and as a size.

#ifndef FAIRLEAD_TIME_FILE_POS_H_
#define FAIRLEAD_TIME_FILE_POS_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// The digits of CFilePos::GetStr(), in the order of their values.
inline constexpr std::string_view hexletters = "0123456789ABCDEF";

/// A byte offset in a file: the unsigned 64-bit number in the `fpos_t` of
/// `fgetpos` and `fsetpos`. It wraps around; the conversion state beside it is
/// kept. Plain value, which `fork()` copies. Only GetStr() allocates.
/// @code
/// fairlead::CFilePos done;
/// done.AddValue(1536);
/// std::string size = done.GetText();  // size == "1.51 Kb"
/// std::string saved = done.GetStr();  // saved == "0000000000000600"
/// @endcode
struct FAIRLEAD_EXPORT CFilePos {
  std::fpos_t position{};      ///< Offset and conversion state.
  std::int32_t additions = 0;  ///< Number of calls of AddValue().

  std::fpos_t GetValue() const { return position; }  ///< Returns `position`.

  /// Sets `position`; keeps `additions`.
  void SetValue(std::fpos_t value) { position = value; }

  void AddValue(unsigned int amount);  ///< Moves forward by so many bytes.

  bool IsZero() const;  ///< Returns whether the offset is 0.

  /// Returns whether this offset is greater, as unsigned: -1 is the greatest.
  bool GreaterThan(const CFilePos& other) const;

  /// Returns the bytes from `other` to this offset, modulo 2^32.
  std::uint32_t Difference(const CFilePos& other) const;

  /// Returns the mebibytes from `other` to this offset, negative if `other` is
  /// greater. Subtracts doubles, which are exact below 2^53 bytes.
  double DifferenceInMb(const CFilePos& other) const;

  std::string GetStr() const;  ///< Returns 16 digits: "000000000000001F".

  /// Returns 0 if `ok` is false, otherwise the value of a hexadecimal digit of
  /// either case; for any other character, sets `ok` to false and returns -1.
  static int GetFromHex(char c, bool& ok);

  /// Sets the offset to a number in hexadecimal digits of either case, without
  /// space, sign or "0x". Linear. The last 8 digits are the lower half. Digit i
  /// before them, from the right, is added to the upper half at place i mod 8,
  /// so "100000000" before the last 8 is 1.
  /// @return false if the text is empty, with the offset unchanged, or has a
  ///     character that is no digit, with a useless offset: its half is that of
  ///     the digits right of it, with -1 added at its place. The lower half is
  ///     read first; if that fails, the upper half is unchanged.
  bool LoadFromString(std::string_view text);

  /// Returns the offset as a size: "512 bytes", "1.51 Kb", "10.1 Mb", "101 Gb".
  /// Units are bytes, Kb, Mb, Gb, Tb, Pb and Eb, each 1024 of the one before. A
  /// fraction has two decimals below 10 units, one below 100, else none. It is
  /// rounded up by a step even if exact: 1.5 Kb is "1.51 Kb". The unit is
  /// chosen before rounding, so that one byte less than 1 Mb is "1024 Kb".
  std::string GetText() const;
};

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_FILE_POS_H_
