// Draws a progress bar on standard error.

#include "tool/io/progress.h"

#include <algorithm>

#include "tool/base/concat.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kWidth = 20;
constexpr std::size_t kNoPercent = 101;  // Differs from any percentage.

// A file may grow while it is sent.
std::size_t Part(std::size_t done, std::size_t total, std::size_t whole) {
  return std::min(done, total) * whole / total;
}

}  // namespace

std::string ProgressBar(std::size_t done, std::size_t total) {
  const std::size_t filled = Part(done, total, kWidth);
  const std::string percent = Concat(Part(done, total, 100));
  const std::size_t tenths = (total + 50'000) / 100'000;
  return Concat("[", std::string(filled, '#'),
                std::string(kWidth - filled, ' '), "]",
                std::string(4 - percent.size(), ' '), percent, "% of ",
                tenths / 10, ".", tenths % 10, " MB");
}

Progress::Progress(std::size_t total)
    : total_(total),
      shown_(!IsQuiet() && ErrorIsTerminal()),
      percent_(kNoPercent) {}

Progress::~Progress() { ClearBar(); }

void Progress::Show(std::size_t done) {
  const std::size_t percent = Part(done, total_, 100);
  if (!shown_ || percent == percent_) return;
  percent_ = percent;
  DrawBar(ProgressBar(done, total_));
}

}  // namespace fairlead::tool
