// A new text as parts of an old one, and the bytes between them. Not installed.

#ifndef FAIRLEAD_FILE_TEXT_JOURNAL_H_
#define FAIRLEAD_FILE_TEXT_JOURNAL_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

// Collects the new text of a file without a copy of what the file has already.
class TextJournal {
 public:
  // Takes the open file and its text. The text must not exist for longer: its
  // place in memory only shows where in the file a piece may be.
  TextJournal(const Descriptor& file, std::string_view old_text);

  // Appends a piece of the new text. It need not be copied if it is a part of
  // the old text, in its place in memory, and the file has the same bytes.
  void Append(std::string_view piece);

  // Returns the size of the new text.
  std::size_t size() const { return size_; }

  // Passes the new text on in pieces, until `take` returns an error. Allocates
  // nothing. Returns 0 or the error.
  template <typename Take>
  int ForEachPiece(std::string_view old_text, Take take) const {
    for (const Part& part : parts_) {
      const std::string_view text = part.is_old ? old_text : added_;
      if (const int error = take(text.substr(part.begin, part.size)))
        return error;
    }
    return 0;
  }

 private:
  struct Part {
    std::size_t begin;  // In the old text, or in added_.
    std::size_t size;
    bool is_old;
  };

  bool IsInFile(std::size_t begin, std::string_view piece);
  bool ReadBlock(std::size_t begin);
  void Add(const Part& part);
  void Reserve(std::size_t size);

  const Descriptor& file_;
  const std::uintptr_t memory_;  // Where the old text was.
  const std::size_t old_size_;
  std::vector<Part> parts_;
  std::string added_;
  std::size_t size_ = 0;
  std::string block_;            // A part of the file,
  std::size_t block_begin_ = 0;  // from here on.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_TEXT_JOURNAL_H_
