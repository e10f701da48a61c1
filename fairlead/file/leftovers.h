// Stale files of edits that were killed. Not installed.

#ifndef FAIRLEAD_FILE_LEFTOVERS_H_
#define FAIRLEAD_FILE_LEFTOVERS_H_

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

// Returns the path of a hidden file in the folder: ".fairlead.PID.NUMBER",
// with the ID of this process.
std::string HiddenPath(const std::string& folder, int number);

// Passes hidden paths in the folder to `create` until it does not return
// EEXIST. Returns 0, with the path of the new file in `path`, or the error.
template <typename Create>
int CreateHidden(const std::string& folder, std::string& path,
                 const Create& create) {
  for (int number = 0;; ++number) {
    std::string hidden = HiddenPath(folder, number);
    const int error = create(hidden.c_str());
    if (error == EEXIST) continue;
    if (error == 0) path = std::move(hidden);
    return error;
  }
}

// Returns whether HiddenPath() could have made the name, in any process.
bool IsHiddenName(std::string_view name);

// Deletes the hidden files in the folder that no process uses and that belong
// to this user or to the owner of `edited`. Skips what cannot be read or
// deleted; reports no error, since the edit is already done.
//
// A process holds the lock of TryToLock() on its hidden file, so a file whose
// lock is free is stale. A hidden name may be a link of `edited` itself, which
// was to become a backup: its lock counts as free if the caller has it, or can
// get it. One of a file that has a backup as a link stays, until the file is
// replaced: CheckHardLinks() needs it. The process ID in the name says nothing:
// it may be in use again, or be that of a process on another host or in another
// container. On a file system without locks, nothing is deleted.
void RemoveLeftovers(const std::string& folder, const Descriptor& edited);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_LEFTOVERS_H_
