// The formats of -format: for users, shells and programs.

#ifndef FAIRLEAD_TOOL_INI_LISTING_H_
#define FAIRLEAD_TOOL_INI_LISTING_H_

#include <string>
#include <string_view>
#include <vector>

namespace fairlead::tool {

/// Formats rows of texts. "text" is a line per row, separated by TABs; "sh" is
/// a line per row, quoted for a shell; "nul" is a zero byte after every text.
std::string Rows(std::string_view format,
                 const std::vector<std::vector<std::string>>& rows);

/// Formats a list: one text per row, but one line for "sh" and a JSON array for
/// "json".
std::string List(std::string_view format,
                 const std::vector<std::string>& texts);

/// Formats one text.
std::string Single(std::string_view format, const std::string& text);

/// Returns the JSON values as an array, one value per line.
std::string JsonArray(const std::vector<std::string>& values);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_LISTING_H_
