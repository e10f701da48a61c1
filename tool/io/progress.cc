// Draws a progress bar on standard error.

#include "tool/io/progress.h"

#include "tool/base/concat.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kWidth = 20;
constexpr std::size_t kNoPercent = 101;  // Differs from any percentage.

}  // namespace

std::string ProgressBar(std::size_t done, std::size_t total) {
  const std::size_t filled = done * kWidth / total;
  const std::string percent = Concat(done * 100 / total);
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
  const std::size_t percent = done * 100 / total_;
  if (!shown_ || percent == percent_) return;
  percent_ = percent;
  DrawBar(ProgressBar(done, total_));
}

}  // namespace fairlead::tool
