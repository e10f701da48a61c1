// Deletes the hidden files of edits that were killed.

#include "fairlead/ini/leftovers.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <memory>
#include <string_view>

#include "fairlead/ini/edit_lock.h"

namespace fairlead::internal {
namespace {

constexpr std::string_view kPrefix = ".fairlead.";

// Removes a leading integer from the text and returns it; 0 if there is none.
int TakeNumber(std::string_view& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  text = {result.ptr, end};
  return number;
}

// Returns the process ID in the name of a hidden file; 0 for any other name.
pid_t CreatorOf(std::string_view name) {
  if (!name.starts_with(kPrefix)) return 0;
  name.remove_prefix(kPrefix.size());
  const pid_t creator = TakeNumber(name);
  if (!name.starts_with('.')) return 0;
  name.remove_prefix(1);
  const bool has_number = !name.empty();
  TakeNumber(name);
  return has_number && name.empty() && creator > 0 ? creator : 0;
}

bool IsDead(pid_t process) { return kill(process, 0) == -1 && errno == ESRCH; }

// The file that is edited, and its status.
struct EditedFile {
  const Descriptor& file;
  struct stat status = {};
};

// Locks the file. A link of the edited file is locked by this edit.
bool TryToLockHidden(const Descriptor& file, const struct stat& status,
                     const EditedFile& edited) {
  if (TryToLock(file) == 0) return true;
  return status.st_dev == edited.status.st_dev &&
         status.st_ino == edited.status.st_ino && TryToLock(edited.file) == 0;
}

bool IsStale(const Descriptor& file, const EditedFile& edited) {
  struct stat status = {};
  return file.IsOpen() && fstat(file.number(), &status) == 0 &&
         S_ISREG(status.st_mode) &&
         (status.st_uid == geteuid() ||
          status.st_uid == edited.status.st_uid) &&
         TryToLockHidden(file, status, edited);
}

// Deletes the file while it is locked, so that no other process deletes a new
// file of that name.
void Remove(int folder, const char* name, const EditedFile& edited) {
  constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  const Descriptor file(MoveAboveStandardStreams(
      Uninterrupted([=] { return openat(folder, name, kFlags | O_CLOEXEC); })));
  if (!IsStale(file, edited)) return;
  unlinkat(folder, name, 0);
  Unlock(file);
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Opens a folder for readdir(3); null if it cannot be read.
std::unique_ptr<DIR, CloseFolder> ReadableFolder(const std::string& path) {
  const int folder = MoveAboveStandardStreams(Uninterrupted([&path] {
    return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  if (folder == -1) return nullptr;
  std::unique_ptr<DIR, CloseFolder> names(fdopendir(folder));
  if (names == nullptr) close(folder);
  return names;
}

}  // namespace

std::string HiddenPath(const std::string& folder, int number) {
  return folder + "/" + std::string(kPrefix) + std::to_string(getpid()) + "." +
         std::to_string(number);
}

// Allocates no memory: the edit is done, and must not end in an exception.
void RemoveLeftovers(const std::string& folder, const Descriptor& edited) {
  EditedFile file{edited};
  if (fstat(edited.number(), &file.status) == -1) return;
  const auto names = ReadableFolder(folder);
  if (names == nullptr) return;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread has this folder.
  while (const dirent* const entry = readdir(names.get())) {
    const char* const name = &entry->d_name[0];
    const pid_t creator = CreatorOf(name);
    if (creator != 0 && IsDead(creator)) Remove(dirfd(names.get()), name, file);
  }
}

}  // namespace fairlead::internal
