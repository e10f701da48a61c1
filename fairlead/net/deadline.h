// Points in time that a wait must not pass. Not installed.

#ifndef FAIRLEAD_NET_DEADLINE_H_
#define FAIRLEAD_NET_DEADLINE_H_

#include <algorithm>
#include <chrono>
#include <climits>
#include <optional>

namespace fairlead::internal {

// None: never.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

inline Deadline DeadlineAfter(std::chrono::steady_clock::time_point start,
                              std::optional<std::chrono::milliseconds> limit) {
  using std::chrono::steady_clock;
  if (!limit || *limit > steady_clock::time_point::max() - start)
    return std::nullopt;
  return start + *limit;
}

inline Deadline Earlier(Deadline a, Deadline b) {
  if (!a || !b) return a ? a : b;
  return std::min(*a, *b);
}

inline bool HasPassed(Deadline deadline) {
  return deadline && std::chrono::steady_clock::now() >= *deadline;
}

// Returns the wait for poll(2): in milliseconds, rounded up; -1 for ever.
inline int PollTimeout(Deadline deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(
      *deadline - std::chrono::steady_clock::now());
  return static_cast<int>(
      std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX));
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_DEADLINE_H_
