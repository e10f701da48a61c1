// Finds the known name that is nearest to a mistyped one.

#include "tool/command/nearest.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace fairlead::tool {

// Row by row: the distance of the first i characters of `a` from the first j of
// `b`. A swap reaches two rows back.
int EditDistance(std::string_view a, std::string_view b) {
  std::vector<int> before_last(b.size() + 1);
  std::vector<int> last(b.size() + 1);
  std::vector<int> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = static_cast<int>(j);

  for (std::size_t i = 1; i <= a.size(); ++i) {
    before_last = std::exchange(last, std::exchange(row, before_last));
    row[0] = static_cast<int>(i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const int replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
  }
  return row[b.size()];
}

std::string_view Nearest(std::string_view typed,
                         std::span<const std::string_view> names) {
  return *std::ranges::min_element(names, {}, [typed](std::string_view name) {
    return EditDistance(typed, name);
  });
}

std::string Suggestion(std::string_view typed,
                       std::span<const std::string_view> names) {
  const std::string_view nearest = Nearest(typed, names);
  const auto most =
      static_cast<int>(std::max(typed.size(), nearest.size()) / 3);
  if (EditDistance(typed, nearest) > std::max(most, 1)) return "";
  return std::string(nearest);
}

}  // namespace fairlead::tool
