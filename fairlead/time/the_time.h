// Wall-clock time: an instant, and the current local time, as text.

#ifndef FAIRLEAD_TIME_THE_TIME_H_
#define FAIRLEAD_TIME_THE_TIME_H_

#include <ctime>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// One instant of the system's real-time clock, at nanosecond resolution.
///
/// A new value holds the present. All dates and times of day are local: they
/// come from `localtime_r` and go back through `mktime` (POSIX). A program that
/// changes `TZ` calls `tzset` afterwards, as for those two.
///
/// The texts are those of `printf` with "%02d", and "%04d" for the year: 987 is
/// "0987", 12345 has five digits, and the year before 0 is "-001". An instant
/// that `localtime_r` refuses, because its year overflows an `int`, reads as a
/// `tm` with every field zero: "1900.01.00 00:00:00".
///
/// @par Thread safety
/// A plain value that shares nothing: one thread per object, or any number of
/// readers.
/// @par Cost
/// A text form is one `localtime_r` and one string; only those of more than 15
/// characters allocate.
/// @par Example
/// @code
/// fairlead::TheTime start;
/// // ...
/// fairlead::TheTime end;
/// double seconds = end.DifferenceFloat(start);
/// std::string line = end.GetStr(true) + "done";  // [2026.11.14 20:57:54] done
/// @endcode
struct FAIRLEAD_EXPORT TheTime {
  timespec ts{};  ///< Seconds since the Unix epoch; nanoseconds 0..999999999.

  /// The present, from `clock_gettime(CLOCK_REALTIME)`; the epoch if the clock
  /// refuses. Costs what that call costs.
  TheTime() { clock_gettime(CLOCK_REALTIME, &ts); }

  /// Sets the value to the present.
  ///
  /// @return what `clock_gettime` returned: 0 on success
  int Update();

  /// The whole seconds from `other` to this instant, rounded toward zero:
  /// negative where `other` is the later one.
  ///
  /// This is DifferenceFloat() without its fraction, so a difference that lies
  /// closer to a whole second than a double can tell counts as that second. A
  /// difference outside the range of `int` is INT_MIN.
  int Difference(const TheTime& other) const;

  /// The seconds from `other` to this instant, with the fraction.
  ///
  /// Both instants become doubles first (seconds + nanoseconds / 1e9), which
  /// for the dates of this century are good to a quarter of a microsecond.
  double DifferenceFloat(const TheTime& other) const;

  /// Moves the instant back by whole seconds, or forward if `seconds` is
  /// negative. Past the end of the 64-bit range it goes on at the other end.
  void SetToPast(int seconds);

  /// Whether the two instants fall on different days of the month.
  ///
  /// Notices that midnight has passed between two nearby instants. Month and
  /// year do not count: the 14th of May and the 14th of June are no change.
  bool DateChanged(const TheTime& other) const;

  /// Sets `seconds` to the seconds since local midnight as a clock on the wall
  /// shows them (0 to 86400), on days of 23 or 25 hours too.
  ///
  /// @return the local day of the month, 1 to 31; 0, with `seconds` 0, for an
  ///     instant that `localtime_r` refuses
  int GetDaySec(unsigned int& seconds) const;

  /// The compact form "20261114x205754", which LoadFromString() reads.
  std::string SaveToString() const;

  /// Sets the seconds to the local time that `text` spells; the nanoseconds
  /// are kept.
  ///
  /// Reads "20261114x205754", or a text of exactly eight characters such as
  /// "20261114" as midnight. The fields stand at fixed places; the ninth
  /// character and those after the fifteenth are not looked at. A field is read
  /// as getval<int>() reads a number, so " 7", "7 " and "+7" are 7, and
  /// `mktime` carries what is out of range: the 31st of June is the 1st of
  /// July. For an hour that occurs twice or never when clocks are changed,
  /// `mktime` decides.
  ///
  /// @return false, with the value as it was, where a field holds no number,
  ///     the empty field at the end of a text of 0, 4, 6, 9, 11 or 13
  ///     characters included
  /// @throws std::out_of_range where the text ends before the place of the next
  ///     field: at 1 to 3, 5, 7, 10 or 12 characters, if the fields before it
  ///     hold numbers. The message is "basic_string::substr"; the value is as
  ///     it was.
  /// @par Cost
  /// One `mktime`; allocates nothing.
  bool LoadFromString(std::string_view text);

  /// Sets the machine's clock to this instant, without its nanoseconds.
  ///
  /// @return whether `settimeofday` succeeded, which takes privilege
  bool SetSystemTime() const;

  /// The form for log lines: "[2026.11.14 20:57:54] ", with the blank, where
  /// `brackets` is true; otherwise "2026.11.14 20:57:54".
  std::string GetStr(bool brackets) const;

  /// The form for sentences: "on 2026.11.14 at 20:57:54".
  std::string GetHumanStr() const;

  /// Year, month and day: "20261114".
  std::string GetDateStr() const;

  /// Day, month and year: "14112026".
  std::string GetDateStr2() const;

  /// Hour, minute and second with `separator` between them: "20-57-54".
  ///
  /// The separator may have any length; a zero byte ends it.
  std::string GetTimeStr(std::string_view separator) const;
};

/// @name The current local time
/// Each reads the clock once, with `time`, in whole seconds. The year is padded
/// to two digits only, which no clock shows before the year 1000. May be called
/// from any number of threads.
/// @{

/// The current date and time as the start of a log line, colons throughout and
/// a blank at the end: "[2026:11:14 20:57:54] ".
FAIRLEAD_EXPORT std::string strtime();

/// The current hour, minute and second: "205754".
FAIRLEAD_EXPORT std::string strtimeonly();

/// The current year, month and day: "20261114".
FAIRLEAD_EXPORT std::string strdateonly();

/// The current day of the month, 1 to 31.
FAIRLEAD_EXPORT int intdayonly();

/// @}

}  // namespace fairlead

#endif  // FAIRLEAD_TIME_THE_TIME_H_
