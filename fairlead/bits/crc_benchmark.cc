// The checksum beside the lower limit of its definition.
//
// Each value depends on the state that the previous one left, through a chain
// of three operations: two parallel shifts, an or, an exclusive or. At one
// cycle each, adding value by value takes at least three cycles per value,
// which is what a bare loop takes. Once the upper half of the state is full,
// values need not be added one by one.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include "fairlead/bits/crc.h"

namespace {

using fairlead::CCRC;

constexpr int kRotation = 5;

// Zero bytes, which never fill the upper half of the state, or printable
// characters, which fill it within about fifty values.
std::string Text(std::size_t size, bool fills) {
  std::mt19937 random(20261121);
  std::string text(size, '\0');
  if (!fills) return text;
  for (char& c : text) c = static_cast<char>(' ' + random() % 95);
  return text;
}

std::uint64_t OurSum(const std::string& text) {
  CCRC crc{.rotation = kRotation};
  crc.AddVal(text);
  return crc.ReadCRC();
}

std::uint64_t ValueByValue(const std::string& text) {
  CCRC crc{.rotation = kRotation};
  for (const char c : text) crc.AddVal(static_cast<unsigned int>(c));
  return crc.ReadCRC();
}

std::uint64_t BareLoop(const std::string& text) {
  std::uint64_t state = 0;
  for (const char c : text) {
    const auto value = static_cast<unsigned int>(c);
    state = value ^ (state >> (32 - kRotation) | state << kRotation);
  }
  return state;
}

template <std::uint64_t (*Sum)(const std::string&), bool kFills>
void Run(benchmark::State& state) {
  const std::string text =
      Text(static_cast<std::size_t>(state.range(0)), kFills);
  if (Sum(text) != BareLoop(text)) std::abort();
  for (auto _ : state) benchmark::DoNotOptimize(Sum(text));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

constexpr int kShort = 40;
constexpr int kLong = 1 << 20;

BENCHMARK(Run<OurSum, false>)->Name("CrcNeverFull/fairlead")->Arg(kLong);
BENCHMARK(Run<BareLoop, false>)->Name("CrcNeverFull/bare_loop")->Arg(kLong);
BENCHMARK(Run<OurSum, true>)->Name("CrcShortText/fairlead")->Arg(kShort);
BENCHMARK(Run<ValueByValue, true>)
    ->Name("CrcShortText/value_by_value")
    ->Arg(kShort);
BENCHMARK(Run<BareLoop, true>)->Name("CrcShortText/bare_loop")->Arg(kShort);
BENCHMARK(Run<OurSum, true>)->Name("CrcText/fairlead")->Arg(kLong);
BENCHMARK(Run<ValueByValue, true>)->Name("CrcText/value_by_value")->Arg(kLong);
BENCHMARK(Run<BareLoop, true>)->Name("CrcText/bare_loop")->Arg(kLong);

}  // namespace
