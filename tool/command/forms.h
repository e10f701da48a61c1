// The text forms of one value, of which a user asks for one or for all.

#ifndef FAIRLEAD_TOOL_COMMAND_FORMS_H_
#define FAIRLEAD_TOOL_COMMAND_FORMS_H_

#include <string>
#include <string_view>
#include <vector>

#include "tool/command/arguments.h"

namespace fairlead::tool {

/// A value's text, and the name of its form.
struct Form {
  std::string_view name;
  std::string text;
};

/// The line of the form that the parameter asks for; with "all", a line
/// "name text" for each.
///
/// @param fallback the form where none is asked for
/// @throws Failure with kWrongUsage where the value has no such form
std::string FormLines(const std::vector<Form>& forms,
                      const Arguments& arguments, const Parameter& parameter,
                      std::string_view fallback);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_FORMS_H_
