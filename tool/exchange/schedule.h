// When the runs of -repeat start.

#ifndef FAIRLEAD_TOOL_EXCHANGE_SCHEDULE_H_
#define FAIRLEAD_TOOL_EXCHANGE_SCHEDULE_H_

#include <algorithm>
#include <chrono>

namespace fairlead::tool {

/// Starts that are one interval apart, whatever happens between them. A start
/// that is missed is made up for at once; the later ones count from it.
class Schedule {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  Schedule(TimePoint first, std::chrono::milliseconds interval)
      : due_(first), interval_(interval) {}

  /// Returns when the next run starts; not before `now`.
  TimePoint Next(TimePoint now) {
    due_ = std::max(due_ + interval_, now);
    return due_;
  }

 private:
  TimePoint due_;
  const std::chrono::milliseconds interval_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_SCHEDULE_H_
