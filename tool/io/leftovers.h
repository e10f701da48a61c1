// What edits that were killed left behind.

#ifndef FAIRLEAD_TOOL_IO_LEFTOVERS_H_
#define FAIRLEAD_TOOL_IO_LEFTOVERS_H_

#include <string>

namespace fairlead::tool {

/// The path of a hidden file in the folder: ".fairlead.PID.NUMBER", with the
/// number of this process.
std::string HiddenPath(const std::string& folder, int number);

/// Deletes the regular files of such names in the folder that are ours and that
/// no living process uses. What it may not look at or delete stays.
///
/// A process that has such a file keeps the lock of TryToLock() on it. So a
/// file goes only if its lock is free and no process has the number in its
/// name. Either would do for most; together they also keep the file of a
/// process on another host or in a container, and one of a process that does
/// not lock it. Where the number is in use again, the file stays.
void RemoveLeftovers(const std::string& folder);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_LEFTOVERS_H_
