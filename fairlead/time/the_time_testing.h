// Instants, time zones and a seed for the tests of TheTime. Not installed.

#ifndef FAIRLEAD_TIME_THE_TIME_TESTING_H_
#define FAIRLEAD_TIME_THE_TIME_TESTING_H_

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "fairlead/time/the_time.h"

namespace fairlead::internal {

// Zones as POSIX rules, which need no zone files.
inline constexpr const char* kUtc = "UTC0";
inline constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";
inline constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";
inline constexpr const char* kLordHowe = "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0";
inline constexpr const char* kKathmandu = "<+0545>-5:45";
inline constexpr const char* kZones[] = {kUtc, kBerlin, kNewYork, kLordHowe,
                                         kKathmandu};

// The seed of every random test. A failure prints it.
inline constexpr unsigned kSeed = 20261114;

inline constexpr std::time_t kEvening = 1794689874;  // 2026-11-14 20:57:54 UTC

// Sets the time zone of the process until the end of its scope.
class InZone {
 public:
  explicit InZone(const char* zone) {
    const char* const before = std::getenv("TZ");
    had_zone_ = before != nullptr;
    if (had_zone_) before_ = before;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~InZone() {
    if (had_zone_)
      setenv("TZ", before_.c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }
  InZone(const InZone&) = delete;
  InZone& operator=(const InZone&) = delete;

 private:
  bool had_zone_ = false;
  std::string before_;
};

// The text that printf makes of the arguments.
template <typename... Args>
std::string Printed(const char* format, Args... args) {
  char text[256];
  std::snprintf(text, sizeof text, format, args...);
  return text;
}

inline TheTime At(std::time_t seconds, long nanoseconds = 0) {
  TheTime time;
  time.ts.tv_sec = seconds;
  time.ts.tv_nsec = nanoseconds;
  return time;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TIME_THE_TIME_TESTING_H_
