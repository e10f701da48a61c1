// The table of the commands. Each entry is defined in its command's own source.

#ifndef FAIRLEAD_TOOL_COMMAND_COMMAND_TABLE_H_
#define FAIRLEAD_TOOL_COMMAND_COMMAND_TABLE_H_

#include <span>
#include <string_view>

#include "tool/command/command.h"

namespace fairlead::tool {

extern const Command kSendCommand;
extern const Command kRecvCommand;
extern const Command kListenCommand;
extern const Command kResolveCommand;
extern const Command kIniCommand;
extern const Command kLogCommand;
extern const Command kTimeCommand;
extern const Command kSizeCommand;
extern const Command kCodeCommand;
extern const Command kSumCommand;
extern const Command kCryptCommand;
extern const Command kHelpCommand;
extern const Command kVersionCommand;
extern const Command kCompletionCommand;

/// Returns every command, in the order of the help.
std::span<const Command* const> Commands();

/// Returns the command of that name, or null.
const Command* FindCommand(std::string_view name);

/// Returns the command of that name.
///
/// @throws Failure with kWrongUsage, which suggests the nearest name
const Command& KnownCommand(std::string_view name);

/// Returns the command's subcommand of that name.
///
/// @throws Failure as KnownCommand() does
const Command& KnownSubcommand(const Command& command, std::string_view name);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_COMMAND_TABLE_H_
