// Names of which one is to be chosen, for a sentence.

#ifndef FAIRLEAD_TOOL_BASE_ALTERNATIVES_H_
#define FAIRLEAD_TOOL_BASE_ALTERNATIVES_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tool/base/concat.h"

namespace fairlead::tool {

/// Returns "a, b or c"; "" for no name.
inline std::string Alternatives(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i)
    text += Concat(i == 0                  ? ""
                   : i + 1 == names.size() ? " or "
                                           : ", ",
                   names[i]);
  return text;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_ALTERNATIVES_H_
