// The start of the line that is being received.

#ifndef FAIRLEAD_TOOL_EXCHANGE_RECEIVED_LINE_H_
#define FAIRLEAD_TOOL_EXCHANGE_RECEIVED_LINE_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// Keeps no more of a line than its first bytes, so a line may be of any
/// length.
class ReceivedLine {
 public:
  /// More than a message shows of a line.
  static constexpr std::size_t kDefaultSize = 200;

  /// @param size how many bytes to keep, at least one
  explicit ReceivedLine(std::size_t size = kDefaultSize) : size_(size) {}

  /// Adds bytes that have no newline.
  void Add(std::string_view bytes) {
    bytes_ += bytes.substr(0, size_ - bytes_.size());
  }

  void Clear() { bytes_.clear(); }

  /// Returns whether no more of the line is kept.
  bool IsFull() const { return bytes_.size() == size_; }

  const std::string& bytes() const { return bytes_; }

  /// Returns the bytes without the CR of a line that ends with CR LF.
  std::string_view Text() const {
    std::string_view text = bytes_;
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
  }

 private:
  std::size_t size_;
  std::string bytes_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_RECEIVED_LINE_H_
