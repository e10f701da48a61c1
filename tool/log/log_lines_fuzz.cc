// Any bytes are logged as lines: alike however they are cut, and as a list of
// lines and counts says.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/log/line_logger.h"

namespace {

using fairlead::tool::Concat;
using fairlead::tool::LineLogger;
using fairlead::tool::StampForm;

void Require(bool holds) {
  if (!holds) std::abort();
}

// Logs the bytes in pieces of that size.
std::string Logged(std::string_view bytes, std::size_t size,
                   std::optional<double> interval) {
  std::string log;
  LineLogger logger(StampForm::kNone, interval,
                    [&](const std::string& line) { log += line; });
  Require(logger.Wait() == -1);
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, size);
    bytes.remove_prefix(piece.size());
    logger.Take(piece);
    logger.ReportEnded();
    Require(interval || logger.Wait() == -1);
  }
  logger.End();
  Require(logger.Wait() == -1);
  return log;
}

// The lines, each once, and then the counts of the others, those whose last
// repeat is the oldest first.
std::string WithoutRepeats(const std::string& bytes) {
  struct Wave {
    std::string line;
    std::int64_t repeats;
  };
  std::string log;
  std::list<Wave> waves;
  std::istringstream lines(bytes);
  for (std::string line; std::getline(lines, line);) {
    const auto known = std::ranges::find(waves, line, &Wave::line);
    if (known == waves.end()) {
      log += line + "\n";
      waves.push_back({line, 0});
    } else {
      ++known->repeats;
      waves.splice(waves.end(), waves, known);
    }
  }
  for (const auto& [line, repeats] : waves)
    if (repeats > 0)
      log += Concat("repeated ", repeats,
                    repeats == 1 ? " time: " : " times: ", line, "\n");
  return log;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  const std::size_t cut = data[0] + std::size_t{1};
  const std::string bytes(data + 1, data + size);
  constexpr double kNeverEnding = 1e9;

  const bool ends_line = bytes.empty() || bytes.ends_with('\n');
  Require(Logged(bytes, cut, {}) == bytes + (ends_line ? "" : "\n"));
  Require(Logged(bytes, cut, kNeverEnding) == WithoutRepeats(bytes));
  return 0;
}
