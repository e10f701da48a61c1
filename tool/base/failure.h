// How a command ends early.

#ifndef FAIRLEAD_TOOL_BASE_FAILURE_H_
#define FAIRLEAD_TOOL_BASE_FAILURE_H_

#include <new>
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

/// Returns the exception that is being handled as a Failure, also if memory ran
/// out or a thread could not be started. Throws another one again.
inline Failure CaughtFailure() try { throw; } catch (const Failure& failure) {
  return failure;
} catch (const std::bad_alloc&) {
  return {kCannotRead, "not enough memory for the input"};
} catch (const std::system_error& error) {
  return {kNotConnected, std::string("cannot start a thread: ") + error.what()};
}

/// Returns the system's text of an error number: "No such file or directory".
inline std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_FAILURE_H_
