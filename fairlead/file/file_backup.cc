// Links or copies a file to its backup.

#include "fairlead/file/file_backup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <tuple>
#include <utility>

#include "fairlead/file/edit_lock.h"
#include "fairlead/file/file_path.h"
#include "fairlead/file/file_results.h"
#include "fairlead/file/leftovers.h"

namespace fairlead::internal {
namespace {

// The file has too many links, or the file system has none, or the system
// forbids them for this file.
bool MayBeCopied(int link_error) {
  return link_error == EMLINK || link_error == EPERM ||
         link_error == EOPNOTSUPP || link_error == ENOSYS;
}

bool CannotExchange(int error) {
  return error == ENOENT || error == EINVAL || error == ENOSYS;
}

// Says in the reason which file the failure is about. Writing in place would
// not help.
FileResult BackupResult(FileResult result, const std::string& path) {
  if (result.Succeeded()) return result;
  result.error = FileError::kCannotWrite;
  result.reason =
      "its backup " + Quoted(path) + " cannot be made: " + result.reason;
  return result;
}

FileResult CopyBytes(const Descriptor& from, NewFile& to) {
  std::string buffer(std::size_t{1} << 16, '\0');
  for (off_t at = 0;;) {
    const ssize_t count = Uninterrupted(
        [&] { return pread(from.number(), buffer.data(), buffer.size(), at); });
    if (count == 0) return {};
    if (count == -1) return WriteResult(errno);
    FileResult result = to.Write(
        std::string_view(buffer).substr(0, static_cast<std::size_t>(count)));
    if (!result.Succeeded()) return result;
    at += count;
  }
}

// Links the file to a hidden name, and returns 0 or the error.
int CreateLink(const std::string& folder, const std::string& file,
               std::string& hidden) {
  return CreateHidden(folder, hidden, [&file](const char* name) {
    const int result = Uninterrupted(
        [&] { return linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name, 0); });
    return result == 0 ? 0 : errno;
  });
}

int RenameTo(const std::string& from, const std::string& to) {
  const int result =
      Uninterrupted([&] { return rename(from.c_str(), to.c_str()); });
  return result == 0 ? 0 : errno;
}

}  // namespace

std::string BackupPath(const std::string& path, const std::string& suffix) {
  return suffix.empty() ? "" : path + suffix;
}

Backup::Backup(const std::string& path, const std::string& suffix)
    : file_path_(path),
      path_(BackupPath(path, suffix)),
      folder_(FolderOf(path)) {}

Backup::~Backup() {
  if (is_put_) Restore();
  RemoveHidden();
}

// While the older backup was locked, a hidden link of it, which a killed edit
// has left, did not look stale.
void Backup::Keep() {
  is_put_ = false;
  RemoveHidden();
  if (older_.IsOpen()) RemoveLeftovers(folder_, older_);
}

// The link of the file goes last: without it, no later edit would accept the
// backup of a process that is killed here.
void Backup::RemoveHidden() {
  if (!hidden_.empty()) unlink(hidden_.c_str());
  hidden_.clear();
  if (older_.IsOpen()) Unlock(older_);
  RemoveLink();
}

// Once the file is replaced, RemoveLeftovers() has deleted the link, unless
// that failed, and another edit may have given the name to its own hidden file.
void Backup::RemoveLink() {
  if (!link_.empty() && !IsAnotherAt(link_, *file_)) unlink(link_.c_str());
  link_.clear();
}

// If even that fails, the older backup keeps its hidden name.
void Backup::Restore() {
  if (hidden_.empty()) {
    unlink(path_.c_str());
  } else if (Exchange() != 0) {
    std::ignore = RenameTo(hidden_, path_);
    hidden_.clear();
  }
}

// A NUL would end the path early, at the file itself perhaps. A symbolic link
// is not followed, and not replaced either: somebody wants it.
FileResult Backup::CheckPath() const {
  if (path_.find('\0') != std::string::npos) return WriteResult(EINVAL);
  struct stat status = {};
  if (lstat(path_.c_str(), &status) == -1)
    return WriteResult(errno == ENOENT ? 0 : errno);
  return S_ISREG(status.st_mode) ? FileResult() : NotRegular();
}

// A backup that is a link of the file already, such as that of an edit that was
// killed, is as it should be; rename(2) would do nothing.
//
// In a folder like /tmp, a link of another user's file could be created but not
// deleted. Such a file has been refused: its owner cannot be kept.
FileResult Backup::Link(const Descriptor& file) {
  if (path_.empty()) return {};
  if (FileResult result = CheckPath(); !result.Succeeded())
    return BackupResult(std::move(result), path_);
  file_ = &file;
  int error = CreateLink(folder_, file_path_, link_);
  if (error == 0 && !IsAt(path_, file))
    error = CreateLink(folder_, file_path_, hidden_);
  if (error == 0) return {};
  // The file is mounted alone.
  if (error == EXDEV) return Failed(FileError::kOnlyInPlace, EBUSY);
  if (!MayBeCopied(error)) return BackupResult(WriteResult(error), path_);
  RemoveLink();
  return Copy(file);
}

FileResult Backup::Copy(const Descriptor& file) {
  if (path_.empty()) return {};
  FileResult result = CheckPath();
  if (result.Succeeded()) result = CopyText(file);
  return BackupResult(std::move(result), path_);
}

FileResult Backup::CopyText(const Descriptor& file) {
  copy_.emplace(path_, &file);
  FileResult result = copy_->Open();
  if (result.Succeeded()) result = CopyBytes(file, *copy_);
  if (result.Succeeded()) result = copy_->Finish();
  if (result.Succeeded()) result = WriteResult(copy_->Hide(hidden_));
  return result;
}

// The folder is synced before the old text is changed: until then, a power
// failure must not take the backup.
FileResult Backup::Put() {
  if (hidden_.empty()) return {};
  LockOlder();
  Descriptor folder;
  int error = OpenToSync(folder_, folder);
  if (error == 0) error = Rename();
  if (error == 0 && folder.IsOpen()) error = Sync(folder);
  return BackupResult(WriteResult(error), path_);
}

// So that no other edit deletes it as a stale file while its name is hidden.
// One that may not be written can be neither locked nor deleted so.
void Backup::LockOlder() {
  older_ = OpenAboveStandardStreams(
      path_.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (older_.IsOpen()) std::ignore = TryToLock(older_);
}

int Backup::Exchange() const {
  const int result = Uninterrupted([this] {
    return renameat2(AT_FDCWD, hidden_.c_str(), AT_FDCWD, path_.c_str(),
                     RENAME_EXCHANGE);
  });
  return result == 0 ? 0 : errno;
}

int Backup::Rename() {
  int error = Exchange();
  if (CannotExchange(error)) error = RenameOverOlder();
  is_put_ = error == 0;
  return error;
}

// For a file system that cannot exchange names: the older backup gets a second
// name first. One that has no hard links either loses it here.
int Backup::RenameOverOlder() {
  std::string older;
  const int link_error = CreateLink(folder_, path_, older);
  if (link_error != 0 && link_error != ENOENT && !MayBeCopied(link_error))
    return link_error;
  const int error = RenameTo(hidden_, path_);
  if (error == 0) std::swap(hidden_, older);
  if (error != 0 && !older.empty()) unlink(older.c_str());
  return error;
}

}  // namespace fairlead::internal
