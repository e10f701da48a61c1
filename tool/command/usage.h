// The usage line of a command, and the check of its arguments.

#ifndef FAIRLEAD_TOOL_COMMAND_USAGE_H_
#define FAIRLEAD_TOOL_COMMAND_USAGE_H_

#include <string>

#include "tool/command/arguments.h"
#include "tool/command/command.h"

namespace fairlead::tool {

/// Returns the table as a line such as
/// "(-stamp STAMP | -seconds N) -by N [-form FORM]".
std::string UsageOf(std::span<const Use> uses);

/// Returns what follows "fairlead" in the usage line of the command. Where its
/// optional parameters are many, "[-name value]..." is in their place.
std::string UsageLine(const Command& command);

/// Throws where a parameter is missing, or where two do not go together.
///
/// @throws Failure with kWrongUsage
void CheckUses(const ParsedArguments& arguments);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_USAGE_H_
