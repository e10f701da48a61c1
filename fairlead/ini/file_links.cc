// Finds the hard links of a file in its folder.

#include "fairlead/ini/file_links.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>

#include "fairlead/ini/file_path.h"
#include "fairlead/ini/file_results.h"
#include "fairlead/ini/folder_names.h"
#include "fairlead/ini/leftovers.h"

namespace fairlead::internal {
namespace {

std::string_view NameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // 0 without a folder.
}

// Counts the links in a folder that may be taken from the file.
template <typename MayBeTaken>
nlink_t CountLinks(const std::string& folder_path, const struct stat& file,
                   const MayBeTaken& may_be_taken) {
  nlink_t count = 0;
  ForEachName(folder_path, [&](int folder, const char* entry) {
    struct stat status = {};
    if (may_be_taken(std::string_view(entry)) &&
        fstatat(folder, entry, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        status.st_dev == file.st_dev && status.st_ino == file.st_ino)
      ++count;
  });
  return count;
}

}  // namespace

FileResult CheckHardLinks(const Descriptor& file, const std::string& path,
                          const std::string& backup_path) {
  struct stat status = {};
  if (fstat(file.number(), &status) == -1) return WriteResult(errno);
  if (status.st_nlink <= 1) return {};
  const bool was_killed = CountLinks(FolderOf(path), status, IsHiddenName) > 0;
  const std::string_view own = NameOf(path);
  const auto may_be_taken = [&](std::string_view name) {
    return name == own || name == NameOf(backup_path) || IsHiddenName(name) ||
           (was_killed && name.starts_with(own));
  };
  if (status.st_nlink <= 1 ||
      status.st_nlink <= CountLinks(FolderOf(path), status, may_be_taken))
    return {};
  return Failed(FileError::kOnlyInPlace, 0,
                "it has several hard links, and only one would be changed");
}

}  // namespace fairlead::internal
