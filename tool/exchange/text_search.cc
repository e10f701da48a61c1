// Keeps the end of each piece, in which the text may have begun.

#include "tool/exchange/text_search.h"

#include <algorithm>

namespace fairlead::tool {

std::optional<std::size_t> TextSearch::Take(std::string_view piece) {
  const std::size_t before = tail_.size();
  tail_ += piece;
  const std::size_t at = tail_.find(text_);
  if (at != std::string::npos) return at + text_.size() - before;
  tail_.erase(0, tail_.size() - std::min(tail_.size(), text_.size() - 1));
  return std::nullopt;
}

}  // namespace fairlead::tool
