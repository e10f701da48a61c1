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

/// A byte offset in a file, in the `fpos_t` of `fgetpos` and `fsetpos`.
///
/// Everything here works on the offset, as an unsigned 64-bit number: one that
/// leaves the range goes on at its other end. The multibyte conversion state
/// that an `fpos_t` also holds is carried along untouched.
///
/// The two halves of the offset are its upper and lower 32 bits.
///
/// @par Thread safety
/// A plain value that shares nothing: one thread per object, or any number of
/// readers.
/// @par Example
/// @code
/// fairlead::CFilePos done;
/// done.AddValue(1000);  // a block
/// done.AddValue(536);   // and another
/// std::string size = done.GetText();  // "1.51 Kb"
/// std::string saved = done.GetStr();  // "0000000000000600"
/// @endcode
struct FAIRLEAD_EXPORT CFilePos {
  std::fpos_t position{};      ///< Offset and conversion state.
  std::int32_t additions = 0;  ///< How many times AddValue() was called.

  /// The position, offset and conversion state.
  std::fpos_t GetValue() const { return position; }

  /// Replaces offset and conversion state; the count of additions is kept.
  void SetValue(std::fpos_t value) { position = value; }

  /// Moves the offset forward by `amount` bytes, and counts the addition.
  void AddValue(unsigned int amount);

  /// Whether the offset is 0.
  bool IsZero() const;

  /// Whether this offset is the greater one, of two unsigned 64-bit numbers: an
  /// offset that `fpos_t` shows as negative is greater than all others.
  bool GreaterThan(const CFilePos& other) const;

  /// The bytes from `other` to this offset, modulo 2^32.
  ///
  /// The upper halves are not looked at, so the result tells a distance only
  /// where that is below 4 GB. DifferenceInMb() has no such limit.
  std::uint32_t Difference(const CFilePos& other) const;

  /// The mebibytes from `other` to this offset, with the fraction: negative
  /// where the other is the greater one.
  ///
  /// Both offsets become doubles first, exactly so below 2^53 bytes (8 Pb).
  double DifferenceInMb(const CFilePos& other) const;

  /// The offset as 16 digits of `hexletters`, most significant first:
  /// "000000000000001F". LoadFromString() reads it. One string is allocated.
  std::string GetStr() const;

  /// The value of a hexadecimal digit of either case, 0 to 15.
  ///
  /// Meant for a row of digits that share one `ok`: it is set to true by a
  /// digit and to false by any other character, for which the result is -1, and
  /// while it is false the result is 0, whatever the character.
  static int GetFromHex(char c, bool& ok);

  /// Sets the offset to the number that the hexadecimal digits of `text` spell.
  ///
  /// Both cases are taken; a blank, a sign or a prefix such as "0x" is not.
  /// Conversion state and count of additions are kept.
  ///
  /// Of a text of more than 16 digits none is refused: the last 8 make the
  /// lower half, and those before them the upper half, where every eighth
  /// stands at the same place and adds to it, so "100000000" before the last 8
  /// is 1.
  ///
  /// @return false for an empty text, which changes nothing, and where a
  ///     character is no digit. The offset is then of no use: of the half with
  ///     the character, what stands right of it was read, and -1 added in its
  ///     place. The lower half is read first; if that fails, the upper half is
  ///     as it was.
  /// @par Cost
  /// Linear in the text; allocates nothing.
  bool LoadFromString(std::string_view text);

  /// The offset as a size for people: "512 bytes", "1.51 Kb", "10.1 Mb",
  /// "101 Gb". The units are bytes, Kb, Mb, Gb, Tb, Pb and Eb, each 1024 of the
  /// one before.
  ///
  /// Below 10 units it has two decimals, below 100 one, and none from there on,
  /// where the offset is a whole number of units, or where rounding up makes a
  /// whole unit (2047 bytes are "2 Kb"). It never shows less than there is, and
  /// often a little more: a fraction is rounded up, and by one step even where
  /// it fits, so 1.5 Kb are "1.51 Kb". The unit is chosen before that: one byte
  /// less than a megabyte is "1024 Kb".
  ///
  /// @par Cost
  /// Integer arithmetic; allocates nothing.
  std::string GetText() const;
};

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_FILE_POS_H_
