// Text in words of eight bytes: numbers and case without a step for every
// byte. Not installed.

#ifndef FAIRLEAD_BASE_EIGHT_BYTES_H_
#define FAIRLEAD_BASE_EIGHT_BYTES_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fairlead::internal {

// A word with the same byte eight times.
constexpr std::uint64_t EightTimes(unsigned char byte) {
  return std::uint64_t{0x0101'0101'0101'0101} * byte;
}

template <typename Word>
std::uint64_t LoadBytes(const char* from) {
  Word word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

// Returns the first eight bytes of a text, the first one lowest; zeros follow a
// shorter one. Branches on its size only: a loop over few bytes would take
// longer, as its end is mispredicted.
inline std::uint64_t FirstBytes(const char* text, std::size_t size) {
  if (size >= 8) return LoadBytes<std::uint64_t>(text);
  if (size >= 4) {
    const std::size_t rest = size - 4;
    return LoadBytes<std::uint32_t>(text) |
           LoadBytes<std::uint32_t>(text + rest) << 8U * rest;
  }
  if (size == 0) return 0;
  const auto byte = [text](std::size_t at) {
    return LoadBytes<unsigned char>(text + at) << 8U * at;
  };
  return byte(0) | byte(size / 2) | byte(size - 1);
}

// Returns a word of decimal digits with the value of each in its byte, and with
// others in bytes that are no digits.
constexpr std::uint64_t DigitValues(std::uint64_t bytes) {
  return bytes ^ EightTimes('0');
}

// Returns the top bit of each byte above 9, up to the first; the sums of later
// bytes may have a carry.
constexpr std::uint64_t NoDigits(std::uint64_t values) {
  return (values | (values + EightTimes(0x80 - 10))) & EightTimes(0x80);
}

// Returns the number with these eight digits, the first one lowest: sums of
// two, of four and of all.
constexpr std::uint32_t NumberOf(std::uint64_t values) {
  values = (values * 10 + (values >> 8U)) & 0x00FF'00FF'00FF'00FF;
  values = (values * 100 + (values >> 16U)) & 0x0000'FFFF'0000'FFFF;
  return static_cast<std::uint32_t>(values * 10'000 + (values >> 32U));
}

// Returns the bytes with the letters from kFirst, which is 'a' or 'A', in the
// other case. Bytes above 127 are no letters.
template <char kFirst>
constexpr std::uint64_t OtherCase(std::uint64_t bytes) {
  constexpr unsigned char kFrom = 0x80 - kFirst;
  const std::uint64_t low = bytes & EightTimes(0x7F);
  const std::uint64_t letters = (low + EightTimes(kFrom)) &
                                ~(low + EightTimes(kFrom - 26)) & ~bytes &
                                EightTimes(0x80);
  return bytes ^ letters >> 2U;  // The bit 0x20.
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_EIGHT_BYTES_H_
