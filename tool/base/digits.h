// A test for decimal digits.

#ifndef FAIRLEAD_TOOL_BASE_DIGITS_H_
#define FAIRLEAD_TOOL_BASE_DIGITS_H_

#include <string_view>

namespace fairlead::tool {

/// Returns whether the text consists of one or more decimal digits.
constexpr bool IsDigits(std::string_view text) {
  return !text.empty() &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_DIGITS_H_
