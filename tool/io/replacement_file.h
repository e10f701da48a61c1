// A new file beside an old one, to take its place once it is whole.

#ifndef FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_
#define FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <string_view>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// What the path stands for when the symbolic links at its end are followed;
/// the last one may lead to where there is no file yet.
///
/// @throws Failure with kCannotRead for links that lead in a circle or cannot
///     be read
std::string FollowLinks(const std::string& path);

/// The folder in which the path's last name stands.
std::string FolderOf(const std::string& path);

/// Whether the path stands for the open file.
bool IsAt(const std::string& path, const Descriptor& file);

/// @throws Failure with kCannotWrite, always
[[noreturn]] void FailToWrite(const std::string& path, std::string_view why);
[[noreturn]] void FailToWrite(const std::string& path, int error);
[[noreturn]] void FailToLock(const std::string& path, int error);

/// @throws Failure with kCannotWrite; the path is for its text
struct stat StatusOf(const Descriptor& file, const std::string& path);

/// Writes all of the text from the position `at` on; returns 0 or the error.
int WriteAt(const Descriptor& file, std::string_view text, off_t at);

/// A file without a name, or with a hidden one, in the target's folder. It goes
/// at the end unless it has got the target's name.
///
/// It gets a hidden name only for the moment before it is renamed, which
/// SIGINT, SIGTERM and SIGHUP do not part; so only a process killed in that
/// very moment leaves one behind. Where the file system knows no files without
/// a name, it has the hidden one from the beginning. While the object lives,
/// the file has the lock of TryToLock().
class ReplacementFile {
 public:
  /// @param target no symbolic link
  /// @param old the file of that name, open in any way, or nullptr where there
  ///     is none; it outlives the object
  /// @param remedy is added to what is said where the old file cannot be
  ///     replaced: " (...)", or ""
  /// @throws Failure with kCannotWrite; also where a new file cannot take the
  ///     place of the old one without loss: that has several names
  ReplacementFile(std::string target, const Descriptor* old,
                  std::string_view remedy);
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;
  ~ReplacementFile();

  /// Appends the text.
  void Write(std::string_view text);

  /// Gives the file the attributes of the old one, as CopyAttributes() does,
  /// brings it to the disk and gives it the target's name.
  ///
  /// @return false where there was no old file and one has appeared meanwhile
  /// @throws Failure with kCannotWrite, also for an attribute that cannot be
  ///     kept. The old file stays then, with one exception: where the folder
  ///     cannot be brought to the disk, the text says that the new file is
  ///     there.
  bool Rename();

 private:
  int OpenNew();
  int OpenNamed(unsigned mode);
  void GiveHiddenName();
  bool BeFirst();
  void Replace();
  [[noreturn]] void FailToReplace(std::string_view why) const;

  const std::string target_;
  const Descriptor* const old_;
  const std::string remedy_;
  std::string path_;  // The hidden name; "" for none.
  const Descriptor file_;
  off_t size_ = 0;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_
