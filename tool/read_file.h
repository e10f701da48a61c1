// All the bytes of standard input or of a file.

#ifndef FAIRLEAD_TOOL_READ_FILE_H_
#define FAIRLEAD_TOOL_READ_FILE_H_

#include <optional>
#include <string>

namespace fairlead::tool {

/// The bytes from where the descriptor stands to the end.
///
/// @param name what an error calls it
/// @throws Failure with kCannotRead
std::string ReadAll(int descriptor, const std::string& name);

/// The bytes of a file.
///
/// @throws Failure with kCannotRead
std::string ReadFile(const std::string& path);

/// The bytes of a file, or nothing where there is no file of that name.
///
/// @throws Failure with kCannotRead
std::optional<std::string> ReadFileIfAny(const std::string& path);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_READ_FILE_H_
