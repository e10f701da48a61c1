// Stale files of edits that were killed. Not installed.

#ifndef FAIRLEAD_INI_LEFTOVERS_H_
#define FAIRLEAD_INI_LEFTOVERS_H_

#include <string>

#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

// Returns the path of a hidden file in the folder: ".fairlead.PID.NUMBER",
// with the ID of this process.
std::string HiddenPath(const std::string& folder, int number);

// Deletes the hidden files in the folder that no process uses and that belong
// to this user or to the owner of `edited`. Skips what cannot be read or
// deleted; reports no error, since the edit is already done.
//
// A process holds the lock of TryToLock() on its hidden file. A file is
// deleted only if its lock is free and no process has the ID in its name. The
// two checks together also protect the file of a process on another host or in
// a container, and one on a file system without locks. If the process ID is in
// use again, the file is kept.
void RemoveLeftovers(const std::string& folder, const Descriptor& edited);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LEFTOVERS_H_
