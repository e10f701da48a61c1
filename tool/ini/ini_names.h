// Validation of names, values and comments of an INI file.

#ifndef FAIRLEAD_TOOL_INI_INI_NAMES_H_
#define FAIRLEAD_TOOL_INI_INI_NAMES_H_

#include <string>
#include <string_view>

namespace fairlead::tool::ini {

/// Returns the text without the leading and trailing whitespace that the store
/// trims from keys, values and comments: space, TAB, LF and CR.
std::string_view Trimmed(std::string_view text);

/// Returns why the file cannot keep this section name, or "".
std::string_view SectionFault(std::string_view section);

/// Returns why the file cannot keep this trimmed key, or "".
std::string_view KeyFault(std::string_view key);

/// Returns why the file cannot keep this trimmed value, or "".
std::string_view ValueFault(std::string_view value);

/// Returns the text as comment lines, each with a comment character and an LF;
/// "" if the text is only whitespace.
///
/// @throws Failure with kWrongUsage for a line that the store would read as a
///     disabled key or header
std::string CommentLines(std::string_view text);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_NAMES_H_
