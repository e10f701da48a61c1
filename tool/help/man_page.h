// The man page, made from the command table.

#ifndef FAIRLEAD_TOOL_HELP_MAN_PAGE_H_
#define FAIRLEAD_TOOL_HELP_MAN_PAGE_H_

#include <string>

namespace fairlead::tool {

/// Returns fairlead(1) in the macros of the man package.
std::string ManPage();

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_HELP_MAN_PAGE_H_
