// Adds runs of values to a check value, no longer than the value remembers.
#include "fairlead/bits/crc.h"

#include <algorithm>

namespace fairlead {
namespace {

constexpr std::uint64_t kUpperHalf = 0xFFFFFFFF00000000U;

// Values added between two looks at the upper half, so that looking for ones
// is no part of the chain from one value to the next.
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

// The state after a run of values, none of which turns it. The upper half H
// stays what it is, and the lower half L becomes v ^ (L | H): where H has a
// one, only the last value counts, and where it has a zero, they all do alike.
template <typename Unit>
std::uint64_t Unturned(std::uint64_t state, const Unit* first,
                       const Unit* last) {
  const std::uint64_t upper = state >> 32U;
  const std::uint64_t sum = state ^ ExclusiveOr(first, last);
  const std::uint64_t lower =
      (sum & ~upper) | (~std::uint64_t{Widened(last[-1])} & upper);
  return (state & kUpperHalf) | (lower & ~kUpperHalf);
}

// The state after a run of values, each of which turns it by 32 bits. The upper
// half H becomes H | L and the lower half L becomes v ^ L: as soon as H is
// full, the rest is an exclusive or of all values.
template <typename Unit>
std::uint64_t TurnedWhole(std::uint64_t state, const Unit* first,
                          const Unit* last) {
  while (first != last && !Saturated(state)) {
    const Unit* const stop = first + std::min(kBlock, last - first);
    for (; first != stop; ++first)
      state = Widened(*first) ^ (state | state << 32U);
  }
  return state ^ ExclusiveOr(first, last);
}

}  // namespace

// Adds a run of values that turn the state by r bits to the left, 1 to 31 for
// every rotation that makes sense.
//
// With the state as two halves H:L, adding v makes
//
//   H' = rotl(H, r) | L >> (32 - r)
//   L' = v ^ (L << r | H << r | L >> (32 - r))
//
// A turn loses no bit of H, so H only ever gains ones, and once it is all ones
// it stays so. From then on
//
//   L' = v ^ (ones << r | L >> (32 - r))
//
// and bit j of L reaches only bit j - (32 - r) of L', or nothing at all where
// that is negative. What L was before the last k values is thus found in it
// only below bit 32 - k * (32 - r): nowhere, when k is 32 / (32 - r) rounded
// up. The last k values therefore decide the state, and those before need not
// be looked at.
template <typename Unit>
void CCRC::AddTurned(const Unit* first, const Unit* last) {
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
      state = Unturned(state, units, end);
      break;
    case 32:
      state = TurnedWhole(state, units, end);
      break;
    default:
      AddTurned(units, end);
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
