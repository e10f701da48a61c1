// Text joined from pieces.

#ifndef FAIRLEAD_TOOL_BASE_CONCAT_H_
#define FAIRLEAD_TOOL_BASE_CONCAT_H_

#include <concepts>
#include <string>
#include <string_view>

namespace fairlead::tool {

inline void AppendPiece(std::string& text, std::string_view piece) {
  text += piece;
}

template <std::integral Number>
void AppendPiece(std::string& text, Number number) {
  text += std::to_string(number);
}

/// Returns the pieces, texts and integers, joined.
template <typename... Pieces>
std::string Concat(const Pieces&... pieces) {
  std::string text;
  (AppendPiece(text, pieces), ...);
  return text;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_CONCAT_H_
