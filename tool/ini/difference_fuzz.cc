// Compares any two texts, passes the second one in pieces, and applies the diff
// to the first: the result is the second.
//
// The first byte is the size of the pieces. The texts have a line "----"
// between them.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/testing/fuzzing.h"
#include "tool/ini/difference.h"

namespace {

using fairlead::internal::RequireLaw;

// Takes a line with its newline, if it has one.
std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line =
      text.substr(0, end == std::string_view::npos ? end : end + 1);
  text.remove_prefix(line.size());
  return line;
}

std::size_t TakeNumber(std::string_view& text) {
  std::size_t number = 0;
  while (!text.empty() && text[0] >= '0' && text[0] <= '9') {
    number = number * 10 + static_cast<std::size_t>(text[0] - '0');
    text.remove_prefix(1);
  }
  return number;
}

// Applies a unified diff as `patch` does, line by line.
class Patch {
 public:
  Patch(std::string_view before, std::string_view diff)
      : before_(before), diff_(diff) {}

  std::string Applied() {
    if (!diff_.empty()) {
      RequireLaw(TakeLine(diff_).starts_with("--- "));
      RequireLaw(TakeLine(diff_).starts_with("+++ "));
    }
    while (!diff_.empty()) ApplyHunk();
    return result_ + std::string(before_);
  }

 private:
  void ApplyHunk() {
    std::string_view header = TakeLine(diff_);
    RequireLaw(header.starts_with("@@ -"));
    header.remove_prefix(4);
    const std::size_t start = TakeNumber(header);
    RequireLaw(header.starts_with(','));
    header.remove_prefix(1);
    std::size_t old_lines = TakeNumber(header);
    header.remove_prefix(std::min<std::size_t>(2, header.size()));
    TakeNumber(header);
    RequireLaw(header.starts_with(','));
    header.remove_prefix(1);
    std::size_t new_lines = TakeNumber(header);
    const std::size_t first = old_lines == 0 ? start + 1 : start;
    while (line_ < first) Keep();
    while (old_lines + new_lines > 0) ApplyLine(old_lines, new_lines);
  }

  void ApplyLine(std::size_t& old_lines, std::size_t& new_lines) {
    RequireLaw(!diff_.empty());
    const char sign = diff_[0];
    diff_.remove_prefix(1);
    std::string_view line = TakeLine(diff_);
    if (diff_.starts_with("\\ No newline")) {
      TakeLine(diff_);
      line.remove_suffix(1);
    }
    if (sign != '+') {
      RequireLaw(old_lines-- > 0 && TakeLine(before_) == line);
      ++line_;
    }
    if (sign != '-') {
      RequireLaw(new_lines-- > 0);
      result_ += line;
    }
  }

  void Keep() {
    RequireLaw(!before_.empty());
    result_ += TakeLine(before_);
    ++line_;
  }

  std::string_view before_;
  std::string_view diff_;
  std::size_t line_ = 1;
  std::string result_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size < 2 || size > 2000) return 0;
  const auto [before, after] = fairlead::internal::CutAtRule(
      fairlead::internal::InputText(data, size).substr(1));
  std::string diff;
  fairlead::tool::Difference difference(
      "f", before, [&diff](std::string_view piece) { diff += piece; });
  // Whole lines, as an edited document passes them.
  const std::size_t lines_each = data[0] % 4 + 1U;
  for (std::string_view rest = after; !rest.empty();) {
    std::size_t end = 0;
    for (std::size_t i = 0; i < lines_each && end < rest.size(); ++i)
      end = std::min(rest.find('\n', end), rest.size() - 1) + 1;
    difference.Take(rest.substr(0, end));
    rest.remove_prefix(end);
  }
  RequireLaw(difference.Finish() == (before != after));
  RequireLaw(diff.empty() == (before == after));
  RequireLaw(Patch(before, diff).Applied() == after);
  return 0;
}
