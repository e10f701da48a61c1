// A text as a table of its lines.

#include "fairlead/ini/line_table.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace fairlead::internal {
namespace {

void CheckSize(std::size_t size) {
  if (size > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("an INI document of 4 GiB or more");
}

// Returns a capacity that makes a copy of the whole list rare, but does not
// double its size.
std::size_t WithSpare(std::size_t lines) { return lines + lines / 64 + 16; }

bool IsActive(const IniLine& line) {
  return line.mark == ' ' &&
         (line.kind == LineKind::kKey || line.kind == LineKind::kHeader ||
          line.kind == LineKind::kUnclosedHeader);
}

// Returns whether the line ends with a backslash, as a value does that goes on
// in the next line.
bool EndsWithBackslash(std::string_view line) {
  const std::string_view trimmed = TrimmedLine(line);
  return !trimmed.empty() && trimmed.back() == '\\';
}

}  // namespace

std::uint32_t HashOf(std::string_view name) {
  std::uint32_t hash = 2166136261;
  for (const char c : name)
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
  return hash;
}

LineTable::LineTable(std::string text, IniReading reading)
    : reading_(reading), text_(std::move(text)) {
  CheckSize(text_.size());
  const auto newlines = std::ranges::count(text_, '\n');
  lines_.reserve(WithSpare(static_cast<std::size_t>(newlines)));
  for (std::size_t at = ByteOrderMark().size(); at < text_.size();) {
    const std::size_t end =
        std::min(text_.find('\n', at), text_.size() - 1) + 1;
    lines_.push_back({.begin = static_cast<std::uint32_t>(at),
                      .size = static_cast<std::uint32_t>(end - at),
                      .hash = 0,
                      .kind = LineKind::kBlank,
                      .disabled = false});
    Classify(lines_.size() - 1);
    at = end;
  }
}

std::string_view LineTable::ByteOrderMark() const {
  const bool has_mark =
      reading_ == IniReading::kLive && text_.starts_with(kUtf8Mark);
  return std::string_view(text_).substr(0, has_mark ? kUtf8Mark.size() : 0);
}

std::string_view LineTable::BytesAt(std::size_t begin, std::size_t size) const {
  return begin < text_.size()
             ? std::string_view(text_).substr(begin, size)
             : std::string_view(added_).substr(begin - text_.size(), size);
}

std::string_view LineTable::TextOf(std::size_t line) const {
  return BytesAt(lines_[line].begin, lines_[line].size);
}

bool LineTable::IsIndented(std::size_t line) const {
  return TextOf(line).starts_with(' ') || TextOf(line).starts_with('\t');
}

IniLine LineTable::Read(std::size_t line) const {
  if (reading_ == IniReading::kRecords) return ReadRecordLine(TextOf(line));
  if (KindOf(line) == LineKind::kOther) return {.kind = LineKind::kOther};
  return ReadLiveLine(TextOf(line));
}

std::string_view LineTable::NewlineOf(std::size_t line) const {
  for (const std::size_t model : {line, std::size_t{0}}) {
    if (model >= size()) continue;
    if (TextOf(model).ends_with("\r\n")) return "\r\n";
    if (TextOf(model).ends_with("\n")) return "\n";
  }
  return "\n";
}

std::size_t LineTable::TextSize() const {
  std::size_t size = ByteOrderMark().size();
  for (const Line& line : lines_) size += line.size;
  return size;
}

std::size_t LineTable::ContinuationAt(std::size_t line) const {
  if (reading_ == IniReading::kRecords) return kNoLine;
  if (line < size() && KindOf(line) == LineKind::kOther && CouldContinue(line))
    return line;
  const auto is_between = [this](std::size_t at) {
    const LineKind kind = KindOf(at);
    return kind == LineKind::kBlank || kind == LineKind::kComment ||
           IsDisabled(at);
  };
  while (line < size() && is_between(line)) ++line;
  const bool continues =
      line < size() && KindOf(line) == LineKind::kOther && IsIndented(line);
  return continues ? line : kNoLine;
}

bool LineTable::CouldContinue(std::size_t line) const {
  return reading_ == IniReading::kLive && line > 0 &&
         EndsWithBackslash(TextOf(line - 1));
}

bool LineTable::IsSwallowed(std::size_t line) const {
  if (line == 0 || !IsIndented(line)) return false;
  const std::size_t above = line - 1;
  const bool in_value =
      (KindOf(above) == LineKind::kKey && !IsDisabled(above)) ||
      (KindOf(above) == LineKind::kOther && IsIndented(above));
  return in_value && EndsWithBackslash(TextOf(above));
}

void LineTable::Classify(std::size_t line) {
  Line& entry = lines_[line];
  IniLine read = reading_ == IniReading::kRecords ? ReadRecordLine(TextOf(line))
                                                  : ReadLiveLine(TextOf(line));
  if (reading_ == IniReading::kLive && (read.kind == LineKind::kKeyless ||
                                        (IsActive(read) && IsSwallowed(line))))
    read = {.kind = LineKind::kOther};
  entry.kind = read.kind;
  has_unclosed_ |= read.kind == LineKind::kUnclosedHeader;
  entry.disabled = read.mark != ' ';
  entry.hash = HashOf(read.name);
}

// Finds a conflict with the line below a change: the value above it may end
// with a backslash now, or no longer.
void LineTable::CheckBelow(std::size_t line) {
  if (line >= size()) return;
  const Line before = lines_[line];
  Classify(line);
  if (KindOf(line) != before.kind) conflict_ = before.begin;
  lines_[line] = before;
}

LineTable::Line LineTable::Added(std::string_view text) {
  CheckSize(text_.size() + added_.size() + text.size());
  const auto begin = static_cast<std::uint32_t>(text_.size() + added_.size());
  added_ += text;
  return {.begin = begin,
          .size = static_cast<std::uint32_t>(text.size()),
          .hash = 0,
          .kind = LineKind::kBlank,
          .disabled = false};
}

// Notes a change for Undo() right before it is made. Until there is memory for
// all of the note, it is that of no change.
void LineTable::Note(std::size_t begin, std::size_t end, std::size_t inserted) {
  changes_.push_back({.line = begin, .inserted = 0, .erased = 0});
  erased_.insert(erased_.end(), At(begin), At(end));
  changes_.back().inserted = inserted;
  changes_.back().erased = end - begin;
}

void LineTable::Insert(std::size_t line, std::string_view text) {
  if (line == size() && line > 0 && !TextOf(line - 1).ends_with('\n')) {
    const std::string_view newline = text.ends_with("\r\n") ? "\r\n" : "\n";
    Replace(line - 1, std::string(TextOf(line - 1)).append(newline));
    text.remove_suffix(newline.size());
  }
  const Line added = Added(text);
  if (lines_.size() == lines_.capacity()) lines_.reserve(WithSpare(size()));
  Note(line, line, 1);
  lines_.insert(At(line), added);
  Classify(line);
  CheckBelow(line + 1);
}

void LineTable::Replace(std::size_t line, std::string_view text) {
  const Line added = Added(text);
  const Line old = lines_[line];
  Note(line, line + 1, 1);
  lines_[line] = added;
  Classify(line);
  if ((KindOf(line) == LineKind::kOther) != (old.kind == LineKind::kOther))
    conflict_ = old.begin;
  CheckBelow(line + 1);
}

void LineTable::Erase(std::size_t begin, std::size_t end) {
  Note(begin, end, 0);
  lines_.erase(At(begin), At(end));
  CheckBelow(begin);
}

std::size_t LineTable::Keep() {
  if (reading_ == IniReading::kLive && conflict_) {
    const std::uint32_t begin = *conflict_;
    Undo();
    const auto line = std::ranges::find(lines_, begin, &Line::begin);
    return static_cast<std::size_t>(line - lines_.begin());
  }
  edited_ |= !changes_.empty();
  changes_ = {};
  erased_ = {};
  kept_ = added_.size();
  return kNoLine;
}

// Needs no memory: the vector of lines never gets smaller.
void LineTable::Undo() noexcept {
  for (; !changes_.empty(); changes_.pop_back()) {
    const auto [line, inserted, erased] = changes_.back();
    const std::size_t same = std::min(inserted, erased);
    const auto old = erased_.end() - static_cast<std::ptrdiff_t>(erased);
    const auto rest = old + static_cast<std::ptrdiff_t>(same);
    std::copy(old, rest, At(line));
    lines_.erase(At(line + same), At(line + inserted));
    lines_.insert(At(line + same), rest, erased_.end());
    erased_.erase(old, erased_.end());
  }
  erased_.clear();
  added_.resize(kept_);
  conflict_.reset();
}

}  // namespace fairlead::internal
