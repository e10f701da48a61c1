// Digits of six bits, sixteen at a time, on processors with SSSE3. Not
// installed.

#ifndef FAIRLEAD_BITS_CONVERTER_SIXTEENS_H_
#define FAIRLEAD_BITS_CONVERTER_SIXTEENS_H_

#include <cstddef>
#include <string_view>

#include "fairlead/bits/bitstr.h"
#include "fairlead/bits/converter.h"

namespace fairlead::internal {

constexpr std::size_t kDataBytes = sizeof(CBitstr::data);

// Writes the first of `size` digits, sixteen or more, from the 64 `bytes`.
// Returns how many were written: `size` or a multiple of sixteen, possibly 0.
// The caller writes the rest.
std::size_t WriteSixteens(const CConverter& converter,
                          const unsigned char* bytes, char* out,
                          std::size_t size);

// Reads the first digits of `text`, sixteen or more, into the 64 `bytes`. Stops
// before a group of sixteen with a digit that has no value of six bits or is
// not a printable ASCII character. Returns how many were read: all or a
// multiple of sixteen, possibly 0. May set bytes beyond those filled to zero.
std::size_t ReadSixteens(const CConverter& converter, std::string_view text,
                         unsigned char* bytes);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BITS_CONVERTER_SIXTEENS_H_
