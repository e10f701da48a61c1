// One decision of a throttle, on a key always the same and on 10,000 keys in
// random order, beside what one writes by hand. A clock and a lock alone are
// the limit: every decision needs both.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "fairlead/log/only_once.h"

namespace {

constexpr double kInterval = 1e9;  // Within it, every answer is false.

timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

double Seconds(const timespec& ts) {
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

class Fairlead {
 public:
  bool Start(const std::string& key, double interval) {
    return once_.Start(key, interval);
  }

 private:
  fairlead::COnlyOnce once_{fairlead::OnceThrottle};
};

class UnorderedMap {
 public:
  bool Start(const std::string& key, double interval) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const timespec now = Now();
    const auto [item, is_new] = stamps_.try_emplace(key, now);
    if (is_new) return true;
    if (!(Seconds(now) - Seconds(item->second) > interval)) return false;
    item->second = now;
    return true;
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::string, timespec> stamps_;
};

// Answers nothing.
class ClockAndMutex {
 public:
  bool Start(const std::string& /*key*/, double interval) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Seconds(Now()) > 1e3 * interval;
  }

 private:
  std::mutex mutex_;
};

// That many keys, as messages might have them, and a long random walk over
// them.
const std::vector<std::string>& Walk(std::size_t keys) {
  static std::unordered_map<std::size_t, std::vector<std::string>> walks;
  std::vector<std::string>& walk = walks[keys];
  std::mt19937 random(20261121);
  while (walk.size() < 4 * 10000)
    walk.push_back("event " + std::to_string(random() % keys));
  return walk;
}

// Each key of the walk is answered true once, and then false.
template <typename Competitor>
bool Throttles(const std::vector<std::string>& walk) {
  Competitor competitor;
  std::unordered_map<std::string, int> seen;
  for (const std::string& key : walk)
    if (competitor.Start(key, kInterval) != (seen[key]++ == 0)) return false;
  return true;
}

template <typename Competitor>
void Decide(benchmark::State& state) {
  const auto& walk = Walk(static_cast<std::size_t>(state.range(0)));
  Competitor competitor;
  for (const std::string& key : walk) competitor.Start(key, kInterval);
  auto key = walk.begin();
  for (auto _ : state) {
    benchmark::DoNotOptimize(competitor.Start(*key, kInterval));
    if (++key == walk.end()) key = walk.begin();
  }
}

template <typename Competitor>
bool Enter(const char* name, bool answers) {
  if (answers && !Throttles<Competitor>(Walk(10000))) {
    std::fprintf(stderr, "%s does not throttle\n", name);
    std::abort();
  }
  benchmark::RegisterBenchmark(name, Decide<Competitor>)->Arg(1)->Arg(10000);
  return true;
}

[[maybe_unused]] const bool kEntered[] = {
    Enter<Fairlead>("Throttle/fairlead", true),
    Enter<UnorderedMap>("Throttle/unordered_map", true),
    Enter<ClockAndMutex>("Throttle/clock_and_mutex", false),
};

}  // namespace
