// Writes a new file and renames it over an old one.

#include "fairlead/file/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <tuple>
#include <utility>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/file/edit_lock.h"
#include "fairlead/file/file_attributes.h"
#include "fairlead/file/file_path.h"
#include "fairlead/file/file_results.h"
#include "fairlead/file/leftovers.h"

namespace fairlead::internal {
namespace {

// Links an open file to a path, and returns 0 or the error.
int Link(const Descriptor& file, const char* path) {
  const std::string from = "/proc/self/fd/" + std::to_string(file.number());
  const int result = Uninterrupted([&] {
    return linkat(AT_FDCWD, from.c_str(), AT_FDCWD, path, AT_SYMLINK_FOLLOW);
  });
  return result == 0 ? 0 : errno;
}

// Overwriting the file itself helps where the folder or the file's name cannot
// be changed; a file that is mounted alone cannot be renamed over (EBUSY).
FileResult ReplaceResult(int error, bool has_old) {
  const bool protected_name =
      error == EACCES || error == EPERM || error == EBUSY;
  if (has_old && protected_name) return Failed(FileError::kOnlyInPlace, error);
  return WriteResult(error);
}

// Far more than there are edits that look for stale files in the same moment.
constexpr int kMaxTries = 100;

bool IsDeleted(const std::string& path) {
  return access(path.c_str(), F_OK) == -1 && errno == ENOENT;
}

FileResult SyncFolder(const Descriptor& folder) {
  FileResult result;
  if (folder.IsOpen()) result = WriteResult(Sync(folder));
  result.state = FileState::kNew;
  return result;
}

}  // namespace

int Sync(const Descriptor& file) {
  const int result = Uninterrupted([&] { return fsync(file.number()); });
  return result == 0 || errno == EINVAL ? 0 : errno;
}

int OpenToSync(const std::string& path, Descriptor& folder) {
  folder = OpenAboveStandardStreams(path.c_str(), O_RDONLY | O_DIRECTORY);
  return folder.IsOpen() || errno == EACCES ? 0 : errno;
}

NewFile::NewFile(const std::string& target, const Descriptor* old)
    : target_(target), folder_(FolderOf(target)), old_(old) {}

NewFile::~NewFile() {
  if (!path_.empty()) unlink(path_.c_str());
  if (file_.IsOpen()) Unlock(file_);
}

// A replacement for an old file is at first accessible to its owner only.
FileResult NewFile::Open() {
  if (target_.empty()) return WriteResult(ENOENT);
  const mode_t mode = old_ != nullptr ? 0600 : 0666;
  if (const int error = OpenUnnamed(mode))
    return ReplaceResult(error, old_ != nullptr);
  return {};
}

// An unnamed file gets its name by way of /proc.
int NewFile::OpenUnnamed(mode_t mode) {
  if (access("/proc/self/fd", X_OK) == -1) return OpenHidden(mode);
  file_ = OpenAboveStandardStreams(folder_.c_str(), O_TMPFILE | O_RDWR, mode);
  if (file_.IsOpen()) {
    // Without support for locks, no other process deletes the file either.
    std::ignore = TryToLock(file_);
    return 0;
  }
  const bool unsupported =
      errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL;
  return unsupported ? OpenHidden(mode) : errno;
}

// Another edit that sees the file before it is locked takes it for a stale one.
int NewFile::OpenHidden(mode_t mode) {
  for (int tries = 0; tries < kMaxTries; ++tries) {
    if (const int error = CreateHiddenFile(mode)) return error;
    const int error = TryToLock(file_);
    if (error != EAGAIN && !IsDeleted(path_)) return 0;
    if (IsAt(path_, file_)) unlink(path_.c_str());
    path_.clear();
  }
  return EBUSY;
}

int NewFile::CreateHiddenFile(mode_t mode) {
  int file = -1;
  const int error = CreateHidden(folder_, path_, [&](const char* path) {
    file = Uninterrupted([=] {
      return open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    });
    return file == -1 ? errno : 0;
  });
  if (error != 0) return error;
  file_.Reset(MoveAboveStandardStreams(file));
  return file_.IsOpen() ? 0 : errno;
}

FileResult NewFile::Write(std::string_view text) {
  return WriteResult(writer_.Write(file_, text));
}

// Copies the attributes after the last write: writing clears the set-user-ID
// bits.
FileResult NewFile::Finish() {
  if (const int error = writer_.Flush(file_)) return WriteResult(error);
  if (old_ != nullptr) {
    FileResult result = CopyAttributes(*old_, file_);
    if (!result.Succeeded()) return result;
  }
  return WriteResult(Sync(file_));
}

int NewFile::Hide(std::string& path) {
  if (const int error = MakeHidden()) return error;
  path = std::exchange(path_, {});
  return 0;
}

FileResult NewFile::Rename() {
  const BlockedSignals blocked(EndingSignals());
  Descriptor folder;
  if (const int error = OpenToSync(folder_, folder)) return WriteResult(error);
  const int error = old_ == nullptr ? RenameToNew() : RenameOverOld();
  if (error != 0) return ReplaceResult(error, old_ != nullptr);
  path_.clear();
  RemoveLeftovers(folder_, old_ != nullptr ? *old_ : file_);
  return SyncFolder(folder);
}

// Renames to the target, unless a file with that name exists.
int NewFile::RenameToNew() {
  if (path_.empty()) return Link(file_, target_.c_str());
  int result = Uninterrupted([this] {
    return renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(),
                     RENAME_NOREPLACE);
  });
  // Some file systems and systems do not support RENAME_NOREPLACE.
  if (result == -1 && (errno == EINVAL || errno == ENOSYS))
    result = rename(path_.c_str(), target_.c_str());
  return result == 0 ? 0 : errno;
}

int NewFile::RenameOverOld() {
  if (const int error = MakeHidden()) return error;
  const int result =
      Uninterrupted([this] { return rename(path_.c_str(), target_.c_str()); });
  if (result == 0) return 0;
  const int error = errno;
  unlink(path_.c_str());  // While the signals are blocked.
  path_.clear();
  return error;
}

int NewFile::MakeHidden() {
  if (!path_.empty()) return 0;
  return CreateHidden(folder_, path_,
                      [this](const char* path) { return Link(file_, path); });
}

}  // namespace fairlead::internal
