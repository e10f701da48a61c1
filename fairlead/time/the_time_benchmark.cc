// TheTime beside other ways to read the clock, write an instant and read it.
// The system's own conversion alone is the lower limit for whatever uses the
// system's time zone.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "fairlead/time/the_time.h"

#ifdef FAIRLEAD_PEER_FMT
#include <fmt/chrono.h>
#include <fmt/compile.h>
#endif
#ifdef FAIRLEAD_PEER_ABSL_TIME
#include <absl/time/time.h>
#endif
#ifdef FAIRLEAD_PEER_SPDLOG
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#endif

namespace {

using fairlead::TheTime;

constexpr char kZone[] = "Europe/Berlin";
constexpr char kFormat[] = "%Y%m%dx%H%M%S";

// Instants of one year in random order, so that no library profits from a
// cached result for the same second.
const std::vector<std::time_t>& Instants() {
  static const std::vector<std::time_t> instants = [] {
    setenv("TZ", kZone, 1);
    tzset();
    std::mt19937 random(20261114);
    std::uniform_int_distribution<std::time_t> year(1767225600, 1798761599);
    std::vector<std::time_t> made(1024);
    for (std::time_t& instant : made) instant = year(random);
    return made;
  }();
  return instants;
}

std::string OurText(std::time_t instant) {
  TheTime time;
  time.ts.tv_sec = instant;
  return time.SaveToString();
}

// The same instants as texts, without the hour that a clock change repeats.
const std::vector<std::string>& Texts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> made;
    for (const std::time_t instant : Instants()) {
      if (OurText(instant).compare(0, 11, "20261025x02") == 0) continue;
      made.push_back(OurText(instant));
    }
    return made;
  }();
  return texts;
}

// Times `text_of`, after checking that its texts are fairlead's.
template <typename TextOf>
void TimeText(benchmark::State& state, TextOf text_of) {
  const std::vector<std::time_t>& instants = Instants();
  for (const std::time_t instant : instants) {
    if (text_of(instant) == OurText(instant)) continue;
    state.SkipWithError("differs from fairlead's text");
    return;
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(text_of(instants[i]));
    i = (i + 1) % instants.size();
  }
}

// Times `instant_of`, after checking that its instants are fairlead's.
template <typename InstantOf>
void TimeRead(benchmark::State& state, InstantOf instant_of) {
  const std::vector<std::string>& texts = Texts();
  for (const std::string& text : texts) {
    if (OurText(instant_of(text)) == text) continue;
    state.SkipWithError("differs from fairlead's instant");
    return;
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(instant_of(texts[i]));
    i = (i + 1) % texts.size();
  }
}

void NowFairlead(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(TheTime());
}
BENCHMARK(NowFairlead)->Name("StampNow/fairlead");

void NowClockGettime(benchmark::State& state) {
  for (auto _ : state) {
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    benchmark::DoNotOptimize(ts);
  }
}
BENCHMARK(NowClockGettime)->Name("StampNow/clock_gettime alone");

void NowChrono(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(std::chrono::system_clock::now());
}
BENCHMARK(NowChrono)->Name("StampNow/std::chrono");

void TextFairlead(benchmark::State& state) {
  TheTime time;
  TimeText(state, [&](std::time_t instant) {
    time.ts.tv_sec = instant;
    return time.SaveToString();
  });
}
BENCHMARK(TextFairlead)->Name("StampText/fairlead");

void TextLocaltime(benchmark::State& state) {
  const std::vector<std::time_t>& instants = Instants();
  std::size_t i = 0;
  for (auto _ : state) {
    std::tm tm;
    benchmark::DoNotOptimize(localtime_r(&instants[i], &tm));
    i = (i + 1) % instants.size();
  }
}
BENCHMARK(TextLocaltime)->Name("StampText/localtime_r alone");

// The current time as text, where a library may keep the text of this second.
// The system's functions are called each time: they are the lower limit.
void TextNowFairlead(benchmark::State& state) {
  Instants();  // Sets the time zone.
  for (auto _ : state) benchmark::DoNotOptimize(fairlead::strtime());
}
BENCHMARK(TextNowFairlead)->Name("NowText/fairlead");

void TextNowLocaltime(benchmark::State& state) {
  Instants();
  for (auto _ : state) {
    const std::time_t now = std::time(nullptr);
    std::tm tm;
    benchmark::DoNotOptimize(localtime_r(&now, &tm));
  }
}
BENCHMARK(TextNowLocaltime)->Name("NowText/localtime_r alone");

#ifdef FAIRLEAD_PEER_SPDLOG
void TextNowSpdlog(benchmark::State& state) {
  Instants();
  spdlog::pattern_formatter formatter("[%Y:%m:%d %H:%M:%S] ",
                                      spdlog::pattern_time_type::local, "");
  spdlog::details::log_msg message;
  for (auto _ : state) {
    message.time = spdlog::log_clock::now();
    spdlog::memory_buf_t text;
    formatter.format(message, text);
    benchmark::DoNotOptimize(std::string(text.data(), text.size()));
  }
}
BENCHMARK(TextNowSpdlog)->Name("NowText/spdlog");
#endif

void TextStrftime(benchmark::State& state) {
  TimeText(state, [](std::time_t instant) {
    std::tm tm;
    localtime_r(&instant, &tm);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, kFormat, &tm));
  });
}
BENCHMARK(TextStrftime)->Name("StampText/strftime");

void TextSnprintf(benchmark::State& state) {
  TimeText(state, [](std::time_t instant) {
    std::tm tm;
    localtime_r(&instant, &tm);
    char text[80];
    std::snprintf(text, sizeof text, "%04d%02d%02dx%02d%02d%02d",
                  tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour,
                  tm.tm_min, tm.tm_sec);
    return std::string(text);
  });
}
BENCHMARK(TextSnprintf)->Name("StampText/snprintf");

#ifdef FAIRLEAD_PEER_FMT
void TextFmt(benchmark::State& state) {
  TimeText(state, [](std::time_t instant) {
    return fmt::format(FMT_COMPILE("{:%Y%m%dx%H%M%S}"),
                       fmt::localtime(instant));
  });
}
BENCHMARK(TextFmt)->Name("StampText/fmt");
#endif

#ifdef FAIRLEAD_PEER_ABSL_TIME
absl::TimeZone AbslZone(benchmark::State& state) {
  absl::TimeZone zone;
  if (!absl::LoadTimeZone(kZone, &zone))
    state.SkipWithError("no such time zone");
  return zone;
}

void TextAbsl(benchmark::State& state) {
  const absl::TimeZone zone = AbslZone(state);
  TimeText(state, [&](std::time_t instant) {
    return absl::FormatTime(kFormat, absl::FromTimeT(instant), zone);
  });
}
BENCHMARK(TextAbsl)->Name("StampText/absl");
#endif

#ifdef FAIRLEAD_PEER_SPDLOG
void TextSpdlog(benchmark::State& state) {
  spdlog::pattern_formatter formatter(kFormat, spdlog::pattern_time_type::local,
                                      "");
  spdlog::details::log_msg message;
  TimeText(state, [&](std::time_t instant) {
    message.time = std::chrono::system_clock::from_time_t(instant);
    spdlog::memory_buf_t text;
    formatter.format(message, text);
    return std::string(text.data(), text.size());
  });
}
BENCHMARK(TextSpdlog)->Name("StampText/spdlog");
#endif

void ReadFairlead(benchmark::State& state) {
  TheTime time;
  TimeRead(state, [&](const std::string& text) {
    time.LoadFromString(text);
    return time.ts.tv_sec;
  });
}
BENCHMARK(ReadFairlead)->Name("StampRead/fairlead");

void ReadMktime(benchmark::State& state) {
  std::vector<std::tm> calendars;
  for (const std::time_t instant : Instants()) {
    std::tm tm;
    localtime_r(&instant, &tm);
    tm.tm_isdst = -1;
    calendars.push_back(tm);
  }
  std::size_t i = 0;
  for (auto _ : state) {
    std::tm tm = calendars[i];
    benchmark::DoNotOptimize(mktime(&tm));
    i = (i + 1) % calendars.size();
  }
}
BENCHMARK(ReadMktime)->Name("StampRead/mktime alone");

void ReadStrptime(benchmark::State& state) {
  TimeRead(state, [](const std::string& text) {
    std::tm tm{};
    strptime(text.c_str(), kFormat, &tm);
    tm.tm_isdst = -1;
    return mktime(&tm);
  });
}
BENCHMARK(ReadStrptime)->Name("StampRead/strptime");

void ReadSscanf(benchmark::State& state) {
  TimeRead(state, [](const std::string& text) {
    std::tm tm{};
    std::sscanf(text.c_str(), "%4d%2d%2dx%2d%2d%2d", &tm.tm_year, &tm.tm_mon,
                &tm.tm_mday, &tm.tm_hour, &tm.tm_min, &tm.tm_sec);
    tm.tm_year -= 1900;
    --tm.tm_mon;
    tm.tm_isdst = -1;
    return mktime(&tm);
  });
}
BENCHMARK(ReadSscanf)->Name("StampRead/sscanf");

#ifdef FAIRLEAD_PEER_ABSL_TIME
void ReadAbsl(benchmark::State& state) {
  const absl::TimeZone zone = AbslZone(state);
  TimeRead(state, [&](const std::string& text) {
    absl::Time time;
    std::string error;
    // "%Y" would read all eight digits of the date.
    absl::ParseTime("%E4Y%m%dx%H%M%S", text, zone, &time, &error);
    return absl::ToTimeT(time);
  });
}
BENCHMARK(ReadAbsl)->Name("StampRead/absl");
#endif

}  // namespace
