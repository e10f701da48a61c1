// Locks a file against other edits.

#include "fairlead/file/edit_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "fairlead/file/file_path.h"

namespace fairlead::internal {
namespace {

// Far beyond the bytes that any other program locks.
constexpr off_t kByte = 0x7fff'ffff'0000'0000;

struct flock ByteLock(int type) {
  struct flock lock = {};
  lock.l_type = static_cast<short>(type);
  lock.l_whence = SEEK_SET;
  lock.l_start = kByte;
  lock.l_len = 1;
  return lock;
}

// Returns the type of the lock that blocks ours; F_UNLCK if none does, -1 for
// an error.
int BlockingType(const Descriptor& file) {
  struct flock lock = ByteLock(F_WRLCK);
  const int result =
      Uninterrupted([&] { return fcntl(file.number(), F_OFD_GETLK, &lock); });
  return result == -1 ? -1 : lock.l_type;
}

// In a folder where anybody may create files, ignores lock files of users other
// than root, this one and the owners of the file and the folder: they could
// block edits of a file that they may not write.
bool IsOfUnrelatedUser(const struct stat& lock_file, const struct stat& file,
                       const std::string& folder) {
  struct stat there = {};
  const bool anybody = stat(folder.c_str(), &there) == 0 &&
                       (there.st_mode & unsigned{S_ISVTX}) != 0;
  const uid_t owner = lock_file.st_uid;
  return anybody && owner != 0 && owner != geteuid() && owner != file.st_uid &&
         owner != there.st_uid;
}

}  // namespace

sigset_t EndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM})
    sigaddset(&signals, signal);
  return signals;
}

int TryToLock(const Descriptor& file) {
  struct flock lock = ByteLock(F_WRLCK);
  const int result =
      Uninterrupted([&] { return fcntl(file.number(), F_OFD_SETLK, &lock); });
  if (result == 0) return 0;
  return errno == EACCES ? EAGAIN : errno;
}

void Unlock(const Descriptor& file) {
  struct flock lock = ByteLock(F_UNLCK);
  fcntl(file.number(), F_OFD_SETLK, &lock);
}

std::string LockPath(const std::string& path) {
  return FolderOf(path) + "/.fairlead.lock";
}

// Deleted at the end if it is locked by us, while still locked: a process that
// locks it later then sees that it is gone.
class EditLock::LockFile {
 public:
  explicit LockFile(const std::string& path)
      : path_(path),
        file_(OpenAboveStandardStreams(
            path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
            S_IRUSR | S_IWUSR)),
        error_(file_.IsOpen() ? TryToLock(file_) : errno) {}
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;
  ~LockFile() {
    if (error_ != 0) return;
    if (IsMine()) unlink(path_.c_str());
    Unlock(file_);
  }

  bool IsMine() const { return error_ == 0 && IsAt(path_, file_); }
  int error() const { return error_; }

 private:
  const std::string path_;
  const Descriptor file_;
  const int error_;
};

EditLock::EditLock(const std::string& path, const Descriptor& file)
    : path_(path), lock_path_(LockPath(path)), file_(file), state_(Lock()) {}

EditLock::~EditLock() {
  lock_file_.reset();
  Unlock(file_);
}

EditLock::State EditLock::Fail(int error) {
  error_ = error;
  return State::kFailed;
}

EditLock::State EditLock::Lock() {
  const int error = TryToLock(file_);
  if (error == 0) return CheckLockFile();
  if (error != EAGAIN) return Fail(error);
  const int type = BlockingType(file_);
  if (type == -1) return Fail(errno);
  return type == F_RDLCK ? LockFileInstead() : State::kEditor;
}

EditLock::State EditLock::LockFileInstead() {
  blocked_.emplace(EndingSignals());
  lock_file_ = std::make_unique<LockFile>(lock_path_);
  if (!lock_file_->IsMine()) return StateOfFailedLockFile(lock_file_->error());
  const int type = BlockingType(file_);
  if (type == -1) return Fail(errno);
  return type == F_WRLCK ? State::kEditor : State::kMine;
}

EditLock::State EditLock::StateOfFailedLockFile(int error) {
  switch (error) {
    case 0:
    case EAGAIN:
    case EISDIR:
    case ENXIO:
      return State::kLockFile;
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP:
      return State::kReader;
    default:
      return Fail(error);
  }
}

// An unlocked lock file is stale: its edit was killed.
EditLock::State EditLock::CheckLockFile() {
  struct stat status = {};
  struct stat edited = {};
  if (lstat(lock_path_.c_str(), &status) == -1)
    return errno == ENOENT ? State::kMine : Fail(errno);
  if (fstat(file_.number(), &edited) == -1) return Fail(errno);
  if (IsOfUnrelatedUser(status, edited, FolderOf(path_))) return State::kMine;
  return OpenLockFile();
}

EditLock::State EditLock::OpenLockFile() {
  const Descriptor lock_file = OpenAboveStandardStreams(
      lock_path_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  const int error = lock_file.IsOpen() ? TryToLock(lock_file) : errno;
  switch (error) {
    case 0:
      if (IsAt(lock_path_, lock_file)) unlink(lock_path_.c_str());
      Unlock(lock_file);
      return State::kMine;
    case ENOENT:
      return State::kMine;
    case EAGAIN:
    case EACCES:
    case EPERM:
    case ELOOP:
    case EISDIR:
    case ENXIO:
      return State::kLockFile;
    default:
      return Fail(error);
  }
}

}  // namespace fairlead::internal
