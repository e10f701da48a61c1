// What an INI file can hold, and what it cannot.

#ifndef FAIRLEAD_TOOL_INI_INI_NAMES_H_
#define FAIRLEAD_TOOL_INI_INI_NAMES_H_

#include <string>
#include <string_view>

namespace fairlead::tool::ini {

/// Without the blanks at both ends that the store cuts off when it loads keys,
/// values and comments: space, TAB, LF and CR.
std::string_view Trimmed(std::string_view text);

/// Why the file would not keep this as a section's name, or "".
std::string_view SectionFault(std::string_view section);

/// Why the file would not keep this, which is trimmed, as a key, or "".
std::string_view KeyFault(std::string_view key);

/// Why the file would not keep this, which is trimmed, as a value, or "".
std::string_view ValueFault(std::string_view value);

/// The text as comment lines, each with a comment character and an LF; "" for a
/// text of blanks.
///
/// @throws Failure with kWrongUsage for a line that the store would read as a
///     disabled key or header
std::string CommentLines(std::string_view text);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_NAMES_H_
