// Computes the unified diff of two texts.

#include "tool/ini/difference.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tool/base/concat.h"

namespace fairlead::tool {
namespace {

using Lines = std::vector<std::string_view>;

constexpr std::size_t kContext = 3;
constexpr std::size_t kMaxPairs = 4'000'000;

// One line of the difference: ' ' common, '-' removed, '+' added.
struct Step {
  char sign;
  std::string_view line;
};

// Splits the text into lines that keep their LF; the last may lack one.
Lines Split(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return lines;
}

void Append(std::vector<Step>& steps, char sign,
            std::span<const std::string_view> lines) {
  for (const std::string_view line : lines) steps.push_back({sign, line});
}

// The lengths of the longest common subsequences of all suffixes of two lists.
class CommonLengths {
 public:
  CommonLengths(std::span<const std::string_view> before,
                std::span<const std::string_view> after)
      : width_(after.size() + 1), lengths_((before.size() + 1) * width_) {
    for (std::size_t i = before.size(); i-- > 0;)
      for (std::size_t j = after.size(); j-- > 0;)
        lengths_[i * width_ + j] = before[i] == after[j]
                                       ? At(i + 1, j + 1) + 1
                                       : std::max(At(i + 1, j), At(i, j + 1));
  }

  // Returns the length for the suffixes that begin at these indexes.
  std::uint32_t At(std::size_t i, std::size_t j) const {
    return lengths_[i * width_ + j];
  }

 private:
  std::size_t width_;
  std::vector<std::uint32_t> lengths_;
};

void AppendChanged(std::vector<Step>& steps,
                   std::span<const std::string_view> before,
                   std::span<const std::string_view> after) {
  std::size_t i = 0;
  std::size_t j = 0;
  if ((before.size() + 1) * (after.size() + 1) <= kMaxPairs) {
    const CommonLengths common(before, after);
    while (i < before.size() && j < after.size()) {
      if (before[i] == after[j]) {
        steps.push_back({' ', before[i++]});
        ++j;
      } else if (common.At(i + 1, j) >= common.At(i, j + 1)) {
        steps.push_back({'-', before[i++]});
      } else {
        steps.push_back({'+', after[j++]});
      }
    }
  }
  Append(steps, '-', before.subspan(i));
  Append(steps, '+', after.subspan(j));
}

std::vector<Step> Steps(const Lines& old_lines, const Lines& new_lines) {
  std::span<const std::string_view> before = old_lines;
  std::span<const std::string_view> after = new_lines;
  const auto first = std::ranges::mismatch(before, after);
  const auto head = static_cast<std::size_t>(first.in1 - before.begin());
  std::size_t tail = 0;
  while (tail < std::min(before.size(), after.size()) - head &&
         before[before.size() - 1 - tail] == after[after.size() - 1 - tail])
    ++tail;

  std::vector<Step> steps;
  Append(steps, ' ', before.first(head));
  AppendChanged(steps, before.subspan(head, before.size() - head - tail),
                after.subspan(head, after.size() - head - tail));
  Append(steps, ' ', before.last(tail));
  return steps;
}

bool IsChange(const Step& step) { return step.sign != ' '; }

// Returns "12,3": the first line and the number of lines. If there are none,
// the first is the line before them.
std::string Range(std::size_t first, std::size_t count) {
  return Concat(count == 0 ? first - 1 : first, ",", count);
}

std::string Shown(const Step& step) {
  std::string text = Concat(std::string_view(&step.sign, 1), step.line);
  if (!text.ends_with('\n')) text += "\n\\ No newline at end of file\n";
  return text;
}

// Groups the steps into hunks, counting the lines of both texts.
class Hunks {
 public:
  explicit Hunks(std::span<const Step> steps) : steps_(steps) {}

  std::string Text() {
    std::string text;
    while (true) {
      const std::size_t change = NextChange(at_);
      if (change == steps_.size()) return text;
      MoveTo(std::max(at_, change - std::min(change, kContext)));
      text += Hunk(End(change));
    }
  }

 private:
  std::size_t NextChange(std::size_t from) const {
    const auto rest = steps_.subspan(from);
    return from + static_cast<std::size_t>(
                      std::ranges::find_if(rest, IsChange) - rest.begin());
  }

  // Returns the end of the hunk with this change. Changes whose contexts touch
  // share a hunk.
  std::size_t End(std::size_t change) const {
    std::size_t next = change;
    while (next < steps_.size() && next <= change + 2 * kContext + 1) {
      change = next;
      next = NextChange(change + 1);
    }
    return std::min(change + kContext + 1, steps_.size());
  }

  void MoveTo(std::size_t end) {
    for (; at_ < end; ++at_) {
      if (steps_[at_].sign != '+') ++old_line_;
      if (steps_[at_].sign != '-') ++new_line_;
    }
  }

  std::string Hunk(std::size_t end) {
    const std::size_t old_first = old_line_;
    const std::size_t new_first = new_line_;
    std::string lines;
    for (const Step& step : steps_.subspan(at_, end - at_))
      lines += Shown(step);
    MoveTo(end);
    return Concat("@@ -", Range(old_first, old_line_ - old_first), " +",
                  Range(new_first, new_line_ - new_first), " @@\n", lines);
  }

  std::span<const Step> steps_;
  std::size_t at_ = 0;
  std::size_t old_line_ = 1;
  std::size_t new_line_ = 1;
};

}  // namespace

std::string Difference(std::string_view name, std::string_view before,
                       std::string_view after) {
  if (before == after) return "";
  const std::vector<Step> steps = Steps(Split(before), Split(after));
  return Concat("--- ", name, "\n+++ ", name, "\n", Hunks(steps).Text());
}

}  // namespace fairlead::tool
