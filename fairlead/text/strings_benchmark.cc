// The text helpers beside other libraries: numbers from and to text, trimming,
// case. Where fairlead returns a std::string, so does every peer.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/text/strings.h"

#ifdef FAIRLEAD_PEER_FMT
#include <fmt/format.h>
#endif
#ifdef FAIRLEAD_PEER_ABSL_STRINGS
#include <absl/strings/ascii.h>
#include <absl/strings/numbers.h>
#include <absl/strings/str_cat.h>
#endif

namespace {

constexpr int kInputs = 1000;
constexpr char kWhiteSpace[] = " \t\n\v\f\r";

// Numbers of every length, short and long ones equally often.
std::vector<int> Numbers() {
  std::mt19937 random(1);
  std::vector<int> numbers;
  for (int i = 0; i < kInputs; ++i) {
    const int number = static_cast<int>(random() >> (1 + random() % 31));
    numbers.push_back(random() % 4 == 0 ? -number : number);
  }
  return numbers;
}

std::string Letters(std::mt19937& random, std::size_t length) {
  std::string text;
  while (text.size() < length)
    text += static_cast<char>(random() % 8 == 0 ? ' ' : 'A' + random() % 58);
  return text;
}

// Times `convert` on all inputs, after checking its results.
template <typename Input, typename Output, typename Convert>
void Time(benchmark::State& state, const std::vector<Input>& inputs,
          const std::vector<Output>& expected, Convert convert) {
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (convert(inputs[i]) != expected[i]) {
      state.SkipWithError("wrong result");
      return;
    }
  }
  for ([[maybe_unused]] auto _ : state)
    for (const Input& input : inputs) benchmark::DoNotOptimize(convert(input));
}

template <typename Read>
void ReadInt(benchmark::State& state, Read read) {
  const std::vector<int> numbers = Numbers();
  std::vector<std::string> texts;
  texts.reserve(numbers.size());
  for (const int number : numbers) texts.push_back(std::to_string(number));
  Time(state, texts, numbers, read);
}

template <typename Write>
void WriteInt64(benchmark::State& state, Write write) {
  std::vector<std::int64_t> numbers;
  std::vector<std::string> texts;
  for (const int number : Numbers()) {
    numbers.push_back(std::int64_t{number} * number * number / 7);
    texts.push_back(std::to_string(numbers.back()));
  }
  Time(state, numbers, texts, write);
}

std::string PrintSixDigits(int number) {
  std::array<char, 16> text;
  const int length = std::snprintf(text.data(), text.size(), "%06d", number);
  return {text.data(), static_cast<std::size_t>(length)};
}

template <typename Write>
void WriteSixDigits(benchmark::State& state, Write write) {
  const std::vector<int> numbers = Numbers();
  std::vector<std::string> texts;
  texts.reserve(numbers.size());
  for (const int number : numbers) texts.push_back(PrintSixDigits(number));
  Time(state, numbers, texts, write);
}

template <typename Strip>
void TrimWhiteSpace(benchmark::State& state, Strip strip) {
  std::mt19937 random(2);
  const auto length = static_cast<std::size_t>(state.range(0));
  std::vector<std::string> texts;
  std::vector<std::string> trimmed;
  for (int i = 0; i < kInputs; ++i) {
    trimmed.push_back('(' + Letters(random, length - 2) + ')');
    texts.push_back(std::string(random() % 4, ' ') + trimmed.back() +
                    std::string(random() % 4, '\t'));
  }
  Time(state, texts, trimmed, strip);
}

std::string ToUpperByByte(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(), [](char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  });
  return upper;
}

template <typename Raise>
void Upper(benchmark::State& state, Raise raise) {
  std::mt19937 random(3);
  const auto length = static_cast<std::size_t>(state.range(0));
  std::vector<std::string> texts;
  std::vector<std::string> raised;
  for (int i = 0; i < kInputs; ++i) {
    texts.push_back(Letters(random, length));
    raised.push_back(ToUpperByByte(texts.back()));
  }
  Time(state, texts, raised, raise);
}

BENCHMARK_CAPTURE(ReadInt, fairlead, [](const std::string& text) {
  int number = 0;
  fairlead::getval<int>(text, number);
  return number;
});
BENCHMARK_CAPTURE(ReadInt, from_chars, [](const std::string& text) {
  int number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
});
BENCHMARK_CAPTURE(ReadInt, strtol, [](const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
});
BENCHMARK_CAPTURE(ReadInt, istringstream, [](const std::string& text) {
  int number = 0;
  std::istringstream(text) >> number;
  return number;
});

BENCHMARK_CAPTURE(WriteInt64, fairlead, fairlead::inttostr);
BENCHMARK_CAPTURE(WriteInt64, to_chars, [](std::int64_t number) {
  std::array<char, 20> text;
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), number);
  return std::string(text.data(), end.ptr);
});
BENCHMARK_CAPTURE(WriteInt64, to_string,
                  [](std::int64_t number) { return std::to_string(number); });

BENCHMARK_CAPTURE(WriteSixDigits, fairlead, fairlead::lz6);
BENCHMARK_CAPTURE(WriteSixDigits, snprintf, PrintSixDigits);

BENCHMARK_CAPTURE(TrimWhiteSpace, fairlead,
                  [](const std::string& text) {
                    return fairlead::TrimStr(text, kWhiteSpace, 0);
                  })
    ->Arg(12)
    ->Arg(200);

BENCHMARK_CAPTURE(Upper, fairlead, fairlead::MakeUpper)->Arg(12)->Arg(200);
BENCHMARK_CAPTURE(Upper, toupper, ToUpperByByte)->Arg(12)->Arg(200);

#ifdef FAIRLEAD_PEER_FMT
BENCHMARK_CAPTURE(WriteInt64, fmt,
                  [](std::int64_t number) { return fmt::to_string(number); });
BENCHMARK_CAPTURE(WriteSixDigits, fmt, [](int number) {
  return fmt::format(FMT_STRING("{:06}"), number);
});
#endif

#ifdef FAIRLEAD_PEER_ABSL_STRINGS
BENCHMARK_CAPTURE(ReadInt, absl, [](const std::string& text) {
  int number = 0;
  // The number is checked, not the status.
  static_cast<void>(absl::SimpleAtoi(text, &number));
  return number;
});
BENCHMARK_CAPTURE(WriteInt64, absl,
                  [](std::int64_t number) { return absl::StrCat(number); });
BENCHMARK_CAPTURE(WriteSixDigits, absl, [](int number) {
  return absl::StrCat(absl::Dec(number, absl::kZeroPad6));
});
BENCHMARK_CAPTURE(TrimWhiteSpace, absl,
                  [](const std::string& text) {
                    return std::string(absl::StripAsciiWhitespace(text));
                  })
    ->Arg(12)
    ->Arg(200);
BENCHMARK_CAPTURE(Upper, absl,
                  [](const std::string& text) {
                    return absl::AsciiStrToUpper(text);
                  })
    ->Arg(12)
    ->Arg(200);
#endif

}  // namespace
