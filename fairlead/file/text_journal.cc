// Collects a new text as parts of an old one.

#include "fairlead/file/text_journal.h"

#include <unistd.h>

#include <algorithm>

namespace fairlead::internal {
namespace {

constexpr std::size_t kBlockSize = std::size_t{1} << 16;

std::uintptr_t AddressOf(std::string_view text) {
  return reinterpret_cast<std::uintptr_t>(text.data());
}

}  // namespace

TextJournal::TextJournal(const Descriptor& file, std::string_view old_text)
    : file_(file), memory_(AddressOf(old_text)), old_size_(old_text.size()) {}

void TextJournal::Append(std::string_view piece) {
  if (piece.empty()) return;
  size_ += piece.size();
  const std::size_t begin = AddressOf(piece) - memory_;
  const bool may_be_old =
      begin < old_size_ && piece.size() <= old_size_ - begin;
  if (may_be_old && IsInFile(begin, piece)) {
    Add({.begin = begin, .size = piece.size(), .is_old = true});
    return;
  }
  const std::size_t end = added_.size();
  Reserve(end + piece.size());
  added_ += piece;
  Add({.begin = end, .size = piece.size(), .is_old = false});
}

// Returns whether the file has the piece there: the caller may have changed the
// bytes, or freed them and used their memory again.
bool TextJournal::IsInFile(std::size_t begin, std::string_view piece) {
  while (!piece.empty()) {
    if (begin < block_begin_ || begin >= block_begin_ + block_.size())
      if (!ReadBlock(begin)) return false;
    const std::string_view there =
        std::string_view(block_).substr(begin - block_begin_, piece.size());
    if (!piece.starts_with(there)) return false;
    piece.remove_prefix(there.size());
    begin += there.size();
  }
  return true;
}

// Reads a block of the file. Returns false if there are no bytes, or an error.
bool TextJournal::ReadBlock(std::size_t begin) {
  block_.resize(kBlockSize);
  const ssize_t count = Uninterrupted([&] {
    return pread(file_.number(), block_.data(), kBlockSize,
                 static_cast<off_t>(begin));
  });
  block_.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  block_begin_ = begin;
  return !block_.empty();
}

void TextJournal::Add(const Part& part) {
  if (!parts_.empty() && parts_.back().is_old == part.is_old &&
      parts_.back().begin + parts_.back().size == part.begin) {
    parts_.back().size += part.size;
    return;
  }
  parts_.push_back(part);
}

// A text that doubles its memory when it grows would need, for a moment, three
// times its size. Beyond a part of the old text, all may be new.
void TextJournal::Reserve(std::size_t size) {
  const std::size_t likely = old_size_ + old_size_ / 8;
  if (size > old_size_ / 64 && size > added_.capacity())
    added_.reserve(std::max(size, likely));
}

}  // namespace fairlead::internal
