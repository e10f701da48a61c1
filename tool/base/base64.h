// Bytes as base64 (RFC 4648, section 4).

#ifndef FAIRLEAD_TOOL_BASE_BASE64_H_
#define FAIRLEAD_TOOL_BASE_BASE64_H_

#include <string>
#include <string_view>

namespace fairlead::tool {

/// Returns the bytes in base64, padded with '=', without newlines.
std::string Base64(std::string_view bytes);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_BASE64_H_
