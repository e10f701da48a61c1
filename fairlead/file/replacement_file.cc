// Writes a new file in pieces, for callers that do not edit an old text.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/file/file_links.h"
#include "fairlead/file/file_path.h"
#include "fairlead/file/file_results.h"
#include "fairlead/file/new_file.h"

namespace fairlead {
namespace {

using internal::Descriptor;

// Opens a file for its attributes, without waiting if it is a pipe. If it may
// be written only, that is enough.
Descriptor OpenOld(const std::string& path) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  Descriptor file =
      internal::OpenAboveStandardStreams(path.c_str(), O_RDONLY | kFlags);
  if (!file.IsOpen() && errno == EACCES)
    file = internal::OpenAboveStandardStreams(path.c_str(), O_WRONLY | kFlags);
  return file;
}

// Fails unless the file may be replaced.
FileResult CheckOld(const Descriptor& file, const std::string& path) {
  struct stat status = {};
  if (fstat(file.number(), &status) == -1) return internal::WriteResult(errno);
  if (!S_ISREG(status.st_mode)) return internal::NotRegular();
  const bool writable =
      faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
  return internal::WriteResult(writable ? 0 : errno);
}

}  // namespace

// The old file and the new one.
class FAIRLEAD_PRIVATE ReplacementFile::File {
 public:
  FileResult Open(const std::string& path) {
    old_ = OpenOld(path);
    if (!old_.IsOpen() && errno != ENOENT) return internal::WriteResult(errno);
    if (old_.IsOpen()) {
      FileResult result = CheckOld(old_, path);
      if (result.Succeeded()) result = internal::CheckHardLinks(old_, path, "");
      if (!result.Succeeded()) return result;
    }
    new_.emplace(path, old_.IsOpen() ? &old_ : nullptr);
    return new_->Open();
  }

  FileResult Write(std::string_view text) { return new_->Write(text); }

  FileResult Commit() {
    FileResult result = new_->Finish();
    if (result.Succeeded()) result = new_->Rename();
    if (result.system_error == EEXIST)
      result.reason = "another process created it in the meantime";
    return result;
  }

 private:
  Descriptor old_;
  std::optional<internal::NewFile> new_;
};

ReplacementFile::ReplacementFile(const std::string& path)
    : file_(std::make_unique<File>()) {
  result_.path = path;
  FileResult result = internal::FollowLinks(result_.path);
  // The old file need not be readable, so this is no failure to read.
  if (result.error == FileError::kCannotRead)
    result.error = FileError::kCannotWrite;
  Keep(result.Succeeded() ? file_->Open(result_.path) : std::move(result));
}

ReplacementFile::~ReplacementFile() = default;

void ReplacementFile::Keep(FileResult result) {
  result.path = std::move(result_.path);
  result_ = std::move(result);
  if (!result_.Succeeded()) file_.reset();
}

bool ReplacementFile::Write(std::string_view text) {
  if (file_ == nullptr) return false;
  Keep(file_->Write(text));
  return result_.Succeeded();
}

const FileResult& ReplacementFile::Commit() {
  if (file_ == nullptr) return result_;
  Keep(file_->Commit());
  file_.reset();
  return result_;
}

}  // namespace fairlead
