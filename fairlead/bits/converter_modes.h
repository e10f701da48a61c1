// A converter's two modes, each in a source of its own: digits and decimal.

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

// Reads a text of digits in which nothing is skipped or wrong or beyond ASCII,
// as nearly all are; false, with anything in the result, where that is not so.
// The result is all zero before.
bool ReadPlainDigits(const CConverter& converter, std::string_view text,
                     CBitstr& result);

// Reads any text of digits without hyphens and blanks, one after the other. The
// result is all zero before.
TextError ReadDigits(const CConverter& converter, std::string_view text,
                     CBitstr& result);

// Writes the first `size` digits of `bits`.
void WriteDigits(const CConverter& converter, const CBitstr& bits, char* out,
                 std::size_t size);

// Digits that a decimal text of so many bits can need.
int DecimalDigitCount(int total_bits);

// Reads a number without hyphens and blanks. The result is all zero before.
TextError ReadDecimal(int total_bits, std::string_view text, CBitstr& result);

using DecimalRoom = std::array<char, 32>;

// The decimal text of `bits`, which stands in `room`; "" for more than 64.
std::string_view WriteDecimal(int total_bits, const CBitstr& bits,
                              DecimalRoom& room);
std::string DecimalText(int total_bits, const CBitstr& bits);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BITS_CONVERTER_MODES_H_
