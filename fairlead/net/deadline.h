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

// A negative limit counts as 0. One too long for the clock is none: it is
// compared in milliseconds, as its nanoseconds may not fit.
inline Deadline DeadlineAfter(std::chrono::steady_clock::time_point start,
                              std::optional<std::chrono::milliseconds> limit) {
  using std::chrono::milliseconds;
  if (!limit) return std::nullopt;
  const auto longest = std::chrono::floor<milliseconds>(
      std::chrono::steady_clock::time_point::max() - start);
  if (*limit > longest) return std::nullopt;
  return start + std::max(*limit, milliseconds(0));
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
