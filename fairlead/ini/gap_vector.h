// A list that is changed about one place at a time. Not installed.

#ifndef FAIRLEAD_INI_GAP_VECTOR_H_
#define FAIRLEAD_INI_GAP_VECTOR_H_

#include <algorithm>
#include <cstddef>
#include <vector>

namespace fairlead::internal {

// A vector with free space at the place of the last change. An insertion or
// deletion moves only the items between that place and its own, so a walk over
// the list that changes all of it takes linear time.
template <typename Item>
class GapVector {
 public:
  bool empty() const { return size() == 0; }
  std::size_t size() const { return items_.size() - gap_size_; }
  void reserve(std::size_t count) { items_.reserve(count); }

  Item& operator[](std::size_t place) { return items_[IndexOf(place)]; }
  const Item& operator[](std::size_t place) const {
    return items_[IndexOf(place)];
  }
  const Item& back() const { return (*this)[size() - 1]; }

  // Appends to a list without any other change.
  void push_back(const Item& item) { items_.push_back(item); }

  void Insert(std::size_t place, Item item) {
    if (gap_size_ == 0) Grow();
    MoveGap(place);
    items_[gap_++] = item;
    --gap_size_;
  }

  void Erase(std::size_t place) {
    MoveGap(place);
    ++gap_size_;
  }

  // Erases the items from `size` on.
  void Truncate(std::size_t size) {
    MoveGap(size);
    gap_size_ = items_.size() - size;
  }

 private:
  static constexpr std::size_t kMinGap = 16;

  std::size_t IndexOf(std::size_t place) const {
    return place < gap_ ? place : place + gap_size_;
  }

  // A few insertions fit into what was reserved.
  void Grow() {
    const std::size_t size = items_.size();
    const std::size_t spare = items_.capacity() - size;
    items_.resize(size + (spare > 0 ? spare : std::max(kMinGap, size / 2)));
    gap_ = size;
    gap_size_ = items_.size() - size;
  }

  void MoveGap(std::size_t place) {
    const auto at = [this](std::size_t index) {
      return items_.begin() + static_cast<std::ptrdiff_t>(index);
    };
    if (place < gap_)
      std::move_backward(at(place), at(gap_), at(gap_ + gap_size_));
    else
      std::move(at(gap_ + gap_size_), at(place + gap_size_), at(gap_));
    gap_ = place;
  }

  std::vector<Item> items_;
  std::size_t gap_ = 0;  // Where it begins.
  std::size_t gap_size_ = 0;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_GAP_VECTOR_H_
