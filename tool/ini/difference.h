// The unified diff of two texts.

#ifndef FAIRLEAD_TOOL_INI_DIFFERENCE_H_
#define FAIRLEAD_TOOL_INI_DIFFERENCE_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fairlead::tool {

/// Writes the changed lines with three lines of context, in the format of
/// `diff -u`, which `patch` can apply; nothing if the texts are equal.
///
/// @par Cost
/// Linear in the texts, but in a changed part quadratic in its lines. Beyond
/// four million pairs of lines, all of the part is shown as changed. Needs the
/// memory of the new lines of one hunk.
class Difference {
 public:
  using Writer = std::function<void(std::string_view piece)>;

  /// @param name the file name in both header lines
  /// @param before the old text, which must exist as long as the object
  Difference(std::string_view name, std::string_view before, Writer write)
      : name_(name), before_(before), write_(std::move(write)) {}

  /// Takes the next piece of the new text. Lines that both texts have are
  /// found quickly if they are passed as parts of the old one.
  void Take(std::string_view piece);

  /// Call it once, behind the last piece. Returns whether the texts differ.
  bool Finish();

 private:
  // Old lines, and the new ones in their place, in strings of whole lines.
  struct Change {
    std::size_t begin;
    std::size_t end;
    std::vector<std::string> added;
  };

  std::string_view Old(std::size_t begin, std::size_t end) const {
    return before_.substr(begin, end - begin);
  }
  std::size_t PlaceOf(std::string_view piece) const;
  bool BeginsLine(std::size_t place) const;
  void EndChange(std::size_t end);
  void Refine(const Change& change);
  void AddChange(Change change);
  void WriteHunk();
  void WriteRanges(std::size_t begin, std::size_t end);
  void WriteChanges(std::size_t begin, std::size_t end);
  void WriteLines(char sign, std::string_view lines);

  const std::string name_;
  const std::string_view before_;
  const Writer write_;
  std::size_t common_end_ = 0;      // Of the last common part.
  std::vector<std::string> added_;  // Since then.

  std::vector<Change> hunk_;  // The changes that the next hunk has so far.
  std::size_t written_ = 0;   // The end of the last hunk in the old text,
  std::size_t old_line_ = 1;  // and the line there
  std::size_t new_line_ = 1;  // in both texts.
  bool differ_ = false;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_DIFFERENCE_H_
