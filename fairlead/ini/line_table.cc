// A text as a table of its lines.

#include "fairlead/ini/line_table.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace fairlead::internal {
namespace {

constexpr std::string_view kUtf8Mark = "\xef\xbb\xbf";

void CheckSize(std::size_t size) {
  if (size > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("an INI document of 4 GiB or more");
}

std::size_t IndentationOf(std::string_view line) {
  return std::min(line.find_first_not_of(" \t"), line.size());
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
  lines_.reserve(static_cast<std::size_t>(newlines) + 1);
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
  return reading_ == IniReading::kLive && text_.starts_with(kUtf8Mark)
             ? kUtf8Mark
             : "";
}

std::string_view LineTable::BytesAt(std::size_t begin, std::size_t size) const {
  return begin < text_.size()
             ? std::string_view(text_).substr(begin, size)
             : std::string_view(added_).substr(begin - text_.size(), size);
}

std::string_view LineTable::TextOf(std::size_t line) const {
  return BytesAt(lines_[line].begin, lines_[line].size);
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

bool LineTable::Continues(std::size_t line) const {
  return reading_ == IniReading::kLive && line < size() && line > 0 &&
         KindOf(line) == LineKind::kOther && IndentationOf(TextOf(line)) > 0 &&
         KindOf(line - 1) != LineKind::kBlank;
}

bool LineTable::CouldSwallow(std::string_view value, std::size_t line) const {
  if (line >= size() || IsDisabled(line)) return false;
  const LineKind kind = KindOf(line);
  if (kind == LineKind::kBlank || kind == LineKind::kComment) return false;
  const std::string_view text = TextOf(line);
  return CouldSwallow(value, text.substr(0, IndentationOf(text)));
}

bool LineTable::CouldSwallow(std::string_view line,
                             std::string_view indentation) const {
  return reading_ == IniReading::kLive && !indentation.empty() &&
         EndsWithBackslash(line);
}

bool LineTable::IsSwallowed(std::size_t line) const {
  if (line == 0 || IndentationOf(TextOf(line)) == 0) return false;
  const std::size_t above = line - 1;
  const bool in_value =
      (KindOf(above) == LineKind::kKey && !IsDisabled(above)) ||
      (KindOf(above) == LineKind::kOther && IndentationOf(TextOf(above)) > 0);
  return in_value && EndsWithBackslash(TextOf(above));
}

void LineTable::Classify(std::size_t line) {
  Line& entry = lines_[line];
  if (reading_ == IniReading::kRecords) {
    const IniLine read = ReadRecordLine(TextOf(line));
    entry.kind = read.kind;
    entry.disabled = read.mark != ' ';
    entry.hash = HashOf(read.name);
    return;
  }
  IniLine read = ReadLiveLine(TextOf(line));
  if (read.kind == LineKind::kKeyless) read.kind = LineKind::kOther;
  const bool opens = read.kind == LineKind::kKey ||
                     read.kind == LineKind::kHeader ||
                     read.kind == LineKind::kUnclosedHeader;
  if (opens && read.mark == ' ' && IsSwallowed(line))
    read = {.kind = LineKind::kOther};
  entry.kind = read.kind;
  entry.disabled = read.mark != ' ';
  entry.hash = HashOf(read.name);
}

// Classifies a line that has changed and those below that it had swallowed, or
// swallows now.
void LineTable::ClassifyFrom(std::size_t line) {
  for (; line < size(); ++line) {
    const LineKind before = KindOf(line);
    Classify(line);
    if (KindOf(line) == before) return;
  }
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

void LineTable::Insert(std::size_t line, std::string_view text) {
  if (line == size() && line > 0 && !TextOf(line - 1).ends_with('\n')) {
    const std::string_view newline = text.ends_with("\r\n") ? "\r\n" : "\n";
    Replace(line - 1, std::string(TextOf(line - 1)).append(newline));
    text.remove_suffix(newline.size());
  }
  const Line added = Added(text);
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(line), added);
  edited_ = true;
  Classify(line);
  ClassifyFrom(line + 1);
}

void LineTable::Replace(std::size_t line, std::string_view text) {
  lines_[line] = Added(text);
  edited_ = true;
  Classify(line);
  ClassifyFrom(line + 1);
}

void LineTable::Erase(std::size_t begin, std::size_t end) {
  lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(begin),
               lines_.begin() + static_cast<std::ptrdiff_t>(end));
  edited_ = true;
  ClassifyFrom(begin);
}

}  // namespace fairlead::internal
