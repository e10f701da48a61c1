// The known name nearest to a mistyped one.

#ifndef FAIRLEAD_TOOL_COMMAND_NEAREST_H_
#define FAIRLEAD_TOOL_COMMAND_NEAREST_H_

#include <span>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// Returns the least number of edits that turn one text into the other: a
/// character inserted, removed, replaced, or swapped with its neighbour.
int EditDistance(std::string_view a, std::string_view b);

/// Returns the name with the least distance from `typed`, the first of equals.
///
/// @param names at least one
std::string_view Nearest(std::string_view typed,
                         std::span<const std::string_view> names);

/// Returns the nearest name, or "" if none is near. Near is one edit away, or
/// up to a third of the longer of the two.
std::string Suggestion(std::string_view typed,
                       std::span<const std::string_view> names);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_NEAREST_H_
