// Shell completion, made from the command table.

#ifndef FAIRLEAD_TOOL_HELP_COMPLETION_SCRIPTS_H_
#define FAIRLEAD_TOOL_HELP_COMPLETION_SCRIPTS_H_

#include <string>

namespace fairlead::tool {

/// Returns the script for bash: sourced, or found by the name `fairlead`.
std::string BashCompletion();

/// Returns the script for zsh: sourced, or found in fpath as `_fairlead`.
std::string ZshCompletion();

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_HELP_COMPLETION_SCRIPTS_H_
