// Lookups in a list of records, by scanning it or by a hash index. Not
// installed.

#ifndef FAIRLEAD_INI_RECORD_INDEX_H_
#define FAIRLEAD_INI_RECORD_INDEX_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fairlead/base/key_hash.h"
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
  // 32 bits are enough, and keep a slot small: a longer list, which would take
  // 500 GB of memory, is scanned.
  using Place = std::uint32_t;

  struct Slot {
    std::uint32_t hash : 31 = 0;       // The upper bits.
    std::uint32_t has_others : 1 = 0;  // Whether more records have the names.
    Place first = 0;  // One more than the place of the first record.
  };

  static std::uint32_t UpperBits(std::uint64_t hash) {
    return static_cast<std::uint32_t>(hash >> 33U);
  }

  std::size_t Scan(const std::vector<Record>& records, std::string_view section,
                   std::string_view key, std::size_t start);

  bool BuildIndex(const std::vector<Record>& records);
  void Add(const std::vector<Record>& records, std::size_t place);
  std::size_t SlotOf(const std::vector<Record>& records,
                     std::string_view section, std::string_view key,
                     std::uint64_t hash) const;

  std::size_t LikelyPlace(const std::vector<Record>& records,
                          std::string_view key) const;
  Answer LookUp(const std::vector<Record>& records, std::string_view section,
                std::string_view key, std::size_t start);

  internal::HashSecret secret_ = {};
  std::size_t scanned_ = 0;  // Records visited by scans.
  std::vector<Slot> slots_;  // A power of two, at least half of them free.
  // For each record: the place of the next one with its names, and one more
  // than that of the previous one.
  std::vector<Place> next_;
  std::vector<Place> previous_;
  std::size_t likely_ = 0;  // The place after the last record found.
  bool in_order_ = false;   // Whether that record was at a likely place.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_RECORD_INDEX_H_
