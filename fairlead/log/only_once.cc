// A tracker that decides whether to report a recurring event now.

#include "fairlead/log/only_once.h"

#include <utility>

#include "fairlead/base/key_hash.h"
#include "fairlead/base/numbers.h"

namespace fairlead {
namespace {

enum State : std::int32_t { kArmed = 0, kReported = 1, kIgnored = 2 };

constexpr std::size_t kInitialSlots = 16;

// Not inlined, so that the result is returned in two registers: a 16-byte load
// right after the clock's two 8-byte stores would stall.
__attribute__((noinline)) timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

// Returns the hash of a key; never 0, which marks a free slot.
std::size_t Hash(std::string_view key) {
  constexpr std::uint64_t kTopBit = std::uint64_t{1} << 63U;
  return internal::HashOfKey(key, internal::ProcessHashSecret()) | kTopBit;
}

bool StartWaveEnd(COnceItem& item, bool stopped) {
  if (!stopped) {
    if (item.state == kReported) item.state = kArmed;
    return false;
  }
  const bool report = item.state != kReported && item.state != kIgnored;
  item.state = kReported;
  return report;
}

bool StartWaveStart(COnceItem& item, bool stopped) {
  const bool report = !stopped && item.state == kArmed;
  item.state = stopped ? kArmed : kReported;
  return report;
}

}  // namespace

// Open addressing with linear probing: iteration order is never observable, and
// a lookup usually touches one cache line. Returns the slot of the key or the
// free slot for it.
COnlyOnce::Slot& COnlyOnce::SlotOf(std::string_view key, std::size_t hash) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  while (slots_[i].hash != 0 &&
         (slots_[i].hash != hash || slots_[i].key != key))
    i = (i + 1) & mask;
  return slots_[i];
}

COnceItem* COnlyOnce::Find(std::string_view key, std::size_t hash) {
  if (slots_.empty()) return nullptr;
  Slot& slot = SlotOf(key, hash);
  return slot.hash == 0 ? nullptr : &slot.item;
}

// Inserts a key that is not in the table.
COnceItem& COnlyOnce::Insert(std::string_view key, std::size_t hash) {
  if (4 * used_ >= 3 * slots_.size()) Grow();
  Slot& slot = SlotOf(key, hash);
  slot.key = key;
  slot.hash = hash;  // Last: if copying the key throws, the slot is free.
  ++used_;
  return slot.item;
}

COnceItem& COnlyOnce::FindOrInsert(std::string_view key, std::size_t hash) {
  COnceItem* const item = Find(key, hash);
  return item != nullptr ? *item : Insert(key, hash);
}

void COnlyOnce::Grow() {
  std::vector<Slot> old(slots_.empty() ? kInitialSlots : 2 * slots_.size());
  old.swap(slots_);
  for (Slot& slot : old)
    if (slot.hash != 0) SlotOf(slot.key, slot.hash) = std::move(slot);
}

bool COnlyOnce::Start(std::string_view key, double interval) {
  const std::size_t hash = Hash(key);
  const std::lock_guard<std::mutex> lock(mutex_);
  COnceItem* const item = Find(key, hash);
  const double since = item != nullptr ? internal::Seconds(item->stamp) : 0;
  const timespec now = Now();
  if (item == nullptr) {
    if (mode_ != OnceThrottle) return false;
    Insert(key, hash) = {now, kArmed};
    return true;
  }

  const bool longer = internal::Seconds(now) - since > interval;
  switch (mode_) {
    case OnceThrottle:
      if (longer) item->stamp = now;
      return longer;
    case OnceWaveEnd:
      return StartWaveEnd(*item, longer);
    case OnceWaveStart:
      return StartWaveStart(*item, longer);
  }
  return false;  // Not a COnlyMode value.
}

bool COnlyOnce::Start(std::string_view key, int interval) {
  return Start(key, static_cast<double>(interval));
}

void COnlyOnce::Update(std::string_view key) {
  const std::size_t hash = Hash(key);
  const std::lock_guard<std::mutex> lock(mutex_);
  const timespec now = Now();
  FindOrInsert(key, hash).stamp = now;
}

void COnlyOnce::IgnoreWave(std::string_view key) {
  if (mode_ != OnceWaveEnd) return;
  const std::size_t hash = Hash(key);
  const std::lock_guard<std::mutex> lock(mutex_);
  const timespec now = Now();
  FindOrInsert(key, hash) = {now, kIgnored};
}

}  // namespace fairlead
