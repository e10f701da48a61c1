// Suppression of repeated lines.

#ifndef FAIRLEAD_TOOL_LOG_REPEATS_H_
#define FAIRLEAD_TOOL_LOG_REPEATS_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

#include "fairlead/log/only_once.h"

namespace fairlead::tool {

/// Decides which lines are written.
///
/// Equal lines, each within the interval after the previous one, form a wave.
/// The first line passes; the others are suppressed and reported as a count at
/// the end of the wave. Memory is freed when a wave ends.
class Repeats {
 public:
  /// Reports the end of a wave in which lines were suppressed.
  using Report =
      std::function<void(std::string_view line, std::int64_t suppressed)>;

  /// @param seconds the interval, more than 0
  Repeats(double seconds, Report report);

  /// Returns whether the line is the first of its wave. Reports the line's
  /// previous wave first if its end has not been reported.
  bool Passes(std::string_view line);

  /// Reports every wave that has ended.
  void ReportEnded();

  /// Ends and reports every wave. Call it at the end of the input.
  void ReportAll();

  /// Returns how long ReportEnded() has nothing to do, in milliseconds for
  /// poll(); -1 if there is no wave.
  int Wait() const;

 private:
  // A tracker never frees a key, so each wave has its own tracker with one key.
  struct Wave {
    explicit Wave(std::string_view text) : line(text) {}

    const std::string line;
    COnlyOnce tracker{OnceWaveEnd};
    std::int64_t suppressed = 0;
    std::chrono::steady_clock::time_point end;  // When to ask the tracker.
  };
  using Waves = std::list<Wave>;

  void Begin(std::string_view line);
  void Refresh(Waves::iterator wave);
  bool IsOver(Wave& wave) const;
  Waves::iterator Finish(Waves::iterator wave);

  const double seconds_;
  const Report report_;
  Waves waves_;  // Ordered by the time of the last line.
  std::unordered_map<std::string_view, Waves::iterator> by_line_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LOG_REPEATS_H_
