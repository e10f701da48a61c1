// Digits of six bits, sixteen at a time, where the processor can shuffle bytes.

#ifndef FAIRLEAD_BITS_CONVERTER_SIXTEENS_H_
#define FAIRLEAD_BITS_CONVERTER_SIXTEENS_H_

#include <cstddef>
#include <string_view>

#include "fairlead/bits/bitstr.h"
#include "fairlead/bits/converter.h"

namespace fairlead::internal {

constexpr std::size_t kDataBytes = sizeof(CBitstr::data);

// Writes the first of `size` digits, sixteen or more, that the 64 `bytes` hold.
// Returns how many: all, or else a multiple of sixteen and maybe none. The rest
// is the caller's.
std::size_t WriteSixteens(const CConverter& converter,
                          const unsigned char* bytes, char* out,
                          std::size_t size);

// Reads the first digits of `text`, which has sixteen or more, into the 64
// `bytes`. Stops before sixteen of which one has no value of six bits or is
// no printable character of ASCII. Returns how many were read: all, or else a
// multiple of sixteen and maybe none. Some bytes beyond those filled may become
// zero.
std::size_t ReadSixteens(const CConverter& converter, std::string_view text,
                         unsigned char* bytes);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BITS_CONVERTER_SIXTEENS_H_
