// What fuzzers share. Not installed.

#ifndef FAIRLEAD_TESTING_FUZZING_H_
#define FAIRLEAD_TESTING_FUZZING_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fairlead::internal {

// Ends the fuzzer, which keeps the input, unless the law holds.
inline void RequireLaw(bool holds, const char* file = __builtin_FILE(),
                       int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: the law is broken\n", file, line);
  std::abort();
}

inline std::string_view InputText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Cuts an input of two parts at the line "----".
inline std::pair<std::string_view, std::string_view> CutAtRule(
    std::string_view input) {
  constexpr std::string_view kRule = "----\n";
  const std::size_t end = std::min(input.find(kRule), input.size());
  return {input.substr(0, end),
          input.substr(std::min(input.size(), end + kRule.size()))};
}

// Returns the lines without their newlines; none for an empty text. A zero byte
// ends a line early, as it would end an argument.
inline std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    lines.emplace_back(line.substr(0, line.find('\0')));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return lines;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TESTING_FUZZING_H_
