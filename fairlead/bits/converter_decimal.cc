// Bits as one decimal number, padded with zeros, and back.

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>

#include "fairlead/bits/converter_modes.h"

namespace fairlead::internal {
namespace {

// Returns the number of bytes that hold the bits.
int ByteCount(int total_bits) {
  return static_cast<int>((std::int64_t{total_bits} + 7) / 8);
}

// Reads a number as `>>` does in the classic locale. The text has no hyphens,
// hence no minus sign.
bool ReadNumber(std::string_view text, std::int64_t& number) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string_view::npos) return false;
  text.remove_prefix(start);
  if (text.front() == '+') text.remove_prefix(1);
  return std::from_chars(text.data(), text.data() + text.size(), number).ec ==
         std::errc();
}

}  // namespace

int DecimalDigitCount(int total_bits) {
  return static_cast<int>(total_bits * 0.30103 + 1.0);
}

TextError ReadDecimal(int total_bits, std::string_view text, CBitstr& result) {
  while (text.size() > 1 && text.front() == '0') text.remove_prefix(1);
  if (static_cast<std::int64_t>(text.size()) > DecimalDigitCount(total_bits))
    return TextError::kTooManyDigits;
  std::int64_t number = 0;
  if (!ReadNumber(text, number)) return TextError::kNoNumber;

  result.length = ByteCount(total_bits);
  std::memcpy(result.data, &number,
              static_cast<std::size_t>(std::clamp(result.length, 0, 8)));
  return TextError::kNone;
}

std::string_view WriteDecimal(int total_bits, const CBitstr& bits,
                              DecimalBuffer& buffer) {
  if (total_bits > 64) return {};
  CBitstr low;
  MoveBits(bits.data, 0, low.data, 0, total_bits, 1);
  std::int64_t number = 0;
  std::memcpy(&number, low.data,
              static_cast<std::size_t>(std::max(ByteCount(total_bits), 0)));

  std::array<char, 20> text;  // The longest number, with its sign.
  const char* const end = std::to_chars(text.begin(), text.end(), number).ptr;
  const std::ptrdiff_t zeros = std::max<std::ptrdiff_t>(
      DecimalDigitCount(total_bits) - (end - text.data()), 0);
  char* const out = std::fill_n(buffer.data(), zeros, '0');
  const char* const stop = std::copy<const char*>(text.data(), end, out);
  return {buffer.data(), static_cast<std::size_t>(stop - buffer.data())};
}

std::string DecimalText(int total_bits, const CBitstr& bits) {
  DecimalBuffer buffer;
  return std::string(WriteDecimal(total_bits, bits, buffer));
}

}  // namespace fairlead::internal
