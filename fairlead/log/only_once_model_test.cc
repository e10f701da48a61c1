// Tests random calls of the tracker against a simple second implementation.

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <string>

#include "fairlead/log/only_once.h"
#include "fairlead/log/only_once_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::only_once_model_test {
namespace {

using namespace std::string_literals;

class Model {
 public:
  explicit Model(int mode) : mode_(mode) {}

  void Update(const std::string& key) {
    timespec now = Reading();
    std::int32_t state = 0;
    const auto found = items_.find(key);
    if (found != items_.end()) {
      state = found->second.state;
      now = Reading();
    }
    items_[key] = {now, state};
  }

  void IgnoreWave(const std::string& key) {
    if (mode_ == 1) items_[key] = {Reading(), 2};
  }

  bool Start(const std::string& key, double interval) {
    timespec now = Reading();
    if (!items_.contains(key)) {
      if (mode_ == 0) items_[key] = {now, 0};
      return mode_ == 0;
    }
    COnceItem item = items_.at(key);
    now = Reading();
    const double elapsed = AsDouble(now) - AsDouble(item.stamp);
    bool result = false;
    if (elapsed > interval) {
      if (mode_ == 0) {
        item.stamp = now;
        result = true;
      } else if (mode_ == 1) {
        if (item.state == 0 || item.state >= 3) result = true;
        item.state = 1;
      } else if (mode_ == 2) {
        item.state = 0;
      }
    } else {
      if (mode_ == 0) return false;
      if (mode_ == 1 && item.state == 1) item.state = 0;
      if (mode_ == 2) {
        result = item.state == 0;
        item.state = 1;
      }
    }
    items_[key] = item;
    return result;
  }

 private:
  static timespec Reading() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
  }

  static double AsDouble(const timespec& ts) {
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
  }

  std::map<std::string, COnceItem> items_;
  int mode_;
};

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kIntervals[] = {2,  2,      2,  0.5, 0,   1e-9,
                                 10, 119e-9, -1, 1e9, kNaN};
constexpr std::int64_t kSteps[] = {0,
                                   0,
                                   1,
                                   -1,
                                   119,
                                   120,
                                   kBillion / 2,
                                   kBillion,
                                   2 * kBillion,
                                   2 * kBillion + 1,
                                   3 * kBillion,
                                   -kBillion,
                                   10 * kBillion};
const std::string kKeys[] = {"", "a", "b", "a\0"s, std::string(40, 'k')};

class OnlyOnceModelTest : public testing::Test {
 protected:
  template <typename Values>
  const auto& Pick(const Values& values) {
    return values[random_() % std::size(values)];
  }

  // Makes one random call on both; returns whether the results are equal.
  bool CallBoth(COnlyOnce& once, Model& model) {
    const std::string& key = Pick(kKeys);
    const auto kind = random_() % 8;
    if (kind <= 1) {
      once.Update(key);
      model.Update(key);
      return true;
    }
    if (kind == 2) {
      once.IgnoreWave(key);
      model.IgnoreWave(key);
      return true;
    }
    if (kind == 3) return once.Start(key, 2) == model.Start(key, 2);
    const double interval = Pick(kIntervals);
    return once.Start(key, interval) == model.Start(key, interval);
  }

  static constexpr unsigned kSeed = 20261123;
  std::mt19937 random_{kSeed};
};

TEST_F(OnlyOnceModelTest, AgreesOnRandomCalls) {
  for (int round = 0; round < Rounds(4000); ++round) {
    const auto mode = static_cast<COnlyMode>(random_() % 4);
    COnlyOnce once(mode);
    Model model(mode);
    const Clock clock;
    std::int64_t now = random_() % 2 == 0 ? 100 * kBillion : kToday;
    for (int i = 0; i < 200; ++i) {
      now += Pick(kSteps);
      Clock::SetNanoseconds(now);
      ASSERT_TRUE(CallBoth(once, model))
          << "seed " << kSeed << ", mode " << mode << ", round " << round
          << ", call " << i;
    }
  }
}

}  // namespace
}  // namespace fairlead::internal::only_once_model_test
