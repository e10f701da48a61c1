// Whether the parameters given are those that a usage line asks for.

#ifndef FAIRLEAD_TOOL_COMMAND_USAGE_H_
#define FAIRLEAD_TOOL_COMMAND_USAGE_H_

#include <string_view>

#include "tool/command/arguments.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// Holds what was given against a usage such as
/// "(-stamp TEXT | -seconds N) -by N [-form FORM]".
///
/// What it does not mention may not be given, what stands in square brackets
/// may, and what stands outside brackets must; of the alternatives between two
/// parentheses, exactly one must.
///
/// @param word what the usage is that of, for an error
/// @throws Failure with kWrongUsage
void CheckUsage(const Arguments& arguments, std::string_view word,
                std::string_view usage);

/// Runs the word behind the command, once its usage is kept.
///
/// @param shared what stands before every word's usage
/// @throws Failure with kWrongUsage
ExitStatus RunVerb(const Arguments& arguments, const Output& output,
                   std::string_view shared = "");

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_USAGE_H_
