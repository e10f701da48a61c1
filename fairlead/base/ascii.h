// The classes of ASCII characters, independent of setlocale. Not installed.

#ifndef FAIRLEAD_BASE_ASCII_H_
#define FAIRLEAD_BASE_ASCII_H_

namespace fairlead::internal {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr bool IsSpace(char c) {
  if (static_cast<unsigned char>(c) > ' ') return false;  // Most bytes are.
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_ASCII_H_
