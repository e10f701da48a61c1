// A number of bytes as text.

#ifndef FAIRLEAD_TOOL_BASE_BYTES_TEXT_H_
#define FAIRLEAD_TOOL_BASE_BYTES_TEXT_H_

#include <concepts>
#include <string>

#include "tool/base/concat.h"

namespace fairlead::tool {

/// Returns "1 byte" or "3 bytes".
template <std::integral Number>
std::string BytesText(Number count) {
  return Concat(count, count == 1 ? " byte" : " bytes");
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_BYTES_TEXT_H_
