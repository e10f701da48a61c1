// Edits of single lines of an INI text, and of their order. Not installed.

#ifndef FAIRLEAD_INI_LINE_EDIT_H_
#define FAIRLEAD_INI_LINE_EDIT_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/line_set.h"
#include "fairlead/ini/line_table.h"

namespace fairlead::internal {

using Code = IniResult::Code;

// The results of an edit that cannot be made because of the line.
inline IniResult Exists(std::size_t line) {
  return {.code = Code::kExists, .line = line + 1};
}
inline IniResult Malformed(std::size_t line, std::string_view reason) {
  return {.code = Code::kMalformed, .line = line + 1, .reason = reason};
}

// Each returns why a line cannot hold the trimmed text, or "".
std::string_view SectionFault(std::string_view section);
std::string_view KeyFault(std::string_view key);
std::string_view ValueFault(std::string_view value);

// Returns why a new line cannot hold the name and the value, or "".
std::string_view NewKeyFault(const IniName& name, std::string_view value);

// Returns which of the lines the index means: SIZE_MAX for a list that is too
// short. `by_default` is that of index 0.
std::size_t PlaceOf(std::size_t index, std::size_t count,
                    std::size_t by_default);

// Returns the first line from `line` on that would not continue a value above.
std::size_t EndOfValue(const LineTable& lines, std::size_t line);

// Returns kMalformed if the value of the key continues below its line.
IniResult CheckValueEnd(const LineTable& lines, std::size_t line);

// Sets the value of the key in a line. kMalformed if the value continues
// below it.
IniResult SetValueAt(LineTable& lines, std::size_t line,
                     std::string_view value);

// Changes the name in the line of a header or a key.
void RenameAt(LineTable& lines, std::size_t line, std::string_view new_name);

// Removes the first `count` characters that are not blank, and the blanks
// behind them.
void UnmarkAt(LineTable& lines, std::size_t line, std::size_t count);

// Inserts a key before `line`, in the style of the line `model`, or of the
// nearest key if that is kNoLine.
void InsertKey(LineTable& lines, std::size_t line, std::size_t model,
               std::string_view key, std::string_view value);

// Inserts a header before `line`, with a blank line above it if the headers of
// the text have one. Returns its line.
std::size_t InsertHeader(LineTable& lines, std::size_t line,
                         std::string_view section);

// Replaces the comments, lines `old`, above a line by new ones.
IniResult ReplaceComments(LineTable& lines, const LineSet& old,
                          std::size_t line, std::string_view comments);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_EDIT_H_
