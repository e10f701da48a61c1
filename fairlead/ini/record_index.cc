// Lookups in a list of records, by scanning it or by a hash index.

#include "fairlead/ini/record_index.h"

#include <bit>
#include <limits>
#include <string>

namespace fairlead {
namespace {

// Compares the last byte first: similar keys mostly differ there.
inline bool HasNames(const CIniFile::Record& record, std::string_view section,
                     std::string_view key) {
  return record.Key.size() == key.size() &&
         (key.empty() || record.Key.back() == key.back()) &&
         record.Key == key && record.Section == section;
}

std::uint64_t HashOf(const internal::HashSecret& secret,
                     std::string_view section, std::string_view key) {
  return std::rotl(internal::HashOfKey(section, secret), 1) ^
         internal::HashOfKey(key, secret);
}

}  // namespace

// Returns the place of the slot of these names, or of the free slot for them.
inline std::size_t CIniFile::Index::SlotOf(const std::vector<Record>& records,
                                           std::string_view section,
                                           std::string_view key,
                                           std::uint64_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = hash & mask;
  while (slots_[at].first != 0) {
    if (slots_[at].hash == UpperBits(hash) &&
        HasNames(records[slots_[at].first - 1], section, key))
      break;
    at = (at + 1) & mask;
  }
  return at;
}

CIniFile::Index::Answer CIniFile::Index::Find(
    const std::vector<Record>& records, std::string_view section,
    std::string_view key, std::size_t start) {
  if (slots_.empty() && !BuildIndex(records)) {
    const std::size_t none = records.size();
    const std::size_t place = Scan(records, section, key, start);
    if (place != none || start == 0) return {place, false};
    return {Scan(records, section, key, 0), true};
  }
  if (in_order_) {
    const std::size_t likely = LikelyPlace(records, key);
    if (likely >= start && likely < records.size() &&
        HasNames(records[likely], section, key) && previous_[likely] <= start) {
      likely_ = likely + 1;
      return {likely, false};
    }
  }
  return LookUp(records, section, key, start);
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
  const Slot& slot =
      slots_[SlotOf(records, section, key, HashOf(secret_, section, key))];
  if (slot.first == 0) return {none, start != 0};
  const std::size_t first = slot.first - 1;
  std::size_t place = first;
  if (slot.has_others != 0)
    while (place < start) place = next_[place];
  const bool again = place < start || place == none;
  if (again) place = first;
  in_order_ = place - likely_ <= 1;  // At it, or below a header there.
  likely_ = place + 1;
  return {place, again};
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

// Builds the index if scans have cost as much; returns whether it is built.
bool CIniFile::Index::BuildIndex(const std::vector<Record>& records) {
  if (scanned_ <= records.size() ||
      records.size() >= std::numeric_limits<Place>::max())
    return false;
  secret_ = internal::ProcessHashSecret();
  next_.resize(records.size());
  previous_.resize(records.size());
  slots_.resize(std::bit_ceil(2 * records.size() + 1));
  // Backwards, so that each slot ends up with the first record of its names.
  for (std::size_t at = records.size(); at-- > 0;) Add(records, at);
  return true;
}

// Adds a record to the index, before all others that are in it.
void CIniFile::Index::Add(const std::vector<Record>& records,
                          std::size_t place) {
  const Record& record = records[place];
  const std::uint64_t hash = HashOf(secret_, record.Section, record.Key);
  Slot& slot = slots_[SlotOf(records, record.Section, record.Key, hash)];
  const bool has_others = slot.first != 0;
  next_[place] =
      static_cast<Place>(has_others ? slot.first - 1 : records.size());
  if (has_others) previous_[slot.first - 1] = static_cast<Place>(place + 1);
  slot = {.hash = UpperBits(hash) & 0x7fffffffU,
          .has_others = has_others ? 1U : 0U,
          .first = static_cast<Place>(place + 1)};
}

}  // namespace fairlead
