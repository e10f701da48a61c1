// Where the lines of an edited text begin.

#include "fairlead/ini/line_places.h"

#include <algorithm>
#include <bit>

namespace fairlead::internal {
namespace {

// The bytes of a block, about: counting the newlines of so many takes no longer
// than reading a line. Shorter lines than those of a key and a value are seldom
// read, and many.
constexpr std::size_t kBlockSize = 128;
constexpr std::size_t kShortLine = 4;
constexpr std::size_t kShortLinesSize = 2048;

// A block of long lines among short ones ends here.
constexpr std::size_t kMaxBlockSize = 8192;

unsigned ShiftFor(std::size_t lines, std::size_t bytes) {
  const std::size_t average = bytes / std::max<std::size_t>(lines, 1) + 1;
  const std::size_t size = average <= kShortLine ? kShortLinesSize : kBlockSize;
  return static_cast<unsigned>(std::bit_width(size / average));
}

}  // namespace

LinePlaces::LinePlaces(std::size_t lines, std::size_t bytes)
    : shift_(ShiftFor(lines, bytes)) {
  blocks_.reserve((lines >> shift_) + 2);
}

LinePlaces::Block LinePlaces::MakeBlock(std::size_t line, std::size_t begin,
                                        std::size_t number) {
  return {static_cast<std::uint32_t>(line), static_cast<std::uint32_t>(begin),
          static_cast<std::uint32_t>(number)};
}

void LinePlaces::Append(std::size_t begin) {
  const std::size_t line = size_++;
  originals_ = numbers_ = size_;
  const bool begins = blocks_.empty() ||
                      line - blocks_.back().line == std::size_t{1} << shift_ ||
                      begin - blocks_.back().begin > kMaxBlockSize;
  if (begins) blocks_.push_back(MakeBlock(line, begin, line));
}

std::size_t LinePlaces::EndOf(std::size_t block) const {
  return block + 1 < blocks_.size() ? blocks_[block + 1].line : size_;
}

// Returns the block of a line. Without many edits, it is about where it would
// be if all blocks were equal.
std::size_t LinePlaces::IndexOf(std::size_t line) const {
  constexpr std::size_t kNear = 8;
  const std::size_t guess = std::min(line >> shift_, blocks_.size() - 1);
  if (blocks_[guess].line <= line && line < EndOf(guess)) return guess;
  std::size_t begin = guess - std::min(guess, kNear);
  std::size_t end = std::min(guess + kNear, blocks_.size());
  if (blocks_[begin].line > line) begin = 0;
  if (line >= EndOf(end - 1)) end = blocks_.size();
  while (end - begin > 1) {
    const std::size_t middle = begin + (end - begin) / 2;
    (blocks_[middle].line <= line ? begin : end) = middle;
  }
  return begin;
}

LinePlaces::Place LinePlaces::At(std::size_t line) const {
  const Block& block = blocks_[IndexOf(line)];
  std::size_t left = line - block.line;
  std::size_t number = block.number;
  if (gone_.empty())
    number += left;
  else
    while (gone_[number] || left-- > 0) ++number;
  return {block.begin, number - block.number, number};
}

std::size_t LinePlaces::RunAt(std::size_t line, std::size_t most) const {
  const std::size_t number = At(line).number;
  std::size_t block = IndexOf(line);
  std::size_t run = 1;
  for (; run < most && line + run < size_; ++run) {
    const std::size_t next = number + run;
    if (next == numbers_ || (!gone_.empty() && gone_[next])) break;
    if (line + run < EndOf(block)) continue;
    if (next == originals_ || blocks_[++block].number != next) break;
  }
  return run;
}

// Makes a line the first one of its block, and returns the block.
std::size_t LinePlaces::SplitAt(std::size_t line, std::size_t there) {
  if (line == size_) return blocks_.size();
  const std::size_t block = IndexOf(line);
  if (blocks_[block].line == line) return block;
  const Block rest = MakeBlock(line, there, At(line).number);
  blocks_.Insert(block + 1, rest);
  return block + 1;
}

// Adds a new line above a block, to that above if it can.
void LinePlaces::Add(std::size_t block, std::size_t line, std::size_t begin) {
  const std::size_t number = numbers_++;
  if (!gone_.empty()) gone_.resize(numbers_);
  const bool follows =
      line > 0 && number > originals_ && IndexOf(line - 1) + 1 == block &&
      line - blocks_[block - 1].line < std::size_t{1} << shift_ &&
      At(line - 1).number + 1 == number;
  if (follows) return;
  blocks_.Insert(block, MakeBlock(line, begin, number));
}

void LinePlaces::Insert(std::size_t line, std::size_t there,
                        std::size_t begin) {
  const std::size_t block = SplitAt(line, there);
  for (std::size_t i = block; i < blocks_.size(); ++i) ++blocks_[i].line;
  ++size_;
  Add(block, line, begin);
}

void LinePlaces::Replace(std::size_t line, std::size_t there,
                         std::size_t begin) {
  gone_.resize(numbers_);
  const std::size_t number = At(line).number;
  const std::size_t block = SplitAt(line, there);
  gone_[number] = true;
  if (++blocks_[block].line == EndOf(block)) blocks_.Erase(block);
  Add(block, line, begin);
}

// Erases lines, and blocks without lines.
void LinePlaces::Erase(const LineSet& gone) {
  gone_.resize(numbers_);
  std::size_t erased = 0;
  std::size_t kept = IndexOf(gone.front());
  for (std::size_t block = kept; block < blocks_.size(); ++block) {
    const std::size_t lines = EndOf(block) - blocks_[block].line;
    const std::size_t count =
        blocks_[block].line <= gone.back() ? EraseIn(block, gone) : 0;
    if (count < lines) {
      blocks_[kept] = blocks_[block];
      blocks_[kept++].line -= static_cast<std::uint32_t>(erased);
    }
    erased += count;
  }
  blocks_.Truncate(kept);
  size_ -= erased;
}

// Gives lines of a block their bits, and returns how many.
std::size_t LinePlaces::EraseIn(std::size_t block, const LineSet& gone) {
  const std::size_t end = EndOf(block);
  std::size_t count = 0;
  std::size_t number = blocks_[block].number;
  for (std::size_t line = blocks_[block].line; line < end; ++line, ++number) {
    while (gone_[number]) ++number;
    if (!gone.Contains(line)) continue;
    gone_[number] = true;
    ++count;
  }
  return count;
}

}  // namespace fairlead::internal
