// What `help` prints, made from the command table.

#ifndef FAIRLEAD_TOOL_HELP_HELP_TEXT_H_
#define FAIRLEAD_TOOL_HELP_HELP_TEXT_H_

#include <string>
#include <string_view>

#include "tool/command/command.h"

namespace fairlead::tool {

/// What holds for the arguments of every command.
inline constexpr std::string_view kConventions =
    "A value cannot begin with '-'. A switch may be followed by on, off, yes, "
    "no, true, false, 1 or 0. Option names are not case-sensitive and may "
    "begin "
    "with '--'. If an option is repeated, the last one counts. Standard output "
    "carries data only; errors and notes go to standard error.";

/// Returns what `fairlead` alone reports.
std::string ShortUsage();

/// Returns the list of the commands.
std::string GeneralHelp();

/// Returns the help of a command or a subcommand.
std::string CommandHelp(const Command& command);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_HELP_HELP_TEXT_H_
