// Deletes the hidden files of edits that were killed.

#include "fairlead/file/leftovers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "fairlead/file/edit_lock.h"
#include "fairlead/file/file_links.h"
#include "fairlead/file/folder_names.h"

namespace fairlead::internal {
namespace {

constexpr std::string_view kPrefix = ".fairlead.";

// Removes a leading number from the text. Returns whether there was one.
bool TakeNumber(std::string_view& text) {
  const std::size_t end =
      std::min(text.find_first_not_of("0123456789"), text.size());
  text.remove_prefix(end);
  return end > 0;
}

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

// By a hidden link of a file and its backup, CheckHardLinks() knows these.
bool IsStale(const Descriptor& file, const std::string& folder,
             const EditedFile& edited) {
  struct stat status = {};
  return fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
         (status.st_uid == geteuid() ||
          status.st_uid == edited.status.st_uid) &&
         TryToLockHidden(file, status, edited) &&
         !HasLinkedBackup(folder, status);
}

// Deletes the file while it is locked, so that no other process deletes a new
// file of that name.
void Remove(const std::string& folder_path, int folder, const char* name,
            const EditedFile& edited) {
  constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  const Descriptor file(MoveAboveStandardStreams(
      Uninterrupted([=] { return openat(folder, name, kFlags | O_CLOEXEC); })));
  if (!file.IsOpen()) return;
  if (IsStale(file, folder_path, edited)) unlinkat(folder, name, 0);
  Unlock(file);
}

}  // namespace

std::string HiddenPath(const std::string& folder, int number) {
  return folder + "/" + std::string(kPrefix) + std::to_string(getpid()) + "." +
         std::to_string(number);
}

bool IsHiddenName(std::string_view name) {
  if (!name.starts_with(kPrefix)) return false;
  name.remove_prefix(kPrefix.size());
  if (!TakeNumber(name) || !name.starts_with('.')) return false;
  name.remove_prefix(1);
  return TakeNumber(name) && name.empty();
}

// Allocates no memory: the edit is done, and must not end in an exception.
void RemoveLeftovers(const std::string& folder, const Descriptor& edited) {
  EditedFile file{edited};
  if (fstat(edited.number(), &file.status) == -1) return;
  ForEachName(folder, [&](int at, const char* name) {
    if (IsHiddenName(name)) Remove(folder, at, name, file);
  });
}

}  // namespace fairlead::internal
