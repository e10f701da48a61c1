// Any bytes can be spelled, shown and read back; any text can be refused.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace {

using fairlead::tool::Escaped;
using fairlead::tool::Failure;
using fairlead::tool::FromHex;
using fairlead::tool::HexByte;
using fairlead::tool::Unescaped;
using fairlead::tool::Visible;

void Require(bool holds) {
  if (!holds) std::abort();
}

bool HasControlByte(std::string_view text, std::string_view allowed) {
  for (const char c : text)
    if ((c >= 0 && c < ' ' && allowed.find(c) == std::string_view::npos) ||
        c == '\x7f')
      return true;
  return false;
}

// Escaping what was read must read back the same.
void ReadBack(std::string_view text) {
  try {
    const std::string bytes = Unescaped(text, "text");
    Require(Unescaped(Escaped(bytes), "text") == bytes);
  } catch (const Failure&) {
    Require(text.find('\\') != std::string_view::npos);
  }
  try {
    Require(FromHex(text, "hex").size() * 2 <= text.size());
  } catch (const Failure&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Require(Unescaped(Escaped(bytes), "text") == bytes);
  Require(!HasControlByte(Escaped(bytes), ""));
  Require(!HasControlByte(Visible(bytes), "\n\t"));
  std::string digits;
  for (const char c : bytes) digits += HexByte(c) + " ";
  Require(FromHex(digits, "hex") == bytes);
  ReadBack(bytes);
  return 0;
}
