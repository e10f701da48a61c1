// A list of records, searched without walking it each time.

#ifndef FAIRLEAD_INI_RECORD_INDEX_H_
#define FAIRLEAD_INI_RECORD_INDEX_H_

#include <cstddef>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"

namespace fairlead {

// Answers as walks of the list would. It begins with walks indeed, so that a
// few lookups cost no more than they; once these add up to the length of the
// list, it makes a table of the names.
class CIniFile::Index {
 public:
  // The place of the first record from `start` on that has these names; the
  // length of the list where none has. It must be the same list at each call,
  // with the same names in it.
  std::size_t Find(const std::vector<Record>& records, std::string_view section,
                   std::string_view key, std::size_t start);

 private:
  struct Slot {
    std::size_t hash = 0;
    std::size_t first = 0;  // One more than the place of the first record.
  };

  std::size_t Walk(const std::vector<Record>& records, std::string_view section,
                   std::string_view key, std::size_t start);
  void MakeTable(const std::vector<Record>& records);
  Slot& SlotOf(const std::vector<Record>& records, std::string_view section,
               std::string_view key);

  std::size_t walked_ = 0;         // Records seen in walks.
  std::vector<Slot> slots_;        // A power of two of them, half of them free.
  std::vector<std::size_t> next_;  // For each record, the next of its names.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_RECORD_INDEX_H_
