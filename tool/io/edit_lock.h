// The lock that keeps the edits of a file apart.

#ifndef FAIRLEAD_TOOL_IO_EDIT_LOCK_H_
#define FAIRLEAD_TOOL_IO_EDIT_LOCK_H_

#include <memory>
#include <optional>
#include <string>

#include "tool/base/descriptor.h"
#include "tool/io/held_signals.h"

namespace fairlead::tool {

/// Locks one byte far beyond the end of the file, which must be open for
/// writing, against everybody who locks with this function. The lock belongs to
/// the open file and ends with it, or with the process.
///
/// @return 0, EAGAIN where another has the lock, or the error
int TryToLock(const Descriptor& file);

/// The right to edit a file, which one process at a time has.
///
/// The lock is that of TryToLock() on the file itself: a write lock, for which
/// a process has to open the file for writing. Who may only read it cannot have
/// this lock, but can prevent it by a read lock. As no edit takes one of those,
/// it is told apart, and while one lasts, edits lock a file ".fairlead.lock" in
/// the same folder instead, which is there for that time only and can be opened
/// by its owner alone. Every edit looks at both: with the first lock it waits
/// for the second, with the second it makes sure that nobody has the first. So
/// no two have them at once, whichever they got, and nobody can hold up an edit
/// who may write neither the file nor its folder.
///
/// One case remains. Where the folder cannot be written either (the file can
/// then be edited in place only), a read lock does hold up the edit: kReader.
///
/// Locks of the kind of flock(2) have no effect on any of this.
class EditLock {
 public:
  enum class State {
    kMine,
    kEditor,    ///< Another edit has the file.
    kLockFile,  ///< Another edit has the lock file, or seems to.
    kReader,    ///< A reader has it, and there can be no lock file.
  };

  /// Tries once, without waiting.
  ///
  /// @param path of the file, no symbolic link
  /// @param file is open for reading and writing; a lock ends when it is closed
  /// @throws Failure with kCannotWrite where the system refuses locks
  EditLock(const std::string& path, const Descriptor& file);
  EditLock(const EditLock&) = delete;
  EditLock& operator=(const EditLock&) = delete;
  ~EditLock();

  State state() const { return state_; }

  /// The path of the lock file.
  const std::string& lock_path() const { return lock_path_; }

 private:
  class LockFile;

  State Lock(const Descriptor& file);
  State LockFileInstead(const Descriptor& file);
  bool LockFileIsTaken(const Descriptor& file) const;

  const std::string path_;
  const std::string lock_path_;
  std::optional<HeldSignals> held_;  // While the lock file is there.
  std::unique_ptr<LockFile> lock_file_;
  State state_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_EDIT_LOCK_H_
