// Keys as assignments that a shell can evaluate.

#ifndef FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_
#define FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_

#include <map>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// Makes a line `name='value'` of each key. Evaluating the lines does nothing
/// but set these variables: a value is quoted, and a name that would change how
/// the shell finds or runs programs, such as PATH, is refused.
class Assignments {
 public:
  /// Returns the line. In the name, characters that a variable cannot have
  /// become '_'.
  ///
  /// @param prefix goes before the key, with a '_'; or ""
  /// @throws Failure with kMalformedInput for a name that is refused, that two
  ///     different keys would share, and for a value with a zero byte
  std::string Line(std::string_view prefix, std::string_view key,
                   std::string_view value);

 private:
  std::map<std::string, std::string> keys_;  // By variable.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_
