// What a server sends each peer first.

#ifndef FAIRLEAD_TOOL_LISTEN_REPLY_H_
#define FAIRLEAD_TOOL_LISTEN_REPLY_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "tool/io/read_file.h"

namespace fairlead::tool {

/// A text, or a file that is read piece by piece, for any number of peers.
///
/// @par Cost
/// A regular file needs a descriptor and no memory. Other files, such as pipes,
/// can be read only once, and are held in memory.
class Reply {
 public:
  /// How many bytes a file may have that is held in memory.
  static constexpr std::size_t kMaxHeld = std::size_t{8} << 20;

  /// The empty reply.
  Reply() = default;
  explicit Reply(std::string text) : text_(std::move(text)) {}

  /// Opens a file, and reads it to its end if it is not regular.
  ///
  /// @throws Failure with kCannotRead; with kWrongUsage for more than kMaxHeld
  ///     bytes of a file that is not regular
  static Reply OfFile(const std::string& path);

  /// Returns its size. What is added to a file later does not count.
  std::uint64_t size() const { return file_ ? file_->size() : text_.size(); }

  /// Returns the bytes from an offset on: as many as fit into the buffer, or
  /// fewer, but at least one.
  ///
  /// @param offset less than size()
  /// @param buffer may be used for the result
  /// @throws Failure with kCannotRead, also if the file has shrunk
  std::string_view From(std::uint64_t offset, std::span<char> buffer) const;

 private:
  std::string text_;
  std::unique_ptr<const Input> file_;  // Takes the place of the text.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LISTEN_REPLY_H_
