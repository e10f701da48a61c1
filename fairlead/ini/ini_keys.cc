// An index of the keys of a document: a hash table with linear probing.

#include "fairlead/ini/ini_keys.h"

#include <algorithm>

#include "fairlead/ini/line_table.h"
#include "fairlead/ini/line_walk.h"

namespace fairlead {
namespace {

using internal::LineKind;
using internal::LineTable;
using internal::LineWalk;

// Calls `use` for the walk at each key to index.
template <typename Use>
void ForEachKey(const LineTable& lines, IniKeys::Which which, Use use) {
  const bool all = lines.reading() == IniReading::kRecords ||
                   which == IniKeys::Which::kDisabledToo;
  for (LineWalk walk(lines); walk.Next();)
    if (walk.Kind() == LineKind::kKey && (all || !walk.IsDisabled()) &&
        walk.Section() != internal::kNowhere)
      use(walk);
}

// Returns a place in a table, which all values of the hashes share evenly.
std::size_t PlaceIn(std::size_t size, std::uint32_t section,
                    std::uint32_t key) {
  const std::uint64_t both = (std::uint64_t{section} << 32) | key;
  const std::uint64_t mixed = (both ^ (both >> 29)) * 0x9E3779B97F4A7C15;
  return static_cast<std::size_t>(((mixed >> 32) * size) >> 32);
}

// Returns whether a key counts instead of one above. In the live reading, the
// last active one counts; without any, the last one.
bool CountsInsteadOf(const LineTable& lines, std::size_t key,
                     std::size_t above) {
  return lines.reading() == IniReading::kLive &&
         (!lines.IsDisabled(key) || lines.IsDisabled(above));
}

}  // namespace

IniKeys::IniKeys(const IniDocument& document, Which which)
    : lines_(document.lines_.get()), is_first_(lines_->size()) {
  std::size_t count = 0;
  ForEachKey(*lines_, which, [&count](const LineWalk&) { ++count; });
  slots_.assign(count + count / 3 + 1, kFree);
  ForEachKey(*lines_, which, [this](const LineWalk& walk) {
    if (headers_.empty() || headers_.back().second != walk.Section())
      headers_.emplace_back(walk.line, walk.Section());
    Add(walk.line);
  });
}

void IniKeys::Add(std::size_t line) {
  const IniEntry entry = internal::EntryAt(*lines_, line, HeaderOf(line));
  std::uint32_t& slot = slots_[SlotOf(entry.section, entry.key)];
  is_first_[line] = slot == kFree;
  if (is_first_[line]) ++size_;
  if (is_first_[line] || CountsInsteadOf(*lines_, line, slot))
    slot = static_cast<std::uint32_t>(line);
}

std::size_t IniKeys::HeaderOf(std::size_t line) const {
  const auto next = std::ranges::upper_bound(
      headers_, line, {}, &decltype(headers_)::value_type::first);
  return std::prev(next)->second;
}

// Returns the slot that has the key, or where it would go.
std::size_t IniKeys::SlotOf(std::string_view section,
                            std::string_view key) const {
  const internal::Wanted wanted_section(section);
  const internal::Wanted wanted_key(key);
  std::size_t slot =
      PlaceIn(slots_.size(), wanted_section.hash, wanted_key.hash);
  const auto is_here = [&](std::uint32_t line) {
    return line == kFree || (wanted_key.IsAt(*lines_, line) &&
                             wanted_section.IsSection(*lines_, HeaderOf(line)));
  };
  while (!is_here(slots_[slot])) slot = (slot + 1) % slots_.size();
  return slot;
}

std::optional<IniEntry> IniKeys::Find(std::string_view section,
                                      std::string_view key) const {
  const std::uint32_t line =
      slots_[SlotOf(section, internal::TrimmedLine(key))];
  if (line == kFree) return std::nullopt;
  return internal::EntryAt(*lines_, line, HeaderOf(line));
}

bool IniKeys::IsFirst(const IniEntry& entry) const {
  return entry.line != 0 && entry.line <= is_first_.size() &&
         is_first_[entry.line - 1];
}

}  // namespace fairlead
