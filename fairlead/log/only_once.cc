// The once-only tracker: whether to act on a recurring event now.
#include "fairlead/log/only_once.h"

#include <utility>

#include "fairlead/log/key_hash.h"

namespace fairlead {
namespace {

enum State : std::int32_t { kArmed = 0, kReported = 1, kIgnored = 2 };

constexpr std::size_t kFirstSlots = 16;

// Not inlined, so that the two numbers come back in two registers: read as one
// of 16 bytes just after the clock wrote two of 8, they cost a stall.
__attribute__((noinline)) timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

double Seconds(const timespec& instant) {
  return static_cast<double>(instant.tv_sec) +
         static_cast<double>(instant.tv_nsec) / 1e9;
}

// Never 0, which marks a free slot.
std::size_t Hash(std::string_view key) {
  static const internal::HashSecret secret = internal::DrawHashSecret();
  constexpr std::uint64_t kTopBit = std::uint64_t{1} << 63U;
  return internal::HashOfKey(key, secret) | kTopBit;
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

// The table. Nothing outside can see an order of the keys, so they stand in
// none: a hash table with the items inside, searched from the key's own place
// on, answers in one access to memory where a tree or a list takes several.

COnlyOnce::Slot& COnlyOnce::Place(std::string_view key, std::size_t hash) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  while (slots_[i].hash != 0 &&
         (slots_[i].hash != hash || slots_[i].key != key))
    i = (i + 1) & mask;
  return slots_[i];
}

COnceItem* COnlyOnce::Find(std::string_view key, std::size_t hash) {
  if (slots_.empty()) return nullptr;
  Slot& slot = Place(key, hash);
  return slot.hash == 0 ? nullptr : &slot.item;
}

// The key must not be there.
COnceItem& COnlyOnce::Insert(std::string_view key, std::size_t hash) {
  if (4 * used_ >= 3 * slots_.size()) Grow();
  Slot& slot = Place(key, hash);
  slot.key = key;
  slot.hash = hash;  // Last: a failure to copy the key leaves the slot free.
  ++used_;
  return slot.item;
}

COnceItem& COnlyOnce::FindOrInsert(std::string_view key, std::size_t hash) {
  COnceItem* const item = Find(key, hash);
  return item != nullptr ? *item : Insert(key, hash);
}

void COnlyOnce::Grow() {
  std::vector<Slot> old(slots_.empty() ? kFirstSlots : 2 * slots_.size());
  old.swap(slots_);
  for (Slot& slot : old)
    if (slot.hash != 0) Place(slot.key, slot.hash) = std::move(slot);
}

bool COnlyOnce::Start(std::string_view key, double interval) {
  const std::size_t hash = Hash(key);
  const std::lock_guard<std::mutex> lock(mutex_);
  COnceItem* const item = Find(key, hash);
  const double since = item != nullptr ? Seconds(item->stamp) : 0;
  const timespec now = Now();
  if (item == nullptr) {
    if (mode_ != OnceThrottle) return false;
    Insert(key, hash) = {now, kArmed};
    return true;
  }

  const bool longer = Seconds(now) - since > interval;
  switch (mode_) {
    case OnceThrottle:
      if (longer) item->stamp = now;
      return longer;
    case OnceWaveEnd:
      return StartWaveEnd(*item, longer);
    case OnceWaveStart:
      return StartWaveStart(*item, longer);
  }
  return false;  // A mode that has no name.
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
