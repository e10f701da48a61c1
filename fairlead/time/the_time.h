// Wall-clock time: an instant, and the current local time, as text.

#ifndef FAIRLEAD_TIME_THE_TIME_H_
#define FAIRLEAD_TIME_THE_TIME_H_

#include <ctime>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// An instant of CLOCK_REALTIME. Plain value. Texts are in local time: each
/// takes one `localtime_r` or `mktime` (POSIX), and one allocation if written.
/// These need a `tzset` after a change of `TZ`, and may block forever in a
/// child of `fork()` if another thread was in one. Years have four digits or
/// more. An instant that `localtime_r` refuses is "1900.01.00 00:00:00".
/// @code
/// fairlead::TheTime time;
/// time.LoadFromString("20261114");  // time.GetDateStr2() == "14112026"
/// @endcode
struct FAIRLEAD_EXPORT TheTime {
  timespec ts{};  ///< Seconds since the Unix epoch; nanoseconds 0..999999999.

  TheTime() { clock_gettime(CLOCK_REALTIME, &ts); }  ///< Epoch if that fails.

  int Update();  ///< Reads the clock again. Returns 0, or -1 if that fails.

  /// Returns DifferenceFloat() rounded toward zero; INT_MIN if out of range.
  int Difference(const TheTime& other) const;

  /// Returns the seconds since `other`, negative if it is later. Subtracts
  /// doubles, which in this century are accurate to a quarter of a microsecond.
  double DifferenceFloat(const TheTime& other) const;

  void SetToPast(int seconds);  ///< Moves back by `seconds`. Wraps around.

  /// Returns whether the local days of the month differ, whatever the month.
  bool DateChanged(const TheTime& other) const;

  /// Returns the local day of the month, and sets `seconds` to 3600 h + 60 min
  /// + s of the local time (0 to 86400); both are 0 if `localtime_r` refuses.
  int GetDaySec(unsigned int& seconds) const;

  std::string SaveToString() const;  ///< Returns "20261114x205754".

  /// Sets the instant to the local time "20261114x205754", or "20261114" for
  /// midnight; keeps the nanoseconds. The fields have fixed places, of which
  /// the ninth and those from the sixteenth on are ignored. getval<int>() reads
  /// each (" 7", "+7"); `mktime` carries what is out of range (31 June is 1
  /// July) and decides about clock changes. A failure changes nothing.
  /// @return false if a field is empty (0, 4, 6, 9, 11, 13 bytes) or no number
  /// @throws std::out_of_range "basic_string::substr" if a field starts beyond
  ///     the end (1-3, 5, 7, 10, 12 bytes) and those before hold numbers
  bool LoadFromString(std::string_view text);

  /// Calls `settimeofday` with the whole seconds; returns whether it succeeds.
  bool SetSystemTime() const;

  /// Returns "2026.11.14 20:57:54" or, if `brackets`, "[2026.11.14 20:57:54] ".
  std::string GetStr(bool brackets) const;

  std::string GetHumanStr() const;  ///< Returns "on 2026.11.14 at 20:57:54".
  std::string GetDateStr() const;   ///< Returns year, month, day: "20261114".
  std::string GetDateStr2() const;  ///< Returns day, month, year: "14112026".

  /// Returns "20-57-54" for "-". A zero byte ends the separator.
  std::string GetTimeStr(std::string_view separator) const;
};

/// @name The current local time
/// Each reads `time` (POSIX) once. Thread-safe. Years have two digits or more.
/// @{
FAIRLEAD_EXPORT std::string strtime();  ///< Returns "[2026:11:14 20:57:54] ".
FAIRLEAD_EXPORT std::string strtimeonly();  ///< Returns "205754".
FAIRLEAD_EXPORT std::string strdateonly();  ///< Returns "20261114".
FAIRLEAD_EXPORT int intdayonly();           ///< Returns the day, 1 to 31.
/// @}

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_THE_TIME_H_
