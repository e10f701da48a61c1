#include "fairlead/ini/record_index.h"

#include <bit>
#include <functional>
#include <string>

namespace fairlead {
namespace {

std::size_t HashOf(std::string_view section, std::string_view key) {
  constexpr std::hash<std::string_view> kHash;
  return std::rotl(kHash(section), 1) ^ kHash(key);
}

bool HasNames(const CIniFile::Record& record, std::string_view section,
              std::string_view key) {
  return record.Key == key && record.Section == section;
}

}  // namespace

std::size_t CIniFile::Index::Find(const std::vector<Record>& records,
                                  std::string_view section,
                                  std::string_view key, std::size_t start) {
  if (slots_.empty()) {
    if (walked_ <= records.size()) return Walk(records, section, key, start);
    MakeTable(records);
  }
  const std::size_t first = SlotOf(records, section, key).first;
  std::size_t place = first == 0 ? records.size() : first - 1;
  while (place < start) place = next_[place];
  return place;
}

std::size_t CIniFile::Index::Walk(const std::vector<Record>& records,
                                  std::string_view section,
                                  std::string_view key, std::size_t start) {
  std::size_t place = start;
  while (place < records.size() && !HasNames(records[place], section, key))
    ++place;
  walked_ += place - start + 1;
  return place;
}

void CIniFile::Index::MakeTable(const std::vector<Record>& records) {
  next_.resize(records.size());
  slots_.resize(std::bit_ceil(2 * records.size() + 1));
  // From the end, so that the first record of some names comes to stand first.
  for (std::size_t place = records.size(); place-- > 0;) {
    const Record& record = records[place];
    Slot& slot = SlotOf(records, record.Section, record.Key);
    next_[place] = slot.first == 0 ? records.size() : slot.first - 1;
    slot = {HashOf(record.Section, record.Key), place + 1};
  }
}

// The slot that holds these names, or the free one that may.
CIniFile::Index::Slot& CIniFile::Index::SlotOf(
    const std::vector<Record>& records, std::string_view section,
    std::string_view key) {
  const std::size_t hash = HashOf(section, key);
  std::size_t at = hash & (slots_.size() - 1);
  while (slots_[at].first != 0) {
    if (slots_[at].hash == hash &&
        HasNames(records[slots_[at].first - 1], section, key))
      break;
    at = (at + 1) & (slots_.size() - 1);
  }
  return slots_[at];
}

}  // namespace fairlead
