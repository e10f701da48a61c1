// What `help` prints, made from the table.

#ifndef FAIRLEAD_TOOL_HELP_HELP_TEXT_H_
#define FAIRLEAD_TOOL_HELP_HELP_TEXT_H_

#include <string>

#include "tool/command/commands.h"

namespace fairlead::tool {

/// What to do when `fairlead` stands alone.
std::string ShortUsage();

/// The commands, one line each.
std::string GeneralHelp();

/// One command with all its parameters, examples and exit statuses.
std::string CommandHelp(const Command& command);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_HELP_HELP_TEXT_H_
