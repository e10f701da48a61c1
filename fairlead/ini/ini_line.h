// The grammar of one line of an INI file. Not installed.

#ifndef FAIRLEAD_INI_INI_LINE_H_
#define FAIRLEAD_INI_INI_LINE_H_

#include <cstdint>
#include <string_view>

#include "fairlead/text/trimmed.h"

namespace fairlead::internal {

// Trimmed from both ends of lines, keys and values.
constexpr bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

constexpr bool IsCommentCharacter(char c) { return c == '#' || c == ';'; }

// Not through a pointer to IsBlank, which compilers call for each character.
inline std::string_view TrimmedLine(std::string_view text) {
  return Trimmed(text, [](char c) { return IsBlank(c); });
}

enum class LineKind : std::uint8_t {
  kBlank,
  kComment,
  kHeader,
  kUnclosedHeader,  // `[name` without `]`.
  kKey,
  kKeyless,  // `=value`.
  kOther,    // Not an INI line.
};

// What a line means. The views refer to the line.
struct IniLine {
  LineKind kind = LineKind::kBlank;
  char mark = ' ';  // The character that disables it, or ' '.
  // The name of a section or key. That of an unclosed header is what follows
  // its bracket.
  std::string_view name = {};
  std::string_view value = {};  // Empty at the place where it would begin.
};

// Reads a line as CIniFile does: whatever follows one comment character may be
// disabled.
IniLine ReadRecordLine(std::string_view line);

// Reads a line as most programs do: a comment is a comment. A disabled line is
// one that LiveEditor::Disable() could have written, or one that people write:
// a comment character, perhaps blanks, and `[name]` or `key=value` with a key
// of one word.
IniLine ReadLiveLine(std::string_view line);

// Returns whether LiveEditor::Enable() changes the line: it is a disabled
// header or key, perhaps with more comment characters before it.
bool CanEnable(std::string_view line);

// The number of characters that disabling puts before the first one of a live
// line that is not blank: two different ones for a key that is not one word,
// since with one its line would be prose.
std::size_t MarksFor(const IniLine& line);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_LINE_H_
