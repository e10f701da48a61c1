// Keys as assignments that a shell can evaluate.

#ifndef FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_
#define FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace fairlead::tool {

/// Makes a line `name='value'` of each key, for sh and bash. Evaluating the
/// lines only sets these variables: a value is quoted, and a name that would
/// change how the shell finds or runs programs, such as PATH, is refused.
class Assignments {
 public:
  /// Adds a key. In the name of its variable, characters that no variable can
  /// have become '_'.
  ///
  /// @param prefix goes before the key, with a '_'; or ""
  /// @param replaces whether the value replaces that of an earlier key of the
  ///     same name
  /// @throws Failure with kMalformedInput for a name that is refused, that two
  ///     different keys would share, and for a value with a zero byte
  void Add(std::string_view prefix, std::string_view key,
           std::string_view value, bool replaces);

  /// Returns the lines, in the order of the first key of each name.
  std::string Lines() const;

 private:
  struct Assignment {
    std::string name;
    std::string origin;  // The prefix and the key.
    std::string value;
  };

  std::vector<Assignment> assignments_;
  std::map<std::string, std::size_t, std::less<>> places_;  // By name.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_
