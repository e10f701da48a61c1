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

// A longer wait is waited in parts.
constexpr double kLongestWait = 1e6;  // In seconds.

// The tracker's clock is not the one by which we wait. It may be a little late,
// and is far behind when somebody has set it back: then it is asked again.
constexpr milliseconds kMargin{1};
constexpr milliseconds kPatience{10};

nanoseconds Interval(double seconds) {
  const std::chrono::duration<double> exact(std::min(seconds, kLongestWait));
  return duration_cast<nanoseconds>(exact) + kMargin;
}

}  // namespace

Repeats::Repeats(double seconds, Tell tell)
    : seconds_(seconds), tell_(std::move(tell)) {}

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
  ++wave->held;
  Refresh(wave);
  return false;
}

void Repeats::TellEnded() {
  const auto now = steady_clock::now();
  for (auto wave = waves_.begin(); wave != waves_.end() && wave->end <= now;) {
    if (IsOver(*wave)) {
      wave = Finish(wave);
    } else {
      wave->end = now + kPatience;
      ++wave;
    }
  }
}

void Repeats::TellAll() {
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

// All waves last equally long from their last line: the newest ends last.
void Repeats::Refresh(Waves::iterator wave) {
  wave->tracker.Update(kKey);
  wave->end = steady_clock::now() + Interval(seconds_);
  waves_.splice(waves_.end(), waves_, wave);
}

bool Repeats::IsOver(Wave& wave) const {
  return wave.tracker.Start(kKey, seconds_);
}

Repeats::Waves::iterator Repeats::Finish(Waves::iterator wave) {
  if (wave->held > 0) tell_(wave->line, wave->held);
  by_line_.erase(wave->line);
  return waves_.erase(wave);
}

}  // namespace fairlead::tool
