// Records from a reader, and as lines. Not installed.

#ifndef FAIRLEAD_INI_RECORD_TEXT_H_
#define FAIRLEAD_INI_RECORD_TEXT_H_

#include <string>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/record_reader.h"

namespace fairlead::internal {

// Appends the lines of a record in a file.
void AppendLines(const CIniFile::Record& record, std::string& text);
void AppendLines(const RecordReader& reader, std::string& text);

// Appends the current record of a reader.
void Append(const RecordReader& reader, std::vector<CIniFile::Record>& content);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_RECORD_TEXT_H_
