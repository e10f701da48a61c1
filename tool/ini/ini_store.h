// The texts of INI files and the records in them.

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

/// All that an edit keeps of an INI file.
struct Content {
  Records records;
  std::string comments_at_end;  ///< Below the last record, an LF after each.
};

/// Takes a text apart as the library's store does.
///
/// @param file what an error calls it
/// @throws Failure with kMalformedInput for a header without ']'; with
///     kCannotRead or kCannotWrite where the system refuses what this takes:
///     no record is ever missing from the result
Content ContentOf(const std::string& text, const std::string& file);

/// The lines that stand for the records in a file.
std::string TextOf(const Records& records);

/// Changes the records of a file.
using Operation = std::function<void(Records& records)>;

/// The text as the operation leaves it.
///
/// @throws Failure as ContentOf() does; with kMalformedInput also for a text of
///     which an edit would lose something
std::string Edited(const std::string& text, const std::string& file,
                   const Operation& operation);

/// The first record of these names, disabled or not, or nullptr; with an empty
/// key, the first header of the section.
const Record* Find(const Records& records, std::string_view section,
                   std::string_view key);
Record* Find(Records& records, std::string_view section, std::string_view key);

/// Whether a record is of the section.
bool HasSection(const Records& records, std::string_view section);

/// Puts a header at the end.
void AddSection(Records& records, std::string_view section);

/// Gives the key the value. A new key goes to the top of its section, a new
/// section to the end.
void SetValue(Records& records, std::string_view section, std::string_view key,
              std::string_view value);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_STORE_H_
