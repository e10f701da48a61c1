// The old file, kept beside the new one. Not installed.

#ifndef FAIRLEAD_FILE_FILE_BACKUP_H_
#define FAIRLEAD_FILE_FILE_BACKUP_H_

#include <optional>
#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/file/new_file.h"

namespace fairlead::internal {

// Returns the path of the backup; "" if the suffix is empty.
std::string BackupPath(const std::string& path, const std::string& suffix);

// A backup of a file that is about to be changed. The destructor restores the
// older backup, unless Keep() was called.
//
// Made under a hidden name, and then renamed over an older backup, which gets a
// hidden name: so it can be restored until Keep() deletes it. While the backup
// may be a hard link of the file, the file has a hidden link too, by which
// CheckHardLinks() knows the backup of an edit that was killed. Call the
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
  // replaced. Makes a copy where the file system has no hard links. The file
  // must outlive the object.
  FileResult Link(const Descriptor& file);

  // Makes a copy with the attributes: for a file that will be overwritten.
  FileResult Copy(const Descriptor& file);

  // Gives the backup its name, and syncs the folder.
  FileResult Put();

  // Keeps the backup, and deletes the older one and stale links of it.
  void Keep();

 private:
  FileResult CheckPath() const;
  FileResult CopyText(const Descriptor& file);
  void LockOlder();
  void RemoveHidden();
  void RemoveLink();
  int Exchange() const;
  int Rename();
  int RenameOverOlder();
  void Restore();

  const std::string file_path_;
  const std::string path_;
  const std::string folder_;
  std::optional<NewFile> copy_;       // Holds the lock of a hidden copy,
  Descriptor older_;                  // and this that of the older backup.
  const Descriptor* file_ = nullptr;  // Has a hidden link,
  std::string link_;                  // this one; or "".
  std::string hidden_;                // The backup, or the older one; or "".
  bool is_put_ = false;               // The backup has its name.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_FILE_BACKUP_H_
