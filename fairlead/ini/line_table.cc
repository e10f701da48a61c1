// A text as a table of its lines.

#include "fairlead/ini/line_table.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

#include "fairlead/base/count_byte.h"

namespace fairlead::internal {
namespace {

// The comment characters that a line can have without a copy of it.
constexpr std::array<std::string_view, 5> kMarks = {"", "#", ";", "#;", ";#"};

// Returns where the marks of a line are, or would be.
std::size_t MarksBegin(std::string_view line) {
  return std::min(line.find_first_not_of(" \t\r"), line.size());
}

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

std::uint16_t HashOf(std::string_view name) {
  std::uint32_t hash = 2166136261;
  for (const char c : name)
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
  return static_cast<std::uint16_t>(hash ^ (hash >> 16));
}

LineTable::LineTable(std::string text, IniReading reading)
    : reading_(reading), text_(std::move(text)) {
  CheckSize(text_.size());
  lines_.reserve(WithSpare(CountByte(text_, '\n')));
  for (std::size_t at = ByteOrderMark().size(); at < text_.size();) {
    const std::size_t end =
        std::min(text_.find('\n', at), text_.size() - 1) + 1;
    lines_.emplace_back(at);
    Classify(lines_.size() - 1);
    at = end;
  }
}

std::string_view LineTable::ByteOrderMark() const {
  const bool has_mark =
      reading_ == IniReading::kLive && text_.starts_with(kUtf8Mark);
  return std::string_view(text_).substr(0, has_mark ? kUtf8Mark.size() : 0);
}

std::string_view LineTable::SourceOf(std::size_t line) const {
  const std::size_t begin = lines_[line].begin;
  const std::string_view bytes =
      begin < text_.size()
          ? std::string_view(text_).substr(begin)
          : std::string_view(added_).substr(begin - text_.size());
  const std::size_t newline = bytes.find('\n');
  if (newline == std::string_view::npos) return bytes;
  return bytes.substr(0, lines_[line].is_open ? newline : newline + 1);
}

std::string_view LineTable::PieceAt(std::size_t& line) const {
  std::string_view piece = SourceOf(line++);
  while (line < size() && !lines_[line].HasNewMarks()) {
    const std::string_view next = SourceOf(line);
    if (next.data() != piece.data() + piece.size()) break;
    piece = {piece.data(), piece.size() + next.size()};
    ++line;
  }
  return piece;
}

void LineTable::AppendMarked(std::size_t line, std::string& text) const {
  const std::string_view source = SourceOf(line);
  const std::size_t marks = MarksBegin(source);
  text.append(source.substr(0, marks))
      .append(kMarks[lines_[line].marks])
      .append(source.substr(marks + lines_[line].removed));
}

std::string_view LineTable::ViewOf(std::size_t line,
                                   std::string& buffer) const {
  if (!lines_[line].HasNewMarks()) return SourceOf(line);
  buffer.clear();
  AppendMarked(line, buffer);
  return buffer;
}

std::string LineTable::TextOf(std::size_t line) const {
  std::string buffer;
  return std::string(ViewOf(line, buffer));
}

// No change of marks is before or in the indentation.
bool LineTable::IsIndented(std::size_t line) const {
  return SourceOf(line).starts_with(' ') || SourceOf(line).starts_with('\t');
}

IniLine LineTable::Read(std::size_t line) const {
  std::string buffer;
  const std::string_view text = ViewOf(line, buffer);
  IniLine read = Read(line, text);
  if (!lines_[line].HasNewMarks()) return read;
  // What follows the marks is in the source too, as far from the end.
  const std::string_view source = SourceOf(line);
  for (std::string_view* const part : {&read.name, &read.value})
    if (part->data() != nullptr)
      *part = source.substr(
          source.size() - static_cast<std::size_t>(text.data() + text.size() -
                                                   part->data()),
          part->size());
  return read;
}

IniLine LineTable::Read(std::size_t line, std::string_view text) const {
  const bool is_other =
      reading_ == IniReading::kLive && KindOf(line) == LineKind::kOther;
  return is_other ? IniLine{.kind = LineKind::kOther} : ReadAlone(text);
}

// Reads a line as if there were none above it.
IniLine LineTable::ReadAlone(std::string_view text) const {
  return reading_ == IniReading::kRecords ? ReadRecordLine(text)
                                          : ReadLiveLine(text);
}

std::string_view LineTable::NewlineOf(std::size_t line) const {
  for (const std::size_t model : {line, std::size_t{0}}) {
    if (model >= size()) continue;
    if (SourceOf(model).ends_with("\r\n")) return "\r\n";
    if (SourceOf(model).ends_with("\n")) return "\n";
  }
  return "\n";
}

std::size_t LineTable::TextSize() const {
  std::size_t size = ByteOrderMark().size();
  for (std::size_t line = 0; line < lines_.size(); ++line)
    size += SourceOf(line).size() + kMarks[lines_[line].marks].size() -
            lines_[line].removed;
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
         EndsWithBackslash(SourceOf(line - 1));
}

bool LineTable::IsSwallowed(std::size_t line) const {
  if (line == 0 || !IsIndented(line)) return false;
  const std::size_t above = line - 1;
  const bool in_value =
      (KindOf(above) == LineKind::kKey && !IsDisabled(above)) ||
      (KindOf(above) == LineKind::kOther && IsIndented(above));
  return in_value && EndsWithBackslash(SourceOf(above));
}

bool LineTable::IsJoined(std::size_t line) const {
  if (line >= size() || KindOf(line) != LineKind::kOther) return false;
  if (!CouldContinue(line)) return false;
  const LineKind above = KindOf(line - 1);
  return above == LineKind::kOther ||
         (above == LineKind::kKey && !IsDisabled(line - 1));
}

void LineTable::Classify(std::size_t line) {
  std::string buffer;
  IniLine read = ReadAlone(ViewOf(line, buffer));
  if (reading_ == IniReading::kLive && (read.kind == LineKind::kKeyless ||
                                        (IsActive(read) && IsSwallowed(line))))
    read = {.kind = LineKind::kOther};
  has_unclosed_ |= read.kind == LineKind::kUnclosedHeader;
  SetMeaning(lines_[line], read);
}

void LineTable::SetMeaning(Line& line, const IniLine& read) {
  line.kind = read.kind;
  line.disabled = read.mark != ' ';
  line.hash = HashOf(read.name);
}

// Finds a conflict with the line below a change: the value above it may end
// with a backslash now, or no longer.
void LineTable::CheckBelow(std::size_t line, bool was_joined) {
  if (line >= size()) return;
  if (IsJoined(line) != was_joined) conflict_ = lines_[line].begin;
  const Line before = lines_[line];
  Classify(line);
  if (KindOf(line) != before.kind) conflict_ = before.begin;
  lines_[line] = before;
}

LineTable::Line LineTable::Added(std::string_view text) {
  CheckSize(text_.size() + added_.size() + text.size() + 1);
  Line line(text_.size() + added_.size());
  line.is_open = !text.ends_with('\n');
  added_.append(text).append(line.is_open ? 1 : 0, '\n');
  return line;
}

// Notes a change for Undo() right before it is made. Until there is memory for
// all of the note, it is that of no change.
void LineTable::Note(std::size_t begin, std::size_t end, std::size_t inserted) {
  changes_.push_back({.line = begin, .inserted = 0, .erased = 0});
  erased_.insert(erased_.end(), At(begin), At(end));
  changes_.back().inserted = inserted;
  changes_.back().erased = end - begin;
}

// Notes a change of marks. One note is enough for all lines of a section: those
// between them have no new marks.
void LineTable::NoteMarks(std::size_t line) {
  if (!changes_.empty() && changes_.back().marked != 0) {
    Change& last = changes_.back();
    const std::size_t end = last.line + last.marked;
    if (end <= line &&
        std::none_of(At(end), At(line), std::mem_fn(&Line::HasNewMarks))) {
      last.marked = line + 1 - last.line;
      return;
    }
  }
  changes_.push_back({.line = line, .inserted = 0, .erased = 0, .marked = 1});
}

void LineTable::Insert(std::size_t line, std::string_view text) {
  if (line == size() && line > 0 && !SourceOf(line - 1).ends_with('\n')) {
    const std::string_view newline = text.ends_with("\r\n") ? "\r\n" : "\n";
    Replace(line - 1, TextOf(line - 1).append(newline));
    text.remove_suffix(newline.size());
  }
  const bool joined = IsJoined(line);
  const Line added = Added(text);
  if (lines_.size() == lines_.capacity()) lines_.reserve(WithSpare(size()));
  Note(line, line, 1);
  lines_.insert(At(line), added);
  Classify(line);
  CheckBelow(line + 1, joined);
}

void LineTable::Replace(std::size_t line, std::string_view text) {
  const bool joined = IsJoined(line + 1);
  const Line added = Added(text);
  const Line old = lines_[line];
  Note(line, line + 1, 1);
  lines_[line] = added;
  CheckChanged(line, old, joined);
}

// Returns whether the line can have the marks without a copy. Undo() reads it
// again without those above it, so their meaning must not be its own.
bool LineTable::CanTake(std::size_t line, std::size_t removed,
                        std::string_view marks) const {
  return !lines_[line].HasNewMarks() && KindOf(line) != LineKind::kOther &&
         removed <= std::numeric_limits<std::uint8_t>::max() &&
         std::ranges::find(kMarks, marks) != kMarks.end();
}

void LineTable::ChangeMarks(std::size_t line, std::size_t removed,
                            std::string_view marks) {
  if (!CanTake(line, removed, marks)) {
    std::string text = TextOf(line);
    Replace(line, text.replace(MarksBegin(text), removed, marks));
    return;
  }
  const bool joined = IsJoined(line + 1);
  const Line old = lines_[line];
  NoteMarks(line);
  lines_[line].removed = static_cast<std::uint8_t>(removed);
  const auto mark = std::ranges::find(kMarks, marks) - kMarks.begin();
  lines_[line].marks = static_cast<std::uint8_t>(mark) & 7U;
  CheckChanged(line, old, joined);
}

// Classifies a changed line, and finds conflicts.
void LineTable::CheckChanged(std::size_t line, const Line& old,
                             bool was_joined) {
  Classify(line);
  if ((KindOf(line) == LineKind::kOther) != (old.kind == LineKind::kOther))
    conflict_ = old.begin;
  CheckBelow(line + 1, was_joined);
}

void LineTable::Erase(std::size_t begin, std::size_t end) {
  const bool joined = IsJoined(end);
  Note(begin, end, 0);
  lines_.erase(At(begin), At(end));
  CheckBelow(begin, joined);
}

// Returns whether the first line begins with bytes that would be the byte order
// mark of the text. In the other reading, there is none.
bool LineTable::HasNewByteOrderMark() const {
  if (reading_ == IniReading::kRecords || lines_.empty() ||
      !ByteOrderMark().empty())
    return false;
  std::string buffer;
  return ViewOf(0, buffer).starts_with(kUtf8Mark);
}

std::size_t LineTable::LineBeginningAt(std::uint32_t begin) const {
  const auto line = std::ranges::find(lines_, begin, &Line::begin);
  return line == lines_.end() ? 0
                              : static_cast<std::size_t>(line - lines_.begin());
}

IniResult LineTable::Keep() {
  const bool has_mark = HasNewByteOrderMark();
  if (has_mark) conflict_ = lines_.front().begin;
  if (reading_ == IniReading::kLive && conflict_) {
    const std::uint32_t begin = *conflict_;
    Undo();
    return {.code = IniResult::Code::kMalformed,
            .line = LineBeginningAt(begin) + 1,
            .reason = has_mark
                          ? "its byte order mark would be that of the text"
                          : "a value above, ending with '\\', would continue "
                            "here"};
  }
  edited_ |= !changes_.empty();
  changes_ = {};
  erased_ = {};
  kept_ = added_.size();
  return {};
}

// Needs no memory: the vector of lines never gets smaller.
void LineTable::Undo() noexcept {
  for (; !changes_.empty(); changes_.pop_back()) {
    const auto [line, inserted, erased, marked] = changes_.back();
    RestoreMarks(line, line + marked);
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

void LineTable::RestoreMarks(std::size_t begin, std::size_t end) noexcept {
  for (std::size_t line = begin; line < end; ++line) {
    if (!lines_[line].HasNewMarks()) continue;
    lines_[line].removed = 0;
    lines_[line].marks = 0;
    SetMeaning(lines_[line], ReadAlone(SourceOf(line)));
  }
}

}  // namespace fairlead::internal
