// From the process's arguments to a command and its exit status.

#ifndef FAIRLEAD_TOOL_RUN_COMMAND_H_
#define FAIRLEAD_TOOL_RUN_COMMAND_H_

#include <span>

#include "tool/base/exit_status.h"

namespace fairlead::tool {

/// Runs the command that the arguments name, and reports its failure. Call it
/// once in the life of the process.
///
/// @param arguments the process's, without the program's path
ExitStatus RunCommand(std::span<char* const> arguments);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_RUN_COMMAND_H_
