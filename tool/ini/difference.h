// What changed between two texts, in the form that diff -u prints.

#ifndef FAIRLEAD_TOOL_INI_DIFFERENCE_H_
#define FAIRLEAD_TOOL_INI_DIFFERENCE_H_

#include <string>
#include <string_view>

namespace fairlead::tool {

/// The lines that changed, with up to three lines around them, as `patch` can
/// apply them; "" where nothing did.
///
/// @param name of the file, for both heading lines
/// @par Cost
/// Where the lines from the first change to the last are many, more than four
/// million pairs, all of them are shown as changed.
std::string Difference(std::string_view name, std::string_view before,
                       std::string_view after);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_DIFFERENCE_H_
