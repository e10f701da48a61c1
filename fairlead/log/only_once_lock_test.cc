// Tests of how often the tracker locks and reads the clock, and of a failed
// lock. The program interposes pthread_mutex_lock.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <system_error>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/log/only_once.h"
#include "fairlead/log/only_once_testing.h"

namespace {

thread_local int locks = 0;
thread_local int lock_error = 0;  // What locking returns, if not 0.

}  // namespace

extern "C" FAIRLEAD_EXPORT int pthread_mutex_lock(
    pthread_mutex_t* mutex) noexcept {
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

namespace fairlead::internal {
namespace {

// Returns how often `act` locks.
int LocksOf(const auto& act) {
  const int before = locks;
  act();
  return locks - before;
}

TEST(OnlyOnceLockTest, EveryCallLocksOnce) {
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

TEST(OnlyOnceLockTest, IgnoreWaveLocksInWaveEndModeOnly) {
  const Clock clock;
  for (const COnlyMode mode :
       {OnceThrottle, OnceWaveEnd, OnceWaveStart, kUnnamedMode}) {
    COnlyOnce once(mode);
    once.Update("known");
    const int readings = Clock::readings;
    const int expected = mode == OnceWaveEnd ? 1 : 0;
    EXPECT_EQ(LocksOf([&] { once.IgnoreWave("known"); }), expected);
    EXPECT_EQ(LocksOf([&] { once.IgnoreWave("unknown"); }), expected);
    EXPECT_EQ(Clock::readings - readings, 2 * expected);
  }
}

TEST(OnlyOnceLockTest, EveryCallReadsTheClockOnce) {
  const Clock clock;
  COnlyOnce once(OnceWaveEnd);
  Clock::readings = 0;
  for (int i = 1; i <= 3; ++i) {
    once.Update("key");
    once.Start("key", 1);
    once.Start("unknown", 1.0);
    once.IgnoreWave("key");
    EXPECT_EQ(Clock::readings, 4 * i);
  }
}

// Returns the code of the exception that `act` throws, or 0.
int ErrorOf(const auto& act) {
  try {
    act();
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

TEST(OnlyOnceLockTest, AFailedLockThrowsItsCodeAndChangesNothing) {
  const Clock clock;
  COnlyOnce once(OnceWaveEnd);
  once.Update("key");
  Clock::Set(5);
  std::vector<int> thrown;
  for (const int error : {EINVAL, EDEADLK}) {
    lock_error = error;
    thrown.push_back(ErrorOf([&] { once.Start("key", 2); }));
    thrown.push_back(ErrorOf([&] { once.Start("key", 2.0); }));
    thrown.push_back(ErrorOf([&] { once.Update("key"); }));
    thrown.push_back(ErrorOf([&] { once.IgnoreWave("key"); }));
    thrown.push_back(ErrorOf([&] { once.Update("new"); }));
    lock_error = 0;
  }
  EXPECT_THAT(thrown, testing::ElementsAre(EINVAL, EINVAL, EINVAL, EINVAL,
                                           EINVAL, EDEADLK, EDEADLK, EDEADLK,
                                           EDEADLK, EDEADLK));
  EXPECT_TRUE(once.Start("key", 2));
  EXPECT_FALSE(once.Start("new", -1));
}

TEST(OnlyOnceLockTest, IgnoreWaveOutsideWaveEndDoesNotThrow) {
  COnlyOnce once(OnceThrottle);
  lock_error = EINVAL;
  const int thrown = ErrorOf([&] { once.IgnoreWave("key"); });
  lock_error = 0;
  EXPECT_EQ(thrown, 0);
}

TEST(OnlyOnceLockTest, ReadsTheRealTimeClock) {
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

}  // namespace
}  // namespace fairlead::internal
