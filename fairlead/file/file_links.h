// The hard links of a file in its folder. Not installed.

#ifndef FAIRLEAD_FILE_FILE_LINKS_H_
#define FAIRLEAD_FILE_FILE_LINKS_H_

#include <sys/stat.h>

#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"

namespace fairlead::internal {

// Fails if replacing the file at the path would lose a hard link.
//
// A link at the path of the backup, if that is not "", may keep the old text.
// So may those in the same folder whose names begin with that of the file, if
// the file has a hidden link there: a killed edit has left both. That link is
// deleted once the file is replaced; until then, a next edit must find it.
FileResult CheckHardLinks(const Descriptor& file, const std::string& path,
                          const std::string& backup_path);

// Returns whether two of the file's links in the folder are named like a file
// and its backup: the second name begins with the first. Hidden ones do not
// count.
bool HasLinkedBackup(const std::string& folder, const struct stat& file);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_FILE_LINKS_H_
