// Follows symbolic links, and compares paths with open files.

#include "fairlead/file/file_path.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <optional>

#include "fairlead/file/file_results.h"

namespace fairlead::internal {
namespace {

constexpr int kMaxLinks = 40;

// The link is open, so that nobody can exchange it between check and use.
bool IsProtected(const Descriptor& link, const std::string& folder) {
  struct stat status = {};
  struct stat there = {};
  if (fstat(link.number(), &status) == -1 || stat(folder.c_str(), &there) == -1)
    return true;
  constexpr mode_t kSharedFolder = S_ISVTX | S_IWOTH;
  return (there.st_mode & kSharedFolder) == kSharedFolder &&
         status.st_uid != geteuid() && status.st_uid != there.st_uid;
}

// Returns 0 if `target` is the text of the link at the path, EINVAL if there is
// something else, or the error.
int ReadLink(const std::string& path, std::string& target) {
  const Descriptor link =
      OpenAboveStandardStreams(path.c_str(), O_PATH | O_NOFOLLOW);
  if (!link.IsOpen()) return errno;
  target.assign(PATH_MAX, '\0');
  const ssize_t size =
      readlinkat(link.number(), "", target.data(), target.size());
  // Without a name, what is no link counts as missing.
  if (size == -1) return errno == ENOENT ? EINVAL : errno;
  if (IsProtected(link, FolderOf(path))) return EACCES;
  target.resize(static_cast<std::size_t>(size));
  return 0;
}

// Returns whether the file system is one of processes, whose links lead to open
// files, whatever their texts are.
bool IsOfProcesses(const std::string& folder) {
  struct statfs system = {};
  return statfs(folder.c_str(), &system) == 0 &&
         system.f_type == PROC_SUPER_MAGIC;
}

// Checks that the text of a link names the file that it leads to.
FileResult CheckTarget(const std::string& link, const std::string& target) {
  struct stat file = {};
  struct stat named = {};
  if (!IsOfProcesses(FolderOf(link)) || stat(link.c_str(), &file) == -1)
    return {};
  if (stat(target.c_str(), &named) == 0 && named.st_dev == file.st_dev &&
      named.st_ino == file.st_ino)
    return {};
  if (!S_ISREG(file.st_mode)) return NotRegular();
  return Failed(FileError::kCannotWrite, 0,
                "it is an open file that was deleted or has no name");
}

// Returns whether the file is at the path; nothing if the system does not say.
std::optional<bool> IsThere(const std::string& path, const Descriptor& file) {
  struct stat there = {};
  struct stat open = {};
  if (lstat(path.c_str(), &there) == -1 || fstat(file.number(), &open) == -1)
    return std::nullopt;
  return there.st_dev == open.st_dev && there.st_ino == open.st_ino;
}

}  // namespace

FileResult FollowLinks(std::string& path) {
  std::string target;
  for (int links = 0; links < kMaxLinks; ++links) {
    const int error = ReadLink(path, target);
    if (error == EINVAL || error == ENOENT) return {};
    if (error != 0) return Failed(FileError::kCannotRead, error);
    const std::size_t name = path.rfind('/') + 1;  // 0 without a folder.
    if (!target.starts_with('/')) target.insert(0, path, 0, name);
    FileResult result = CheckTarget(path, target);
    if (!result.Succeeded()) return result;
    path = target;
  }
  return Failed(FileError::kCannotRead, ELOOP);
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsAt(const std::string& path, const Descriptor& file) {
  return IsThere(path, file).value_or(false);
}

bool IsAnotherAt(const std::string& path, const Descriptor& file) {
  return !IsThere(path, file).value_or(true);
}

}  // namespace fairlead::internal
