// A new file that replaces an old one once it is complete. Not installed.

#ifndef FAIRLEAD_FILE_NEW_FILE_H_
#define FAIRLEAD_FILE_NEW_FILE_H_

#include <sys/types.h>

#include <string>
#include <string_view>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/file/text_writer.h"

namespace fairlead::internal {

// Syncs a file or a folder, if the file system supports it. Returns 0 or the
// error.
int Sync(const Descriptor& file);

// Opens a folder to sync it after a rename, which cannot be undone. A folder
// that may not be read cannot be synced: then returns 0 and opens nothing.
// Returns the error otherwise.
int OpenToSync(const std::string& path, Descriptor& folder);

// An unnamed or hidden file in the target's folder, deleted by the destructor
// unless it was renamed to the target.
//
// It is hidden only for the moment before it is renamed, with EndingSignals()
// blocked. On a file system without unnamed files, it is hidden from the
// beginning. The object holds the lock of TryToLock() on the file.
//
// Call the functions in their order, each after the success of the last; their
// results have no path.
class NewFile {
 public:
  // Takes the path to replace, not a symbolic link, and the file at that path,
  // open in any mode, or nullptr if there is none; it must outlive the object.
  NewFile(const std::string& target, const Descriptor* old);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  FileResult Open();

  // Appends the text. Collects short texts in a buffer, so a failure may be
  // that of an earlier text.
  FileResult Write(std::string_view text);

  // Copies the attributes of the old file with CopyAttributes(), and syncs the
  // file.
  FileResult Finish();

  // Gives the file a hidden name, which the caller must rename or delete, with
  // EndingSignals() blocked. Returns 0, with the name in `path`, or the error.
  int Hide(std::string& path);

  // Renames the file to the target and syncs the folder. Fails with EEXIST if
  // there was no old file and another process created one.
  FileResult Rename();

  // Returns whether the file has a hidden name.
  bool IsHidden() const { return !path_.empty(); }

 private:
  int OpenUnnamed(mode_t mode);
  int OpenHidden(mode_t mode);
  int CreateHiddenFile(mode_t mode);
  int MakeHidden();
  int RenameToNew();
  int RenameOverOld();

  const std::string target_;
  const std::string folder_;
  const Descriptor* const old_;
  std::string path_;  // The hidden path; "" while unnamed.
  Descriptor file_;
  TextWriter writer_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_NEW_FILE_H_
