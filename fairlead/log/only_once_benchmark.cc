// One decision of a throttle, on a single key and on 10,000 keys in random
// order, beside a handwritten one. The keys are texts and numbers that differ
// in their last bytes only. A clock and a lock alone are the lower limit, since
// every decision needs both.

#include <benchmark/benchmark.h>

#include <array>
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

#ifdef FAIRLEAD_PEER_ABSL_FLAT_HASH_MAP
#include <absl/container/flat_hash_map.h>
#endif

namespace {

constexpr double kInterval = 1e9;  // Within it, every result is false.

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

template <typename Map>
class Handwritten {
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
  Map stamps_;
};

using UnorderedMap = Handwritten<std::unordered_map<std::string, timespec>>;
#ifdef FAIRLEAD_PEER_ABSL_FLAT_HASH_MAP
using AbslMap = Handwritten<absl::flat_hash_map<std::string, timespec>>;
#endif

// Decides nothing.
class ClockAndMutex {
 public:
  bool Start(const std::string& /*key*/, double interval) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Seconds(Now()) > 1e3 * interval;
  }

 private:
  std::mutex mutex_;
};

using KeyOf = std::string(unsigned number);

// As in messages.
std::string Words(unsigned number) { return "event " + std::to_string(number); }

// Eight bytes, the most significant first.
std::string Bytes(unsigned number) {
  std::string key(8, '\0');
  for (std::size_t i = key.size(); i > 0; --i, number >>= 8U)
    key[i - 1] = static_cast<char>(number);
  return key;
}

std::string Digits(unsigned number) {
  std::array<char, 17> key{};
  std::snprintf(key.data(), key.size(), "%016x", number);
  return key.data();
}

// A long random sequence of that many keys.
template <KeyOf key_of>
const std::vector<std::string>& Walk(std::size_t keys) {
  static std::unordered_map<std::size_t, std::vector<std::string>> walks;
  std::vector<std::string>& walk = walks[keys];
  std::mt19937 random(20261121);
  while (walk.size() < 4 * 10000)
    walk.push_back(key_of(static_cast<unsigned>(random() % keys)));
  return walk;
}

// Whether the first call for each key returns true and the others false.
template <typename Competitor>
bool Throttles(const std::vector<std::string>& walk) {
  Competitor competitor;
  std::unordered_map<std::string, int> seen;
  for (const std::string& key : walk)
    if (competitor.Start(key, kInterval) != (seen[key]++ == 0)) return false;
  return true;
}

template <typename Competitor, KeyOf key_of>
void Decide(benchmark::State& state) {
  const auto& walk = Walk<key_of>(static_cast<std::size_t>(state.range(0)));
  Competitor competitor;
  for (const std::string& key : walk) competitor.Start(key, kInterval);
  auto key = walk.begin();
  for (auto _ : state) {
    benchmark::DoNotOptimize(competitor.Start(*key, kInterval));
    if (++key == walk.end()) key = walk.begin();
  }
}

// Sixteen keys that four threads share.
template <typename Competitor>
void DecideTogether(benchmark::State& state) {
  static Competitor competitor;
  const auto& walk = Walk<Words>(16);
  auto key = walk.begin() + 1000 * state.thread_index();
  for (auto _ : state) {
    benchmark::DoNotOptimize(competitor.Start(*key, kInterval));
    if (++key == walk.end()) key = walk.begin();
  }
}

template <typename Competitor, KeyOf key_of>
void Enter(const std::string& name, bool answers) {
  if (answers && !Throttles<Competitor>(Walk<key_of>(10000))) {
    std::fprintf(stderr, "%s does not throttle\n", name.c_str());
    std::abort();
  }
  benchmark::RegisterBenchmark(name.c_str(), Decide<Competitor, key_of>)
      ->Arg(1)
      ->Arg(10000);
}

template <typename Competitor>
bool EnterTogether(const char* name) {
  Walk<Words>(16);  // Made before the threads start.
  benchmark::RegisterBenchmark(name, DecideTogether<Competitor>)
      ->Threads(4)
      ->UseRealTime();
  return true;
}

template <KeyOf key_of>
bool EnterAll(const std::string& group) {
  Enter<Fairlead, key_of>(group + "/fairlead", true);
  Enter<UnorderedMap, key_of>(group + "/unordered_map", true);
#ifdef FAIRLEAD_PEER_ABSL_FLAT_HASH_MAP
  Enter<AbslMap, key_of>(group + "/absl", true);
#endif
  Enter<ClockAndMutex, key_of>(group + "/clock_and_mutex", false);
  return true;
}

[[maybe_unused]] const bool kEntered[] = {
    EnterAll<Words>("Throttle"),
    EnterAll<Bytes>("ThrottleBytes"),
    EnterAll<Digits>("ThrottleDigits"),
    EnterTogether<Fairlead>("ThrottleTogether/fairlead"),
    EnterTogether<UnorderedMap>("ThrottleTogether/unordered_map"),
#ifdef FAIRLEAD_PEER_ABSL_FLAT_HASH_MAP
    EnterTogether<AbslMap>("ThrottleTogether/absl"),
#endif
    EnterTogether<ClockAndMutex>("ThrottleTogether/clock_and_mutex"),
};

}  // namespace
