// Why a system call failed, and a remedy.

#ifndef FAIRLEAD_TOOL_BASE_REASON_H_
#define FAIRLEAD_TOOL_BASE_REASON_H_

#include <cerrno>
#include <string>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

/// Returns the system's text for an error number, with the remedy if there is
/// one: "Too many open files (raise 'ulimit -n')".
inline std::string Reason(int error) {
  const auto with = [error](std::string_view remedy) {
    return Concat(ErrorText(error), " (", remedy, ")");
  };
  switch (error) {
    case EMFILE:
      return with("raise 'ulimit -n'");
    case EFBIG:
      return with("raise 'ulimit -f'");
    case ENOSPC:
    case EDQUOT:
      return with("free space on the disk");
    default:
      return ErrorText(error);
  }
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_REASON_H_
