// Random texts for tests. Not installed.

#ifndef FAIRLEAD_TEXT_STRINGS_TESTING_H_
#define FAIRLEAD_TEXT_STRINGS_TESTING_H_

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

namespace fairlead::internal {

// A text of 0 to `max_size` bytes of `alphabet`.
inline std::string RandomText(std::mt19937& random, std::string_view alphabet,
                              std::size_t max_size) {
  std::string text(random() % (max_size + 1), '\0');
  for (char& c : text) c = alphabet[random() % alphabet.size()];
  return text;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TEXT_STRINGS_TESTING_H_
