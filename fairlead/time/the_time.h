// Wall-clock time: an instant, and the current local time, as text.

#ifndef FAIRLEAD_TIME_THE_TIME_H_
#define FAIRLEAD_TIME_THE_TIME_H_

#include <ctime>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// An instant of the system's real-time clock, with nanoseconds. Plain value.
/// Dates and times of day are local: `localtime_r` and `mktime` (POSIX) convert
/// them. A program that changes `TZ` must then call `tzset`. In a child of
/// `fork()` both conversions may block forever if another thread was in one.
///
/// Texts have numbers as `printf` writes them with "%02d", years with "%04d":
/// "0987", "12345", "-001" for the year before 0. An instant that `localtime_r`
/// refuses, its year overflowing an `int`, is shown as "1900.01.00 00:00:00".
/// @par Cost
/// A text is one `localtime_r` and one string, allocated beyond 15 characters.
/// @par Example
/// @code
/// fairlead::TheTime time;
/// time.LoadFromString("20261114x205754");
/// std::string line = time.GetStr(true);  // line == "[2026.11.14 20:57:54] "
/// @endcode
struct FAIRLEAD_EXPORT TheTime {
  timespec ts{};  ///< Seconds since the Unix epoch; nanoseconds 0..999999999.

  /// Reads `clock_gettime(CLOCK_REALTIME)`; is the epoch if that fails.
  TheTime() { clock_gettime(CLOCK_REALTIME, &ts); }

  /// Reads the clock again. Returns what `clock_gettime` did: 0 on success.
  int Update();

  /// Returns DifferenceFloat(), with its rounding errors, rounded toward zero;
  /// INT_MIN if that is outside the range of `int`.
  int Difference(const TheTime& other) const;

  /// Returns the seconds from `other` to this instant, negative if `other` is
  /// later. Both are first converted to double (seconds + nanoseconds / 1e9),
  /// which in this century is accurate to a quarter of a microsecond.
  double DifferenceFloat(const TheTime& other) const;

  /// Moves the instant back by `seconds`, forward if negative. Wraps around.
  void SetToPast(int seconds);

  /// Returns whether the local days of the month differ, whatever the month.
  bool DateChanged(const TheTime& other) const;

  /// Sets `seconds` to 3600 h + 60 min + s of the local time (0 to 86400), even
  /// on a day of 23 or 25 hours. Returns the local day of the month, 1 to 31;
  /// 0, with `seconds` 0, for an instant that `localtime_r` refuses.
  int GetDaySec(unsigned int& seconds) const;

  /// Returns the compact form "20261114x205754", which LoadFromString() reads.
  std::string SaveToString() const;

  /// Sets the instant to the local time in `text`; keeps the nanoseconds.
  ///
  /// Takes "20261114x205754", or eight characters, "20261114", for midnight.
  /// The fields have fixed places; the ninth character and those after the
  /// fifteenth are ignored. getval<int>() reads each field, so " 7", "7 " and
  /// "+7" are 7. `mktime` carries what is out of range (31 June is 1 July) and
  /// decides about hours that a clock change repeats or skips. A failure leaves
  /// the value unchanged. Costs one `mktime`; does not allocate.
  /// @return false if a field holds no number, such as the empty field at the
  ///     end of a text of 0, 4, 6, 9, 11 or 13 characters
  /// @throws std::out_of_range "basic_string::substr" if a field starts beyond
  ///     the end (1-3, 5, 7, 10 or 12 characters) and those before hold numbers
  bool LoadFromString(std::string_view text);

  /// Sets the machine's clock, without the nanoseconds. Returns whether
  /// `settimeofday` succeeded, which requires privileges.
  bool SetSystemTime() const;

  /// Returns "2026.11.14 20:57:54" or, if `brackets`, "[2026.11.14 20:57:54] ".
  std::string GetStr(bool brackets) const;

  /// Returns "on 2026.11.14 at 20:57:54".
  std::string GetHumanStr() const;

  /// Returns year, month and day: "20261114".
  std::string GetDateStr() const;

  /// Returns day, month and year: "14112026".
  std::string GetDateStr2() const;

  /// Returns hour, minute and second with `separator` between them: "20-57-54".
  /// The separator may have any length; a zero byte ends it.
  std::string GetTimeStr(std::string_view separator) const;
};

/// @name The current local time
/// Each reads the clock once, with `time`, in whole seconds, and may be called
/// from any number of threads. Years are padded to two digits only.
/// @{

/// Returns the start of a log line: "[2026:11:14 20:57:54] ".
FAIRLEAD_EXPORT std::string strtime();

/// Returns hour, minute and second: "205754".
FAIRLEAD_EXPORT std::string strtimeonly();

/// Returns year, month and day: "20261114".
FAIRLEAD_EXPORT std::string strdateonly();

/// Returns the day of the month, 1 to 31.
FAIRLEAD_EXPORT int intdayonly();

/// @}

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_THE_TIME_H_
