// Writes a new file and renames it over an old one.

#include "tool/io/replacement_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"
#include "tool/io/blocked_signals.h"
#include "tool/io/edit_lock.h"
#include "tool/io/file_attributes.h"
#include "tool/io/leftovers.h"

namespace fairlead::tool {
namespace {

constexpr int kMaxLinks = 40;

[[noreturn]] void FailToFollow(const std::string& path, int error) {
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(path), ": ", Reason(error)));
}

// Returns a path for an unnamed file.
std::string PathOfDescriptor(int file) {
  return Concat("/proc/self/fd/", file);
}

// Returns -1 for a folder that may not be opened: it cannot be synced.
int OpenFolder(const std::string& path) {
  const int folder =
      open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder == -1 && errno != EACCES) FailToWrite(path, errno);
  return folder;
}

// Makes the rename durable. Some file systems do not support this.
void SyncFolder(const Descriptor& folder, const std::string& path) {
  if (!folder.IsOpen() || fsync(folder.number()) == 0 || errno == EINVAL)
    return;
  throw Failure(
      kCannotWrite,
      Concat(Quoted(path),
             " was written, but a power failure may undo it: ", Reason(errno)));
}

}  // namespace

std::string FollowLinks(const std::string& path) {
  std::filesystem::path target = path;
  for (int links = 0; links < kMaxLinks; ++links) {
    std::error_code error;
    const auto link = std::filesystem::read_symlink(target, error);
    if (error == std::errc::invalid_argument ||  // Not a link.
        error == std::errc::no_such_file_or_directory)
      return target.string();
    if (error) FailToFollow(path, error.value());
    target = target.parent_path() / link;
  }
  FailToFollow(path, ELOOP);
}

std::string FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

bool IsAt(const std::string& path, const Descriptor& file) {
  struct stat there = {};
  struct stat open = {};
  return lstat(path.c_str(), &there) == 0 && fstat(file.number(), &open) == 0 &&
         there.st_dev == open.st_dev && there.st_ino == open.st_ino;
}

void FailToWrite(const std::string& path, std::string_view why) {
  throw Failure(kCannotWrite, Concat("cannot write ", Quoted(path), ": ", why));
}

void FailToWrite(const std::string& path, int error) {
  FailToWrite(path, Reason(error));
}

void FailToLock(const std::string& path, int error) {
  FailToWrite(path, Concat("it cannot be locked: ", Reason(error)));
}

struct stat StatusOf(const Descriptor& file, const std::string& path) {
  struct stat status = {};
  if (fstat(file.number(), &status) == -1) FailToWrite(path, errno);
  return status;
}

int WriteAt(const Descriptor& file, std::string_view text, off_t at) {
  while (!text.empty()) {
    const ssize_t count = pwrite(file.number(), text.data(), text.size(), at);
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) return errno;
    text.remove_prefix(static_cast<std::size_t>(count));
    at += count;
  }
  return 0;
}

ReplacementFile::ReplacementFile(std::string target, const Descriptor* old,
                                 std::string_view remedy)
    : target_(std::move(target)), old_(old), remedy_(remedy), file_(OpenNew()) {
  if (!file_.IsOpen()) FailToReplace(Reason(errno));
  // Without support for locks, no other process deletes the file either.
  std::ignore = TryToLock(file_);
}

ReplacementFile::~ReplacementFile() {
  if (!path_.empty()) unlink(path_.c_str());
}

// A replacement for an old file is at first accessible to its owner only.
int ReplacementFile::OpenNew() {
  if (old_ != nullptr && StatusOf(*old_, target_).st_nlink > 1)
    FailToReplace("it has several hard links, and only one would be changed");
  const unsigned mode = old_ != nullptr ? 0600 : 0666;
  if (access("/proc/self/fd", X_OK) == -1) return OpenNamed(mode);
  const int file =
      open(FolderOf(target_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
  const bool unsupported =
      errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL;
  return file == -1 && unsupported ? OpenNamed(mode) : file;
}

int ReplacementFile::OpenNamed(unsigned mode) {
  for (int number = 0;; ++number) {
    std::string path = HiddenPath(FolderOf(target_), number);
    const int file =
        open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (file == -1 && errno == EEXIST) continue;
    if (file != -1) path_ = std::move(path);
    return file;
  }
}

// Suggests the remedy only if there is a file to overwrite.
void ReplacementFile::FailToReplace(std::string_view why) const {
  const bool exists = access(target_.c_str(), F_OK) == 0;
  FailToWrite(target_, Concat(why, exists ? remedy_ : ""));
}

void ReplacementFile::Write(std::string_view text) {
  const int error = WriteAt(file_, text, size_);
  if (error != 0) FailToWrite(target_, error);
  size_ += static_cast<off_t>(text.size());
}

// Copies the attributes after the last write: writing clears the set-user-ID
// bits.
bool ReplacementFile::Rename() {
  const BlockedSignals blocked;
  if (old_ != nullptr) {
    const std::string why = CopyAttributes(*old_, file_);
    if (!why.empty()) FailToReplace(why);
  }
  if (fsync(file_.number()) == -1) FailToWrite(target_, errno);
  const Descriptor folder(OpenFolder(target_));
  if (old_ == nullptr && !RenameToNew()) return false;
  if (old_ != nullptr) RenameOverOld();
  RemoveLeftovers(FolderOf(target_), file_);
  SyncFolder(folder, target_);
  return true;
}

// Renames to the target, unless a file with that name exists.
bool ReplacementFile::RenameToNew() {
  int result = 0;
  if (path_.empty()) {
    result = linkat(AT_FDCWD, PathOfDescriptor(file_.number()).c_str(),
                    AT_FDCWD, target_.c_str(), AT_SYMLINK_FOLLOW);
  } else {
    result = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(),
                       RENAME_NOREPLACE);
    // Some file systems do not support RENAME_NOREPLACE.
    if (result == -1 && errno == EINVAL)
      result = rename(path_.c_str(), target_.c_str());
  }
  if (result == -1 && errno == EEXIST) return false;
  if (result == -1) FailToReplace(Reason(errno));
  path_.clear();
  return true;
}

void ReplacementFile::RenameOverOld() {
  if (path_.empty()) GiveHiddenName();
  if (rename(path_.c_str(), target_.c_str()) == -1) {
    const std::string reason = Reason(errno);
    unlink(path_.c_str());
    path_.clear();
    FailToReplace(reason);
  }
  path_.clear();
}

void ReplacementFile::GiveHiddenName() {
  for (int number = 0;; ++number) {
    std::string path = HiddenPath(FolderOf(target_), number);
    if (linkat(AT_FDCWD, PathOfDescriptor(file_.number()).c_str(), AT_FDCWD,
               path.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      path_ = std::move(path);
      return;
    }
    if (errno != EEXIST) FailToReplace(Reason(errno));
  }
}

}  // namespace fairlead::tool
