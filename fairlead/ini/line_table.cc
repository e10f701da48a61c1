// A text as a table of its lines.

#include "fairlead/ini/line_table.h"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <utility>

#include "fairlead/base/count_byte.h"
#include "fairlead/ini/line_table_parts.h"

namespace fairlead::internal {
namespace {

constexpr std::size_t kNewlinesStep = 64;

// Returns a bit for each of so many bytes, set for a newline.
std::uint64_t NewlinesIn(const char* bytes) {
  constexpr std::size_t kLane = sizeof(__m128i);
  const __m128i newline = _mm_set1_epi8('\n');
  std::uint64_t bits = 0;
  for (std::size_t at = 0; at < kNewlinesStep; at += kLane) {
    const __m128i lane =
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + at));
    const int here = _mm_movemask_epi8(_mm_cmpeq_epi8(lane, newline));
    bits |= static_cast<std::uint64_t>(here) << at;
  }
  return bits;
}

// Returns the number of bytes up to the end of the last of so many lines.
std::size_t SizeOfLines(std::string_view text, std::size_t lines) {
  std::size_t size = 0;
  for (; lines > 0 && text.size() - size >= kNewlinesStep;
       size += kNewlinesStep) {
    std::uint64_t newlines = NewlinesIn(text.data() + size);
    for (; newlines != 0; newlines &= newlines - 1)
      if (--lines == 0)
        return size + static_cast<std::size_t>(std::countr_zero(newlines)) + 1;
  }
  while (lines > 0 && size < text.size())
    if (text[size++] == '\n') --lines;
  return size;
}

bool IsActive(const IniLine& line) {
  return line.mark == ' ' &&
         (line.kind == LineKind::kKey || line.kind == LineKind::kHeader ||
          line.kind == LineKind::kUnclosedHeader);
}

bool StartsIndented(std::string_view line) {
  return line.starts_with(' ') || line.starts_with('\t');
}

// Returns whether the line ends with a backslash, as a value does that goes on
// in the next line.
bool EndsWithBackslash(std::string_view line) {
  const std::string_view trimmed = TrimmedLine(line);
  return !trimmed.empty() && trimmed.back() == '\\';
}

}  // namespace

LineTable::LineTable(std::string text, IniReading reading)
    : reading_(reading),
      text_(std::move(text)),
      places_(CountByte(text_, '\n'), text_.size()) {
  CheckSize(text_.size());
  codes_.reserve(WithSpare(CountByte(text_, '\n')));
  const std::string_view bytes = text_;
  std::string_view above;
  for (std::size_t at = ByteOrderMark().size(); at < bytes.size();) {
    const std::size_t end =
        std::min(bytes.find('\n', at), bytes.size() - 1) + 1;
    const std::string_view line = bytes.substr(at, end - at);
    places_.Append(at);
    codes_.push_back(
        NewCodeOf(line, codes_.size() - 1, [above] { return above; }));
    above = line;
    at = end;
  }
}

std::string_view LineTable::ByteOrderMark() const {
  const bool has_mark =
      reading_ == IniReading::kLive && text_.starts_with(kUtf8Mark);
  return std::string_view(text_).substr(0, has_mark ? kUtf8Mark.size() : 0);
}

std::string_view LineTable::BytesAt(std::size_t begin) const {
  return begin < text_.size()
             ? std::string_view(text_).substr(begin)
             : std::string_view(added_).substr(begin - text_.size());
}

std::size_t LineTable::BeginOf(std::size_t line) const {
  const LinePlaces::Place place = places_.At(line);
  return place.begin + SizeOfLines(BytesAt(place.begin), place.skip);
}

std::string_view LineTable::SourceOf(std::size_t line) const {
  const std::string_view bytes = BytesAt(BeginOf(line));
  const std::size_t newline = bytes.find('\n');
  if (newline == std::string_view::npos) return bytes;
  return bytes.substr(0, IsOpen(line) ? newline : newline + 1);
}

std::string_view LineTable::RunAt(std::size_t& line) const {
  constexpr std::size_t kMost = 256;
  const std::size_t begin = BeginOf(line);
  const std::size_t number = places_.At(line).number;
  std::size_t unmarked = marks_.empty() ? kMost : 1;
  while (unmarked < kMost && MarksAt(number + unmarked) == 0) ++unmarked;
  line += places_.RunAt(line, unmarked);
  const std::string_view last = SourceOf(line - 1);
  const std::string_view bytes = BytesAt(begin);
  return bytes.substr(
      0, static_cast<std::size_t>(last.data() + last.size() - bytes.data()));
}

std::string_view LineTable::PieceAt(std::size_t& line) const {
  std::string_view piece = RunAt(line);
  while (line < size() && !HasNewMarks(line)) {
    std::size_t end = line;
    const std::string_view next = RunAt(end);
    if (next.data() != piece.data() + piece.size()) break;
    piece = {piece.data(), piece.size() + next.size()};
    line = end;
  }
  return piece;
}

void LineTable::AppendMarked(std::size_t line, std::string& text) const {
  const std::string_view source = SourceOf(line);
  const std::size_t marks = MarksBegin(source);
  const std::size_t change = MarksAt(places_.At(line).number) & (kIsNew - 1U);
  text.append(source.substr(0, marks))
      .append(kMarks[change % kMarks.size()])
      .append(source.substr(marks + change / kMarks.size()));
}

std::string_view LineTable::ViewOf(std::size_t line,
                                   std::string& buffer) const {
  if (!HasNewMarks(line)) return SourceOf(line);
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
  return StartsIndented(SourceOf(line));
}

IniLine LineTable::Read(std::size_t line) const {
  std::string buffer;
  const std::string_view text = ViewOf(line, buffer);
  IniLine read = Read(line, text);
  if (text.data() != buffer.data()) return read;
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
  std::size_t size = 0;
  ForEachPiece([&size](std::string_view piece) { size += piece.size(); });
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

// The number above the first line is kNoLine.
bool LineTable::CouldContinue(std::size_t line) const {
  return reading_ == IniReading::kLive && line > 0 &&
         EndsWithBackslash(SourceOf(line - 1));
}

// Returns whether a line is a part of a value that ends with a backslash: an
// active key or header below, which is indented, is one too.
bool LineTable::Swallows(std::size_t line, std::string_view text) const {
  if (!EndsWithBackslash(text)) return false;
  if (KindOf(line) == LineKind::kOther && StartsIndented(text)) return true;
  while (IsJoined(line, line - 1)) {
    --line;
    if (KindOf(line) == LineKind::kOther && IsIndented(line)) return true;
  }
  return KindOf(line) == LineKind::kKey && !IsDisabled(line);
}

// Returns whether the line is no INI and continues a value right above it that
// ends with a backslash.
bool LineTable::IsJoined(std::size_t line, std::size_t above) const {
  if (reading_ == IniReading::kRecords || line >= size() || above == kNoLine ||
      KindOf(line) != LineKind::kOther)
    return false;
  const bool in_value = KindOf(above) == LineKind::kOther ||
                        (KindOf(above) == LineKind::kKey && !IsDisabled(above));
  return in_value && EndsWithBackslash(SourceOf(above));
}

std::uint8_t LineTable::NewCodeOf(std::size_t line, std::size_t above) {
  std::string buffer;
  return NewCodeOf(ViewOf(line, buffer), above,
                   [this, above] { return SourceOf(above); });
}

template <typename TextAbove>
std::uint8_t LineTable::NewCodeOf(std::string_view text, std::size_t above,
                                  const TextAbove& text_above) {
  IniLine read = ReadAlone(text);
  if (reading_ == IniReading::kLive &&
      (read.kind == LineKind::kKeyless ||
       (IsActive(read) && above != kNoLine && StartsIndented(text) &&
        Swallows(above, text_above()))))
    read = {.kind = LineKind::kOther};
  has_unclosed_ |= read.kind == LineKind::kUnclosedHeader;
  return CodeOf(read);
}

}  // namespace fairlead::internal
