// A count of seconds, as a time of day or a duration, and its text forms.

#ifndef FAIRLEAD_TIME_TIME_OF_DAY_H_
#define FAIRLEAD_TIME_TIME_OF_DAY_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// A signed count of seconds, spelled `h:mm:ss`, `m:ss` or as plain seconds.
///
/// A time of day counts from midnight; a duration has no origin. No range is
/// enforced: 90,000 is 25:00:00, and a difference may be negative. What leaves
/// the 32-bit range goes on at its other end; nothing here throws but for want
/// of memory.
///
/// The hours, minutes and seconds of a count are the quotients and remainders
/// of a division that rounds toward zero, so those of a negative count are
/// negative or zero: -3723 is -1, -2 and -3. The hours grow past 24.
///
/// @par Thread safety
/// A plain value that shares nothing: one thread per object, or any number of
/// readers.
/// @par Cost
/// A text form is one string; only one of more than 15 characters allocates.
/// @par Example
/// @code
/// fairlead::CTimeOfDay opening;
/// opening.LoadFromString("8:30:00");
/// fairlead::CTimeOfDay length;
/// length.LoadFromString("90:00");  // 90 minutes
/// std::string closing = (opening + length).GetStampString();  // "10:00:00"
/// @endcode
struct FAIRLEAD_EXPORT CTimeOfDay {
  std::int32_t seconds = 0;  ///< Seconds; since midnight for a time of day.

  /// The seconds as a number.
  int GetSeconds() const { return seconds; }

  /// The seconds as decimal text: "3723".
  std::string GetSecondsString() const;

  /// The number that reads like the time: hours * 10000 + minutes * 100 +
  /// seconds, so that 13:05:09 is 130509.
  ///
  /// Modulo 2^32, which matters to negative counts and to those of more than
  /// 429,496 hours: -1 is 4294967295.
  unsigned int GetStamp() const;

  /// Hours, minutes and seconds as lz2() writes them, with colons between:
  /// "13:05:09". The hours are never cut (90,000 seconds are "25:00:00"), and
  /// each part of a negative count has its own sign ("-1:-2:-3").
  std::string GetStampString() const;

  /// The sum, which does not start anew at midnight.
  CTimeOfDay operator+(const CTimeOfDay& other) const;

  /// The difference, which may be negative.
  CTimeOfDay operator-(const CTimeOfDay& other) const;

  /// Sets the count to the time that `text` spells.
  ///
  /// A text without a colon is one number of seconds, read by getval<int,int>()
  /// with 0 to fall back on, so "45 or so" is 45.
  ///
  /// With a colon, it is up to three numbers, read as a stream set to the
  /// classic locale does with `>>` when every colon is a blank. The last number
  /// read counts seconds, the one before it minutes, the first of three hours.
  /// The first thing that is no `int` ends the reading ("1:x:3" is one second),
  /// and so does the third number ("1:02:03:04" is "1:02:03"). A number may be
  /// negative, or larger than 59: "1:-30" is 30 seconds, "0:90" is 90.
  ///
  /// @return false for an empty text (the count is kept) and for a text without
  ///     a colon that does not start with a number or starts with one that no
  ///     `int` holds, such as "2147483648" (the count becomes 0). A text with a
  ///     colon is always taken, ":" as 0 seconds.
  /// @par Cost
  /// Linear in the text; no stream is made, and nothing allocated.
  bool LoadFromString(std::string_view text);
};

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_TIME_OF_DAY_H_
