// Tests of the suppression of repeats, with clocks that the test sets.

#include "tool/log/repeats.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "fairlead/export.h"

namespace {

// The seconds that the clocks show; the real clocks if there is none.
struct Clocks {
  double real = 1'000'000;
  double steady = 5'000;
};
Clocks* fake = nullptr;

}  // namespace

extern "C" {

FAIRLEAD_EXPORT int clock_gettime(clockid_t clock, timespec* ts) noexcept {
  using Function = int(clockid_t, timespec*);
  static auto* const real =
      reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "clock_gettime"));
  if (fake == nullptr) return real(clock, ts);
  const double now = clock == CLOCK_REALTIME ? fake->real : fake->steady;
  ts->tv_sec = static_cast<time_t>(now);
  ts->tv_nsec = std::lround((now - std::floor(now)) * 1e9);
  return 0;
}

}  // extern "C"

namespace fairlead::tool {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using std::string_literals::operator""s;

using Reports = std::vector<std::pair<std::string, std::int64_t>>;

class RepeatsTest : public testing::Test {
 protected:
  RepeatsTest() { fake = &clocks_; }
  ~RepeatsTest() override { fake = nullptr; }

  // Sets the clocks, in seconds after the start. Multiples of 1/8 add exactly.
  void At(double seconds) {
    clocks_.real = Clocks().real + seconds;
    clocks_.steady = Clocks().steady + seconds;
  }

  Repeats::Report Listener() {
    return [this](std::string_view line, std::int64_t suppressed) {
      reports_.emplace_back(line, suppressed);
    };
  }

  Clocks clocks_;
  Reports reports_;
};

TEST_F(RepeatsTest, AWaveLastsWhileEachLineIsWithinTheInterval) {
  Repeats repeats(2, Listener());
  At(0);
  EXPECT_TRUE(repeats.Passes("a"));
  At(1.5);
  EXPECT_FALSE(repeats.Passes("a"));
  At(3.5);  // Exactly the interval is within it.
  EXPECT_FALSE(repeats.Passes("a"));
  At(5.25);
  EXPECT_FALSE(repeats.Passes("a"));
  At(7.25);
  repeats.ReportEnded();
  EXPECT_THAT(reports_, IsEmpty());
  At(7.375);
  repeats.ReportEnded();
  EXPECT_THAT(reports_, ElementsAre(Pair("a", 3)));
  repeats.ReportEnded();
  repeats.ReportAll();
  EXPECT_EQ(reports_.size(), 1U);
  EXPECT_TRUE(repeats.Passes("a"));
}

TEST_F(RepeatsTest, AWaveOfOneLineIsNotReported) {
  Repeats repeats(2, Listener());
  repeats.Passes("a");
  At(3);
  repeats.ReportEnded();
  EXPECT_EQ(repeats.Wait(), -1);
  EXPECT_TRUE(repeats.Passes("a"));
  repeats.ReportAll();
  EXPECT_EQ(repeats.Wait(), -1);
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(RepeatsTest, ALineAfterItsWaveReportsTheWaveFirst) {
  Repeats repeats(2, Listener());
  repeats.Passes("a");
  repeats.Passes("a");
  At(10);
  EXPECT_TRUE(repeats.Passes("a"));
  EXPECT_THAT(reports_, ElementsAre(Pair("a", 1)));
  EXPECT_FALSE(repeats.Passes("a"));
  At(11);
  repeats.ReportEnded();
  EXPECT_EQ(reports_.size(), 1U);
  At(13);
  repeats.ReportEnded();
  EXPECT_THAT(reports_, ElementsAre(Pair("a", 1), Pair("a", 1)));
}

TEST_F(RepeatsTest, TheOldestWaveIsReportedFirst) {
  Repeats repeats(2, Listener());
  for (const char* const line : {"a", "b", "a", "b", "a", "b", "c"})
    repeats.Passes(line);
  At(1);
  EXPECT_FALSE(repeats.Passes("a"));
  At(2.5);
  repeats.ReportEnded();
  EXPECT_THAT(reports_, ElementsAre(Pair("b", 2)));
  EXPECT_FALSE(repeats.Passes("a"));
  At(5);
  repeats.ReportEnded();
  EXPECT_THAT(reports_, ElementsAre(Pair("b", 2), Pair("a", 4)));
}

TEST_F(RepeatsTest, TheEndOfTheInputReportsAll) {
  Repeats repeats(3600, Listener());
  for (const char* const line : {"a", "b", "b", "c", "c", "c", "b"})
    repeats.Passes(line);
  repeats.ReportAll();
  EXPECT_THAT(reports_, ElementsAre(Pair("c", 2), Pair("b", 2)));
}

TEST_F(RepeatsTest, EveryByteDistinguishesLines) {
  Repeats repeats(2, Listener());
  for (const std::string& line : {"a\0b"s, "a\0c"s, "a"s, ""s, "A"s, "\xff"s})
    EXPECT_TRUE(repeats.Passes(line)) << testing::PrintToString(line);
  EXPECT_FALSE(repeats.Passes("a\0b"s));
  EXPECT_FALSE(repeats.Passes(""));
}

TEST_F(RepeatsTest, TheWaitReachesJustBeyondTheNearestEnd) {
  Repeats repeats(2, Listener());
  EXPECT_EQ(repeats.Wait(), -1);
  repeats.Passes("a");
  EXPECT_EQ(repeats.Wait(), 2001);
  At(1);
  repeats.Passes("b");
  EXPECT_EQ(repeats.Wait(), 1001);
  repeats.Passes("a");
  EXPECT_EQ(repeats.Wait(), 2001);
  At(60);
  EXPECT_EQ(repeats.Wait(), 0);
  repeats.ReportEnded();
  EXPECT_EQ(repeats.Wait(), -1);
}

TEST_F(RepeatsTest, AShortIntervalIsWaitedForWithoutSpinning) {
  Repeats repeats(0.000001, Listener());
  repeats.Passes("a");
  EXPECT_GE(repeats.Wait(), 1);
  At(0.125);
  EXPECT_TRUE(repeats.Passes("a"));
}

TEST_F(RepeatsTest, AnIntervalBeyondAllTimeEndsOnlyWithTheInput) {
  Repeats repeats(1e300, Listener());
  repeats.Passes("a");
  EXPECT_EQ(repeats.Wait(), 1'000'000'001);
  At(1'000'001);
  EXPECT_FALSE(repeats.Passes("a"));
  repeats.ReportEnded();
  EXPECT_THAT(reports_, IsEmpty());
  repeats.ReportAll();
  EXPECT_THAT(reports_, ElementsAre(Pair("a", 1)));
}

TEST_F(RepeatsTest, AClockSetBackIsAskedAgainNowAndThen) {
  Repeats repeats(2, Listener());
  repeats.Passes("a");
  repeats.Passes("a");
  clocks_.real -= 3600;
  repeats.Passes("b");
  repeats.Passes("b");
  clocks_.real += 3;
  clocks_.steady += 3;
  repeats.ReportEnded();  // "b" began after the change, and is over.
  EXPECT_THAT(reports_, ElementsAre(Pair("b", 1)));
  EXPECT_EQ(repeats.Wait(), 10);
  clocks_.real += 3600;
  clocks_.steady += 0.125;
  repeats.ReportEnded();
  EXPECT_THAT(reports_, ElementsAre(Pair("b", 1), Pair("a", 1)));
}

// A model: computes the waves from the times of each line.
Reports Model(const std::vector<std::pair<double, std::string>>& lines,
              double interval, std::vector<bool>& passes) {
  struct State {
    double last = -1e9;
    std::int64_t suppressed = 0;
  };
  std::map<std::string, State> states;
  Reports reports;
  for (const auto& [at, line] : lines) {
    State& state = states[line];
    const bool passed = at - state.last > interval;
    if (passed && state.suppressed > 0)
      reports.emplace_back(line, state.suppressed);
    state.suppressed = passed ? 0 : state.suppressed + 1;
    state.last = at;
    passes.push_back(passed);
  }
  for (const auto& [line, state] : states)
    if (state.suppressed > 0) reports.emplace_back(line, state.suppressed);
  return reports;
}

TEST_F(RepeatsTest, AgreesWithTheModelOnRandomLines) {
  constexpr unsigned kSeed = 20261121;
  RecordProperty("seed", static_cast<int>(kSeed));
  std::mt19937 random(kSeed);
  for (int round = 0; round < 50; ++round) {
    SCOPED_TRACE(round);
    std::vector<std::pair<double, std::string>> lines;
    double now = 0;
    for (int i = 0; i < 200; ++i) {
      now += static_cast<double>(random() % 8) / 8;
      lines.emplace_back(now, std::string(1, "abc"[random() % 3]));
    }
    reports_.clear();
    Repeats repeats(1, Listener());
    std::vector<bool> passes;
    for (const auto& [at, line] : lines) {
      At(at);
      if (random() % 2 == 0) repeats.ReportEnded();
      passes.push_back(repeats.Passes(line));
    }
    repeats.ReportAll();

    std::vector<bool> expected;
    const Reports model = Model(lines, 1, expected);
    EXPECT_EQ(passes, expected);
    EXPECT_THAT(reports_, testing::UnorderedElementsAreArray(model));
  }
}

}  // namespace
}  // namespace fairlead::tool
