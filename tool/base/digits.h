// Whether a text is a number of digits alone.

#ifndef FAIRLEAD_TOOL_BASE_DIGITS_H_
#define FAIRLEAD_TOOL_BASE_DIGITS_H_

#include <string_view>

namespace fairlead::tool {

/// Whether the text is one decimal digit or more, and nothing else.
constexpr bool IsDigits(std::string_view text) {
  return !text.empty() &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_DIGITS_H_
