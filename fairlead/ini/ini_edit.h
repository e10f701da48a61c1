// What the editing operations of INI files share. Not installed.

#ifndef FAIRLEAD_INI_INI_EDIT_H_
#define FAIRLEAD_INI_INI_EDIT_H_

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"

namespace fairlead::internal {

using Records = std::vector<CIniFile::Record>;

// Loads the records of a file and passes them to `change`. If that returns
// true, saves them and returns the result of Save(); otherwise returns false.
template <typename Change>
bool Edit(const std::string& file_name, Change change) {
  Records records;
  CIniFile::Load(file_name, records);  // Of a missing file, none.
  return change(records) && CIniFile::Save(file_name, records);
}

// Changes the first record that the predicate matches and saves. If there is
// none, saves nothing and returns false.
template <typename Predicate, typename Change>
bool EditFirst(const std::string& file_name, const Predicate& matches,
               Change change) {
  return Edit(file_name, [&](Records& records) {
    const auto found = std::find_if(records.begin(), records.end(), matches);
    if (found == records.end()) return false;
    change(*found);
    return true;
  });
}

// Returns an active record without comments.
inline CIniFile::Record MakeRecord(std::string_view section,
                                   std::string_view key = {},
                                   std::string_view value = {}) {
  CIniFile::Record record;
  record.Section = section;
  record.Key = key;
  record.Value = value;
  return record;
}

// Replaces the comments of a record. Kept for compatibility: a text of two or
// more characters gets an LF appended, even if it ends in one.
inline void SetComments(CIniFile::Record& record, std::string_view comments) {
  record.Comments = comments;
  if (comments.size() > 1) record.Comments += '\n';
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_EDIT_H_
