// Lines that repeat: held back, and counted.

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
/// A line and those equal to it, each within the interval of the one before,
/// are a wave. The first passes; the others are held back, and told as a count
/// when the wave is over. What is remembered of a wave goes with its end.
class Repeats {
 public:
  /// Is told of the end of a wave of which lines were held back.
  using Tell = std::function<void(std::string_view line, std::int64_t held)>;

  /// @param seconds the interval, more than 0
  Repeats(double seconds, Tell tell);

  /// Whether the line is the first of its wave. Where it comes just after the
  /// end of one, that end is told first.
  bool Passes(std::string_view line);

  /// Tells of every wave that is over.
  void TellEnded();

  /// Tells of every wave, for no more lines come.
  void TellAll();

  /// For how long TellEnded() has nothing to do, in milliseconds for poll();
  /// -1 where there is no wave.
  int Wait() const;

 private:
  // A tracker never forgets a key. So that waves can be forgotten, each has a
  // tracker of its own, with one key.
  struct Wave {
    explicit Wave(std::string_view text) : line(text) {}

    const std::string line;
    COnlyOnce tracker{OnceWaveEnd};
    std::int64_t held = 0;
    std::chrono::steady_clock::time_point end;  // When to ask the tracker.
  };
  using Waves = std::list<Wave>;

  void Begin(std::string_view line);
  void Refresh(Waves::iterator wave);
  bool IsOver(Wave& wave) const;
  Waves::iterator Finish(Waves::iterator wave);

  const double seconds_;
  const Tell tell_;
  Waves waves_;  // The wave whose last line is the oldest stands first.
  std::unordered_map<std::string_view, Waves::iterator> by_line_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LOG_REPEATS_H_
