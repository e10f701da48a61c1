// Results of operations on files, made from errors. Not installed.

#ifndef FAIRLEAD_FILE_FILE_RESULTS_H_
#define FAIRLEAD_FILE_FILE_RESULTS_H_

#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "fairlead/file/file_edit.h"

namespace fairlead::internal {

// Returns the system's text of an error number: "No such file or directory".
inline std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

// Returns the path between single quotes, with '?' for each control byte, which
// a terminal might obey.
std::string Quoted(std::string_view path);

// Returns a failure that left the old text. Its path is to be added.
inline FileResult Failed(FileError error, int system_error,
                         std::string reason) {
  FileResult result;
  result.error = error;
  result.system_error = system_error;
  result.reason = std::move(reason);
  return result;
}

inline FileResult Failed(FileError error, int system_error) {
  return Failed(error, system_error, ErrorText(system_error));
}

// Returns a failure, or a success if the error is 0.
inline FileResult WriteResult(int error) {
  return error == 0 ? FileResult() : Failed(FileError::kCannotWrite, error);
}

inline FileResult NotRegular() {
  return Failed(FileError::kCannotWrite, 0, "it is not a regular file");
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_FILE_RESULTS_H_
