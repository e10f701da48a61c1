// Shell completion, made from the table.

#ifndef FAIRLEAD_TOOL_HELP_COMPLETION_SCRIPTS_H_
#define FAIRLEAD_TOOL_HELP_COMPLETION_SCRIPTS_H_

#include <string>

namespace fairlead::tool {

/// For bash: a file that is sourced, or found by the name `fairlead`.
std::string BashCompletion();

/// For zsh: a file that is sourced, or found in fpath as `_fairlead`.
std::string ZshCompletion();

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_HELP_COMPLETION_SCRIPTS_H_
