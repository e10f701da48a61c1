// The text forms of one value, printed singly or all together.

#ifndef FAIRLEAD_TOOL_COMMAND_FORMS_H_
#define FAIRLEAD_TOOL_COMMAND_FORMS_H_

#include <string>
#include <string_view>
#include <vector>

#include "tool/command/parameter.h"

namespace fairlead::tool {

/// The choice that prints every form.
inline constexpr std::string_view kAllForms = "all";

/// A value's text, and the name of its form.
struct Form {
  std::string_view name;
  std::string text;
};

/// Returns the line of the form asked for, or a line "name text" for each form
/// if that is kAllForms.
///
/// @param parameter by which the user asked, for the error
/// @throws Failure with kWrongUsage if the value has no such form
std::string FormLines(const std::vector<Form>& forms,
                      const Parameter& parameter, std::string_view asked);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_FORMS_H_
