// Adds runs of values to a checksum, skipping those that cannot affect it.

#include "fairlead/bits/crc.h"

#include <algorithm>

namespace fairlead {
namespace {

constexpr std::uint64_t kUpperHalf = 0xFFFFFFFF00000000U;

// Values added between two checks of the upper half, which keeps the checks out
// of the dependency chain from one value to the next.
constexpr std::ptrdiff_t kBlock = 256;

std::uint32_t Widened(char c) {
  return static_cast<std::uint32_t>(static_cast<signed char>(c));
}
std::uint32_t Widened(wchar_t c) { return static_cast<std::uint32_t>(c); }
std::uint32_t Widened(unsigned char byte) { return byte; }

bool Saturated(std::uint64_t state) { return state >= kUpperHalf; }

template <typename Unit>
std::uint32_t ExclusiveOr(const Unit* first, const Unit* last) {
  std::uint32_t sum = 0;
  for (; first != last; ++first) sum ^= Widened(*first);
  return sum;
}

// Returns the state after a run of values with a rotation of 0. The upper half
// H is unchanged and the lower half L becomes v ^ (L | H): bits set in H depend
// on the last value only, the others are the exclusive or of all values.
template <typename Unit>
std::uint64_t WithoutRotation(std::uint64_t state, const Unit* first,
                              const Unit* last) {
  const std::uint64_t upper = state >> 32U;
  const std::uint64_t sum = state ^ ExclusiveOr(first, last);
  const std::uint64_t lower =
      (sum & ~upper) | (~std::uint64_t{Widened(last[-1])} & upper);
  return (state & kUpperHalf) | (lower & ~kUpperHalf);
}

// Returns the state after a run of values with a rotation of 32. The upper half
// H becomes H | L and the lower half L becomes v ^ L: once H is all ones, the
// rest is an exclusive or of all values.
template <typename Unit>
std::uint64_t RotatedByHalf(std::uint64_t state, const Unit* first,
                            const Unit* last) {
  while (first != last && !Saturated(state)) {
    const Unit* const stop = first + std::min(kBlock, last - first);
    for (; first != stop; ++first)
      state = Widened(*first) ^ (state | state << 32U);
  }
  return state ^ ExclusiveOr(first, last);
}

}  // namespace

// Adds a run of values with a left rotation by r bits: 1 to 31 for all useful
// rotations.
//
// With the state as two halves H:L, adding v makes
//
//   H' = rotl(H, r) | L >> (32 - r)
//   L' = v ^ (L << r | H << r | L >> (32 - r))
//
// A rotation loses no bit of H, so H only gains ones and stays all ones once it
// is. From then on
//
//   L' = v ^ (ones << r | L >> (32 - r))
//
// and bit j of L affects only bit j - (32 - r) of L', or none if that is
// negative. L as it was before the last k values affects only the bits below
// 32 - k * (32 - r): none if k is ceil(32 / (32 - r)). The last k values
// therefore determine the state, and those before them are skipped.
template <typename Unit>
void CCRC::AddRotated(const Unit* first, const Unit* last) {
  const unsigned int left = Left();
  std::uint64_t sum = state;
  while (first != last) {
    if (left < 32 && Saturated(sum)) {
      const std::ptrdiff_t remembered = (32 + 31 - left) / (32 - left);
      first += std::max<std::ptrdiff_t>(last - first - remembered, 0);
    }
    const Unit* const stop = first + std::min(kBlock, last - first);
    for (; first != stop; ++first) sum = Next(sum, left, Widened(*first));
  }
  state = sum;
}

template <typename Unit>
void CCRC::AddUnits(const Unit* units, std::size_t size) {
  if (size == 0) return;
  const Unit* const end = units + size;
  CountUp(size);
  switch (Left()) {
    case 0:
      state = WithoutRotation(state, units, end);
      break;
    case 32:
      state = RotatedByHalf(state, units, end);
      break;
    default:
      AddRotated(units, end);
  }
}

void CCRC::AddVal(std::string_view text) noexcept {
  AddUnits(text.data(), text.size());
}

void CCRC::AddVal(std::wstring_view text) noexcept {
  AddUnits(text.data(), text.size());
}

void CCRC::AddArr(const unsigned char* bytes, int size) noexcept {
  if (size > 0) AddUnits(bytes, static_cast<std::size_t>(size));
}

}  // namespace fairlead
