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

// Passes the names to `use` that are links of the file with this status.
template <typename Matches, typename Use>
void ForEachLink(const std::string& folder, const struct stat& file,
                 const Matches& matches, const Use& use) {
  ForEachName(folder, [&](int at, const char* name) {
    struct stat status = {};
    if (matches(std::string_view(name)) &&
        fstatat(at, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        status.st_dev == file.st_dev && status.st_ino == file.st_ino)
      use(name);
  });
}

std::string_view NameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // 0 without a folder.
}

// Counts the links that may be taken from the file: its own name is one.
nlink_t CountOwnLinks(const std::string& path, const struct stat& file) {
  nlink_t count = 0;
  const std::string_view own = NameOf(path);
  ForEachLink(
      FolderOf(path), file,
      [own](std::string_view name) {
        return name.starts_with(own) || IsHiddenName(name);
      },
      [&count](const char*) { ++count; });
  return count;
}

}  // namespace

FileResult CheckHardLinks(const Descriptor& file, const std::string& path) {
  struct stat status = {};
  if (fstat(file.number(), &status) == -1) return WriteResult(errno);
  if (status.st_nlink <= 1) return {};
  RemoveLeftovers(FolderOf(path), file);
  if (fstat(file.number(), &status) == -1) return WriteResult(errno);
  if (status.st_nlink <= 1 || status.st_nlink <= CountOwnLinks(path, status))
    return {};
  return Failed(FileError::kOnlyInPlace, 0,
                "it has several hard links, and only one would be changed");
}

std::string LinkedBackup(const Descriptor& file, const std::string& path,
                         const std::string& made_anew) {
  std::string found;
  struct stat status = {};
  if (fstat(file.number(), &status) == -1 || status.st_nlink <= 1) return found;
  const std::string_view own = NameOf(path);
  const std::string_view anew = NameOf(made_anew);
  ForEachLink(
      FolderOf(path), status,
      [=](std::string_view name) {
        return name.starts_with(own) && name != own && name != anew;
      },
      [&found](const char* name) { found = name; });
  return found.empty() ? found : path + found.substr(own.size());
}

}  // namespace fairlead::internal
