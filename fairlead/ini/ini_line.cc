// The grammar of one line of an INI file.

#include "fairlead/ini/ini_line.h"

#include <algorithm>
#include <cstddef>

namespace fairlead::internal {
namespace {

std::string_view WithoutLeadingBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  return text;
}

std::string_view WithoutTrailingBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

IniLine ReadHeader(std::string_view after_bracket, char mark) {
  const std::size_t end = after_bracket.find(']');
  if (end == std::string_view::npos)
    return {.kind = LineKind::kUnclosedHeader,
            .mark = mark,
            .name = TrimmedLine(after_bracket)};
  return {.kind = LineKind::kHeader,
          .mark = mark,
          .name = after_bracket.substr(0, end)};
}

// Reads a trimmed line that is neither empty nor a comment, behind its mark.
IniLine ReadActiveLine(std::string_view line, char mark = ' ') {
  if (line.front() == '[') return ReadHeader(line.substr(1), mark);
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos)
    return {.kind = LineKind::kOther, .mark = mark};
  return {.kind = equals == 0 ? LineKind::kKeyless : LineKind::kKey,
          .mark = mark,
          .name = WithoutTrailingBlanks(line.substr(0, equals)),
          .value = WithoutLeadingBlanks(line.substr(equals + 1))};
}

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9') || c == '_' || (c & 0x80) != 0;
}

// Tells a key from prose and from rulers.
bool IsOneWord(std::string_view name) {
  return std::ranges::none_of(name, IsBlank) &&
         std::ranges::any_of(name, IsWordCharacter);
}

bool IsComment(std::string_view line) {
  return !line.empty() && IsCommentCharacter(line.front());
}

// Reads a line behind one comment character.
IniLine ReadBehindOneMark(std::string_view rest) {
  const std::string_view line = WithoutLeadingBlanks(rest);
  if (line.empty() || IsComment(line)) return {.kind = LineKind::kComment};
  const IniLine read = ReadActiveLine(line);
  if (read.kind == LineKind::kKey && IsOneWord(read.name)) return read;
  // "# [name] text" is prose.
  const bool attached = line.size() == rest.size();
  if (read.kind == LineKind::kHeader && (attached || line.back() == ']'))
    return read;
  return {.kind = LineKind::kComment};
}

// Reads a line behind two different comment characters.
IniLine ReadBehindTwoMarks(std::string_view line) {
  if (line.empty() || IsBlank(line.front()) || IsComment(line))
    return {.kind = LineKind::kComment};
  const IniLine read = ReadActiveLine(line);
  if (read.kind == LineKind::kKey && !IsOneWord(read.name)) return read;
  return {.kind = LineKind::kComment};
}

// Reads a trimmed comment line.
IniLine ReadLiveComment(std::string_view line) {
  const bool two =
      line.size() > 1 && IsComment(line.substr(1)) && line[0] != line[1];
  IniLine read = two ? ReadBehindTwoMarks(line.substr(2))
                     : ReadBehindOneMark(line.substr(1));
  if (read.kind != LineKind::kComment) read.mark = line.front();
  return read;
}

}  // namespace

IniLine ReadRecordLine(std::string_view line) {
  line = TrimmedLine(line);
  if (line.empty()) return {};
  char mark = ' ';
  if (IsCommentCharacter(line.front())) {
    if (line.find('=') == std::string_view::npos &&
        line.find('[') == std::string_view::npos)
      return {.kind = LineKind::kComment};
    mark = line.front();
    line = TrimmedLine(line.substr(1));
  }
  return ReadActiveLine(line, mark);
}

IniLine ReadLiveLine(std::string_view line) {
  line = TrimmedLine(line);
  if (line.empty()) return {};
  return IsComment(line) ? ReadLiveComment(line) : ReadActiveLine(line);
}

bool CanEnable(std::string_view line) {
  for (line = TrimmedLine(line); IsComment(line); line.remove_prefix(1))
    if (ReadLiveComment(line).kind != LineKind::kComment) return true;
  return false;
}

std::size_t MarksFor(const IniLine& line) {
  return line.kind == LineKind::kKey && !IsOneWord(line.name) ? 2 : 1;
}

}  // namespace fairlead::internal
