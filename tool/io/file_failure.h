// Failed edits of files as failures of the command.

#ifndef FAIRLEAD_TOOL_IO_FILE_FAILURE_H_
#define FAIRLEAD_TOOL_IO_FILE_FAILURE_H_

#include <string_view>

#include "fairlead/file/file_edit.h"

namespace fairlead::tool {

/// Returns after a success.
///
/// @param remedy appended to the error if the file can only be overwritten in
///     place: " (...)", or ""
/// @throws Failure with kCannotRead, kCannotWrite or kTimeIsOver
void Check(const FileResult& result, std::string_view remedy = "");

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_FILE_FAILURE_H_
