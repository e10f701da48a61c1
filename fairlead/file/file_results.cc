// Describes results of operations on files.

#include "fairlead/file/file_results.h"

#include <algorithm>
#include <string_view>

namespace fairlead::internal {

std::string Quoted(std::string_view path) {
  std::string text;
  const auto is_control = [](unsigned char c) { return c < ' ' || c == 0x7F; };
  std::ranges::replace_copy_if(path, std::back_inserter(text), is_control, '?');
  return "'" + text + "'";
}

}  // namespace fairlead::internal

namespace fairlead {

using internal::Quoted;

std::string FileResult::Message() const {
  const std::string file = Quoted(path);
  if (!Succeeded() && state == FileState::kNew)
    return file + " was written, but a power failure may undo it: " + reason;
  switch (error) {
    case FileError::kNone:
      return "";
    case FileError::kCannotRead:
      return "cannot read " + file + ": " + reason;
    case FileError::kCannotWrite:
      return "cannot write " + file + ": " + reason;
    case FileError::kOnlyInPlace:
      return "cannot replace " + file + ": " + reason +
             " (it can be overwritten in place)";
    case FileError::kBusy:
      return "another edit of " + file + " did not end in time: try again" +
             (lock_file.empty()
                  ? ""
                  : "; if there is none, delete " + Quoted(lock_file));
  }
  return "";
}

}  // namespace fairlead
