// The formats of -format: for users, shells and programs.

#ifndef FAIRLEAD_TOOL_INI_LISTING_H_
#define FAIRLEAD_TOOL_INI_LISTING_H_

#include <array>
#include <string>
#include <vector>

#include "tool/command/parameter.h"

namespace fairlead::tool {

enum class Format { kTextLines, kShell, kJson, kNul };

inline constexpr auto kFormats = std::to_array<Choice>({
    {Format::kTextLines, "text"},
    {Format::kShell, "sh"},
    {Format::kJson, "json"},
    {Format::kNul, "nul"},
});

/// Formats rows of texts. kTextLines is a line per row, separated by TABs;
/// kShell is a line per row, quoted for a shell; kJson is a line per row of
/// JSON strings, separated by TABs; kNul is a zero byte after every text.
std::string Rows(Format format,
                 const std::vector<std::vector<std::string>>& rows);

/// Formats a list: one text per row, but one line for kShell and a JSON array
/// for kJson.
std::string List(Format format, const std::vector<std::string>& texts);

/// Formats one text.
std::string Single(Format format, const std::string& text);

/// Returns the JSON values as an array, one value per line.
std::string JsonArray(const std::vector<std::string>& values);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_LISTING_H_
