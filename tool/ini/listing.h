// Texts in the forms of -format: for people, shells and programs.

#ifndef FAIRLEAD_TOOL_INI_LISTING_H_
#define FAIRLEAD_TOOL_INI_LISTING_H_

#include <string>
#include <string_view>
#include <vector>

namespace fairlead::tool {

/// Rows of texts: with "text" a line each, with a TAB between two texts; with
/// "sh" a line of words each, quoted so that a shell takes them as they are;
/// with "nul" a zero byte after every text.
std::string Rows(std::string_view format,
                 const std::vector<std::vector<std::string>>& rows);

/// Texts of one kind: as rows of one, but one line with "sh" and a JSON array
/// with "json".
std::string List(std::string_view format,
                 const std::vector<std::string>& texts);

/// One text, in the same forms.
std::string Single(std::string_view format, const std::string& text);

/// The JSON values as an array, each on a line of its own.
std::string JsonArray(const std::vector<std::string>& values);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_LISTING_H_
