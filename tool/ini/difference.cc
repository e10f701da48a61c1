// Computes the unified diff of two texts.

#include "tool/ini/difference.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>

#include "fairlead/base/count_byte.h"
#include "tool/base/concat.h"

namespace fairlead::tool {
namespace {

using Lines = std::vector<std::string_view>;

constexpr std::size_t kContext = 3;
constexpr std::size_t kMaxPairs = 4'000'000;
constexpr std::size_t kPiece = 65536;
constexpr std::size_t kNowhere = std::string_view::npos;

// Returns the length of the first line, with its LF; the last may lack one.
std::size_t FirstLine(std::string_view text) {
  return std::min(text.find('\n'), text.size() - 1) + 1;
}

std::size_t CountLines(std::string_view text) {
  return internal::CountByte(text, '\n') +
         (text.empty() || text.ends_with('\n') ? 0 : 1);
}

// Returns the lines at the beginning, at most `count`.
std::string_view FirstLines(std::string_view text, std::size_t count) {
  std::size_t end = 0;
  for (; count > 0 && end < text.size(); --count)
    end += FirstLine(text.substr(end));
  return text.substr(0, end);
}

// Returns the lines at the end, at most `count`.
std::string_view LastLines(std::string_view text, std::size_t count) {
  std::size_t begin = text.size();
  for (; count > 0 && begin > 0; --count)
    begin = begin == 1 ? 0 : text.rfind('\n', begin - 2) + 1;
  return text.substr(begin);
}

void Split(std::string_view text, Lines& lines) {
  for (; !text.empty(); text.remove_prefix(lines.back().size()))
    lines.push_back(text.substr(0, FirstLine(text)));
}

// Appends new lines to strings of a size that is not wasteful to grow.
void Append(std::string_view lines, std::vector<std::string>& added) {
  const bool fits =
      !added.empty() && (added.back().size() + lines.size() <= kPiece ||
                         !added.back().ends_with('\n'));
  if (fits)
    added.back() += lines;
  else
    added.emplace_back(lines);
}

// The lengths of the longest common subsequences of all suffixes of two lists.
class CommonLengths {
 public:
  CommonLengths(std::span<const std::string_view> before,
                std::span<const std::string_view> after)
      : width_(after.size() + 1), lengths_((before.size() + 1) * width_) {
    for (std::size_t i = before.size(); i-- > 0;)
      for (std::size_t j = after.size(); j-- > 0;)
        lengths_[i * width_ + j] = before[i] == after[j]
                                       ? At(i + 1, j + 1) + 1
                                       : std::max(At(i + 1, j), At(i, j + 1));
  }

  // Returns the length for the suffixes that begin at these indexes.
  std::uint32_t At(std::size_t i, std::size_t j) const {
    return lengths_[i * width_ + j];
  }

 private:
  std::size_t width_;
  std::vector<std::uint32_t> lengths_;
};

// Returns "12,3": the first line and the number of lines. If there are none,
// the first is the line before them.
std::string LineRange(std::size_t first, std::size_t count) {
  return Concat(count == 0 ? first - 1 : first, ",", count);
}

}  // namespace

// Returns the place of a part of the old text, of whole lines below the last
// common one.
std::size_t Difference::PlaceOf(std::string_view piece) const {
  const std::less<> is_before;
  const char* const end = before_.data() + before_.size();
  if (is_before(piece.data(), before_.data()) ||
      is_before(end, piece.data() + piece.size()))
    return kNowhere;
  const auto place = static_cast<std::size_t>(piece.data() - before_.data());
  const bool has_end =
      piece.ends_with('\n') || place + piece.size() == before_.size();
  return place < common_end_ || !has_end ? kNowhere : place;
}

// Returns whether a line of both texts begins here. Behind a byte order mark,
// it does not, unless that is a part of both lines.
bool Difference::BeginsLine(std::size_t place) const {
  if (!added_.empty() && added_.back() == Old(common_end_, place)) return true;
  return (place == 0 || before_[place - 1] == '\n') &&
         (added_.empty() || added_.back().ends_with('\n'));
}

void Difference::Take(std::string_view piece) {
  if (piece.empty()) return;
  const std::size_t place = PlaceOf(piece);
  std::size_t added = 0;
  if (place == kNowhere)
    added = piece.size();
  else if (!BeginsLine(place))
    added = FirstLine(piece);
  if (added > 0) Append(piece.substr(0, added), added_);
  if (added == piece.size()) return;
  EndChange(place + added);
  common_end_ = place + piece.size();
}

bool Difference::Finish() {
  EndChange(before_.size());
  if (!hunk_.empty()) WriteHunk();
  return differ_;
}

void Difference::EndChange(std::size_t end) {
  if (end == common_end_ && added_.empty()) return;
  Change change = {common_end_, end, std::exchange(added_, {})};
  std::size_t count = 0;
  for (const std::string& lines : change.added) count += CountLines(lines);
  const std::size_t removed = CountLines(Old(change.begin, end));
  const bool is_small = (removed + 1) * (count + 1) <= kMaxPairs;
  if (removed > 0 && count > 0 && is_small)
    Refine(change);
  else
    AddChange(std::move(change));
}

// Adds the parts of a change that have no common lines.
void Difference::Refine(const Change& change) {
  Lines before;
  Lines after;
  Split(Old(change.begin, change.end), before);
  for (const std::string& lines : change.added) Split(lines, after);
  const CommonLengths common(before, after);
  Change part = {change.begin, change.begin, {}};
  std::size_t j = 0;
  for (std::size_t i = 0; i < before.size() || j < after.size();) {
    const bool has_both = i < before.size() && j < after.size();
    if (has_both && before[i] == after[j]) {
      const std::size_t next = part.end + before[i++].size();
      ++j;
      AddChange(std::exchange(part, {next, next, {}}));
    } else if (j == after.size() ||
               (has_both && common.At(i + 1, j) >= common.At(i, j + 1))) {
      part.end += before[i++].size();
    } else {
      Append(after[j++], part.added);
    }
  }
  AddChange(std::move(part));
}

// Changes whose contexts touch share a hunk.
void Difference::AddChange(Change change) {
  if (change.begin == change.end && change.added.empty()) return;
  if (!hunk_.empty()) {
    const std::string_view between = Old(hunk_.back().end, change.begin);
    if (FirstLines(between, 2 * kContext).size() < between.size()) WriteHunk();
  }
  for (std::string& lines : change.added) lines.shrink_to_fit();
  hunk_.push_back(std::move(change));
}

void Difference::WriteHunk() {
  const std::string_view above = Old(written_, hunk_.front().begin);
  const std::string_view below = before_.substr(hunk_.back().end);
  const std::size_t begin =
      hunk_.front().begin - LastLines(above, kContext).size();
  const std::size_t end = hunk_.back().end + FirstLines(below, kContext).size();
  const std::size_t skipped = CountLines(Old(written_, begin));
  old_line_ += skipped;
  new_line_ += skipped;
  WriteRanges(begin, end);
  WriteChanges(begin, end);
  written_ = end;
  hunk_.clear();
}

// Writes the header lines of the hunk that has these old lines.
void Difference::WriteRanges(std::size_t begin, std::size_t end) {
  const std::size_t old_count = CountLines(Old(begin, end));
  std::size_t new_count = old_count;
  for (const Change& change : hunk_) {
    for (const std::string& lines : change.added)
      new_count += CountLines(lines);
    new_count -= CountLines(Old(change.begin, change.end));
  }
  if (!std::exchange(differ_, true))
    write_(Concat("--- ", name_, "\n+++ ", name_, "\n"));
  write_(Concat("@@ -", LineRange(old_line_, old_count), " +",
                LineRange(new_line_, new_count), " @@\n"));
  old_line_ += old_count;
  new_line_ += new_count;
}

void Difference::WriteChanges(std::size_t begin, std::size_t end) {
  for (std::size_t at = begin; const Change& change : hunk_) {
    WriteLines(' ', Old(at, change.begin));
    WriteLines('-', Old(change.begin, change.end));
    for (const std::string& lines : change.added) WriteLines('+', lines);
    at = change.end;
  }
  WriteLines(' ', Old(hunk_.back().end, end));
}

void Difference::WriteLines(char sign, std::string_view lines) {
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, FirstLine(lines));
    write_({&sign, 1});
    write_(line);
    if (!line.ends_with('\n')) write_("\n\\ No newline at end of file\n");
    lines.remove_prefix(line.size());
  }
}

}  // namespace fairlead::tool
