// Why a system call failed, and a remedy.

#ifndef FAIRLEAD_TOOL_BASE_REASON_H_
#define FAIRLEAD_TOOL_BASE_REASON_H_

#include <cerrno>
#include <string>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

/// Returns the remedy for an error, " (raise 'ulimit -n')", or "".
constexpr std::string_view Remedy(int error) {
  switch (error) {
    case EMFILE:
      return " (raise 'ulimit -n')";
    case EFBIG:
      return " (raise 'ulimit -f')";
    case ENOSPC:
    case EDQUOT:
      return " (free space on the disk)";
    default:
      return "";
  }
}

/// Returns the system's text for an error number, with the remedy if there is
/// one: "Too many open files (raise 'ulimit -n')".
inline std::string Reason(int error) {
  return Concat(ErrorText(error), Remedy(error));
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_REASON_H_
