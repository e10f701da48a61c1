// The edits of a table of lines.

#include <algorithm>
#include <utility>

#include "fairlead/ini/line_table.h"
#include "fairlead/ini/line_table_parts.h"

namespace fairlead::internal {
namespace {

// A byte holds how many bytes are gone, what is in their place, and kIsNew.
constexpr std::size_t kMaxRemoved = 24;

}  // namespace

// Finds a conflict with the line below a change: the value above it may end
// with a backslash now, or no longer.
void LineTable::CheckBelow(std::size_t line, std::size_t above,
                           bool was_joined) {
  if (reading_ == IniReading::kRecords || line >= size()) return;
  const LineKind kind = kLineMeanings[NewCodeOf(line, above)].kind;
  if (IsJoined(line, above) != was_joined || kind != KindOf(line))
    conflict_ = BeginOf(line);
}

// Saves what Undo() restores, right before a change of these lines.
void LineTable::Save(std::size_t begin, std::size_t end) {
  if (!saved_) saved_.emplace(places_, open_, begin, size() - begin);
  auto& [places, open, saved_begin, rest, codes] = *saved_;
  if (begin < saved_begin) {
    codes.insert(codes.begin(), At(begin), At(saved_begin));
    saved_begin = begin;
  }
  if (end > size() - rest) {
    codes.insert(codes.end(), At(size() - rest), At(end));
    rest = size() - end;
  }
}

// Returns where the new line begins.
std::size_t LineTable::Added(std::string_view text) {
  CheckSize(text_.size() + added_.size() + text.size() + 1);
  const std::size_t begin = text_.size() + added_.size();
  const bool is_open = !text.ends_with('\n');
  added_.append(text).append(is_open ? 1 : 0, '\n');
  if (is_open) open_ = begin;
  return begin;
}

void LineTable::Insert(std::size_t line, std::string_view text) {
  if (line == size() && line > 0 && !SourceOf(line - 1).ends_with('\n')) {
    const std::string_view newline = text.ends_with("\r\n") ? "\r\n" : "\n";
    Replace(line - 1, TextOf(line - 1).append(newline));
    text.remove_suffix(newline.size());
  }
  const bool joined = IsJoined(line, line - 1);
  Save(line, line);
  const std::size_t there = line < size() ? BeginOf(line) : 0;
  places_.Insert(line, there, Added(text));
  if (codes_.size() == codes_.capacity()) codes_.reserve(WithSpare(size()));
  codes_.insert(At(line), kBlankLine);
  codes_[line] = NewCodeOf(line, line - 1);
  CheckBelow(line + 1, line, joined);
}

void LineTable::Replace(std::size_t line, std::string_view text) {
  const bool joined = IsJoined(line + 1, line);
  const LineKind old = KindOf(line);
  const std::size_t there = BeginOf(line);
  Save(line, line + 1);
  places_.Replace(line, there, Added(text));
  CheckChanged(line, old, there, joined);
}

// Returns whether the line can have the marks without a copy.
bool LineTable::CanTake(std::size_t line, std::size_t removed,
                        std::string_view marks) const {
  return !HasNewMarks(line) && removed <= kMaxRemoved &&
         std::ranges::find(kMarks, marks) != kMarks.end();
}

void LineTable::ChangeMarks(std::size_t line, std::size_t removed,
                            std::string_view marks) {
  if (!CanTake(line, removed, marks)) {
    std::string text = TextOf(line);
    Replace(line, text.replace(MarksBegin(text), removed, marks));
    return;
  }
  const bool joined = IsJoined(line + 1, line);
  const LineKind old = KindOf(line);
  Save(line, line + 1);
  const std::size_t number = places_.At(line).number;
  if (number >= marks_.size()) marks_.resize(places_.numbers());
  const auto mark = static_cast<std::size_t>(std::ranges::find(kMarks, marks) -
                                             kMarks.begin());
  marks_[number] =
      static_cast<std::uint8_t>(kIsNew | (removed * kMarks.size() + mark));
  CheckChanged(line, old, BeginOf(line), joined);
}

// Classifies a changed line, and finds conflicts.
void LineTable::CheckChanged(std::size_t line, LineKind old,
                             std::size_t old_begin, bool was_joined) {
  codes_[line] = NewCodeOf(line, line - 1);
  if ((KindOf(line) == LineKind::kOther) != (old == LineKind::kOther))
    conflict_ = old_begin;
  CheckBelow(line + 1, line, was_joined);
}

void LineTable::Erase(const LineSet& gone) {
  if (gone.empty()) return;
  for (std::size_t end = gone.back() + 1; end > 0;) {
    std::size_t begin = end - 1;
    while (begin > 0 && gone.Contains(begin - 1)) --begin;
    CheckBelow(end, begin - 1, IsJoined(end, end - 1));
    end = begin;
    while (end > 0 && !gone.Contains(end - 1)) --end;
  }
  Save(gone.front(), gone.back() + 1);
  places_.Erase(gone);
  std::size_t kept = gone.front();
  for (std::size_t line = kept; line < size(); ++line)
    if (!gone.Contains(line)) codes_[kept++] = codes_[line];
  codes_.resize(kept);
}

// Returns whether the first line begins with bytes that would be the byte order
// mark of the text. In the other reading, there is none.
bool LineTable::HasNewByteOrderMark() const {
  if (reading_ == IniReading::kRecords || size() == 0 ||
      !ByteOrderMark().empty())
    return false;
  std::string buffer;
  return ViewOf(0, buffer).starts_with(kUtf8Mark);
}

std::size_t LineTable::LineBeginningAt(std::size_t begin) const {
  std::size_t line = 0;
  while (line < size() && BeginOf(line) != begin) ++line;
  return line;
}

IniResult LineTable::Keep() {
  const bool has_mark = HasNewByteOrderMark();
  if (has_mark) conflict_ = BeginOf(0);
  if (reading_ == IniReading::kLive && conflict_) {
    const std::size_t begin = *conflict_;
    Undo();
    return {.code = IniResult::Code::kMalformed,
            .line = LineBeginningAt(begin) + 1,
            .reason = has_mark
                          ? "its byte order mark would be that of the text"
                          : "a value above, ending with '\\', would continue "
                            "here"};
  }
  edited_ |= saved_.has_value();
  saved_.reset();
  for (std::uint8_t& marks : marks_) marks &= kIsNew - 1U;
  kept_ = added_.size();
  return {};
}

// Needs no memory: the vector of codes never gets smaller.
void LineTable::Undo() noexcept {
  if (saved_) {
    std::swap(places_, saved_->places);
    open_ = saved_->open;
    codes_.erase(At(saved_->begin), At(size() - saved_->rest));
    codes_.insert(At(saved_->begin), saved_->codes.begin(),
                  saved_->codes.end());
    saved_.reset();
    for (std::uint8_t& marks : marks_)
      if ((marks & kIsNew) != 0) marks = 0;
  }
  added_.resize(kept_);
  conflict_.reset();
}

}  // namespace fairlead::internal
