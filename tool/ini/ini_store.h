// Conversions between the text of an INI file and its records.

#ifndef FAIRLEAD_TOOL_INI_INI_STORE_H_
#define FAIRLEAD_TOOL_INI_INI_STORE_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "tool/io/memory_copy.h"

namespace fairlead::tool::ini {

using Record = CIniFile::Record;
using Records = std::vector<Record>;

/// The content of an INI file that an edit keeps.
struct Content {
  Records records;
  std::string comments_at_end;  ///< After the last record; each ends with LF.
};

/// Parses a text as the library's store does. The result is complete.
///
/// @param file the name of the file in error messages
/// @throws Failure with kMalformedInput for a header without ']'; with
///     kCannotRead or kCannotWrite if a system call fails
Content ContentOf(const std::string& text, const std::string& file);

/// Returns the lines of the records in a file.
std::string TextOf(const Records& records);

/// Changes the records of a file.
using Operation = std::function<void(Records& records)>;

/// Returns the text after the operation.
///
/// @throws Failure as ContentOf() does; with kMalformedInput also if an edit
///     would lose part of the text
std::string Edited(const std::string& text, const std::string& file,
                   const Operation& operation);

/// Returns the first record with these names, disabled or not, or nullptr. An
/// empty key finds the first header of the section.
const Record* Find(const Records& records, std::string_view section,
                   std::string_view key);
Record* Find(Records& records, std::string_view section, std::string_view key);

/// Returns whether any record belongs to the section.
bool HasSection(const Records& records, std::string_view section);

/// Appends a header.
void AddSection(Records& records, std::string_view section);

/// Sets the value of the key. Inserts a new key at the top of its section, and
/// appends a new section.
void SetValue(Records& records, std::string_view section, std::string_view key,
              std::string_view value);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_STORE_H_
