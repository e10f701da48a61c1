// Finds the hard links of a file in its folder.

#include "fairlead/file/file_links.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>

#include "fairlead/file/file_path.h"
#include "fairlead/file/file_results.h"
#include "fairlead/file/folder_names.h"
#include "fairlead/file/leftovers.h"

namespace fairlead::internal {
namespace {

std::string_view NameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // 0 without a folder.
}

bool IsLink(int folder, const char* name, const struct stat& file) {
  struct stat status = {};
  return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         status.st_dev == file.st_dev && status.st_ino == file.st_ino;
}

// Counts the links of the file in a folder with a name that is wanted.
template <typename IsWanted>
nlink_t CountLinks(const std::string& folder_path, const struct stat& file,
                   const IsWanted& is_wanted) {
  nlink_t count = 0;
  ForEachName(folder_path, [&](int folder, const char* entry) {
    if (is_wanted(std::string_view(entry)) && IsLink(folder, entry, file))
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

bool HasLinkedBackup(const std::string& folder_path, const struct stat& file) {
  constexpr nlink_t kLeast = 3;  // The file, its backup and the hidden one.
  bool has_one = false;
  if (file.st_nlink < kLeast) return has_one;
  ForEachName(folder_path, [&](int folder, const char* entry) {
    const std::string_view own = entry;
    const auto is_backup = [own](std::string_view name) {
      return name.size() > own.size() && name.starts_with(own);
    };
    if (!has_one && !IsHiddenName(own) && IsLink(folder, entry, file))
      has_one = CountLinks(folder_path, file, is_backup) > 0;
  });
  return has_one;
}

}  // namespace fairlead::internal
