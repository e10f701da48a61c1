// The old file, kept beside the new one. Not installed.

#ifndef FAIRLEAD_INI_FILE_BACKUP_H_
#define FAIRLEAD_INI_FILE_BACKUP_H_

#include <optional>
#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/ini/file_edit.h"
#include "fairlead/ini/new_file.h"

namespace fairlead::internal {

// Returns the path of the backup; "" if the suffix is empty.
std::string BackupPath(const std::string& path, const std::string& suffix);

// A backup of a file that is about to be changed. The destructor restores the
// older backup, unless Keep() was called.
//
// Made under a hidden name, and then renamed over an older backup by exchanging
// the names: so the older one can be restored until Keep() deletes it. Call the
// functions in their order, each after the success of the last, with
// EndingSignals() blocked; their results have no path. Without a suffix they do
// nothing.
class Backup {
 public:
  // Takes the path of the file, not a symbolic link.
  Backup(const std::string& path, const std::string& suffix);
  Backup(const Backup&) = delete;
  Backup& operator=(const Backup&) = delete;
  ~Backup();

  // Makes a hard link of the open file at the path: for a file that will be
  // replaced. Makes a copy where the file system has no hard links.
  FileResult Link(const Descriptor& file);

  // Makes a copy with the attributes: for a file that will be overwritten.
  FileResult Copy(const Descriptor& file);

  // Gives the backup its name, and syncs the folder.
  FileResult Put();

  // Keeps the backup and deletes the older one.
  void Keep();

 private:
  FileResult CheckPath() const;
  FileResult CopyText(const Descriptor& file);
  void LockOlder();
  int Exchange() const;
  int Rename();

  const std::string file_path_;
  const std::string path_;
  const std::string folder_;
  std::optional<NewFile> copy_;  // Holds the lock of a hidden copy,
  Descriptor older_;             // and this that of the older backup.
  std::string hidden_;           // A backup that is to be deleted; or "".
  bool is_put_ = false;
  bool is_exchanged_ = false;  // hidden_ is the older backup.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_FILE_BACKUP_H_
