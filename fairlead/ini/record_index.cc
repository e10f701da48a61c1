// Lookups in a list of records, by scanning it or by a hash index.

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

// Compares the last byte first: similar keys mostly differ there.
bool HasNames(const CIniFile::Record& record, std::string_view section,
              std::string_view key) {
  return record.Key.size() == key.size() &&
         (key.empty() || record.Key.back() == key.back()) &&
         record.Key == key && record.Section == section;
}

}  // namespace

CIniFile::Index::Answer CIniFile::Index::Find(
    const std::vector<Record>& records, std::string_view section,
    std::string_view key, std::size_t start) {
  const std::size_t none = records.size();
  if (slots_.empty() && scanned_ <= none) {
    const std::size_t place = Scan(records, section, key, start);
    if (place != none || start == 0) return {place, false};
    return {Scan(records, section, key, 0), true};
  }
  if (slots_.empty()) BuildIndex(records);
  const Answer answer = LookUp(records, section, key, start);
  if (answer.place != none) likely_ = answer.place + 1;
  return answer;
}

// Returns the place of the record that lookups in file order mostly want: the
// one after the last record found or, if that is a header, the one below it.
std::size_t CIniFile::Index::LikelyPlace(const std::vector<Record>& records,
                                         std::string_view key) const {
  const bool at_header =
      likely_ < records.size() && records[likely_].Key.empty() && !key.empty();
  return at_header ? likely_ + 1 : likely_;
}

CIniFile::Index::Answer CIniFile::Index::LookUp(
    const std::vector<Record>& records, std::string_view section,
    std::string_view key, std::size_t start) {
  const std::size_t none = records.size();
  const std::size_t likely = LikelyPlace(records, key);
  if (likely >= start && likely < none &&
      HasNames(records[likely], section, key) && previous_[likely] <= start)
    return {likely, false};

  const std::size_t slot =
      SlotOf(records, section, key, HashOf(section, key)).first;
  const std::size_t first = slot == 0 ? none : slot - 1;
  std::size_t place = first;
  while (place < start) place = next_[place];
  if (place != none || start == 0) return {place, false};
  return {first, true};
}

std::size_t CIniFile::Index::Scan(const std::vector<Record>& records,
                                  std::string_view section,
                                  std::string_view key, std::size_t start) {
  std::size_t place = start;
  while (place < records.size() && !HasNames(records[place], section, key))
    ++place;
  scanned_ += place - start + 1;
  return place;
}

void CIniFile::Index::BuildIndex(const std::vector<Record>& records) {
  next_.resize(records.size());
  previous_.resize(records.size());
  slots_.resize(std::bit_ceil(2 * records.size() + 1));
  // Backwards, so that each slot ends up with the first record of its names.
  for (std::size_t place = records.size(); place-- > 0;) {
    const Record& record = records[place];
    const std::size_t hash = HashOf(record.Section, record.Key);
    Slot& slot = SlotOf(records, record.Section, record.Key, hash);
    next_[place] = slot.first == 0 ? records.size() : slot.first - 1;
    if (slot.first != 0) previous_[slot.first - 1] = place + 1;
    slot = {hash, place + 1};
  }
}

// Returns the slot of these names, or the free slot for them.
CIniFile::Index::Slot& CIniFile::Index::SlotOf(
    const std::vector<Record>& records, std::string_view section,
    std::string_view key, std::size_t hash) {
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
