// TheTime with a fake clock: this program defines the system's clock and
// calendar functions, and each calls the real one unless a FakeSystem is alive.
// The machine's clock is never set.

#include <dlfcn.h>
#include <sys/time.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/time/the_time.h"
#include "fairlead/time/the_time_testing.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace {

// What the functions below return while it lives, and the calls they got.
struct FakeSystem {
  FakeSystem();
  ~FakeSystem();
  FakeSystem(const FakeSystem&) = delete;
  FakeSystem& operator=(const FakeSystem&) = delete;

  timespec now{1794689874, 123456789};  // 2026-11-14 20:57:54 UTC
  int clock_status = 0;
  int set_status = 0;
  std::function<std::tm*(std::tm*)> calendar;      // The real one if empty.
  std::function<std::time_t(std::tm*)> make_time;  // The real one if empty.

  std::vector<clockid_t> clocks_read;
  int times_read = 0;
  std::vector<std::time_t> converted;
  std::vector<std::tm> made;
  std::vector<timeval> set;
  bool zone_given = false;
};

FakeSystem* fake = nullptr;

FakeSystem::FakeSystem() { fake = this; }
FakeSystem::~FakeSystem() { fake = nullptr; }

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

FAIRLEAD_EXPORT int clock_gettime(clockid_t clock, timespec* ts) noexcept {
  if (fake == nullptr)
    return Real<int(clockid_t, timespec*)>("clock_gettime")(clock, ts);
  fake->clocks_read.push_back(clock);
  if (fake->clock_status == 0) *ts = fake->now;
  return fake->clock_status;
}

FAIRLEAD_EXPORT std::time_t time(std::time_t* seconds) noexcept {
  if (fake == nullptr) return Real<std::time_t(std::time_t*)>("time")(seconds);
  ++fake->times_read;
  if (seconds != nullptr) *seconds = fake->now.tv_sec;
  return fake->now.tv_sec;
}

FAIRLEAD_EXPORT std::tm* localtime_r(const std::time_t* seconds,
                                     std::tm* fields) noexcept {
  if (fake != nullptr) {
    fake->converted.push_back(*seconds);
    if (fake->calendar) return fake->calendar(fields);
  }
  return Real<std::tm*(const std::time_t*, std::tm*)>("localtime_r")(seconds,
                                                                     fields);
}

FAIRLEAD_EXPORT std::time_t mktime(std::tm* fields) noexcept {
  if (fake != nullptr) {
    fake->made.push_back(*fields);
    if (fake->make_time) return fake->make_time(fields);
  }
  return Real<std::time_t(std::tm*)>("mktime")(fields);
}

FAIRLEAD_EXPORT int settimeofday(const timeval* value,
                                 const struct timezone* zone) noexcept {
  if (fake == nullptr) std::abort();
  fake->set.push_back(*value);
  fake->zone_given = zone != nullptr;
  if (fake->set_status != 0) errno = EPERM;
  return fake->set_status;
}

}  // extern "C"

namespace fairlead::internal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Every test runs in UTC.
class TheTimeClockTest : public testing::Test {
  const InZone zone_{kUtc};
};

TEST_F(TheTimeClockTest, ANewValueReadsTheRealTimeClockOnce) {
  FakeSystem system;
  const TheTime time;
  EXPECT_EQ(time.ts.tv_sec, 1794689874);
  EXPECT_EQ(time.ts.tv_nsec, 123456789);
  EXPECT_THAT(system.clocks_read, ElementsAre(CLOCK_REALTIME));
}

TEST_F(TheTimeClockTest, ANewValueIsTheEpochIfTheClockFails) {
  FakeSystem system;
  system.clock_status = -1;
  const TheTime time;
  EXPECT_EQ(time.ts.tv_sec, 0);
  EXPECT_EQ(time.ts.tv_nsec, 0);
}

TEST_F(TheTimeClockTest, UpdateReadsTheRealTimeClockAndReturnsItsStatus) {
  TheTime time = At(5, 6);
  FakeSystem system;
  EXPECT_EQ(time.Update(), 0);
  EXPECT_EQ(time.ts.tv_sec, 1794689874);
  EXPECT_EQ(time.ts.tv_nsec, 123456789);
  EXPECT_THAT(system.clocks_read, ElementsAre(CLOCK_REALTIME));

  system.now = {-1, 1};
  EXPECT_EQ(time.Update(), 0);
  EXPECT_EQ(time.ts.tv_sec, -1);
  EXPECT_EQ(time.ts.tv_nsec, 1);
}

TEST_F(TheTimeClockTest, UpdateReturnsTheStatusOfAClockThatFails) {
  TheTime time = At(5, 6);
  FakeSystem system;
  system.clock_status = -1;
  EXPECT_EQ(time.Update(), -1);
  EXPECT_EQ(time.ts.tv_sec, 5);
  EXPECT_EQ(time.ts.tv_nsec, 6);
}

TEST_F(TheTimeClockTest, SetSystemTimeSetsWholeSeconds) {
  const TheTime time = At(1794689874, 999999999);
  FakeSystem system;
  EXPECT_TRUE(time.SetSystemTime());
  ASSERT_EQ(system.set.size(), 1U);
  EXPECT_EQ(system.set[0].tv_sec, 1794689874);
  EXPECT_EQ(system.set[0].tv_usec, 0);
  EXPECT_FALSE(system.zone_given);
  EXPECT_EQ(time.ts.tv_nsec, 999999999);
}

TEST_F(TheTimeClockTest, SetSystemTimeReturnsFalseIfTheSystemRefuses) {
  const TheTime time = At(-7, 8);
  FakeSystem system;
  for (const int status : {-1, 1}) {
    system.set_status = status;
    EXPECT_FALSE(time.SetSystemTime());
  }
  EXPECT_EQ(system.set.size(), 2U);
  EXPECT_EQ(time.ts.tv_sec, -7);
  EXPECT_EQ(time.ts.tv_nsec, 8);
}

TEST_F(TheTimeClockTest, TheFreeFunctionsFormatTheCurrentTime) {
  FakeSystem system;
  EXPECT_EQ(strtime(), "[2026:11:14 20:57:54] ");
  EXPECT_EQ(strtimeonly(), "205754");
  EXPECT_EQ(strdateonly(), "20261114");
  EXPECT_EQ(intdayonly(), 14);
}

TEST_F(TheTimeClockTest, TheFreeFunctionsReadTheClockOnceInWholeSeconds) {
  const std::function<void()> functions[] = {
      [] { strtime(); }, [] { strtimeonly(); }, [] { strdateonly(); },
      [] { intdayonly(); }};
  for (const auto& function : functions) {
    FakeSystem system;
    function();
    EXPECT_EQ(system.times_read, 1);
    EXPECT_THAT(system.clocks_read, IsEmpty());
    EXPECT_THAT(system.converted, ElementsAre(1794689874));
  }
}

TEST_F(TheTimeClockTest, TheFreeFunctionsUseLocalTime) {
  const InZone zone(kKathmandu);
  FakeSystem system;
  EXPECT_EQ(strtime(), "[2026:11:15 02:42:54] ");
  EXPECT_EQ(strtimeonly(), "024254");
  EXPECT_EQ(strdateonly(), "20261115");
  EXPECT_EQ(intdayonly(), 15);
}

TEST_F(TheTimeClockTest, TheFreeFunctionsPadTheYearToTwoDigits) {
  struct Case {
    std::time_t now;
    const char* stamp;
    const char* date;
  };
  constexpr Case kCases[] = {
      {0, "[1970:01:01 00:00:00] ", "19700101"},
      {2147483648, "[2038:01:19 03:14:08] ", "20380119"},
      {253402300800, "[10000:01:01 00:00:00] ", "100000101"},
      {-30641760000, "[999:01:01 00:00:00] ", "9990101"},
      {-62135596800, "[01:01:01 00:00:00] ", "010101"},
      {-62167219201, "[-1:12:31 23:59:59] ", "-11231"},
      {67768036191676799, "[2147485547:12:31 23:59:59] ", "21474855471231"},
      {-67768040609740800, "[-2147481748:01:01 00:00:00] ", "-21474817480101"},
  };
  FakeSystem system;
  for (const Case& c : kCases) {
    system.now.tv_sec = c.now;
    EXPECT_EQ(strtime(), c.stamp);
    EXPECT_EQ(strdateonly(), c.date);
  }
}

TEST_F(TheTimeClockTest, ADateThatLocaltimeRefusesIsZero) {
  const TheTime time = At(1794689874);
  FakeSystem system;
  system.calendar = [](std::tm* fields) -> std::tm* {
    fields->tm_hour = 3;  // ignored after a failure
    fields->tm_mday = 4;
    return nullptr;
  };
  EXPECT_EQ(time.SaveToString(), "19000100x000000");
  EXPECT_EQ(time.GetTimeStr(":"), "00:00:00");
  unsigned seconds = 7;
  EXPECT_EQ(time.GetDaySec(seconds), 0);
  EXPECT_EQ(seconds, 0U);
  EXPECT_FALSE(time.DateChanged(At(0)));
  EXPECT_EQ(strtime(), "[1900:01:00 00:00:00] ");
  EXPECT_EQ(strtimeonly(), "000000");
  EXPECT_EQ(strdateonly(), "19000100");
  EXPECT_EQ(intdayonly(), 0);
}

TEST_F(TheTimeClockTest, ALeapSecondIsWritten) {
  const TheTime time = At(1483228800);
  FakeSystem system;
  system.calendar = [](std::tm* fields) {
    *fields = {};
    fields->tm_year = 116;
    fields->tm_mon = 11;
    fields->tm_mday = 31;
    fields->tm_hour = 23;
    fields->tm_min = 59;
    fields->tm_sec = 60;
    return fields;
  };
  EXPECT_EQ(time.GetStr(false), "2016.12.31 23:59:60");
  unsigned seconds = 0;
  EXPECT_EQ(time.GetDaySec(seconds), 31);
  EXPECT_EQ(seconds, 86400U);
}

TEST_F(TheTimeClockTest, EveryTextUsesOneConversion) {
  const TheTime time = At(1794689874, 999999999);
  const std::function<void()> functions[] = {[&] { time.SaveToString(); },
                                             [&] { time.GetStr(true); },
                                             [&] { time.GetStr(false); },
                                             [&] { time.GetHumanStr(); },
                                             [&] { time.GetDateStr(); },
                                             [&] { time.GetDateStr2(); },
                                             [&] { time.GetTimeStr(" : "); },
                                             [&] {
                                               unsigned seconds = 0;
                                               time.GetDaySec(seconds);
                                             }};
  for (const auto& function : functions) {
    FakeSystem system;
    function();
    EXPECT_THAT(system.converted, ElementsAre(1794689874));
    EXPECT_THAT(system.clocks_read, IsEmpty());
  }
}

// Any int: small ones of either sign, and the extremes.
int RandomField(std::mt19937& random) {
  constexpr int kExtremes[] = {INT_MIN, INT_MAX, -100, -99, -10, -9, -1,
                               0,       9,       10,   99,  100, 999};
  if (random() % 3 == 0) return kExtremes[random() % std::size(kExtremes)];
  return static_cast<int>(random()) >> (random() % 32);
}

TEST_F(TheTimeClockTest, FieldsOfAnySizeAreWrittenAsByPrintf) {
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  const TheTime time = At(0);
  FakeSystem system;
  for (int i = 0; i < 20000; ++i) {
    std::tm tm{};
    for (int* field : {&tm.tm_year, &tm.tm_mon, &tm.tm_mday, &tm.tm_hour,
                       &tm.tm_min, &tm.tm_sec})
      *field = RandomField(random);
    system.calendar = [&tm](std::tm* fields) { return &(*fields = tm); };

    const long long y = 1900LL + tm.tm_year;
    const long long mo = 1LL + tm.tm_mon;
    const int d = tm.tm_mday;
    const int h = tm.tm_hour;
    const int m = tm.tm_min;
    const int s = tm.tm_sec;
    ASSERT_EQ(time.SaveToString(),
              Printed("%04lld%02lld%02dx%02d%02d%02d", y, mo, d, h, m, s));
    ASSERT_EQ(time.GetStr(true), Printed("[%04lld.%02lld.%02d %02d:%02d:%02d] ",
                                         y, mo, d, h, m, s));
    ASSERT_EQ(
        time.GetHumanStr(),
        Printed("on %04lld.%02lld.%02d at %02d:%02d:%02d", y, mo, d, h, m, s));
    ASSERT_EQ(time.GetDateStr2(), Printed("%02d%02lld%04lld", d, mo, y));
    ASSERT_EQ(time.GetTimeStr("-"), Printed("%02d-%02d-%02d", h, m, s));
    ASSERT_EQ(strtime(), Printed("[%02lld:%02lld:%02d %02d:%02d:%02d] ", y, mo,
                                 d, h, m, s));
    ASSERT_EQ(strtimeonly(), Printed("%02d%02d%02d", h, m, s));
    ASSERT_EQ(strdateonly(), Printed("%02lld%02lld%02d", y, mo, d));
    ASSERT_EQ(intdayonly(), d);
    system.converted.clear();
  }
}

TEST_F(TheTimeClockTest, LoadFromStringPassesTheFieldsToMktime) {
  TheTime time = At(1, 2);
  FakeSystem system;
  system.make_time = [](std::tm*) { return std::time_t{4711}; };
  EXPECT_TRUE(time.LoadFromString("20261114x205754"));
  EXPECT_EQ(time.ts.tv_sec, 4711);
  EXPECT_EQ(time.ts.tv_nsec, 2);
  EXPECT_TRUE(time.LoadFromString("19990102"));

  ASSERT_EQ(system.made.size(), 2U);
  const std::tm& full = system.made[0];
  EXPECT_EQ(full.tm_year, 126);
  EXPECT_EQ(full.tm_mon, 10);
  EXPECT_EQ(full.tm_mday, 14);
  EXPECT_EQ(full.tm_hour, 20);
  EXPECT_EQ(full.tm_min, 57);
  EXPECT_EQ(full.tm_sec, 54);
  const std::tm& date = system.made[1];
  EXPECT_EQ(date.tm_year, 99);
  EXPECT_EQ(date.tm_mon, 0);
  EXPECT_EQ(date.tm_mday, 2);
  EXPECT_EQ(date.tm_hour, 0);
  EXPECT_EQ(date.tm_min, 0);
  EXPECT_EQ(date.tm_sec, 0);
  for (const std::tm& fields : system.made) {
    EXPECT_LT(fields.tm_isdst, 0);
    EXPECT_EQ(fields.tm_wday, 0);
    EXPECT_EQ(fields.tm_yday, 0);
    EXPECT_EQ(fields.tm_gmtoff, 0);
    EXPECT_EQ(fields.tm_zone, nullptr);
  }
}

TEST_F(TheTimeClockTest, LoadFromStringKeepsWhateverMktimeReturns) {
  TheTime time = At(1, 2);
  FakeSystem system;
  system.make_time = [](std::tm*) { return std::time_t{-1}; };
  EXPECT_TRUE(time.LoadFromString("20261114x205754"));
  EXPECT_EQ(time.ts.tv_sec, -1);
  EXPECT_EQ(time.ts.tv_nsec, 2);
}

TEST_F(TheTimeClockTest, ATextThatFailsCallsNoSystemFunction) {
  TheTime time = At(1, 2);
  FakeSystem system;
  EXPECT_FALSE(time.LoadFromString(""));
  EXPECT_FALSE(time.LoadFromString("20261114x2057ss"));
  EXPECT_THROW(time.LoadFromString("2026111"), std::out_of_range);
  EXPECT_THAT(system.made, IsEmpty());
  EXPECT_THAT(system.converted, IsEmpty());
  EXPECT_THAT(system.clocks_read, IsEmpty());
}

}  // namespace
}  // namespace fairlead::internal
