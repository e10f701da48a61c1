// Edits of single lines of an INI text, and of their order.

#include "fairlead/ini/line_edit.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_line.h"

namespace fairlead::internal {
namespace {

constexpr std::string_view kSpaces = " \t";
constexpr std::string_view kBlanks = " \t\r";

bool Contains(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

std::size_t OffsetOf(std::string_view part, std::string_view line) {
  return static_cast<std::size_t>(part.data() - line.data());
}

// How a line is laid out.
struct Style {
  std::string indentation;
  std::string equals = "=";  // With the spaces around it.
};

std::string Indentation(std::string_view line) {
  return std::string(
      line.substr(0, std::min(line.find_first_not_of(kSpaces), line.size())));
}

// Returns the style of a key's line, disabled or not.
Style StyleOfKey(const LineTable& lines, std::size_t line) {
  std::string buffer;
  const std::string_view text = lines.ViewOf(line, buffer);
  const IniLine read = lines.Read(line, text);
  const std::size_t name_end = OffsetOf(read.name, text) + read.name.size();
  std::size_t value = OffsetOf(read.value, text);
  if (read.value.empty())
    value = std::min(text.find_first_not_of(kSpaces, value), text.size());
  if (read.value.empty() && value > 0 && text[value - 1] == '=') {
    // The space after it has been trimmed.
    const auto equals = text.substr(name_end, value - name_end);
    return {.indentation = Indentation(text),
            .equals = std::string(equals).append(equals, 0, equals.size() - 1)};
  }
  return {.indentation = Indentation(text),
          .equals = std::string(text.substr(name_end, value - name_end))};
}

std::size_t Above(const LineTable& lines, std::size_t line, LineKind kind) {
  for (std::size_t at = std::min(line, lines.size()); at > 0; --at)
    if (lines.KindOf(at - 1) == kind) return at - 1;
  return kNoLine;
}

std::size_t Below(const LineTable& lines, std::size_t line, LineKind kind) {
  for (std::size_t at = line; at < lines.size(); ++at)
    if (lines.KindOf(at) == kind) return at;
  return kNoLine;
}

// Returns the nearest line of that kind above `line`, or else below; kNoLine if
// there is none.
std::size_t Nearest(const LineTable& lines, std::size_t line, LineKind kind) {
  const std::size_t above = Above(lines, line, kind);
  const std::size_t below = Below(lines, line, kind);
  if (above == kNoLine) return below;
  if (below == kNoLine) return above;
  const auto is_cut_off = [&](std::size_t begin, std::size_t end) {
    while (begin < end && lines.KindOf(begin) != LineKind::kHeader) ++begin;
    return begin < end;
  };
  return is_cut_off(above + 1, line) && !is_cut_off(line, below) ? below
                                                                 : above;
}

// An indented line below a value that ends with a backslash would be a part of
// that value.
std::string IndentationFor(const LineTable& lines, std::size_t line,
                           std::string_view indentation) {
  return std::string(lines.CouldContinue(line) ? "" : indentation);
}

// Returns whether there is a header between a new line and its model below.
bool IsInLaterSection(const LineTable& lines, std::size_t line,
                      std::size_t model) {
  for (std::size_t at = line; at < std::min(model, lines.size()); ++at)
    if (lines.KindOf(at) == LineKind::kHeader) return true;
  return false;
}

bool IsBlankLine(const LineTable& lines, std::size_t line) {
  return line < lines.size() && lines.KindOf(line) == LineKind::kBlank;
}

// Returns whether the headers of the text have a blank line above them: the
// nearest one decides.
bool HasBlankAbove(const LineTable& lines, std::size_t header) {
  if (header == kNoLine) return false;
  while (header > 0 && lines.KindOf(header - 1) == LineKind::kComment) --header;
  return header > 0 && IsBlankLine(lines, header - 1);
}

IniResult Invalid(std::string_view reason) {
  return {.code = Code::kInvalid, .reason = reason};
}

bool IsCommentIn(IniReading reading, std::string_view line) {
  const IniLine read =
      reading == IniReading::kLive ? ReadLiveLine(line) : ReadRecordLine(line);
  return read.kind == LineKind::kComment;
}

// Returns the lines of a comment; nothing if one of them is no comment.
std::optional<std::vector<std::string>> CommentLines(const LineTable& lines,
                                                     std::size_t line,
                                                     std::string_view text) {
  std::vector<std::string> result;
  text = TrimmedLine(text);
  while (!text.empty()) {
    const std::string_view whole = text.substr(0, text.find('\n'));
    const std::string_view content = TrimmedLine(whole);
    std::string comment = Indentation(lines.TextOf(line));
    if (content.empty())
      comment += '#';
    else
      comment.append(IsCommentCharacter(content[0]) ? "" : "# ")
          .append(content);
    if (!IsCommentIn(lines.reading(), comment)) return std::nullopt;
    result.push_back(comment.append(lines.NewlineOf(line)));
    text.remove_prefix(std::min(whole.size() + 1, text.size()));
  }
  return result;
}

}  // namespace

std::string_view SectionFault(std::string_view section) {
  if (Contains(section, ']')) return "a section name cannot contain ']'";
  if (Contains(section, '\n')) return "a section name cannot contain a newline";
  return "";
}

std::string_view KeyFault(std::string_view key) {
  if (key.empty()) return "a key cannot be empty";
  if (Contains(key, '=')) return "a key cannot contain '='";
  if (Contains(key, '\n')) return "a key cannot contain a newline";
  if (key.starts_with(kUtf8Mark))
    return "a key cannot begin with a byte order mark";
  if (Contains("[#;", key[0])) return "a key cannot begin with '[', '#' or ';'";
  return "";
}

std::string_view ValueFault(std::string_view value) {
  return Contains(value, '\n') ? "a value cannot contain a newline" : "";
}

std::string_view NewKeyFault(const IniName& name, std::string_view value) {
  if (const auto fault = SectionFault(name.section); !fault.empty())
    return fault;
  if (!name.key) return "";
  const auto fault = KeyFault(*name.key);
  return fault.empty() ? ValueFault(TrimmedLine(value)) : fault;
}

std::size_t PlaceOf(std::size_t index, std::size_t count,
                    std::size_t by_default) {
  if (index == 0) return count == 0 ? kNoLine : by_default;
  return index <= count ? index - 1 : kNoLine;
}

std::size_t EndOfValue(const LineTable& lines, std::size_t line) {
  std::size_t next = line;
  while ((next = lines.ContinuationAt(line)) != kNoLine) line = next + 1;
  return line;
}

IniResult CheckValueEnd(const LineTable& lines, std::size_t line) {
  const std::size_t next = lines.ContinuationAt(line + 1);
  if (next == kNoLine) return {};
  return {.code = Code::kMalformed,
          .line = next + 1,
          .reason = "the value continues on this line"};
}

IniResult SetValueAt(LineTable& lines, std::size_t line,
                     std::string_view value) {
  std::string changed = lines.TextOf(line);
  const std::string_view text = changed;
  const IniLine read = lines.Read(line, text);
  if (const IniResult result = CheckValueEnd(lines, line); !result.IsOk())
    return result;
  if (read.value == value) return {.code = Code::kUnchanged};
  std::size_t begin = OffsetOf(read.value, text);
  if (read.value.empty())
    begin = std::min(text.find_first_not_of(kSpaces, begin), text.size());
  changed.replace(begin, read.value.size(), value);
  lines.Replace(line, changed);
  return {};
}

void RenameAt(LineTable& lines, std::size_t line, std::string_view new_name) {
  std::string text = lines.TextOf(line);
  const std::string_view name = lines.Read(line, text).name;
  text.replace(OffsetOf(name, text), name.size(), new_name);
  lines.Replace(line, text);
}

void UnmarkAt(LineTable& lines, std::size_t line, std::size_t count) {
  std::string buffer;
  const std::string_view text = lines.ViewOf(line, buffer);
  const std::size_t begin = text.find_first_not_of(kBlanks);
  const std::size_t end = text.find_first_not_of(kBlanks, begin + count);
  lines.ChangeMarks(line, std::min(end, text.size()) - begin, "");
}

void InsertKey(LineTable& lines, std::size_t line, std::size_t model,
               std::string_view key, std::string_view value) {
  if (model == kNoLine) model = Nearest(lines, line, LineKind::kKey);
  Style style = model == kNoLine ? Style() : StyleOfKey(lines, model);
  if (IsInLaterSection(lines, line, model)) style.indentation.clear();
  std::string text = IndentationFor(lines, line, style.indentation);
  text.append(key).append(style.equals).append(value);
  // The space after the `=` would be one at the end of the line.
  if (value.empty()) text.erase(text.find_last_not_of(kSpaces) + 1);
  lines.Insert(line, text.append(lines.NewlineOf(model)));
}

std::size_t InsertHeader(LineTable& lines, std::size_t line,
                         std::string_view section) {
  const std::size_t model = Nearest(lines, line, LineKind::kHeader);
  const std::string newline(lines.NewlineOf(model));
  const std::string indentation =
      model == kNoLine ? "" : Indentation(lines.TextOf(model));
  // From here on, `model` may be another line.
  if (HasBlankAbove(lines, model) && line > 0 && !IsBlankLine(lines, line - 1))
    lines.Insert(line++, newline);
  std::string text = IndentationFor(lines, line, indentation);
  lines.Insert(line, text.append("[").append(section).append("]" + newline));
  return line;
}

IniResult ReplaceComments(LineTable& lines, const LineSet& old,
                          std::size_t line, std::string_view comments) {
  const auto wanted = CommentLines(lines, line, comments);
  if (!wanted)
    return Invalid(lines.reading() == IniReading::kLive
                       ? "a comment cannot look like a disabled key or header"
                       : "a comment cannot contain '[' or '=': its line would "
                         "be read as a disabled key or header");
  if (std::ranges::equal(old, *wanted, {},
                         [&](std::size_t at) { return lines.TextOf(at); }))
    return {.code = Code::kUnchanged};
  // The new ones first: without any, the line might continue the value above.
  for (const std::string& text : *wanted) lines.Insert(line++, text);
  lines.Erase(old);
  return {};
}

}  // namespace fairlead::internal
