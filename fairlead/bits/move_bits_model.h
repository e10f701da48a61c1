// Slow copies of bit runs: bit by bit, and word by word. Not installed.

#ifndef FAIRLEAD_BITS_MOVE_BITS_MODEL_H_
#define FAIRLEAD_BITS_MOVE_BITS_MODEL_H_

#include <cstddef>

namespace fairlead::internal {

// Copies bit by bit. A count of 0 fills the rest of the word that contains
// `destination_bit`.
inline void MoveBitByBit(const unsigned int* source, std::size_t source_bit,
                         unsigned int* destination, std::size_t destination_bit,
                         std::size_t count, std::size_t stride) {
  if (count == 0) count = 32 - destination_bit % 32;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t from = source_bit + i;
    const std::size_t to = destination_bit + i;
    const unsigned int bit = source[from / 32 * stride] >> from % 32 & 1U;
    unsigned int& word = destination[to / 32];
    word = (word & ~(1U << to % 32)) | bit << to % 32;
  }
}

// Copies one destination word after the other, each read just before it is
// written: the expected result if source and destination overlap.
inline void MoveWordByWord(const unsigned int* source, std::size_t source_bit,
                           unsigned int* destination,
                           std::size_t destination_bit, std::size_t count,
                           std::size_t stride) {
  std::size_t done = 0;
  do {
    const std::size_t room = 32 - (destination_bit + done) % 32;
    const std::size_t part = count == 0            ? room
                             : count - done < room ? count - done
                                                   : room;
    unsigned int word = 0;
    MoveBitByBit(source, source_bit + done, &word, 0, part, stride);
    MoveBitByBit(&word, 0, destination, destination_bit + done, part, 1);
    done += part;
  } while (done < count);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BITS_MOVE_BITS_MODEL_H_
