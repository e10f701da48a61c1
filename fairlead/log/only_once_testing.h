// A clock for the tests of the tracker: this header defines clock_gettime, so
// each test program may include it once. Not installed.

#ifndef FAIRLEAD_LOG_ONLY_ONCE_TESTING_H_
#define FAIRLEAD_LOG_ONLY_ONCE_TESTING_H_

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <ctime>

#include "fairlead/export.h"
#include "fairlead/log/only_once.h"

namespace fairlead::internal {

inline constexpr std::int64_t kBillion = 1000000000;
inline constexpr std::int64_t kToday = 1700000000 * kBillion;

inline constexpr auto kUnnamedMode = static_cast<COnlyMode>(7);
inline constexpr auto kNegativeMode = static_cast<COnlyMode>(-1);

// Sets CLOCK_REALTIME of this program for a scope.
class Clock {
 public:
  explicit Clock(double seconds = 0) { Set(seconds); }
  ~Clock() { nanoseconds = kRealTime; }
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  static void Set(double seconds) {
    SetNanoseconds(std::llround(seconds * 1e9));
  }
  static void SetNanoseconds(std::int64_t since_epoch) {
    nanoseconds = since_epoch;
  }

  static constexpr std::int64_t kRealTime = -1;
  static inline std::atomic<std::int64_t> nanoseconds = kRealTime;
  static inline std::atomic<int> readings = 0;
};

}  // namespace fairlead::internal

extern "C" FAIRLEAD_EXPORT int clock_gettime(clockid_t clock,
                                             timespec* ts) noexcept {
  using fairlead::internal::Clock;
  using fairlead::internal::kBillion;
  const std::int64_t now = Clock::nanoseconds;
  if (clock != CLOCK_REALTIME || now == Clock::kRealTime)
    return static_cast<int>(syscall(SYS_clock_gettime, clock, ts));
  ++Clock::readings;
  *ts = {now / kBillion, now % kBillion};
  return 0;
}

#endif  // FAIRLEAD_LOG_ONLY_ONCE_TESTING_H_
