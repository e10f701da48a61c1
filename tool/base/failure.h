// How a command ends early.

#ifndef FAIRLEAD_TOOL_BASE_FAILURE_H_
#define FAIRLEAD_TOOL_BASE_FAILURE_H_

#include <stdexcept>
#include <string>
#include <system_error>

#include "tool/base/exit_status.h"

namespace fairlead::tool {

/// Thrown where a command cannot continue. RunCommand() prints the text and
/// returns the status to the shell.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& text)
      : std::runtime_error(text), status_(status) {}

  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

/// Returns the system's text of an error number: "No such file or directory".
inline std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_FAILURE_H_
