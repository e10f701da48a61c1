// Decimal digits in a text.

#ifndef FAIRLEAD_TOOL_BASE_DIGITS_H_
#define FAIRLEAD_TOOL_BASE_DIGITS_H_

#include <algorithm>
#include <string_view>

namespace fairlead::tool {

/// Returns whether the text consists of one or more decimal digits.
constexpr bool IsDigits(std::string_view text) {
  return !text.empty() &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Returns the text without its leading spaces.
constexpr std::string_view AfterSpaces(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_DIGITS_H_
