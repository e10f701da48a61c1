// Whether two parameters lead to one file, where that would harm it.

#ifndef FAIRLEAD_TOOL_COMMAND_SAME_FILE_H_
#define FAIRLEAD_TOOL_COMMAND_SAME_FILE_H_

#include "tool/command/arguments.h"

namespace fairlead::tool {

/// Throws a Failure of wrong usage where both are given and the file that
/// `written` names is the regular file that `read` names.
void CheckDistinct(const Arguments& arguments, const Parameter& written,
                   const Parameter& read);

/// Whether the path leads to standard input, and not to a regular file, which
/// can be read twice.
bool IsStandardInput(const char* path);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_SAME_FILE_H_
