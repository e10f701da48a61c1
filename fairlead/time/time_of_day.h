// A count of seconds, as a time of day or a duration, and its text forms.

#ifndef FAIRLEAD_TIME_TIME_OF_DAY_H_
#define FAIRLEAD_TIME_TIME_OF_DAY_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// A signed count of seconds: a time of day or a duration. Plain value, which
/// `fork()` copies.
///
/// No range is enforced (90000 is 25:00:00); arithmetic wraps modulo 2^32.
/// Hours, minutes and seconds are quotients and remainders rounded toward zero:
/// -3723 is -1, -2 and -3. Only a failed allocation throws; texts of up to 15
/// characters are not allocated.
/// @par Example
/// @code
/// fairlead::CTimeOfDay time;
/// time.LoadFromString("8:30:00");
/// std::string text = time.GetStampString();  // text == "08:30:00"
/// @endcode
struct FAIRLEAD_EXPORT CTimeOfDay {
  std::int32_t seconds = 0;  ///< Seconds; since midnight for a time of day.

  /// Returns the seconds.
  int GetSeconds() const { return seconds; }

  /// Returns the seconds in decimal: "3723".
  std::string GetSecondsString() const;

  /// Returns hours * 10000 + minutes * 100 + seconds, modulo 2^32: 130509 for
  /// 13:05:09, 4294967295 for -1.
  unsigned int GetStamp() const;

  /// Returns hours, minutes and seconds as lz2() writes them: "13:05:09",
  /// "25:00:00", "-1:-2:-3".
  std::string GetStampString() const;

  /// Returns the sum, which may exceed a day.
  CTimeOfDay operator+(const CTimeOfDay& other) const;

  /// Returns the difference, which may be negative.
  CTimeOfDay operator-(const CTimeOfDay& other) const;

  /// Sets the count to the time in `text`. Linear; does not allocate.
  ///
  /// Text without a colon is a number for getval<int>(): "45 or so" is 45.
  /// Other text is up to three numbers for `>>` in the classic locale, with
  /// colons as spaces: the last one read is seconds, the one before it minutes,
  /// the first of three hours. Reading ends at anything that is not an `int`
  /// ("1:x:3" is 1) and after three ("1:02:03:04" is 3723). Numbers may be
  /// negative or above 59: "1:-30" is 30, "0:90" is 90.
  /// @return false if the text is empty, which keeps the count, or if
  ///     getval<int>() fails, which sets it to 0; true for text with a colon
  bool LoadFromString(std::string_view text);
};

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_TIME_OF_DAY_H_
