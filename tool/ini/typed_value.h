// The values of keys as numbers, sizes and yes or no.

#ifndef FAIRLEAD_TOOL_INI_TYPED_VALUE_H_
#define FAIRLEAD_TOOL_INI_TYPED_VALUE_H_

#include <optional>
#include <string>
#include <string_view>

#include "tool/ini/ini_parameters.h"

namespace fairlead::tool::ini {

/// Returns the value in its one form, as -type describes it; nothing if it is
/// not of that type or does not fit into 64 bits.
std::optional<std::string> TypedValue(Type type, std::string_view value);

/// Returns "a whole number".
std::string_view Spelled(Type type);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_TYPED_VALUE_H_
