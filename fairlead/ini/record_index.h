// Lookups in a list of records, by scanning it or by a hash index. Not
// installed.

#ifndef FAIRLEAD_INI_RECORD_INDEX_H_
#define FAIRLEAD_INI_RECORD_INDEX_H_

#include <cstddef>
#include <string_view>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/ini/ini_file.h"

namespace fairlead {

// Returns what a linear scan would. The first lookups do scan; once they have
// visited as many records as the list holds, a hash index is built.
class FAIRLEAD_PRIVATE CIniFile::Index {
 public:
  struct Answer {
    std::size_t place;  // Of the record; the size of the list if none.
    bool again;         // Whether it took a second pass.
  };

  // Finds the first record with these names from `start` on; if there is none,
  // from the beginning. Every call must pass the same list, with the same
  // names.
  Answer Find(const std::vector<Record>& records, std::string_view section,
              std::string_view key, std::size_t start);

 private:
  struct Slot {
    std::size_t hash = 0;
    std::size_t first = 0;  // One more than the place of the first record.
  };

  std::size_t Scan(const std::vector<Record>& records, std::string_view section,
                   std::string_view key, std::size_t start);
  void BuildIndex(const std::vector<Record>& records);
  Slot& SlotOf(const std::vector<Record>& records, std::string_view section,
               std::string_view key, std::size_t hash);

  std::size_t LikelyPlace(const std::vector<Record>& records,
                          std::string_view key) const;
  Answer LookUp(const std::vector<Record>& records, std::string_view section,
                std::string_view key, std::size_t start);

  std::size_t scanned_ = 0;  // Records visited by scans.
  std::vector<Slot> slots_;  // A power of two, at least half of them free.
  // For each record: the place of the next one with its names, and one more
  // than that of the previous one.
  std::vector<std::size_t> next_;
  std::vector<std::size_t> previous_;
  std::size_t likely_ = 0;  // The place after the last record found.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_RECORD_INDEX_H_
