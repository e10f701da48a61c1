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

/// A byte offset in a file, in the `fpos_t` of `fgetpos` and `fsetpos`. The
/// offset is an unsigned 64-bit number that wraps around; the conversion state
/// beside it is kept as it is. Plain value, which `fork()` copies.
/// @par Example
/// @code
/// fairlead::CFilePos done;
/// done.AddValue(1536);
/// std::string size = done.GetText();  // size == "1.51 Kb"
/// std::string saved = done.GetStr();  // saved == "0000000000000600"
/// @endcode
struct FAIRLEAD_EXPORT CFilePos {
  std::fpos_t position{};      ///< Offset and conversion state.
  std::int32_t additions = 0;  ///< Number of calls of AddValue().

  /// Returns the offset and the conversion state.
  std::fpos_t GetValue() const { return position; }

  /// Sets the offset and the conversion state; keeps the number of additions.
  void SetValue(std::fpos_t value) { position = value; }

  /// Moves the offset forward by `amount` bytes and counts the addition.
  void AddValue(unsigned int amount);

  /// Returns whether the offset is 0.
  bool IsZero() const;

  /// Returns whether this offset is the greater one. Compares as unsigned, so
  /// that a negative `fpos_t` is greater than a positive one.
  bool GreaterThan(const CFilePos& other) const;

  /// Returns the bytes from `other` to this offset, modulo 2^32. For distances
  /// of 4 GiB and more, use DifferenceInMb().
  std::uint32_t Difference(const CFilePos& other) const;

  /// Returns the mebibytes from `other` to this offset, negative if `other` is
  /// greater. Converts both to double first, exactly below 2^53 bytes (8 Pb).
  double DifferenceInMb(const CFilePos& other) const;

  /// Returns the offset as 16 hexletters, most significant first:
  /// "000000000000001F". LoadFromString() reads it. Allocates one string.
  std::string GetStr() const;

  /// Returns 0 if `ok` is false, otherwise the value of a hexadecimal digit of
  /// either case; for any other character, sets `ok` to false and returns -1.
  static int GetFromHex(char c, bool& ok);

  /// Sets the offset to the number in hexadecimal digits of either case,
  /// without space, sign or "0x". Keeps all else. Linear; does not allocate.
  ///
  /// More than 16 digits are accepted. The last 8 are the lower half. Of the
  /// others, digit i from the right is added to the upper half at place i mod
  /// 8, so "100000000" before the last 8 is 1.
  /// @return false if the text is empty, with the offset unchanged, or has a
  ///     character that is no digit, with a useless offset: its half is that of
  ///     the digits right of it, with -1 added at its place. The lower half is
  ///     read first; if that fails, the upper half is unchanged.
  bool LoadFromString(std::string_view text);

  /// Returns the offset as a size: "512 bytes", "1.51 Kb", "10.1 Mb", "101 Gb".
  /// Units are bytes, Kb, Mb, Gb, Tb, Pb and Eb, each 1024 of the one before.
  ///
  /// A fraction has two decimals below 10 units, one below 100, else none. It
  /// is rounded up, by at least one step even if it is exact: 1.5 Kb is
  /// "1.51 Kb", 2047 bytes are "2 Kb". The unit is chosen before rounding, so
  /// that one byte less than 1 Mb is "1024 Kb". Does not allocate.
  std::string GetText() const;
};

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_FILE_POS_H_
