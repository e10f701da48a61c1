// Keys as assignments that a shell can evaluate.

#ifndef FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_
#define FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace fairlead::tool {

/// Returns the line `name='value'` of a key, for sh and bash. Evaluating it
/// only sets this variable: the value is quoted, and a name that would change
/// how the shell finds or runs programs, such as PATH, is refused, and so are
/// those that usual programs obey, such as PAGER. The list cannot be complete;
/// a prefix makes it unlikely that a name is missing there. In the name,
/// characters that no variable can have become '_'.
///
/// @param prefix goes before the key, with a '_'; or ""
/// @throws Failure with kMalformedInput for a name that is refused, and for a
///     value with a zero byte
std::string Assignment(std::string_view prefix, std::string_view key,
                       std::string_view value);

/// Throws what Assignment() does.
void CheckAssignment(std::string_view prefix, std::string_view key,
                     std::string_view value);

/// Finds two keys whose assignments would set the same variable. Notes four
/// bytes per key.
class SharedVariables {
 public:
  /// @param keys how many there will be at most
  explicit SharedVariables(std::size_t keys) { hashes_.reserve(keys); }

  /// Notes a key. Call it once for each, before the first Check().
  void Add(std::string_view prefix, std::string_view key);

  /// Checks a key that was added.
  ///
  /// @throws Failure with kMalformedInput if another one, which was checked
  ///     before, has the same variable
  void Check(std::string_view prefix, std::string_view key);

 private:
  void KeepShared();

  std::vector<std::uint32_t> hashes_;  // Then only those that two keys have.
  bool is_complete_ = false;
  std::map<std::string, std::string> origins_;  // Of their variables.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_ASSIGNMENTS_H_
