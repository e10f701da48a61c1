// A new file that replaces an old one once it is complete.

#ifndef FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_
#define FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <string_view>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// Returns the target of the symbolic links at the end of the path. It need not
/// exist.
///
/// @throws Failure with kCannotRead if the links form a loop or cannot be read
std::string FollowLinks(const std::string& path);

/// Returns the folder that contains the path's last component.
std::string FolderOf(const std::string& path);

/// Returns whether the path names the open file.
bool IsAt(const std::string& path, const Descriptor& file);

/// Throws Failure with kCannotWrite.
[[noreturn]] void FailToWrite(const std::string& path, std::string_view why);
[[noreturn]] void FailToWrite(const std::string& path, int error);
[[noreturn]] void FailToLock(const std::string& path, int error);

/// Returns the status of the open file.
///
/// @param path its path, for the error message
/// @throws Failure with kCannotWrite
struct stat StatusOf(const Descriptor& file, const std::string& path);

/// Writes the whole text at the offset `at`. Returns 0 or the error.
int WriteAt(const Descriptor& file, std::string_view text, off_t at);

/// An unnamed or hidden file in the target's folder, deleted by the destructor
/// unless it was renamed to the target.
///
/// It is hidden only for the moment before it is renamed, with SIGINT, SIGTERM
/// and SIGHUP blocked; so only a process killed in that moment leaves a stale
/// file. On a file system without unnamed files, it is hidden from the
/// beginning. The object holds the lock of TryToLock() on the file.
class ReplacementFile {
 public:
  /// @param target the path to replace, not a symbolic link
  /// @param old the file at that path, open in any mode, or nullptr if there is
  ///     none; it must outlive the object
  /// @param remedy appended to the error if the old file cannot be replaced:
  ///     " (...)", or ""
  /// @throws Failure with kCannotWrite, also if the old file has several hard
  ///     links, which a replacement would lose
  ReplacementFile(std::string target, const Descriptor* old,
                  std::string_view remedy);
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;
  ~ReplacementFile();

  /// Appends the text.
  void Write(std::string_view text);

  /// Copies the attributes of the old file with CopyAttributes(), syncs the
  /// file and renames it to the target.
  ///
  /// @return false if there was no old file and another process created one
  /// @throws Failure with kCannotWrite, also for an attribute that cannot be
  ///     kept. The old file is then unchanged, with one exception: if the
  ///     folder cannot be synced, the message says that the new file was
  ///     written.
  bool Rename();

 private:
  int OpenNew();
  int OpenNamed(unsigned mode);
  void GiveHiddenName();
  bool RenameToNew();
  void RenameOverOld();
  [[noreturn]] void FailToReplace(std::string_view why) const;

  const std::string target_;
  const Descriptor* const old_;
  const std::string remedy_;
  std::string path_;  // The hidden path; "" while unnamed.
  const Descriptor file_;
  off_t size_ = 0;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_
