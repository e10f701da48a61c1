// The unified diff of two texts.

#ifndef FAIRLEAD_TOOL_INI_DIFFERENCE_H_
#define FAIRLEAD_TOOL_INI_DIFFERENCE_H_

#include <string>
#include <string_view>

namespace fairlead::tool {

/// Returns the changed lines with three lines of context, in the format of
/// `diff -u`, which `patch` can apply; "" if the texts are equal.
///
/// @param name the file name in both header lines
/// @par Cost
/// Quadratic in the lines from the first change to the last. Beyond four
/// million pairs of lines, all of them are shown as changed.
std::string Difference(std::string_view name, std::string_view before,
                       std::string_view after);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_DIFFERENCE_H_
