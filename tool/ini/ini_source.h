// INI files as documents.

#ifndef FAIRLEAD_TOOL_INI_INI_SOURCE_H_
#define FAIRLEAD_TOOL_INI_INI_SOURCE_H_

#include <string>
#include <string_view>

#include "fairlead/ini/ini_document.h"
#include "tool/command/arguments.h"
#include "tool/ini/ini_parameters.h"

namespace fairlead::tool::ini {

/// Returns the reading that -records chooses.
IniReading ReadingOf(bool records);

/// Throws Failure with kMalformedInput for text in UTF-16 or UTF-32, or with
/// line ends of CR alone.
void CheckEncoding(std::string_view text, std::string_view file);

/// Returns the text as a document.
///
/// @param file the name of the file in error messages
/// @throws Failure as CheckEncoding() does, and with kMalformedInput for a
///     header without ']'
IniDocument Parsed(std::string text, std::string_view file,
                   IniReading reading = IniReading::kLive);

/// Returns the text as a document. In the live reading, one warning names the
/// first header without ']': what is elsewhere can be read and edited.
///
/// @throws Failure as Parsed() does, for a header without ']' only in the
///     records reading
IniDocument ParsedWithWarning(std::string text, std::string_view file,
                              IniReading reading);

/// Reads the file that -file names.
///
/// @throws Failure as ParsedWithWarning() does, and with kCannotRead
IniDocument ReadDocument(const Arguments<kSourceUses>& arguments);

/// Returns the text without a UTF-8 byte order mark at its beginning.
std::string WithoutByteOrderMark(std::string text);

/// Returns all of standard input, without a byte order mark.
///
/// @throws Failure with kCannotRead
std::string StandardInput();

/// Throws Failure with kMalformedInput: "file:line: what".
[[noreturn]] void FailMalformed(std::string_view file, std::size_t line,
                                std::string_view what);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_SOURCE_H_
