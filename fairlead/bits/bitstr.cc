// Reads a bit string from text, and copies runs of bits word by word.
#include "fairlead/bits/bitstr.h"

#include <cstddef>
#include <cstring>

#include "fairlead/bits/converter.h"

namespace fairlead {
namespace {

constexpr int kWordBits = 32;

// The low `count` bits set, for 1 to 32; 0 gives all of them.
unsigned int LowBits(int count) {
  return (2U << ((static_cast<unsigned int>(count) - 1U) % kWordBits)) - 1U;
}

// The bits of `word` outside the mask, those of `bits` inside it.
unsigned int Merged(unsigned int word, unsigned int bits, unsigned int mask) {
  return (word & ~mask) | (bits & mask);
}

// A place in the source, from which the bits are taken.
struct Column {
  const unsigned int* word;
  unsigned int offset;  // 0 to 31.
  std::ptrdiff_t stride;

  // `count` bits, in the low ones of the result; those above are anything. The
  // next word is read only when it has a part in them.
  unsigned int Slice(int count) const {
    const unsigned int low = *word >> offset;
    if (static_cast<int>(offset) + count <= kWordBits) return low;
    return low | word[stride] << (kWordBits - offset);
  }

  void Advance(int bits) {
    offset += static_cast<unsigned int>(bits);
    if (offset < kWordBits) return;
    offset -= kWordBits;
    word += stride;
  }
};

// Fills `words` words with slices of 32 bits, one after the other.
inline void FillWords(const Column& from, unsigned int* destination, int words,
                      std::ptrdiff_t stride) {
  const unsigned int* word = from.word;
  const unsigned int offset = from.offset;
  if (offset == 0) {
    for (int i = 0; i < words; ++i, word += stride) destination[i] = *word;
    return;
  }
  for (int i = 0; i < words; ++i, word += stride)
    destination[i] = *word >> offset | word[stride] << (kWordBits - offset);
}

}  // namespace

CBitstr::CBitstr(std::string_view text) {
  CConverter number(56, 0, 3);
  if (!number.LoadData(text)) return;
  length = number.bitstr.length;
  // A length in bytes taken for one in bits: of seven bytes, one is copied.
  std::memcpy(data, number.bitstr.data,
              static_cast<std::size_t>(length + 7) / 8);
}

void MoveBits(const unsigned int* source, int sourceBit,
              unsigned int* destination, int destinationBit, int count,
              int stride) noexcept {
  Column from{source, static_cast<unsigned int>(sourceBit) % kWordBits, stride};
  if (sourceBit >= kWordBits) from.word += sourceBit / kWordBits * from.stride;
  const int at = destinationBit & (kWordBits - 1);
  if (destinationBit >= kWordBits) destination += destinationBit / kWordBits;

  const int room = kWordBits - at;
  if (room >= count) {
    // A count of 0 fills the word from `at` on, as its mask is all ones.
    const unsigned int bits = from.Slice(count > 0 ? count : room) << at;
    *destination = Merged(*destination, bits, LowBits(count) << at);
    return;
  }

  *destination = Merged(*destination, from.Slice(room) << at, ~0U << at);
  from.Advance(room);
  ++destination;
  const int left = (count - room) % kWordBits;
  const int whole = (count - room) / kWordBits;
  // Known to be 1, the stride lets the compiler copy several words at once.
  if (stride == 1)
    FillWords(from, destination, whole, 1);
  else
    FillWords(from, destination, whole, stride);
  destination += whole;
  from.word += whole * from.stride;
  if (left > 0)
    *destination = Merged(*destination, from.Slice(left), LowBits(left));
}

}  // namespace fairlead
