// The two modes of a converter: digits and decimal. Not installed.

#ifndef FAIRLEAD_BITS_CONVERTER_MODES_H_
#define FAIRLEAD_BITS_CONVERTER_MODES_H_

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "fairlead/bits/bitstr.h"
#include "fairlead/bits/converter.h"

namespace fairlead::internal {

// What is wrong with a text; the numbers are those of CConverter::error.
enum class TextError {
  kNone,
  kWrongLength,
  kTooLargeDigit,
  kTooManyDigits,
  kNoNumber
};

// Reads a valid text of ASCII digits without hyphens and spaces: the common
// case. `result` must be all zero. Returns false, with `result` unspecified,
// for any other text.
bool ReadPlainDigits(const CConverter& converter, std::string_view text,
                     CBitstr& result);

// Reads any text without hyphens and spaces, digit by digit. `result` must be
// all zero.
TextError ReadDigits(const CConverter& converter, std::string_view text,
                     CBitstr& result);

// Writes the first `size` digits of `bits`.
void WriteDigits(const CConverter& converter, const CBitstr& bits, char* out,
                 std::size_t size);

// Returns the most digits that a decimal text of `total_bits` bits can need.
int DecimalDigitCount(int total_bits);

// Reads a number without hyphens and spaces. `result` must be all zero.
TextError ReadDecimal(int total_bits, std::string_view text, CBitstr& result);

using DecimalBuffer = std::array<char, 32>;

// Returns the decimal text of `bits`, which lives in `buffer`; "" for more than
// 64 bits.
std::string_view WriteDecimal(int total_bits, const CBitstr& bits,
                              DecimalBuffer& buffer);
std::string DecimalText(int total_bits, const CBitstr& bits);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BITS_CONVERTER_MODES_H_
