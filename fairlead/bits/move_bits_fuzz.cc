// Copies the bit run that the input describes, and compares the copy with one
// made bit by bit: between two arrays, and within one.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fairlead/bits/bitstr.h"
#include "fairlead/bits/move_bits_model.h"

namespace {

using Words = std::vector<unsigned int>;

struct Run {
  std::uint16_t from;
  std::uint16_t to;
  std::uint16_t count;
  std::uint16_t stride;
  std::uint16_t source_word;  // Where the runs begin within one array.
  std::uint16_t destination_word;
};

void Require(bool holds) {
  if (!holds) std::abort();
}

// Returns words filled with the bytes, repeated.
Words Filled(std::size_t size, const std::uint8_t* data, std::size_t bytes) {
  Words words(size);
  auto* const out = reinterpret_cast<std::uint8_t*>(words.data());
  for (std::size_t i = 0; i < size * sizeof(words[0]) && bytes > 0; ++i)
    out[i] = data[i % bytes];
  return words;
}

void Move(const Run& run, const unsigned int* source,
          unsigned int* destination) {
  fairlead::MoveBits(source, run.from, destination, run.to, run.count,
                     run.stride);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  Run run{};
  if (size < sizeof(run)) return 0;
  std::memcpy(&run, data, sizeof(run));
  run.from = run.from % 600;
  run.to = run.to % 600;
  run.count = run.count % 600;
  run.stride = run.stride % 6;

  // Only words that hold a bit of the run, so that the sanitizer reports an
  // access to any other.
  const std::size_t bits = run.count > 0 ? run.count : 32U - run.to % 32U;
  const std::size_t source_size = (run.from + bits - 1) / 32 * run.stride + 1;
  const std::size_t size_after = (run.to + bits - 1) / 32 + 1;
  const Words source =
      Filled(source_size, data + sizeof(run), size - sizeof(run));
  Words expected = Filled(size_after, data, sizeof(run));
  Words actual = expected;
  fairlead::internal::MoveBitByBit(source.data(), run.from, expected.data(),
                                   run.to, run.count, run.stride);
  Move(run, source.data(), actual.data());
  Require(actual == expected);

  const std::size_t source_word = run.source_word % 40;
  const std::size_t destination_word = run.destination_word % 40;
  Words same = Filled(40 + std::max(source_size, size_after),
                      data + sizeof(run), size - sizeof(run));
  Words moved = same;
  fairlead::internal::MoveWordByWord(&same[source_word], run.from,
                                     &same[destination_word], run.to, run.count,
                                     run.stride);
  Move(run, &moved[source_word], &moved[destination_word]);
  Require(moved == same);
  return 0;
}
