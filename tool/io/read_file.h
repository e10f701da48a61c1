// The bytes of standard input or of a file, whole or in pieces.

#ifndef FAIRLEAD_TOOL_IO_READ_FILE_H_
#define FAIRLEAD_TOOL_IO_READ_FILE_H_

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// Gets the next bytes, which are gone once it returns.
using TakePiece = std::function<void(std::string_view piece)>;

/// Hands over the bytes from where the descriptor stands to the end, in pieces
/// of at most 64 KiB.
///
/// @param name what an error calls it
/// @param await is called before each reading, to wait where that can block;
///     what it throws ends the reading
/// @throws Failure with kCannotRead
void ReadPieces(
    int descriptor, const std::string& name, const TakePiece& take,
    const std::function<void()>& await = [] {});

/// The same for the bytes of a file.
///
/// @throws Failure with kCannotRead
void ReadFilePieces(const std::string& path, const TakePiece& take);

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

#endif  // FAIRLEAD_TOOL_IO_READ_FILE_H_
