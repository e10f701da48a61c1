// What the command `time` reads: stamps and times of day.

#ifndef FAIRLEAD_TOOL_VALUES_TIME_VALUES_H_
#define FAIRLEAD_TOOL_VALUES_TIME_VALUES_H_

#include <string>
#include <string_view>

#include "fairlead/time/the_time.h"
#include "fairlead/time/time_of_day.h"
#include "tool/command/parameter.h"

namespace fairlead::tool::time_command {

/// Returns whether the text is meant as a stamp, and not as a time of day: it
/// has no colon, and eight characters or more.
bool LooksLikeStamp(std::string_view text);

/// Returns the moment of a stamp, "20261114x205754" or "20261114".
///
/// Stricter than TheTime, which reads what it can: a character in the wrong
/// place is an error, and so is a nonexistent local time.
///
/// @param parameter whose value the text is, for the error
/// @throws Failure with kMalformedInput
TheTime StampIn(const Parameter& parameter, const std::string& text);

/// Returns the time of day of a text, "1:02:03", "2:03" or "45".
///
/// Stricter than CTimeOfDay: a text that would be read in part is an error, and
/// so is a number above 59 after the first.
///
/// @param parameter whose value the text is, for the error
/// @throws Failure with kMalformedInput
CTimeOfDay TimeOfDayIn(const Parameter& parameter, const std::string& text);

/// Throws for a moment that no stamp can spell: its local year is not one of 0
/// to 9999.
///
/// @throws Failure with kWrongUsage
void CheckYear(const TheTime& moment);

}  // namespace fairlead::tool::time_command

#endif  // FAIRLEAD_TOOL_VALUES_TIME_VALUES_H_
