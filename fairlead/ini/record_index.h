// A list of records, searched without walking it each time.

#ifndef FAIRLEAD_INI_RECORD_INDEX_H_
#define FAIRLEAD_INI_RECORD_INDEX_H_

#include <cstddef>
#include <string_view>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/ini/ini_file.h"

namespace fairlead {

// Answers as walks of the list would. It begins with walks indeed, so that a
// few lookups cost no more than they; once these add up to the length of the
// list, it makes a table of the names.
class FAIRLEAD_PRIVATE CIniFile::Index {
 public:
  // The answer of a search in up to two passes.
  struct Answer {
    std::size_t place;  // Of the record; the length of the list without one.
    bool again;         // Whether there had to be a second pass.
  };

  // Finds the first record of these names from `start` on, or else from the
  // beginning. It must be the same list at each call, with the same names.
  Answer Find(const std::vector<Record>& records, std::string_view section,
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

  Answer LookUp(const std::vector<Record>& records, std::string_view section,
                std::string_view key, std::size_t start);

  std::size_t walked_ = 0;   // Records seen in walks.
  std::vector<Slot> slots_;  // A power of two of them, half of them free.
  // For each record, the next of its names, and one more than the previous.
  std::vector<std::size_t> next_;
  std::vector<std::size_t> previous_;
  std::size_t likely_ = 0;  // The place after that of the last answer.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_RECORD_INDEX_H_
