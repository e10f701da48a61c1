// Encodes bytes in base64.

#include "tool/base/base64.h"

#include <cstddef>
#include <cstdint>

namespace fairlead::tool {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string Base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::string_view group = bytes.substr(at, 3);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i)
      bits = bits << 8U |
             (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
    for (std::size_t i = 0; i < 4; ++i)
      text += i <= group.size() ? kAlphabet[bits >> (18 - 6 * i) & 63U] : '=';
  }
  return text;
}

}  // namespace fairlead::tool
