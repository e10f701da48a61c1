// An index of the keys of a document: a hash table with linear probing.

#include "fairlead/ini/ini_keys.h"

#include <cmath>

#include "fairlead/base/key_hash.h"
#include "fairlead/ini/line_table.h"
#include "fairlead/ini/line_walk.h"

namespace fairlead {
namespace {

using internal::kNoLine;
using internal::LineKind;
using internal::LineTable;
using internal::LineWalk;

constexpr std::size_t kStep = 32;

// What LineWalk knows of headers: lines, or numbers at the end of their type.
std::uint32_t Packed(std::size_t header) {
  return static_cast<std::uint32_t>(header);
}

std::size_t Unpacked(std::uint32_t header) {
  return header < Packed(internal::kNowhere)
             ? header
             : header | ~std::size_t{UINT32_MAX};
}

std::string_view SectionAt(const LineTable& lines, std::size_t header) {
  return header < lines.size() ? lines.Read(header).name : "";
}

std::uint64_t HashOf(std::string_view name) {
  return internal::HashOfKey(name, internal::ProcessHashSecret());
}

std::uint64_t HashOf(std::uint64_t section, std::uint64_t key) {
  return internal::Fold(section ^ internal::ProcessHashSecret().start, key);
}

// Returns a place in a table, which all values of the hash share evenly.
std::size_t PlaceIn(std::size_t size, std::uint64_t hash) {
  return static_cast<std::size_t>(((hash >> 32U) * size) >> 32U);
}

// Returns whether a key counts instead of one above. In the live reading, the
// last active one counts; without any, the last one.
bool CountsInsteadOf(const LineTable& lines, std::size_t key,
                     std::size_t above) {
  return lines.reading() == IniReading::kLive &&
         (!lines.IsDisabled(key) || lines.IsDisabled(above));
}

// Estimates how many different hashes it gets, from how many bits they set.
class HashCounter {
 public:
  explicit HashCounter(std::size_t most) : bits_(most + kStep) {}

  void Add(std::uint64_t hash) {
    auto bit = bits_[PlaceIn(bits_.size(), hash)];
    if (!bit) --unset_;
    bit = true;
  }

  std::size_t Count() const {
    const auto size = static_cast<double>(bits_.size());
    const auto unset = static_cast<double>(unset_);
    return static_cast<std::size_t>(size * std::log(size / unset)) + 1;
  }

 private:
  std::vector<bool> bits_;
  std::size_t unset_ = bits_.size() + 1;
};

// Returns about how many names there are, or 0 if no line is a key.
template <typename ForEachHash>
std::size_t CountNames(const LineTable& lines, const ForEachHash& for_each) {
  std::size_t keys = 0;
  for (std::size_t line = 0; line < lines.size(); ++line)
    if (lines.KindOf(line) == LineKind::kKey) ++keys;
  if (keys == 0) return 0;
  HashCounter counter(keys);
  for_each([&counter](std::uint64_t hash) { counter.Add(hash); });
  return counter.Count();
}

}  // namespace

IniKeys::IniKeys(const IniDocument& document, Which which)
    : lines_(document.lines_.get()) {
  std::size_t names = CountNames(*lines_, [&](const auto& add) {
    ForEachKey(which, [&](const Key& key) {
      add(key.hash);
      return true;
    });
  });
  slots_.assign(1, kFree);
  if (names == 0) return;
  NoteWalks();
  while (!Fill(which, names)) names *= 2;
}

// Calls `use` for each key to index, until it returns false.
template <typename Use>
void IniKeys::ForEachKey(Which which, Use use) const {
  const bool all =
      lines_->reading() == IniReading::kRecords || which == Which::kDisabledToo;
  std::size_t header = kNoLine;
  std::uint64_t section = 0;
  for (LineWalk walk(*lines_); walk.Next();) {
    if (walk.Kind() != LineKind::kKey || (!all && walk.IsDisabled()) ||
        walk.Section() == internal::kNowhere)
      continue;
    if (walk.Section() != header) {
      header = walk.Section();
      section = HashOf(SectionAt(*lines_, header));
    }
    const std::uint64_t key = HashOf(lines_->Read(walk.line).name);
    if (!use(Key{walk.line, header, HashOf(section, key)})) return;
  }
}

void IniKeys::NoteWalks() {
  walks_.reserve(lines_->size() / kStep + 1);
  LineWalk walk(*lines_);
  do {
    if ((walk.line + 1) % kStep == 0)
      walks_.push_back({Packed(walk.header), Packed(walk.disabled_header)});
  } while (walk.Next());
}

// Indexes the keys in a table for so many names. Returns false if there are
// many more.
bool IniKeys::Fill(Which which, std::size_t names) {
  slots_ = {};
  slots_.assign(names + names / 3 + 1, kFree);
  is_first_.assign(lines_->size(), false);
  size_ = 0;
  const std::size_t most = names + names / 6;
  ForEachKey(which, [&](const Key& key) {
    Add(key);
    return size_ <= most;
  });
  return size_ <= most;
}

void IniKeys::Add(const Key& key) {
  std::uint32_t& slot = slots_[SlotOf(SectionAt(*lines_, key.header),
                                      lines_->Read(key.line).name, key.hash)];
  is_first_[key.line] = slot == kFree;
  if (slot == kFree) ++size_;
  if (slot == kFree || CountsInsteadOf(*lines_, key.line, slot))
    slot = static_cast<std::uint32_t>(key.line);
}

std::size_t IniKeys::HeaderOf(std::size_t line) const {
  const Walk& begin = walks_[line / kStep];
  LineWalk walk(*lines_);
  walk.line = line / kStep * kStep - 1;
  walk.header = Unpacked(begin.header);
  walk.disabled_header = Unpacked(begin.disabled_header);
  while (walk.line != line) walk.Next();
  return walk.Section();
}

// Returns the slot that has the key, or where it would go.
std::size_t IniKeys::SlotOf(std::string_view section, std::string_view key,
                            std::uint64_t hash) const {
  const internal::Wanted wanted(key);
  std::size_t slot = PlaceIn(slots_.size(), hash);
  const auto is_here = [&](std::uint32_t line) {
    return line == kFree || (wanted.IsAt(*lines_, line) &&
                             SectionAt(*lines_, HeaderOf(line)) == section);
  };
  while (!is_here(slots_[slot])) slot = (slot + 1) % slots_.size();
  return slot;
}

std::optional<IniEntry> IniKeys::Find(std::string_view section,
                                      std::string_view key) const {
  key = internal::TrimmedLine(key);
  const std::uint32_t line =
      slots_[SlotOf(section, key, HashOf(HashOf(section), HashOf(key)))];
  if (line == kFree) return std::nullopt;
  return internal::EntryAt(*lines_, line, HeaderOf(line));
}

bool IniKeys::IsFirst(const IniEntry& entry) const {
  return entry.line != 0 && entry.line <= is_first_.size() &&
         is_first_[entry.line - 1];
}

}  // namespace fairlead
