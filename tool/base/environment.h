// A variable of the process's environment.

#ifndef FAIRLEAD_TOOL_BASE_ENVIRONMENT_H_
#define FAIRLEAD_TOOL_BASE_ENVIRONMENT_H_

#include <cstdlib>
#include <optional>
#include <string_view>

namespace fairlead::tool {

/// Returns the value of an environment variable, or nothing if it is not set.
inline std::optional<std::string_view> EnvironmentVariable(const char* name) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes a variable.
  const char* const value = std::getenv(name);
  if (value == nullptr) return std::nullopt;
  return value;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_ENVIRONMENT_H_
