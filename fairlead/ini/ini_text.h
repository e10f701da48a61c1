// The records of an INI file as text, without a file.

#ifndef FAIRLEAD_INI_INI_TEXT_H_
#define FAIRLEAD_INI_INI_TEXT_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/ini/ini_file.h"

namespace fairlead {

/// What the records of a text leave out.
struct IniDamage {
  /// The number, from 1, of the header without `]` that ended the reading; 0 if
  /// there is none. CIniFile::Load() would have thrown there.
  std::size_t unclosed_header = 0;
  /// The number of the first line of which TextFromRecords() loses text, not
  /// only blank lines and whitespace; 0 if there is none.
  std::size_t lossy_line = 0;
  /// What is wrong with that line, a static clause; "" if there is none.
  std::string_view loss = {};
};

/// What RecordsFromText() reads.
struct IniRecords : IniDamage {
  /// What CIniFile::Load() would read from a file with this text: all records,
  /// or those before a header without `]`.
  std::vector<CIniFile::Record> records;
  /// The comment lines below the last record, LF each: no record has them.
  std::string comments_at_end;
};

/// Reads the records of a text; any bytes will do. Throws std::bad_alloc only.
/// Linear in the text.
FAIRLEAD_EXPORT IniRecords RecordsFromText(std::string_view text);

/// Returns what CIniFile::Save() would write for the records.
/// @code
/// auto read = fairlead::RecordsFromText("[net]\n\nport = 80\n# last\n");
/// read.records[1].Value = "7000";
/// std::string text = fairlead::TextFromRecords(read.records);
/// // text + read.comments_at_end == "[net]\nport=7000\n# last\n"
/// @endcode
FAIRLEAD_EXPORT std::string TextFromRecords(
    const std::vector<CIniFile::Record>& records);

/// Checks a text without reading its records: takes no memory.
FAIRLEAD_EXPORT IniDamage DamageOf(std::string_view text);

/// Passes on in pieces what TextFromRecords() returns for the records of a
/// text, and then its comments at the end. Needs the memory of one record. One
/// that is written so already is passed on as a part of the text.
FAIRLEAD_EXPORT void NormalizeText(
    std::string_view text,
    const std::function<void(std::string_view piece)>& take);

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_TEXT_H_
