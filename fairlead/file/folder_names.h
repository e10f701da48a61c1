// The names in a folder. Not installed.

#ifndef FAIRLEAD_FILE_FOLDER_NAMES_H_
#define FAIRLEAD_FILE_FOLDER_NAMES_H_

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Opens a folder for readdir(3); null if it cannot be read.
inline std::unique_ptr<DIR, CloseFolder> ReadableFolder(
    const std::string& path) {
  const int folder = MoveAboveStandardStreams(Uninterrupted([&path] {
    return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  if (folder == -1) return nullptr;
  std::unique_ptr<DIR, CloseFolder> names(fdopendir(folder));
  if (names == nullptr) close(folder);
  return names;
}

// Passes the descriptor of the folder and each name in it to `use`; none if the
// folder cannot be read. Allocates no C++ memory.
template <typename Use>
void ForEachName(const std::string& folder, const Use& use) {
  const auto names = ReadableFolder(folder);
  if (names == nullptr) return;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread has this folder.
  while (const dirent* const entry = readdir(names.get()))
    use(dirfd(names.get()), &entry->d_name[0]);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_FOLDER_NAMES_H_
