// Where the lines of an edited text begin. Not installed.

#ifndef FAIRLEAD_INI_LINE_PLACES_H_
#define FAIRLEAD_INI_LINE_PLACES_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fairlead/ini/gap_vector.h"
#include "fairlead/ini/line_set.h"

namespace fairlead::internal {

// The lines of a text, and those that edits make, have numbers in the order in
// which their bytes follow each other. Only the first line of each block of
// lines has its place; the others are found by counting the newlines from there
// on. A line that is gone stays in its block, and has a bit.
class LinePlaces {
 public:
  // A line: the one `skip` lines behind the one that begins at `begin`.
  struct Place {
    std::size_t begin;
    std::size_t skip;
    std::size_t number;
  };

  // Takes the size of the text, which Append() then makes known.
  LinePlaces(std::size_t lines, std::size_t bytes);

  // Appends the next line of the text.
  void Append(std::size_t begin);

  // Returns how many numbers there are.
  std::size_t numbers() const { return numbers_; }
  Place At(std::size_t line) const;
  // Returns how many lines from `line` on follow each other in the bytes, up to
  // so many.
  std::size_t RunAt(std::size_t line, std::size_t most) const;

  // `begin`: offset of the new line, which gets the next number. `there`:
  // offset of the line now at `line`; unused at the end.
  void Insert(std::size_t line, std::size_t there, std::size_t begin);
  void Replace(std::size_t line, std::size_t there, std::size_t begin);

  void Erase(const LineSet& gone);

 private:
  struct Block {
    std::uint32_t line;    // The first one,
    std::uint32_t begin;   // where it begins, or did if it is gone,
    std::uint32_t number;  // and its number.
  };

  static Block MakeBlock(std::size_t line, std::size_t begin,
                         std::size_t number);
  std::size_t IndexOf(std::size_t line) const;
  std::size_t EndOf(std::size_t block) const;
  std::size_t SplitAt(std::size_t line, std::size_t there);
  void Add(std::size_t block, std::size_t line, std::size_t begin);
  std::size_t EraseIn(std::size_t block, const LineSet& gone);

  unsigned shift_;  // Blocks of the text have two to the power of this lines,
                    // unless these are much longer than the others.
  std::size_t size_ = 0;
  std::size_t originals_ = 0;  // The numbers of lines of the text.
  std::size_t numbers_ = 0;
  GapVector<Block> blocks_;
  std::vector<bool> gone_;  // By number; empty if no line is gone.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_PLACES_H_
