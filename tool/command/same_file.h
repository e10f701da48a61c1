// A check that a command does not overwrite its input.

#ifndef FAIRLEAD_TOOL_COMMAND_SAME_FILE_H_
#define FAIRLEAD_TOOL_COMMAND_SAME_FILE_H_

#include <string>

#include "tool/command/arguments.h"

namespace fairlead::tool {

/// Throws if the file to write is the regular file to read.
///
/// @param written the parameter that names the file to write
/// @param read the parameter that names the file to read
/// @throws Failure with kWrongUsage
void CheckDistinct(const Parameter& written, const std::string& written_path,
                   const Parameter& read, const std::string& read_path);

/// Overload for two parameters of a command, if both are given.
template <const auto& kTable>
void CheckDistinct(const Arguments<kTable>& arguments,
                   typename Arguments<kTable>::Listed written,
                   typename Arguments<kTable>::Listed read) {
  if (arguments.Has(written) && arguments.Has(read))
    CheckDistinct(*written, arguments.Text(written), *read,
                  arguments.Text(read));
}

/// Throws if the file to write is a regular file and standard input.
///
/// @param read the parameter that asks for standard input
/// @throws Failure with kWrongUsage
void CheckIsNotInput(const Parameter& written, const std::string& written_path,
                     const Parameter& read);

/// Returns whether the path leads to standard input, unless that is a regular
/// file, which can be read twice.
bool IsStandardInput(const char* path);

/// Returns whether what the path leads to can be read only once: a pipe, a
/// socket, or standard input as above.
bool IsReadOnce(const char* path);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_SAME_FILE_H_
