// Reports failed edits of files.

#include "tool/io/file_failure.h"

#include <string>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"

namespace fairlead::tool {
namespace {

ExitStatus StatusOf(FileError error) {
  switch (error) {
    case FileError::kNone:
      return kDone;
    case FileError::kCannotRead:
      return kCannotRead;
    case FileError::kCannotWrite:
    case FileError::kOnlyInPlace:
      return kCannotWrite;
    case FileError::kBusy:
      return kTimeIsOver;
  }
  return kCannotWrite;
}

std::string TextOf(const FileResult& result, std::string_view remedy) {
  const std::string file = Quoted(result.path);
  const std::string why =
      Concat(Visible(result.reason), Remedy(result.system_error));
  if (result.state == FileState::kNew)
    return Concat(file, " was written, but a power failure may undo it: ", why);
  switch (result.error) {
    case FileError::kCannotRead:
      return Concat("cannot read ", file, ": ", why);
    case FileError::kOnlyInPlace:
      return Concat("cannot write ", file, ": ", why, remedy);
    case FileError::kBusy:
      return Concat("another edit of ", file, " did not end in time: try again",
                    result.lock_file.empty()
                        ? ""
                        : Concat("; if there is none, delete ",
                                 Quoted(result.lock_file)));
    default:
      return Concat("cannot write ", file, ": ", why);
  }
}

}  // namespace

void Check(const FileResult& result, std::string_view remedy) {
  if (!result.Succeeded())
    throw Failure(StatusOf(result.error), TextOf(result, remedy));
}

}  // namespace fairlead::tool
