// Times of day and file positions as text beside other libraries. Each group
// uses random values, and every peer returns fairlead's result unless its name
// says otherwise.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/time/file_pos.h"
#include "fairlead/time/time_of_day.h"

#ifdef FAIRLEAD_PEER_ABSL_STR_FORMAT
#include <absl/strings/str_format.h>
#endif
#ifdef FAIRLEAD_PEER_ABSL_STRINGS
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#endif
#ifdef FAIRLEAD_PEER_FMT
#include <fmt/compile.h>
#include <fmt/format.h>
#endif
#ifdef FAIRLEAD_PEER_GLIB
#include <glib.h>
#endif

namespace {

using fairlead::CFilePos;
using fairlead::CTimeOfDay;

constexpr std::size_t kValues = 1024;  // A power of 2: cheap to cycle over.

// Seconds of one day.
const std::vector<int>& Seconds() {
  static const std::vector<int> seconds = [] {
    std::mt19937 random(20261114);
    std::uniform_int_distribution<int> day(0, 86399);
    std::vector<int> made(kValues);
    for (int& value : made) value = day(random);
    return made;
  }();
  return seconds;
}

// Offsets of every length, and so in every unit.
const std::vector<std::uint64_t>& Offsets() {
  static const std::vector<std::uint64_t> offsets = [] {
    std::mt19937_64 random(20261114);
    std::vector<std::uint64_t> made(kValues);
    for (std::uint64_t& value : made) value = random() >> random() % 64;
    return made;
  }();
  return offsets;
}

CFilePos At(std::uint64_t offset) {
  CFilePos at;
  at.position.__pos = static_cast<std::int64_t>(offset);
  return at;
}

// The same offsets as texts.
const std::vector<std::string>& HexTexts() {
  static const std::vector<std::string> texts = [] {
    std::vector<std::string> made;
    for (const std::uint64_t offset : Offsets())
      made.push_back(At(offset).GetStr());
    return made;
  }();
  return texts;
}

// Times `function` on all values.
template <typename Value, typename Function>
void Time(benchmark::State& state, const std::vector<Value>& values,
          Function function) {
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(function(values[i]));
    i = (i + 1) % kValues;
  }
}

// Times `function`, after checking that its results are those of `ours`.
template <typename Value, typename Ours, typename Function>
void TimeAlike(benchmark::State& state, const std::vector<Value>& values,
               Ours ours, Function function) {
  for (const Value& value : values) {
    if (function(value) == ours(value)) continue;
    state.SkipWithError("differs from fairlead's result");
    return;
  }
  Time(state, values, function);
}

std::string OurStamp(int seconds) {
  return CTimeOfDay{seconds}.GetStampString();
}

template <typename TextOf>
void TimeStamp(benchmark::State& state, TextOf text_of) {
  TimeAlike(state, Seconds(), OurStamp, [&](int seconds) {
    return text_of(seconds / 3600, seconds / 60 % 60, seconds % 60);
  });
}

void StampFairlead(benchmark::State& state) {
  Time(state, Seconds(), OurStamp);
}
BENCHMARK(StampFairlead)->Name("DayText/fairlead");

void StampSnprintf(benchmark::State& state) {
  TimeStamp(state, [](int hours, int minutes, int seconds) {
    char text[36];
    const int length = std::snprintf(text, sizeof text, "%02d:%02d:%02d", hours,
                                     minutes, seconds);
    return std::string(text, static_cast<std::size_t>(length));
  });
}
BENCHMARK(StampSnprintf)->Name("DayText/snprintf");

char* ToChars2(char* at, int number) {
  if (number < 10) *at++ = '0';
  return std::to_chars(at, at + 11, number).ptr;
}

void StampToChars(benchmark::State& state) {
  TimeStamp(state, [](int hours, int minutes, int seconds) {
    char text[36];
    char* at = ToChars2(text, hours);
    *at++ = ':';
    at = ToChars2(at, minutes);
    *at++ = ':';
    at = ToChars2(at, seconds);
    return std::string(text, at);
  });
}
BENCHMARK(StampToChars)->Name("DayText/std::to_chars");

#ifdef FAIRLEAD_PEER_FMT
void StampFmt(benchmark::State& state) {
  TimeStamp(state, [](int hours, int minutes, int seconds) {
    return fmt::format(FMT_COMPILE("{:02}:{:02}:{:02}"), hours, minutes,
                       seconds);
  });
}
BENCHMARK(StampFmt)->Name("DayText/fmt");
#endif

#ifdef FAIRLEAD_PEER_ABSL_STR_FORMAT
void StampAbsl(benchmark::State& state) {
  TimeStamp(state, [](int hours, int minutes, int seconds) {
    return absl::StrFormat("%02d:%02d:%02d", hours, minutes, seconds);
  });
}
BENCHMARK(StampAbsl)->Name("DayText/absl::StrFormat");
#endif

#ifdef FAIRLEAD_PEER_ABSL_STRINGS
void StampAbslCat(benchmark::State& state) {
  TimeStamp(state, [](int hours, int minutes, int seconds) {
    return absl::StrCat(absl::Dec(hours, absl::kZeroPad2), ":",
                        absl::Dec(minutes, absl::kZeroPad2), ":",
                        absl::Dec(seconds, absl::kZeroPad2));
  });
}
BENCHMARK(StampAbslCat)->Name("DayText/absl::StrCat");
#endif

#ifdef FAIRLEAD_PEER_GLIB
void StampGlib(benchmark::State& state) {
  TimeStamp(state, [](int hours, int minutes, int seconds) {
    char* const made =
        g_strdup_printf("%02d:%02d:%02d", hours, minutes, seconds);
    std::string text(made);
    g_free(made);
    return text;
  });
}
BENCHMARK(StampGlib)->Name("DayText/glib");
#endif

std::string OurSize(std::uint64_t offset) { return At(offset).GetText(); }

// The parts of a size text. The peers below only print them.
struct Size {
  unsigned whole = 0;
  unsigned decimals = 0;
  int digits = 0;  // How many decimals.
  const char* unit = "bytes";
};

Size SizeOf(std::uint64_t offset) {
  static constexpr const char* kUnits[] = {"bytes", "Kb", "Mb", "Gb",
                                           "Tb",    "Pb", "Eb"};
  if (offset < 1024) return {.whole = static_cast<unsigned>(offset)};
  const unsigned power = static_cast<unsigned>(std::bit_width(offset) - 1) / 10;
  Size size{.whole = static_cast<unsigned>(offset >> (10 * power)),
            .unit = kUnits[power]};
  if (offset % (std::uint64_t{1} << (10 * power)) == 0) return size;
  const unsigned part = (offset >> (10 * (power - 1))) % 1024 + 1;
  const unsigned steps = size.whole < 10 ? 100 : size.whole < 100 ? 10 : 1;
  size.decimals = part * steps / 1024 + 1;
  size.digits = size.whole < 10 ? 2 : 1;
  if (size.decimals >= steps) return {size.whole + 1, 0, 0, size.unit};
  return size;
}

template <typename TextOf>
void TimeSize(benchmark::State& state, TextOf text_of) {
  TimeAlike(state, Offsets(), OurSize,
            [&](std::uint64_t offset) { return text_of(SizeOf(offset)); });
}

void SizeFairlead(benchmark::State& state) { Time(state, Offsets(), OurSize); }
BENCHMARK(SizeFairlead)->Name("SizeText/fairlead");

void SizeSnprintf(benchmark::State& state) {
  TimeSize(state, [](const Size& size) {
    char text[36];
    const int length =
        size.digits == 0
            ? std::snprintf(text, sizeof text, "%u %s", size.whole, size.unit)
            : std::snprintf(text, sizeof text, "%u.%0*u %s", size.whole,
                            size.digits, size.decimals, size.unit);
    return std::string(text, static_cast<std::size_t>(length));
  });
}
BENCHMARK(SizeSnprintf)->Name("SizeText/snprintf");

void SizeToChars(benchmark::State& state) {
  TimeSize(state, [](const Size& size) {
    char text[36];
    char* at = std::to_chars(text, text + 11, size.whole).ptr;
    if (size.digits > 0) {
      *at++ = '.';
      if (size.digits == 2 && size.decimals < 10) *at++ = '0';
      at = std::to_chars(at, at + 11, size.decimals).ptr;
    }
    *at++ = ' ';
    const std::string_view unit = size.unit;
    return std::string(text, std::copy(unit.begin(), unit.end(), at));
  });
}
BENCHMARK(SizeToChars)->Name("SizeText/std::to_chars");

#ifdef FAIRLEAD_PEER_FMT
void SizeFmt(benchmark::State& state) {
  TimeSize(state, [](const Size& size) {
    if (size.digits == 0)
      return fmt::format(FMT_COMPILE("{} {}"), size.whole, size.unit);
    if (size.digits == 1)
      return fmt::format(FMT_COMPILE("{}.{} {}"), size.whole, size.decimals,
                         size.unit);
    return fmt::format(FMT_COMPILE("{}.{:02} {}"), size.whole, size.decimals,
                       size.unit);
  });
}
BENCHMARK(SizeFmt)->Name("SizeText/fmt");
#endif

#ifdef FAIRLEAD_PEER_ABSL_STR_FORMAT
void SizeAbsl(benchmark::State& state) {
  TimeSize(state, [](const Size& size) {
    if (size.digits == 0)
      return absl::StrFormat("%u %s", size.whole, size.unit);
    return absl::StrFormat("%u.%0*u %s", size.whole, size.digits, size.decimals,
                           size.unit);
  });
}
BENCHMARK(SizeAbsl)->Name("SizeText/absl::StrFormat");
#endif

#ifdef FAIRLEAD_PEER_ABSL_STRINGS
void SizeAbslCat(benchmark::State& state) {
  TimeSize(state, [](const Size& size) {
    if (size.digits == 0) return absl::StrCat(size.whole, " ", size.unit);
    const auto pad = size.digits == 2 ? absl::kZeroPad2 : absl::kNoPad;
    return absl::StrCat(size.whole, ".", absl::Dec(size.decimals, pad), " ",
                        size.unit);
  });
}
BENCHMARK(SizeAbslCat)->Name("SizeText/absl::StrCat");
#endif

#ifdef FAIRLEAD_PEER_GLIB
// Prints "1.5 KiB" for "1.51 Kb", the closest form it has.
void SizeGlib(benchmark::State& state) {
  Time(state, Offsets(), [](std::uint64_t offset) {
    char* const made = g_format_size_full(offset, G_FORMAT_SIZE_IEC_UNITS);
    std::string text(made);
    g_free(made);
    return text;
  });
}
BENCHMARK(SizeGlib)->Name("SizeText/glib (own form)");
#endif

std::string OurHex(std::uint64_t offset) { return At(offset).GetStr(); }

template <typename TextOf>
void TimeHexText(benchmark::State& state, TextOf text_of) {
  TimeAlike(state, Offsets(), OurHex, text_of);
}

void HexTextFairlead(benchmark::State& state) {
  Time(state, Offsets(), OurHex);
}
BENCHMARK(HexTextFairlead)->Name("HexText/fairlead");

void HexTextSnprintf(benchmark::State& state) {
  TimeHexText(state, [](std::uint64_t offset) {
    char text[17];
    const int length = std::snprintf(text, sizeof text, "%016lX", offset);
    return std::string(text, static_cast<std::size_t>(length));
  });
}
BENCHMARK(HexTextSnprintf)->Name("HexText/snprintf");

// It writes neither upper case nor leading zeros.
void HexTextToChars(benchmark::State& state) {
  TimeHexText(state, [](std::uint64_t offset) {
    char digits[16];
    char* const end = std::to_chars(digits, digits + 16, offset, 16).ptr;
    std::string text(16, '0');
    std::transform(digits, end, text.end() - (end - digits), [](char c) {
      return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return text;
  });
}
BENCHMARK(HexTextToChars)->Name("HexText/std::to_chars");

#ifdef FAIRLEAD_PEER_FMT
void HexTextFmt(benchmark::State& state) {
  TimeHexText(state, [](std::uint64_t offset) {
    return fmt::format(FMT_COMPILE("{:016X}"), offset);
  });
}
BENCHMARK(HexTextFmt)->Name("HexText/fmt");
#endif

#ifdef FAIRLEAD_PEER_ABSL_STR_FORMAT
void HexTextAbsl(benchmark::State& state) {
  TimeHexText(state, [](std::uint64_t offset) {
    return absl::StrFormat("%016X", offset);
  });
}
BENCHMARK(HexTextAbsl)->Name("HexText/absl::StrFormat");
#endif

#ifdef FAIRLEAD_PEER_ABSL_STRINGS
// In lower case only.
void HexTextAbslCat(benchmark::State& state) {
  Time(state, Offsets(), [](std::uint64_t offset) {
    return absl::StrCat(absl::Hex(offset, absl::kZeroPad16));
  });
}
BENCHMARK(HexTextAbslCat)->Name("HexText/absl::StrCat (lower case)");
#endif

#ifdef FAIRLEAD_PEER_GLIB
void HexTextGlib(benchmark::State& state) {
  TimeHexText(state, [](std::uint64_t offset) {
    char* const made = g_strdup_printf("%016lX", offset);
    std::string text(made);
    g_free(made);
    return text;
  });
}
BENCHMARK(HexTextGlib)->Name("HexText/glib");
#endif

std::uint64_t OurOffset(const std::string& text) {
  CFilePos at;
  at.LoadFromString(text);
  return static_cast<std::uint64_t>(at.position.__pos);
}

template <typename OffsetOf>
void TimeHexRead(benchmark::State& state, OffsetOf offset_of) {
  TimeAlike(state, HexTexts(), OurOffset, offset_of);
}

void HexReadFairlead(benchmark::State& state) {
  Time(state, HexTexts(), OurOffset);
}
BENCHMARK(HexReadFairlead)->Name("HexRead/fairlead");

void HexReadSscanf(benchmark::State& state) {
  TimeHexRead(state, [](const std::string& text) {
    std::uint64_t offset = 0;
    std::sscanf(text.c_str(), "%lx", &offset);
    return offset;
  });
}
BENCHMARK(HexReadSscanf)->Name("HexRead/sscanf");

void HexReadStrtoull(benchmark::State& state) {
  TimeHexRead(state, [](const std::string& text) {
    return std::uint64_t{std::strtoull(text.c_str(), nullptr, 16)};
  });
}
BENCHMARK(HexReadStrtoull)->Name("HexRead/strtoull");

void HexReadFromChars(benchmark::State& state) {
  TimeHexRead(state, [](const std::string& text) {
    std::uint64_t offset = 0;
    std::from_chars(text.data(), text.data() + text.size(), offset, 16);
    return offset;
  });
}
BENCHMARK(HexReadFromChars)->Name("HexRead/std::from_chars");

#ifdef FAIRLEAD_PEER_ABSL_STRINGS
void HexReadAbsl(benchmark::State& state) {
  TimeHexRead(state, [](const std::string& text) {
    std::uint64_t offset = 0;
    (void)absl::SimpleHexAtoi(text, &offset);
    return offset;
  });
}
BENCHMARK(HexReadAbsl)->Name("HexRead/absl");
#endif

#ifdef FAIRLEAD_PEER_GLIB
void HexReadGlib(benchmark::State& state) {
  TimeHexRead(state, [](const std::string& text) {
    return std::uint64_t{g_ascii_strtoull(text.c_str(), nullptr, 16)};
  });
}
BENCHMARK(HexReadGlib)->Name("HexRead/glib");
#endif

}  // namespace
