// The difference of two texts in lines, for tests. Not installed.

#ifndef FAIRLEAD_INI_LINE_DIFFERENCE_TESTING_H_
#define FAIRLEAD_INI_LINE_DIFFERENCE_TESTING_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document_model.h"

namespace fairlead::internal {

inline std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, length + 1));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return lines;
}

// Returns whether two lines are equal, but for a newline at the end of a text
// that one of them does not have.
inline bool SameLine(std::string_view a, std::string_view b) {
  if (a.size() > b.size()) std::swap(a, b);
  return b.starts_with(a) && (a == b || (!a.ends_with('\n') &&
                                         Stripped(b.substr(a.size())).empty()));
}

inline constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

inline void SkipByteOrderMark(std::string_view& text) {
  if (text.starts_with(kByteOrderMark))
    text.remove_prefix(kByteOrderMark.size());
}

// Skips the byte order mark of two texts if both have one.
inline void SkipByteOrderMark(std::string_view& a, std::string_view& b) {
  if (!a.starts_with(kByteOrderMark) || !b.starts_with(kByteOrderMark)) return;
  SkipByteOrderMark(a);
  SkipByteOrderMark(b);
}

// The lines that only one of two texts has, by a longest common subsequence.
class LineDifference {
 public:
  std::vector<std::string> removed;
  std::vector<std::string> added;

  LineDifference(std::string_view before, std::string_view after) {
    const auto a = Lines(before);
    const auto b = Lines(after);
    std::span<const std::string> mine(a);
    std::span<const std::string> other(b);
    while (!mine.empty() && !other.empty() && mine.front() == other.front()) {
      mine = mine.subspan(1);
      other = other.subspan(1);
    }
    while (!mine.empty() && !other.empty() && mine.back() == other.back()) {
      mine = mine.first(mine.size() - 1);
      other = other.first(other.size() - 1);
    }
    Compare(mine, other);
  }

 private:
  // Compares what is between the equal lines at both ends: of a large file with
  // one edit, little.
  void Compare(std::span<const std::string> a, std::span<const std::string> b) {
    std::vector<std::vector<std::uint32_t>> common(
        a.size() + 1, std::vector<std::uint32_t>(b.size() + 1));
    for (std::size_t i = a.size(); i-- > 0;)
      for (std::size_t j = b.size(); j-- > 0;)
        common[i][j] = SameLine(a[i], b[j])
                           ? common[i + 1][j + 1] + 1
                           : std::max(common[i + 1][j], common[i][j + 1]);
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() || j < b.size()) {
      if (i < a.size() && j < b.size() && SameLine(a[i], b[j])) {
        ++i, ++j;
      } else if (j == b.size() ||
                 (i < a.size() && common[i + 1][j] >= common[i][j + 1])) {
        removed.push_back(a[i++]);
      } else {
        added.push_back(b[j++]);
      }
    }
  }
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_DIFFERENCE_TESTING_H_
