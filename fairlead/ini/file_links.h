// The hard links of a file in its folder. Not installed.

#ifndef FAIRLEAD_INI_FILE_LINKS_H_
#define FAIRLEAD_INI_FILE_LINKS_H_

#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/ini/file_edit.h"

namespace fairlead::internal {

// Fails if replacing the file at the path would lose a hard link. Deletes stale
// hidden links first.
//
// A link in the same folder whose name begins with the file's own is a backup,
// which keeps the old text when the file is replaced: an edit that was killed
// may leave its backup so. Hidden links are those of edits too.
FileResult CheckHardLinks(const Descriptor& file, const std::string& path);

// Returns the path of such a backup, but not `made_anew`; "" if there is none.
std::string LinkedBackup(const Descriptor& file, const std::string& path,
                         const std::string& made_anew);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_FILE_LINKS_H_
