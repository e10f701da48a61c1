// Locks a file against other edits.

#include "tool/io/edit_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tool/base/concat.h"
#include "tool/base/reason.h"
#include "tool/io/replacement_file.h"

namespace fairlead::tool {
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

// Returns the type of the lock that blocks ours; F_UNLCK if none does.
int BlockingType(const Descriptor& file, const std::string& path) {
  struct flock lock = ByteLock(F_WRLCK);
  if (fcntl(file.number(), F_OFD_GETLK, &lock) == -1) FailToLock(path, errno);
  return lock.l_type;
}

bool Locked(const Descriptor& file, const std::string& path) {
  const int error = TryToLock(file);
  if (error != 0 && error != EAGAIN) FailToLock(path, error);
  return error == 0;
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

int TryToLock(const Descriptor& file) {
  struct flock lock = ByteLock(F_WRLCK);
  while (fcntl(file.number(), F_OFD_SETLK, &lock) == -1)
    if (errno != EINTR) return errno == EACCES ? EAGAIN : errno;
  return 0;
}

// Deleted at the end if it is locked by us, while still locked: a process that
// locks it later then sees that it is gone.
class EditLock::LockFile {
 public:
  explicit LockFile(const std::string& path)
      : path_(path),
        file_(open(path.c_str(),
                   O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                   S_IRUSR | S_IWUSR)),
        error_(file_.IsOpen() ? TryToLock(file_) : errno) {}
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;
  ~LockFile() {
    if (IsMine()) unlink(path_.c_str());
  }

  bool IsMine() const { return error_ == 0 && IsAt(path_, file_); }
  int error() const { return error_; }

 private:
  const std::string path_;
  const Descriptor file_;
  const int error_;
};

EditLock::EditLock(const std::string& path, const Descriptor& file)
    : path_(path),
      lock_path_(Concat(FolderOf(path), "/.fairlead.lock")),
      state_(Lock(file)) {}

EditLock::~EditLock() = default;

EditLock::State EditLock::Lock(const Descriptor& file) {
  if (Locked(file, path_))
    return LockFileIsTaken(file) ? State::kLockFile : State::kMine;
  if (BlockingType(file, path_) != F_RDLCK) return State::kEditor;
  return LockFileInstead(file);
}

EditLock::State EditLock::LockFileInstead(const Descriptor& file) {
  blocked_.emplace();
  lock_file_ = std::make_unique<LockFile>(lock_path_);
  if (lock_file_->IsMine())
    return BlockingType(file, path_) == F_WRLCK ? State::kEditor : State::kMine;
  switch (lock_file_->error()) {
    case 0:
    case EAGAIN:
      return State::kLockFile;
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP:
      return State::kReader;
    case EISDIR:
    case ENXIO:
      return State::kLockFile;
    default:
      FailToLock(path_, lock_file_->error());
  }
}

// An unlocked lock file is stale: its edit was killed.
bool EditLock::LockFileIsTaken(const Descriptor& file) const {
  struct stat status = {};
  if (lstat(lock_path_.c_str(), &status) == -1) {
    if (errno == ENOENT) return false;
    FailToLock(path_, errno);
  }
  if (IsOfUnrelatedUser(status, StatusOf(file, path_), FolderOf(path_)))
    return false;
  const Descriptor lock_file(
      open(lock_path_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!lock_file.IsOpen()) {
    if (errno == ENOENT) return false;
    if (errno == EACCES || errno == EPERM || errno == ELOOP ||
        errno == EISDIR || errno == ENXIO)
      return true;
    FailToLock(path_, errno);
  }
  if (!Locked(lock_file, path_)) return true;
  if (IsAt(lock_path_, lock_file)) unlink(lock_path_.c_str());
  return false;
}

}  // namespace fairlead::tool
