// The entries of the command table; each stands in its command's own file.

#ifndef FAIRLEAD_TOOL_COMMAND_COMMAND_LIST_H_
#define FAIRLEAD_TOOL_COMMAND_COMMAND_LIST_H_

#include "tool/command/commands.h"

namespace fairlead::tool {

extern const Command kSendCommand;
extern const Command kRecvCommand;
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

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_COMMAND_LIST_H_
