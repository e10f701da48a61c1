// Bytes that a person cannot type or must not see, spelled as text.

#ifndef FAIRLEAD_TOOL_BASE_ESCAPES_H_
#define FAIRLEAD_TOOL_BASE_ESCAPES_H_

#include <string>
#include <string_view>

namespace fairlead::tool {

/// The bytes that `text` spells with \r \n \t \\ and \xHH.
///
/// @param name the parameter that an error names
/// @throws Failure with kWrongUsage for any other backslash
std::string Unescaped(std::string_view text, std::string_view name);

/// The bytes that pairs of hexadecimal digits spell; white space may stand
/// between the pairs.
///
/// @param name the parameter that an error names
/// @throws Failure with kWrongUsage for anything else
std::string FromHex(std::string_view digits, std::string_view name);

/// The bytes on one line, in a form that Unescaped() reads back. Well-formed
/// UTF-8 stays as it is.
std::string Escaped(std::string_view bytes);

/// The user's word between single quotes, for an error: on one line, without
/// control bytes, backslashes as they were typed; cut with "..." behind 100
/// bytes.
std::string Quoted(std::string_view word);

/// The same without the quotes.
std::string Shown(std::string_view word);

/// The bytes as a terminal may show them: line feeds, tabs, backslashes and
/// well-formed UTF-8 stay, all other control bytes are spelled as in Escaped().
std::string Visible(std::string_view bytes);

/// The bytes as a JSON string, in its quotation marks. Well-formed UTF-8 stays
/// as it is; any other byte above 0x7F is spelled as the code point of its
/// number.
std::string JsonString(std::string_view bytes);

/// The byte as two hexadecimal digits in lower case.
std::string HexByte(char byte);

/// Whether the byte is one of the 95 printable ones of ASCII.
constexpr bool IsPrintable(char c) { return c >= ' ' && c <= '~'; }

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_ESCAPES_H_
