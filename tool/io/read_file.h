// Reads standard input or a file, whole or in pieces.

#ifndef FAIRLEAD_TOOL_IO_READ_FILE_H_
#define FAIRLEAD_TOOL_IO_READ_FILE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// An input that others read: an open file, or standard input.
class Input {
 public:
  /// @param path "" for standard input
  /// @throws Failure with kCannotRead, also for a folder
  explicit Input(const std::string& path);

  int descriptor() const;

  /// Returns its name for messages.
  const std::string& name() const { return name_; }

  /// Returns how many bytes it has; 0 if that is unknown.
  std::uint64_t size() const { return size_; }

 private:
  std::string name_;
  Descriptor file_;
  std::uint64_t size_ = 0;
};

/// Receives the next bytes, which are valid only during the call.
using TakePiece = std::function<void(std::string_view piece)>;

/// Reads from the descriptor's position to the end, in pieces of at most
/// 64 KiB.
///
/// @param name the name of the input in error messages
/// @param await called before each read, which may block; may throw
/// @throws Failure with kCannotRead
void ReadPieces(
    int descriptor, const std::string& name, const TakePiece& take,
    const std::function<void()>& await = [] {});

/// Reads a file in pieces.
///
/// @throws Failure with kCannotRead
void ReadFilePieces(const std::string& path, const TakePiece& take);

/// Returns the bytes from the descriptor's position to the end.
///
/// @param name the name of the input in error messages
/// @throws Failure with kCannotRead
std::string ReadAll(int descriptor, const std::string& name);

/// Returns the bytes of a file.
///
/// @throws Failure with kCannotRead
std::string ReadFile(const std::string& path);

/// Returns the bytes of a file, or nothing if it does not exist.
///
/// @throws Failure with kCannotRead
std::optional<std::string> ReadFileIfAny(const std::string& path);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_READ_FILE_H_
