// The formats of -format: for users, shells and programs.

#ifndef FAIRLEAD_TOOL_INI_LISTING_H_
#define FAIRLEAD_TOOL_INI_LISTING_H_

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "tool/command/parameter.h"

namespace fairlead::tool {

enum class Format { kTextLines, kShell, kJson, kNul, kAssign };

inline constexpr auto kFormats = std::to_array<Choice>({
    {Format::kTextLines, "text"},
    {Format::kShell, "sh"},
    {Format::kJson, "json"},
    {Format::kNul, "nul"},
});
inline constexpr auto kFormatsAndAssign = std::to_array<Choice>({
    {Format::kTextLines, "text"},
    {Format::kShell, "sh"},
    {Format::kJson, "json"},
    {Format::kNul, "nul"},
    {Format::kAssign, "assign"},
});

/// Appends a row of texts. kTextLines is a line, separated by TABs; kShell is a
/// line, quoted for a shell; kJson is a line of JSON strings, separated by
/// TABs; kNul is a zero byte after every text. kAssign has no rows: see
/// assignments.h.
void AppendRow(Format format, std::span<const std::string_view> texts,
               std::string& lines);

/// Formats one text.
std::string Single(Format format, std::string_view text);

/// Returns the text in single quotes for a shell.
std::string ShellQuoted(std::string_view text);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_LISTING_H_
