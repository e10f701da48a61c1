// Bytes that cannot be typed or must not be printed, as escaped text.

#ifndef FAIRLEAD_TOOL_BASE_ESCAPES_H_
#define FAIRLEAD_TOOL_BASE_ESCAPES_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// Returns the bytes of `text`, with the escapes \r \n \t \\ and \xHH.
///
/// @param name the parameter that an error names
/// @throws Failure with kWrongUsage for any other escape
std::string Unescaped(std::string_view text, std::string_view name);

/// Returns the bytes of pairs of hexadecimal digits. Whitespace between the
/// pairs is ignored.
///
/// @param name the parameter that an error names
/// @throws Failure with kWrongUsage for anything else
std::string FromHex(std::string_view digits, std::string_view name);

/// Returns the bytes on one line, in a form that Unescaped() reads back.
/// Well-formed UTF-8 stays as it is, but for the characters that change the
/// order or the lines in which a text is shown.
std::string Escaped(std::string_view bytes);

/// Returns the user's text between single quotes, for an error: on one line,
/// without control bytes, with backslashes as typed, and truncated to 100 bytes
/// and "...".
std::string Quoted(std::string_view text);

/// Does the same without the quotes.
std::string Shown(std::string_view text);

/// Returns the bytes as a terminal may show them: newlines, tabs, backslashes
/// and well-formed UTF-8 stay, other control characters are escaped as in
/// Escaped().
std::string Visible(std::string_view bytes);

/// Returns the bytes as a JSON string, in quotation marks. Well-formed UTF-8
/// stays as it is, but for control characters and what reorders a text, which
/// are escaped; any other byte above 0x7F becomes the code point of its value.
std::string JsonString(std::string_view bytes);

/// Returns whether all the bytes are well-formed UTF-8, control characters
/// included.
bool IsUtf8(std::string_view bytes);

/// Returns how many of the bytes are whole characters: all but the start of one
/// of UTF-8 at their end.
std::size_t WholeCharacters(std::string_view bytes);

/// Returns the byte as two lower-case hexadecimal digits.
std::string HexByte(char byte);

/// Returns whether the byte is one of the 95 printable ones of ASCII.
constexpr bool IsPrintable(char c) { return c >= ' ' && c <= '~'; }

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_ESCAPES_H_
