// Trimming without a copy. Not installed.

#ifndef FAIRLEAD_TEXT_TRIMMED_H_
#define FAIRLEAD_TEXT_TRIMMED_H_

#include <cstddef>
#include <string_view>

namespace fairlead::internal {

// Returns the part of `text` that Trim() keeps if the set of characters is
// those that match the predicate.
template <typename Predicate>
std::string_view Trimmed(std::string_view text, const Predicate& in_set,
                         int mode = 0) {
  const char* first = text.data();
  const char* last = first + text.size();
  const char* kept = first;
  while (kept != last && in_set(*kept)) ++kept;
  if (kept == last) return {};  // In every mode.

  if (mode != 1)
    while (in_set(last[-1])) --last;
  if (mode < 2) first = kept;
  return {first, static_cast<std::size_t>(last - first)};
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TEXT_TRIMMED_H_
