// The lock that serializes the edits of a file. Not installed.

#ifndef FAIRLEAD_FILE_EDIT_LOCK_H_
#define FAIRLEAD_FILE_EDIT_LOCK_H_

#include <memory>
#include <optional>
#include <string>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

// Returns the signals that end a process that does not handle them, sent by a
// user, a login manager or a timer.
sigset_t EndingSignals();

// Write-locks one byte far beyond the end of the file, which must be open for
// writing. The lock belongs to the open file description and ends with it.
//
// @return 0, EAGAIN if the lock is taken, or the error
int TryToLock(const Descriptor& file);

// Releases the lock, also if a forked child has inherited the open file.
void Unlock(const Descriptor& file);

// Returns the path of the lock file that EditLock uses beside the file.
std::string LockPath(const std::string& path);

// The exclusive right to edit a file.
//
// The lock is that of TryToLock() on the file itself. It is a write lock, so a
// process that may only read the file cannot take it, but can block it with a
// read lock. No edit takes a read lock, so this case is detected: edits then
// lock a file ".fairlead.lock" in the same folder instead. It exists only
// during the edit, and only its owner may open it. Every edit checks both: if
// it has the first lock, it waits for the second; if it has the second, it
// checks that nobody has the first. So no two edits run at once, and a user
// who may write neither the file nor its folder cannot block an edit.
//
// One case remains: if the folder cannot be written (the file can then be
// edited in place only), a read lock does block this lock: kReader.
//
// flock(2) locks have no effect.
class EditLock {
 public:
  enum class State {
    kMine,
    kEditor,    // Another edit has locked the file.
    kLockFile,  // Another edit has the lock file, or seems to.
    kReader,    // A reader has locked it, and no lock file can be created.
    kFailed,    // The system refuses to lock; see error().
  };

  // Tries once, without waiting.
  //
  // Takes the path of the file, not a symbolic link, and the file, open for
  // reading and writing; it must outlive the lock.
  EditLock(const std::string& path, const Descriptor& file);
  EditLock(const EditLock&) = delete;
  EditLock& operator=(const EditLock&) = delete;
  ~EditLock();

  State state() const { return state_; }
  int error() const { return error_; }

 private:
  class LockFile;

  State Lock();
  State LockFileInstead();
  State StateOfFailedLockFile(int error);
  State CheckLockFile();
  State OpenLockFile();
  State Fail(int error);

  const std::string path_;
  const std::string lock_path_;
  const Descriptor& file_;
  std::optional<BlockedSignals> blocked_;  // While the lock file exists.
  std::unique_ptr<LockFile> lock_file_;
  int error_ = 0;
  State state_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_EDIT_LOCK_H_
