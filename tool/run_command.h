// From the process's arguments to a command and its exit status.

#ifndef FAIRLEAD_TOOL_RUN_COMMAND_H_
#define FAIRLEAD_TOOL_RUN_COMMAND_H_

#include <span>
#include <string_view>

#include "tool/command/commands.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// The command of that name.
///
/// @throws Failure with kWrongUsage, which offers the nearest one
const Command& KnownCommand(std::string_view name);

/// Runs the command that the words name, and tells what goes wrong.
///
/// @param words the process's arguments without the program's path
ExitStatus RunCommand(std::span<char* const> words, const Output& output);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_RUN_COMMAND_H_
