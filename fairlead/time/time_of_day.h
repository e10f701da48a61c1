// A count of seconds, as a time of day or a duration, and its text forms.

#ifndef FAIRLEAD_TIME_TIME_OF_DAY_H_
#define FAIRLEAD_TIME_TIME_OF_DAY_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// A signed count of seconds: a time of day or a duration. Plain value, which
/// `fork()` copies. No range is enforced (90000 is 25:00:00); arithmetic wraps
/// modulo 2^32. Throws only std::bad_alloc, for texts of over 15 characters.
/// @code
/// fairlead::CTimeOfDay time;
/// time.LoadFromString("8:30:00");
/// std::string text = time.GetStampString();  // text == "08:30:00"
/// @endcode
struct FAIRLEAD_EXPORT CTimeOfDay {
  std::int32_t seconds = 0;  ///< Seconds; since midnight for a time of day.

  int GetSeconds() const { return seconds; }  ///< Returns the seconds.
  std::string GetSecondsString() const;       ///< Returns them in decimal.

  /// Returns hours * 10000 + minutes * 100 + seconds, modulo 2^32: 130509 for
  /// 13:05:09, 4294967295 for -1.
  unsigned int GetStamp() const;

  /// Returns hours, minutes and seconds, rounded toward zero, as lz2() writes
  /// them: "13:05:09", "25:00:00", "-1:-2:-3".
  std::string GetStampString() const;

  CTimeOfDay operator+(const CTimeOfDay& other) const;  ///< May exceed a day.
  CTimeOfDay operator-(const CTimeOfDay& other) const;  ///< May be negative.

  /// Sets the count to the time in `text`. Linear; does not allocate.
  ///
  /// Without a colon, getval<int>() reads it: "45 or so" is 45. With one, `>>`
  /// in the classic locale reads up to three numbers, with colons as spaces,
  /// until one is no `int`: the last is seconds, the one before it minutes, the
  /// first of three hours. "1:x:3" is 1, "1:02:03:04" is 3723, "1:-30" is 30,
  /// "0:90" is 90.
  /// @return false if the text is empty, which keeps the count, or if
  ///     getval<int>() fails, which sets it to 0; true for text with a colon
  bool LoadFromString(std::string_view text);
};

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_TIME_OF_DAY_H_
