// What the editing operations of INI files share.

#ifndef FAIRLEAD_INI_INI_EDIT_H_
#define FAIRLEAD_INI_INI_EDIT_H_

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"

namespace fairlead::internal {

using Records = std::vector<CIniFile::Record>;

// Loads the records of a file, changes them and saves them, all in one call.
// `change` says whether there is anything to save. The result is that of the
// saving, or false where there was none.
template <typename Change>
bool Edit(const std::string& file_name, Change change) {
  Records records;
  if (!CIniFile::Load(file_name, records)) return false;
  return change(records) && CIniFile::Save(file_name, records);
}

// The same for one record, the first that the predicate matches; without one,
// nothing is saved.
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

// An active record without comments.
inline CIniFile::Record MakeRecord(std::string_view section,
                                   std::string_view key = {},
                                   std::string_view value = {}) {
  CIniFile::Record record;
  record.Section = section;
  record.Key = key;
  record.Value = value;
  return record;
}

// Gives a record other comments. A text of more than one character gets an LF
// at its end, on purpose also where it ends in one.
inline void SetComments(CIniFile::Record& record, std::string_view comments) {
  record.Comments = comments;
  if (comments.size() > 1) record.Comments += '\n';
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_EDIT_H_
