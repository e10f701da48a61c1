// Suppresses and counts repeated lines.

#include "tool/log/repeats.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace fairlead::tool {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr const char* kKey = "line";

// Longer waits are split.
constexpr double kMaxWaitSeconds = 1e6;

// The tracker uses another clock than the wait. It may lag a little, and by
// much if it was set back: then it is polled.
constexpr milliseconds kMargin{1};
constexpr milliseconds kPollInterval{10};

nanoseconds Interval(double seconds) {
  const std::chrono::duration<double> exact(std::min(seconds, kMaxWaitSeconds));
  return duration_cast<nanoseconds>(exact) + kMargin;
}

}  // namespace

Repeats::Repeats(double seconds, Report report)
    : seconds_(seconds), report_(std::move(report)) {}

bool Repeats::Passes(std::string_view line) {
  const auto known = by_line_.find(line);
  if (known == by_line_.end()) {
    Begin(line);
    return true;
  }
  const Waves::iterator wave = known->second;
  if (IsOver(*wave)) {
    Finish(wave);
    Begin(line);
    return true;
  }
  ++wave->suppressed;
  Refresh(wave);
  return false;
}

void Repeats::ReportEnded() {
  const auto now = steady_clock::now();
  for (auto wave = waves_.begin(); wave != waves_.end() && wave->end <= now;) {
    if (IsOver(*wave)) {
      wave = Finish(wave);
    } else {
      wave->end = now + kPollInterval;
      ++wave;
    }
  }
}

void Repeats::ReportAll() {
  for (auto wave = waves_.begin(); wave != waves_.end();) wave = Finish(wave);
}

int Repeats::Wait() const {
  if (waves_.empty()) return -1;
  const auto rest = waves_.front().end - steady_clock::now();
  const auto wait = std::chrono::ceil<milliseconds>(rest).count();
  return static_cast<int>(std::clamp<std::int64_t>(wait, 0, INT_MAX));
}

void Repeats::Begin(std::string_view line) {
  const auto wave = waves_.emplace(waves_.end(), line);
  by_line_.emplace(wave->line, wave);
  Refresh(wave);
}

// All waves last equally long after their last line, so this one ends last.
void Repeats::Refresh(Waves::iterator wave) {
  wave->tracker.Update(kKey);
  wave->end = steady_clock::now() + Interval(seconds_);
  waves_.splice(waves_.end(), waves_, wave);
}

bool Repeats::IsOver(Wave& wave) const {
  return wave.tracker.Start(kKey, seconds_);
}

Repeats::Waves::iterator Repeats::Finish(Waves::iterator wave) {
  if (wave->suppressed > 0) report_(wave->line, wave->suppressed);
  by_line_.erase(wave->line);
  return waves_.erase(wave);
}

}  // namespace fairlead::tool
