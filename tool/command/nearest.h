// Which known name a mistyped one was meant to be.

#ifndef FAIRLEAD_TOOL_COMMAND_NEAREST_H_
#define FAIRLEAD_TOOL_COMMAND_NEAREST_H_

#include <span>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// How many letters must be put in, taken out, replaced or swapped with their
/// neighbour to make one text of the other.
int EditDistance(std::string_view a, std::string_view b);

/// The name with the least distance from `typed`, the first among equals.
/// `names` holds at least one.
std::string_view Nearest(std::string_view typed,
                         std::span<const std::string_view> names);

/// `lead` and the nearest name, or "" where none is near: more than one edit
/// away, and more than a third of the longer word.
std::string Suggestion(std::string_view lead, std::string_view typed,
                       std::span<const std::string_view> names);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_NEAREST_H_
