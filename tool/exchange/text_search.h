// Finds a text in bytes that come in pieces.

#ifndef FAIRLEAD_TOOL_EXCHANGE_TEXT_SEARCH_H_
#define FAIRLEAD_TOOL_EXCHANGE_TEXT_SEARCH_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace fairlead::tool {

/// Looks for the first place where a text ends. The text may span pieces.
///
/// Keeps fewer bytes than the text has.
class TextSearch {
 public:
  /// @param text not empty
  explicit TextSearch(std::string text) : text_(std::move(text)) {}

  /// Returns how many bytes of the piece there are up to the end of the text,
  /// or nothing if it has not come yet. Not to be called after it has come.
  std::optional<std::size_t> Take(std::string_view piece);

 private:
  std::string text_;
  std::string tail_;  // The last bytes, in which the text may have begun.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_TEXT_SEARCH_H_
