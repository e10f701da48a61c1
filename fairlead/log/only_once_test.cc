// The once-only tracker on a clock of the test's own. Its lock is this
// program's as well, so that it can be counted and made to fail.
#include "fairlead/log/only_once.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/log/log_testing.h"

namespace {

constexpr std::int64_t kBillion = 1000000000;

// The instant that the clock shows, in nanoseconds since the epoch; negative
// where it is the system's.
std::atomic<std::int64_t> shown = -1;
std::atomic<int> clock_readings = 0;

thread_local int locks = 0;
thread_local int lock_error = 0;  // What locking answers, if not 0.

}  // namespace

extern "C" {

FAIRLEAD_EXPORT int clock_gettime(clockid_t clock, timespec* ts) noexcept {
  const std::int64_t now = shown;
  if (clock != CLOCK_REALTIME || now < 0)
    return static_cast<int>(syscall(SYS_clock_gettime, clock, ts));
  ++clock_readings;
  *ts = {now / kBillion, now % kBillion};
  return 0;
}

FAIRLEAD_EXPORT int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  using Function = int(pthread_mutex_t*);
  static std::atomic<Function*> real;
  ++locks;
  if (lock_error != 0) return lock_error;
  Function* function = real;
  if (function == nullptr) {
    function =
        reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    real = function;
  }
  return function(mutex);
}

}  // extern "C"

namespace fairlead {
namespace {

using log_testing::kSanitized;
using namespace std::string_literals;

static_assert(!std::is_copy_constructible_v<COnlyOnce>);
static_assert(!std::is_copy_assignable_v<COnlyOnce>);
static_assert(OnceThrottle == 0);
static_assert(OnceWaveEnd == 1);
static_assert(OnceWaveStart == 2);
static_assert(sizeof(COnlyMode) == 4);
static_assert(std::is_convertible_v<COnlyMode, int>);
static_assert(std::is_same_v<decltype(COnceItem::stamp), timespec>);
static_assert(std::is_same_v<decltype(COnceItem::state), std::int32_t>);

constexpr auto kUnnamedMode = static_cast<COnlyMode>(7);
constexpr auto kNegativeMode = static_cast<COnlyMode>(-1);

// Shows an instant while it lives.
class Clock {
 public:
  explicit Clock(double seconds = 0) { Set(seconds); }
  ~Clock() { shown = -1; }
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  static void Set(double seconds) { shown = std::llround(seconds * 1e9); }
  static void SetNanoseconds(std::int64_t nanoseconds) { shown = nanoseconds; }
};

TEST(OnlyOnceTest, ANewItemIsAllZeros) {
  const COnceItem item;
  EXPECT_EQ(item.stamp.tv_sec, 0);
  EXPECT_EQ(item.stamp.tv_nsec, 0);
  EXPECT_EQ(item.state, 0);
}

// ---- The modes, call by call.

enum class Call { kStart, kUpdate, kIgnore };

struct Step {
  double time;
  Call call;
  bool answer = false;  // Of Start.
};

constexpr Call kStart = Call::kStart;
constexpr Call kUpdate = Call::kUpdate;
constexpr Call kIgnore = Call::kIgnore;

// Makes the calls on one key, and each answer is as the step says.
void Play(COnlyMode mode, double interval, const std::vector<Step>& steps) {
  const Clock clock;
  COnlyOnce once(mode);
  for (const Step& step : steps) {
    SCOPED_TRACE(testing::Message() << "at " << step.time);
    Clock::Set(step.time);
    if (step.call == kUpdate)
      once.Update("key");
    else if (step.call == kIgnore)
      once.IgnoreWave("key");
    else
      EXPECT_EQ(once.Start("key", interval), step.answer);
  }
}

TEST(OnlyOnceTest, ThrottleAnswersTrueOnceAnInterval) {
  Play(OnceThrottle, 10,
       {{0, kStart, true},
        {5, kStart, false},
        {10, kStart, false},
        {10.5, kStart, true},
        {15, kStart, false},
        {20.5, kStart, false},
        {20.75, kStart, true},
        {1000, kStart, true},
        {1000, kStart, false}});
}

TEST(OnlyOnceTest, ThrottleCountsFromTheLastTrueNotFromTheLastCall) {
  Play(OnceThrottle, 10,
       {{0, kStart, true},
        {9, kStart, false},
        {10.5, kStart, true},
        {20, kStart, false},
        {20.75, kStart, true}});
}

TEST(OnlyOnceTest, ThrottleStartsTheIntervalAnewAtAnUpdate) {
  Play(OnceThrottle, 10,
       {{0, kUpdate},
        {5, kStart, false},
        {10.5, kStart, true},
        {20, kUpdate},
        {29, kStart, false},
        {30.5, kStart, true}});
}

TEST(OnlyOnceTest, ThrottleIgnoresNoWave) {
  Play(OnceThrottle, 10,
       {{0, kIgnore},
        {1, kStart, true},  // The key is still unknown.
        {5, kIgnore},
        {11.5, kStart, true}});
}

TEST(OnlyOnceTest, ThrottleCanAnswerTrueEveryTime) {
  Play(OnceThrottle, -1, {{0, kStart, true}, {0, kStart, true}});
  Play(OnceThrottle, 0, {{0, kStart, true}, {0, kStart, false}});
}

TEST(OnlyOnceTest, WaveEndDoesNotKnowAKeyNeverUpdated) {
  Play(OnceWaveEnd, 2,
       {{0, kStart, false},
        {5, kStart, false},
        {9, kUpdate},  // Makes the key; the calls before have not.
        {10, kStart, false},
        {12, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndAnswersTrueOnceWhenAWaveHasEnded) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {1, kStart, false},
        {3, kStart, true},
        {4, kStart, false},
        {5, kUpdate},
        {5.5, kStart, false},  // Re-arms.
        {8, kStart, true},
        {9, kStart, false}});
}

TEST(OnlyOnceTest, WaveEndNeedsNoPollDuringTheFirstWave) {
  Play(OnceWaveEnd, 2, {{0, kUpdate}, {100, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndTellsNothingOfAWaveThatNoPollHasSeen) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {3, kStart, true},
        {4, kUpdate},
        {7, kStart, false},
        {8, kUpdate},
        {8, kStart, false},
        {10.5, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndKeepsAWaveGoingByUpdates) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {2, kUpdate},
        {4, kUpdate},
        {6, kStart, false},  // Exactly the interval is within it.
        {6.25, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndPassesOverAnIgnoredWave) {
  Play(OnceWaveEnd, 2,
       {{0, kIgnore},
        {3, kStart, false},
        {4, kUpdate},
        {4.5, kStart, false},
        {7, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndIgnoresTheWaveToItsEnd) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {1, kIgnore},
        {2, kStart, false},
        {3, kStart, false},  // Still 2 s of the mark.
        {3, kUpdate},        // An update does not lift the mark.
        {4, kStart, false},
        {6, kStart, false},  // The ignored end.
        {7, kStart, false},
        {8, kUpdate},
        {9, kStart, false},
        {11, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndIgnoresAlsoAfterAReport) {
  Play(OnceWaveEnd, 2,
       {{0, kUpdate},
        {3, kStart, true},
        {4, kIgnore},
        {5, kStart, false},
        {7, kStart, false},
        {8, kUpdate},
        {9, kStart, false},
        {11, kStart, true}});
}

TEST(OnlyOnceTest, WaveEndWithoutAPollBetweenIgnoresTheNextWaveToo) {
  Play(OnceWaveEnd, 2,
       {{0, kIgnore}, {10, kUpdate}, {11, kStart, false}, {13, kStart, false}});
}

TEST(OnlyOnceTest, WaveStartAnswersTrueAtTheFirstPollOfAWave) {
  Play(OnceWaveStart, 2,
       {{0, kUpdate},
        {1, kStart, true},
        {1.5, kStart, false},
        {2, kStart, false},
        {3, kStart, false},  // The wave is over.
        {4, kStart, false},
        {5, kUpdate},
        {5, kStart, true},
        {6, kUpdate},
        {8, kStart, false}});
}

TEST(OnlyOnceTest, WaveStartDoesNotKnowAKeyNeverUpdated) {
  Play(OnceWaveStart, 2, {{0, kStart, false}, {1, kUpdate}, {1, kStart, true}});
}

TEST(OnlyOnceTest, WaveStartNeedsAPollBetweenTwoWaves) {
  Play(OnceWaveStart, 2,
       {{0, kUpdate},
        {1, kStart, true},
        {10, kUpdate},
        {10, kStart, false},
        {13, kStart, false},
        {14, kUpdate},
        {14, kStart, true}});
}

TEST(OnlyOnceTest, WaveStartIgnoresNoWave) {
  Play(OnceWaveStart, 2,
       {{0, kIgnore},
        {0, kStart, false},  // The key is still unknown.
        {1, kUpdate},
        {1, kIgnore},
        {1, kStart, true}});
}

TEST(OnlyOnceTest, AModeWithoutANameAlwaysAnswersFalse) {
  for (const COnlyMode mode : {kUnnamedMode, kNegativeMode})
    Play(mode, 2,
         {{0, kStart, false},
          {1, kUpdate},
          {2, kStart, false},
          {4, kStart, false},
          {5, kIgnore},
          {9, kStart, false}});
}

TEST(OnlyOnceTest, TheClockMayStepBack) {
  Play(OnceThrottle, 10,
       {{100, kStart, true},
        {50, kStart, false},
        {109, kStart, false},
        {110.5, kStart, true}});
  Play(OnceWaveEnd, 2,
       {{100, kUpdate},
        {103, kStart, true},
        {50, kStart, false},  // Looks like a fresh stamp, and re-arms.
        {103, kStart, true}});
  Play(OnceWaveStart, 2,
       {{100, kUpdate}, {50, kStart, true}, {101, kStart, false}});
}

// ---- The comparison.

struct EdgeCase {
  std::int64_t stamp;  // Nanoseconds since the epoch.
  std::int64_t now;
  double interval;
  bool longer;
};

constexpr std::int64_t kToday = 1700000000 * kBillion;

constexpr EdgeCase kEdgeCases[] = {
    {0, 10 * kBillion, 10, false},
    {0, 10 * kBillion + 1, 10, true},
    {0, 10 * kBillion - 1, 10, false},
    {5, 5, 0, false},
    {5, 6, 0, true},
    {0, 1, 1e-9, false},
    {0, 2, 1e-9, true},
    {0, 3, 3e-9, false},  // 3 / 1e9 is 3e-9, and 3 * 1e-9 is a little more.
    {0, kBillion / 10, 0.1, false},
    {0, kBillion / 10 + 1, 0.1, true},
    {999999999, kBillion, 0, true},
    // Between two doubles of this century lie some 238 ns, and an instant
    // becomes the nearer one.
    {kToday, kToday + 10 * kBillion, 10, false},
    {kToday, kToday + 10 * kBillion + 119, 10, false},
    {kToday, kToday + 10 * kBillion + 120, 10, true},
    {kToday, kToday + 119, 0, false},
    {kToday, kToday + 120, 0, true},
    {kToday, kToday, -1e-300, true},
};

TEST(OnlyOnceTest, TheTimeElapsedMustBeGreaterThanTheInterval) {
  for (const EdgeCase& c : kEdgeCases) {
    SCOPED_TRACE(testing::Message() << "from " << c.stamp << " to " << c.now
                                    << " with " << c.interval);
    const Clock clock;
    for (const COnlyMode mode : {OnceThrottle, OnceWaveEnd}) {
      COnlyOnce once(mode);
      Clock::SetNanoseconds(c.stamp);
      once.Update("key");
      Clock::SetNanoseconds(c.now);
      EXPECT_EQ(once.Start("key", c.interval), c.longer);
    }
    COnlyOnce once(OnceWaveStart);
    Clock::SetNanoseconds(c.stamp);
    once.Update("key");
    Clock::SetNanoseconds(c.now);
    EXPECT_EQ(once.Start("key", c.interval), !c.longer);
  }
}

TEST(OnlyOnceTest, NothingIsLongerThanInfinityOrNaN) {
  for (const double interval : {std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()})
    Play(OnceThrottle, interval, {{0, kStart, true}, {9e8, kStart, false}});
  Play(OnceThrottle, -std::numeric_limits<double>::infinity(),
       {{10, kStart, true}, {0, kStart, true}});
}

TEST(OnlyOnceTest, AnIntIntervalIsTheSameNumberOfSeconds) {
  constexpr int kIntervals[] = {0,
                                1,
                                10,
                                -1,
                                1 << 24,
                                std::numeric_limits<int>::max(),
                                std::numeric_limits<int>::min()};
  for (const int interval : kIntervals) {
    for (const std::int64_t extra : {-1000, 0, 1000}) {
      SCOPED_TRACE(testing::Message() << interval << " and " << extra);
      const Clock clock;
      COnlyOnce with_int(OnceThrottle);
      COnlyOnce with_double(OnceThrottle);
      with_int.Update("key");
      with_double.Update("key");
      Clock::SetNanoseconds(
          std::max<std::int64_t>(0, interval * kBillion + extra));
      EXPECT_EQ(with_int.Start("key", interval),
                with_double.Start("key", static_cast<double>(interval)));
    }
  }
}

// The interval is one of 60 seconds.
template <typename Seconds>
void ExpectSixtySeconds(Seconds interval) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  EXPECT_TRUE(once.Start("key", interval));
  Clock::Set(60);
  EXPECT_FALSE(once.Start("key", interval));
  Clock::Set(60.5);
  EXPECT_TRUE(once.Start("key", interval));
}

TEST(OnlyOnceTest, AnIntervalMayBeOfAnyArithmeticType) {
  ExpectSixtySeconds(60);
  ExpectSixtySeconds(60U);
  ExpectSixtySeconds(60L);
  ExpectSixtySeconds(60UL);
  ExpectSixtySeconds(60LL);
  ExpectSixtySeconds(60ULL);
  ExpectSixtySeconds(60.0F);
  ExpectSixtySeconds(60.0);
  ExpectSixtySeconds(60.0L);
  ExpectSixtySeconds(std::int64_t{60});
  ExpectSixtySeconds(std::uint8_t{60});
  ExpectSixtySeconds(short{60});
  ExpectSixtySeconds('<');  // 60 in ASCII.
}

TEST(OnlyOnceTest, AnIntervalBeyondAnIntIsNotCut) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  EXPECT_TRUE(once.Start("key", 1));
  Clock::Set(1000);
  EXPECT_FALSE(once.Start("key", std::int64_t{1} << 32));
  EXPECT_FALSE(once.Start("key", std::numeric_limits<std::uint64_t>::max()));
  EXPECT_TRUE(once.Start("key", std::numeric_limits<std::int64_t>::min()));
}

// Both that are not templates are there by their exact types.
[[maybe_unused]] constexpr bool (COnlyOnce::*kStartOfDouble)(
    std::string_view, double) = &COnlyOnce::Start;
[[maybe_unused]] constexpr bool (COnlyOnce::*kStartOfInt)(
    std::string_view, int) = &COnlyOnce::Start;

// ---- The keys.

TEST(OnlyOnceTest, KeysOfEveryKindCompile) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  const std::string key = "string";
  EXPECT_TRUE(once.Start("literal", 10));
  EXPECT_TRUE(once.Start("another", 0.5));
  EXPECT_TRUE(once.Start(key, 10));
  EXPECT_FALSE(once.Start(key, 0.5F));
  EXPECT_FALSE(once.Start(key + "", 0.5));
  once.Update(key);
  once.Update("literal");
  once.IgnoreWave(key);
  once.IgnoreWave("literal");
}

TEST(OnlyOnceTest, EachKeyIsAnEventOfItsOwn) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  const std::vector<std::string> keys = {"",
                                         "a",
                                         "A",
                                         "a ",
                                         "ab",
                                         "b",
                                         "\0"s,
                                         "a\0"s,
                                         "a\0b"s,
                                         "\xff",
                                         "\xff\xfe",
                                         std::string(1000, 'x'),
                                         std::string(1000, 'x') + "y"};
  for (const std::string& key : keys) EXPECT_TRUE(once.Start(key, 10)) << key;
  for (const std::string& key : keys) EXPECT_FALSE(once.Start(key, 10)) << key;
}

TEST(OnlyOnceTest, RemembersManyKeys) {
  constexpr int kKeys = kSanitized ? 20000 : 100000;
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  int wrong = 0;
  for (int i = 0; i < kKeys; ++i) {
    Clock::Set(i);
    if (!once.Start("key " + std::to_string(i), kKeys)) ++wrong;
  }
  // Each still has its own stamp: of two neighbours, one has expired.
  for (int i = 0; i + 1 < kKeys; i += 2) {
    Clock::Set(kKeys + i + 0.5);
    if (!once.Start("key " + std::to_string(i), kKeys)) ++wrong;
    if (once.Start("key " + std::to_string(i + 1), kKeys)) ++wrong;
  }
  EXPECT_EQ(wrong, 0);
}

// Keys of which the hash reads the same bytes, but for their length.
TEST(OnlyOnceTest, RemembersKeysOfOneByteOfManyLengths) {
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  for (const char byte : {'\0', 'a', '\xff'})
    for (std::size_t size = byte == '\0' ? 0 : 1; size < 100; ++size)
      EXPECT_TRUE(once.Start(std::string(size, byte), 10));
  for (const char byte : {'\0', 'a', '\xff'})
    for (std::size_t size = 0; size < 100; ++size)
      EXPECT_FALSE(once.Start(std::string(size, byte), 10));
}

TEST(OnlyOnceTest, TrackersShareNothing) {
  const Clock clock;
  COnlyOnce one(OnceThrottle);
  COnlyOnce other(OnceThrottle);
  EXPECT_TRUE(one.Start("key", 10));
  EXPECT_TRUE(other.Start("key", 10));
}

// ---- The lock and the clock.

int LocksOf(const auto& act) {
  const int before = locks;
  act();
  return locks - before;
}

TEST(OnlyOnceTest, EveryCallLocksOnce) {
  const Clock clock;
  for (const COnlyMode mode : {OnceThrottle, OnceWaveEnd, OnceWaveStart}) {
    COnlyOnce once(mode);
    for (int i = 0; i < 2; ++i) {  // First without the key, then with it.
      EXPECT_EQ(LocksOf([&] { once.Start("key", 1); }), 1);
      EXPECT_EQ(LocksOf([&] { once.Start("key", 1.5); }), 1);
      EXPECT_EQ(LocksOf([&] { once.Update("key"); }), 1);
    }
  }
}

TEST(OnlyOnceTest, IgnoreWaveLocksInWaveEndModeAlone) {
  const Clock clock;
  for (const COnlyMode mode :
       {OnceThrottle, OnceWaveEnd, OnceWaveStart, kUnnamedMode}) {
    COnlyOnce once(mode);
    once.Update("known");
    const int readings = clock_readings;
    const int expected = mode == OnceWaveEnd ? 1 : 0;
    EXPECT_EQ(LocksOf([&] { once.IgnoreWave("known"); }), expected);
    EXPECT_EQ(LocksOf([&] { once.IgnoreWave("unknown"); }), expected);
    EXPECT_EQ(clock_readings - readings, 2 * expected);
  }
}

TEST(OnlyOnceTest, OneReadingOfTheClockAnswersACall) {
  const Clock clock;
  COnlyOnce once(OnceWaveEnd);
  clock_readings = 0;
  for (int i = 1; i <= 3; ++i) {
    once.Update("key");
    once.Start("key", 1);
    once.Start("unknown", 1.0);
    once.IgnoreWave("key");
    EXPECT_EQ(clock_readings, 4 * i);
  }
}

// The code of the error that the call raises, or 0.
int ErrorOf(const auto& act) {
  try {
    act();
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

TEST(OnlyOnceTest, ALockThatFailsRaisesItsCodeAndChangesNothing) {
  const Clock clock;
  COnlyOnce once(OnceWaveEnd);
  once.Update("key");
  Clock::Set(5);
  std::vector<int> raised;
  for (const int error : {EINVAL, EDEADLK}) {
    lock_error = error;
    raised.push_back(ErrorOf([&] { once.Start("key", 2); }));
    raised.push_back(ErrorOf([&] { once.Start("key", 2.0); }));
    raised.push_back(ErrorOf([&] { once.Update("key"); }));
    raised.push_back(ErrorOf([&] { once.IgnoreWave("key"); }));
    raised.push_back(ErrorOf([&] { once.Update("new"); }));
    lock_error = 0;
  }
  EXPECT_THAT(raised, testing::ElementsAre(EINVAL, EINVAL, EINVAL, EINVAL,
                                           EINVAL, EDEADLK, EDEADLK, EDEADLK,
                                           EDEADLK, EDEADLK));
  EXPECT_TRUE(once.Start("key", 2));
  EXPECT_FALSE(once.Start("new", -1));
}

TEST(OnlyOnceTest, IgnoreWaveOutsideWaveEndCannotFail) {
  COnlyOnce once(OnceThrottle);
  lock_error = EINVAL;
  const int raised = ErrorOf([&] { once.IgnoreWave("key"); });
  lock_error = 0;
  EXPECT_EQ(raised, 0);
}

TEST(OnlyOnceTest, ReadsTheRealTimeClock) {
  COnlyOnce once(OnceThrottle);
  timespec now{};
  ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &now), 0);
  once.Update("key");
  const Clock clock(static_cast<double>(now.tv_sec) + 3600);
  EXPECT_TRUE(once.Start("key", 3500));
  EXPECT_FALSE(once.Start("key", 3500));
  Clock::Set(static_cast<double>(now.tv_sec) + 7200);
  EXPECT_FALSE(once.Start("key", 3700));
}

// ---- Any sequence of calls, judged by a second telling of the rules.

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
    bool answer = false;
    if (elapsed > interval) {
      if (mode_ == 0) {
        item.stamp = now;
        answer = true;
      } else if (mode_ == 1) {
        if (item.state == 0 || item.state >= 3) answer = true;
        item.state = 1;
      } else if (mode_ == 2) {
        item.state = 0;
      }
    } else {
      if (mode_ == 0) return false;
      if (mode_ == 1 && item.state == 1) item.state = 0;
      if (mode_ == 2) {
        answer = item.state == 0;
        item.state = 1;
      }
    }
    items_[key] = item;
    return answer;
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

TEST(OnlyOnceTest, RandomCallsAreAnsweredAsTheRulesSay) {
  constexpr unsigned kSeed = 20261123;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  constexpr double kIntervals[] = {2,
                                   2,
                                   2,
                                   0.5,
                                   0,
                                   1e-9,
                                   10,
                                   119e-9,
                                   -1,
                                   1e9,
                                   std::numeric_limits<double>::quiet_NaN()};
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
  const std::string keys[] = {"", "a", "b", "a\0"s, std::string(40, 'k')};

  for (int round = 0; round < (kSanitized ? 400 : 4000); ++round) {
    const auto mode = static_cast<COnlyMode>(random() % 4);
    COnlyOnce once(mode);
    Model model(mode);
    const Clock clock;
    std::int64_t now = random() % 2 == 0 ? 100 * kBillion : kToday;
    for (int i = 0; i < 200; ++i) {
      now += kSteps[random() % std::size(kSteps)];
      Clock::SetNanoseconds(now);
      const std::string& key = keys[random() % std::size(keys)];
      switch (random() % 8) {
        case 0:
        case 1:
          once.Update(key);
          model.Update(key);
          break;
        case 2:
          once.IgnoreWave(key);
          model.IgnoreWave(key);
          break;
        case 3:
          ASSERT_EQ(once.Start(key, 2), model.Start(key, 2))
              << "mode " << mode << ", round " << round << ", call " << i;
          break;
        default:
          const double interval = kIntervals[random() % std::size(kIntervals)];
          ASSERT_EQ(once.Start(key, interval), model.Start(key, interval))
              << "mode " << mode << ", round " << round << ", call " << i;
      }
    }
  }
}

// ---- Many threads.

constexpr int kThreads = 8;

// Runs `act` in every thread and returns how many times it was true.
int CountInThreads(const auto& act) {
  std::atomic<int> count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] { count += act(); });
  for (std::thread& thread : threads) thread.join();
  return count;
}

TEST(OnlyOnceTest, OneThreadOfManyIsToldToActOnAKey) {
  constexpr int kKeys = kSanitized ? 2000 : 20000;
  const Clock clock;
  COnlyOnce once(OnceThrottle);
  EXPECT_EQ(CountInThreads([&once] {
              int acts = 0;
              for (int i = 0; i < kKeys; ++i)
                if (once.Start(std::to_string(i), 10)) ++acts;
              return acts;
            }),
            kKeys);
}

TEST(OnlyOnceTest, OneThreadOfManyIsToldOfEachIntervalAndWave) {
  constexpr int kRounds = 200;
  const Clock clock;
  COnlyOnce throttle(OnceThrottle);
  COnlyOnce wave_end(OnceWaveEnd);
  COnlyOnce wave_start(OnceWaveStart);
  // Each round has a quiet and a busy half; the last to arrive turns it.
  int halves = 0;
  const auto turn = [&]() noexcept {
    ++halves;
    Clock::Set(halves * 11);
    if (halves % 2 != 0) return;
    wave_end.Update("key");
    wave_start.Update("key");
  };
  std::barrier barrier(kThreads, turn);
  EXPECT_EQ(CountInThreads([&] {
              int acts = 0;
              for (int i = 0; i < 2 * kRounds; ++i) {
                barrier.arrive_and_wait();
                for (int j = 0; j < 10; ++j)
                  for (COnlyOnce* once : {&throttle, &wave_end, &wave_start})
                    if (once->Start("key", 10)) ++acts;
              }
              return acts;
            }),
            // Every half lets one through; every quiet half but the first, for
            // which no wave was, ends a wave; every busy one starts a wave.
            2 * kRounds + (kRounds - 1) + kRounds);
}

TEST(OnlyOnceTest, ThreadsMayCallEverythingAtOnce) {
  constexpr int kKeys = 300;
  const Clock clock;
  COnlyOnce once(OnceWaveEnd);
  CountInThreads([&once] {
    for (int i = 0; i < 2000; ++i) {
      const std::string key = std::to_string(i % kKeys);
      once.Update(key);
      once.Start(key, 1);
      once.IgnoreWave(key);
    }
    return 0;
  });
  for (int i = 0; i <= kKeys; ++i) {  // The last was never there.
    SCOPED_TRACE(testing::Message() << "key " << i);
    const std::string key = std::to_string(i);
    EXPECT_FALSE(once.Start(key, -1));  // The end of the ignored wave.
    EXPECT_FALSE(once.Start(key, 1));   // Re-arms a key that is known.
    EXPECT_EQ(once.Start(key, -1), i < kKeys);
  }
}

}  // namespace
}  // namespace fairlead
