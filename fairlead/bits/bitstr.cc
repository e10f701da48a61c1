// Reads a bit string from text, and copies bit runs word by word.

#include "fairlead/bits/bitstr.h"

#include <cstddef>
#include <cstring>

// The only mutual dependency of two headers' classes: a converter holds a bit
// string, and a bit string can be read from text by a converter.
#include "fairlead/bits/converter.h"

namespace fairlead {
namespace {

constexpr int kWordBits = 32;

// Returns the low `count` bits set, for 1 to 32; for 0, all of them.
unsigned int LowBits(int count) {
  return (2U << ((static_cast<unsigned int>(count) - 1U) % kWordBits)) - 1U;
}

// Returns the bits of `word` outside the mask and those of `bits` inside it.
unsigned int Merged(unsigned int word, unsigned int bits, unsigned int mask) {
  return (word & ~mask) | (bits & mask);
}

// A position in the source.
struct Column {
  const unsigned int* word;
  unsigned int offset;  // 0 to 31.
  std::ptrdiff_t stride;

  // Returns `count` bits in the low bits of the result; those above them are
  // unspecified. Reads the next word only if it contributes a bit.
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

// Fills `words` words with consecutive slices of 32 bits.
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
  // Kept for compatibility: the length in bytes is taken for one in bits, so
  // that one byte of the seven is copied.
  std::memcpy(data, number.bitstr.data,
              static_cast<std::size_t>(length + 7) / 8);
}

void MoveBits(const unsigned int* source, int source_bit,
              unsigned int* destination, int destination_bit, int count,
              int stride) noexcept {
  Column from{source, static_cast<unsigned int>(source_bit) % kWordBits,
              stride};
  if (source_bit >= kWordBits)
    from.word += source_bit / kWordBits * from.stride;
  const int at = destination_bit & (kWordBits - 1);
  if (destination_bit >= kWordBits) destination += destination_bit / kWordBits;

  const int room = kWordBits - at;
  if (room >= count) {
    // Kept for compatibility: a count of 0 has a mask of all ones.
    const unsigned int bits = from.Slice(count > 0 ? count : room) << at;
    *destination = Merged(*destination, bits, LowBits(count) << at);
    return;
  }

  *destination = Merged(*destination, from.Slice(room) << at, ~0U << at);
  from.Advance(room);
  ++destination;
  const int left = (count - room) % kWordBits;
  const int whole = (count - room) / kWordBits;
  // With a constant stride of 1 the compiler vectorizes the loop.
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
