// A set of lines of a text. Not installed.

#ifndef FAIRLEAD_INI_LINE_SET_H_
#define FAIRLEAD_INI_LINE_SET_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

namespace fairlead::internal {

// Has a bit for each line up to its last one: a name may be on every line of a
// large file.
class LineSet {
 public:
  // Iterates over the lines as they ascend.
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using pointer = const std::size_t*;
    using reference = std::size_t;

    Iterator() = default;
    Iterator(const LineSet* set, std::size_t line) : set_(set), line_(line) {}

    std::size_t operator*() const { return line_; }
    Iterator& operator++() {
      line_ = set_->Next(line_ + 1);
      return *this;
    }
    Iterator operator++(int) {
      const Iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const Iterator& a, const Iterator& b) {
      return a.line_ == b.line_;
    }

   private:
    const LineSet* set_ = nullptr;
    std::size_t line_ = 0;
  };

  bool empty() const { return size_ == 0; }
  std::size_t size() const { return size_; }
  Iterator begin() const { return {this, Next(0)}; }
  Iterator end() const { return {this, words_.size() * kBits}; }

  bool Contains(std::size_t line) const {
    return line / kBits < words_.size() &&
           (words_[line / kBits] >> (line % kBits) & 1U) != 0;
  }

  void Add(std::size_t line) {
    if (Contains(line)) return;
    if (line / kBits >= words_.size()) words_.resize(line / kBits + 1);
    words_[line / kBits] |= std::uint64_t{1} << (line % kBits);
    ++size_;
  }

  // Of a set that is not empty.
  std::size_t front() const { return Next(0); }
  std::size_t back() const {
    return words_.size() * kBits - 1 -
           static_cast<std::size_t>(std::countl_zero(words_.back()));
  }

  // Returns the line at a place, from 0, which the set must have.
  std::size_t At(std::size_t place) const {
    std::size_t word = 0;
    for (;; ++word) {
      const auto here = static_cast<std::size_t>(std::popcount(words_[word]));
      if (place < here) break;
      place -= here;
    }
    std::uint64_t bits = words_[word];
    for (; place > 0; --place) bits &= bits - 1;
    return word * kBits + static_cast<std::size_t>(std::countr_zero(bits));
  }

  // Removes the last line and returns it.
  std::size_t Pop() {
    const std::size_t last = back();
    words_.back() &= ~(std::uint64_t{1} << (last % kBits));
    while (!words_.empty() && words_.back() == 0) words_.pop_back();
    --size_;
    return last;
  }

 private:
  static constexpr std::size_t kBits = 64;

  // Returns the first line of the set from `line` on, or the end.
  std::size_t Next(std::size_t line) const {
    std::size_t word = line / kBits;
    if (word >= words_.size()) return words_.size() * kBits;
    std::uint64_t bits = words_[word] >> (line % kBits) << (line % kBits);
    while (bits == 0 && ++word < words_.size()) bits = words_[word];
    if (bits == 0) return words_.size() * kBits;
    return word * kBits + static_cast<std::size_t>(std::countr_zero(bits));
  }

  std::vector<std::uint64_t> words_;  // The last one is not 0.
  std::size_t size_ = 0;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_SET_H_
