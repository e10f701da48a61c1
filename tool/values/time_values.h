// What the words of the command `time` read: stamps and times of day.

#ifndef FAIRLEAD_TOOL_VALUES_TIME_VALUES_H_
#define FAIRLEAD_TOOL_VALUES_TIME_VALUES_H_

#include <string>
#include <string_view>

#include "fairlead/time/the_time.h"
#include "fairlead/time/time_of_day.h"
#include "tool/command/arguments.h"

namespace fairlead::tool {

/// Whether the text is meant as a stamp, and not as a time of day: it has no
/// colon, and eight letters or more.
bool LooksLikeStamp(std::string_view text);

/// The moment that the parameter's stamp spells, "20261114x205754" or
/// "20261114".
///
/// Stricter than TheTime, which reads what can be read: a letter in the wrong
/// place is an error, and so is a time that no local clock shows.
///
/// @throws Failure with kMalformedInput
TheTime StampIn(const Arguments& arguments, const Parameter& parameter);

/// The time of day that the parameter's text spells, "1:02:03", "2:03" or "45".
///
/// Stricter than CTimeOfDay: a text that would be read in part is an error, and
/// so is a number above 59 behind the first.
///
/// @throws Failure with kMalformedInput
CTimeOfDay TimeOfDayIn(const Arguments& arguments, const Parameter& parameter);

/// @throws Failure with kWrongUsage for a moment that has no stamp, because its
///     local year is not one of 0 to 9999
void CheckYear(const TheTime& moment);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_VALUES_TIME_VALUES_H_
