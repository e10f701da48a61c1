// Paths of files to edit. Not installed.

#ifndef FAIRLEAD_FILE_FILE_PATH_H_
#define FAIRLEAD_FILE_FILE_PATH_H_

#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"

namespace fairlead::internal {

// Replaces the path by the target of the symbolic links at its end, which need
// not exist. Fails with kCannotRead if a link cannot be followed, and with
// kCannotWrite if one in /proc leads to an open file that is not at its target,
// since it was deleted, or has no name. The result has no path.
//
// As the kernel does with fs.protected_symlinks, refuses a link in a folder
// where anybody may create one, unless it is of this user or of the folder's
// owner: another user could make this one edit any file.
FileResult FollowLinks(std::string& path);

// Returns the folder that contains the path's last component.
std::string FolderOf(const std::string& path);

// Returns whether the path names the open file.
bool IsAt(const std::string& path, const Descriptor& file);

// Returns whether another file is surely at the path.
bool IsAnotherAt(const std::string& path, const Descriptor& file);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_FILE_PATH_H_
