// Edits a file under a lock.

#include "fairlead/file/file_edit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <thread>
#include <utility>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/base/descriptor.h"
#include "fairlead/file/edit_lock.h"
#include "fairlead/file/file_backup.h"
#include "fairlead/file/file_links.h"
#include "fairlead/file/file_path.h"
#include "fairlead/file/file_results.h"
#include "fairlead/file/leftovers.h"
#include "fairlead/file/new_file.h"
#include "fairlead/file/open_file.h"
#include "fairlead/file/overwrite.h"
#include "fairlead/file/text_journal.h"

namespace fairlead::internal {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPause{5};
constexpr int kMaxRestarts = 100;  // Within the time limit, there is none.

bool IsSame(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Returns whether the path names the file, with the size and the time of the
// last write that it had then. `now` becomes its status.
bool HasSameText(const std::string& path, const struct stat& then,
                 struct stat& now) {
  return lstat(path.c_str(), &now) == 0 && now.st_dev == then.st_dev &&
         now.st_ino == then.st_ino && now.st_size == then.st_size &&
         IsSame(now.st_mtim, then.st_mtim);
}

// Returns whether the attributes are the same too.
bool IsUnchanged(const std::string& path, const struct stat& then) {
  struct stat now = {};
  return HasSameText(path, then, now) && IsSame(now.st_ctim, then.st_ctim);
}

// The new file of an edit, created when the first piece arrives: most edits
// that change nothing pass none, and need no permission to write.
class PendingFile {
 public:
  PendingFile(const std::string& path, const Descriptor* old,
              const std::string& backup_suffix)
      : path_(path),
        backup_path_(BackupPath(path, backup_suffix)),
        old_(old),
        file_(path, old) {}

  // Appends a piece. After a failure, does nothing.
  void Write(std::string_view piece) {
    Open();
    if (result_.Succeeded()) result_ = file_.Write(piece);
  }

  // Completes the file. Returns the first failure.
  FileResult Finish() {
    Open();
    if (!backup_path_.empty() && !blocked_) blocked_.emplace(EndingSignals());
    return result_.Succeeded() ? file_.Finish() : result_;
  }

  FileResult Rename() { return file_.Rename(); }

 private:
  void Open() {
    if (is_open_) return;
    is_open_ = true;
    if (old_ != nullptr) result_ = CheckHardLinks(*old_, path_, backup_path_);
    if (!result_.Succeeded()) return;
    blocked_.emplace(EndingSignals());
    result_ = file_.Open();
    if (!file_.IsHidden()) blocked_.reset();
  }

  const std::string& path_;
  const std::string backup_path_;
  const Descriptor* const old_;
  std::optional<BlockedSignals> blocked_;  // While the file is hidden.
  NewFile file_;
  bool is_open_ = false;
  FileResult result_;
};

// One edit of one file. The results have no path.
class Edit {
 public:
  Edit(const std::string& path, const FileRewrite& rewrite,
       const FileEditOptions& options)
      : path_(path), rewrite_(rewrite), options_(options) {}

  FileResult Run() {
    while (true) {
      if (auto result = Try()) return *std::move(result);
      if (auto result = Wait()) return *std::move(result);
    }
  }

 private:
  // Why an edit must start over; kChanged if another process has created,
  // changed or replaced the file.
  enum class Obstacle { kChanged, kEditor, kLockFile, kReader };

  // These return nothing if the edit must start over, because of obstacle_.
  std::optional<FileResult> Try();
  std::optional<FileResult> EditExisting(const Descriptor& file);
  std::optional<FileResult> EditLocked(const Descriptor& file);
  std::optional<FileResult> Create();
  std::optional<FileResult> Replace(const Descriptor& file,
                                    const struct stat& then,
                                    std::string old_text);
  std::optional<FileResult> OverwriteBy(const Descriptor& file,
                                        const struct stat& then,
                                        std::string old_text);
  template <typename Write>
  std::optional<FileResult> Commit(const Descriptor& file,
                                   const struct stat& then, const Write& write);
  std::optional<FileResult> StartOver(Obstacle obstacle);
  std::optional<FileResult> StartOverUnlocked(const EditLock& lock);

  FileResult FailureToOpen(int error) const;

  // Polls for the end of another edit. Returns a failure at the time limit.
  std::optional<FileResult> Wait();
  bool IsTimeOver() const { return Waited() >= options_.lock_limit; }
  milliseconds Waited() const;
  FileResult Busy() const;

  const std::string& path_;
  const FileRewrite& rewrite_;
  const FileEditOptions& options_;
  const Clock::time_point start_ = Clock::now();
  int restarts_ = 0;
  bool notice_given_ = false;
  bool despite_reader_ = false;
  Obstacle obstacle_ = Obstacle::kChanged;
};

std::optional<FileResult> Edit::StartOver(Obstacle obstacle) {
  obstacle_ = obstacle;
  return std::nullopt;
}

// Opening a pipe or a device must not wait. Opening a file with a lease, such
// as that of a file server, fails at first, and makes its holder end it.
std::optional<FileResult> Edit::Try() {
  const Descriptor file = OpenAboveStandardStreams(
      path_.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (file.IsOpen()) return EditExisting(file);
  if (errno == ENOENT) return Create();
  if (errno == EWOULDBLOCK) return StartOver(Obstacle::kEditor);
  return FailureToOpen(errno);
}

FileResult Edit::FailureToOpen(int error) const {
  const bool readable =
      faccessat(AT_FDCWD, path_.c_str(), R_OK, AT_EACCESS) == 0;
  return Failed(readable ? FileError::kCannotWrite : FileError::kCannotRead,
                error);
}

std::optional<FileResult> Edit::EditExisting(const Descriptor& file) {
  struct stat status = {};
  if (fstat(file.number(), &status) == -1) return WriteResult(errno);
  if (!S_ISREG(status.st_mode)) return NotRegular();
  const EditLock lock(path_, file);
  const EditLock::State state = lock.state();
  const bool only_reader = state == EditLock::State::kReader;
  if (state == EditLock::State::kMine || (only_reader && despite_reader_))
    return EditLocked(file);
  return StartOverUnlocked(lock);
}

std::optional<FileResult> Edit::StartOverUnlocked(const EditLock& lock) {
  switch (lock.state()) {
    case EditLock::State::kFailed:
      return Failed(FileError::kCannotWrite, lock.error(),
                    "it cannot be locked: " + ErrorText(lock.error()));
    case EditLock::State::kLockFile:
      return StartOver(Obstacle::kLockFile);
    case EditLock::State::kReader:
      return StartOver(Obstacle::kReader);
    default:
      return StartOver(Obstacle::kEditor);
  }
}

std::optional<FileResult> Edit::EditLocked(const Descriptor& file) {
  struct stat then = {};
  if (fstat(file.number(), &then) == -1) return WriteResult(errno);
  if (!IsUnchanged(path_, then)) return StartOver(Obstacle::kChanged);

  std::string old_text;
  if (const int error = ReadToEnd(file.number(), old_text))
    return Failed(FileError::kCannotRead, error);
  // Otherwise the text may be a mixture.
  if (!IsUnchanged(path_, then)) return StartOver(Obstacle::kChanged);
  return options_.in_place ? OverwriteBy(file, then, std::move(old_text))
                           : Replace(file, then, std::move(old_text));
}

std::optional<FileResult> Edit::Replace(const Descriptor& file,
                                        const struct stat& then,
                                        std::string old_text) {
  PendingFile replacement(path_, &file, options_.backup_suffix);
  const auto write = [&](std::string_view piece) { replacement.Write(piece); };
  if (!rewrite_(std::move(old_text), write)) return FileResult();
  FileResult result = replacement.Finish();
  if (!result.Succeeded()) return result;
  return Commit(file, then, [&] { return replacement.Rename(); });
}

// The old text is read again when the caller's is gone.
std::optional<FileResult> Edit::OverwriteBy(const Descriptor& file,
                                            const struct stat& then,
                                            std::string old_text) {
  TextJournal text(file, old_text);
  const auto write = [&](std::string_view piece) { text.Append(piece); };
  if (!rewrite_(std::move(old_text), write)) return FileResult();

  std::string old;
  if (lseek(file.number(), 0, SEEK_SET) == -1)
    return Failed(FileError::kCannotRead, errno);
  if (const int error = ReadToEnd(file.number(), old))
    return Failed(FileError::kCannotRead, error);
  // Allocated first: after the last byte, no allocation may fail.
  const std::string folder = FolderOf(path_);
  return Commit(file, then, [&] {
    FileResult result = Overwrite(file, old, text);
    if (result.Succeeded()) RemoveLeftovers(folder, file);
    return result;
  });
}

// Makes the backup, and calls `write`. A hard link changes the file's status,
// but not its text.
template <typename Write>
std::optional<FileResult> Edit::Commit(const Descriptor& file,
                                       const struct stat& then,
                                       const Write& write) {
  const BlockedSignals blocked(EndingSignals());
  if (!IsUnchanged(path_, then)) return StartOver(Obstacle::kChanged);
  Backup backup(path_, options_.backup_suffix);
  FileResult result = options_.in_place ? backup.Copy(file) : backup.Link(file);
  struct stat now = {};
  if (!HasSameText(path_, then, now)) return StartOver(Obstacle::kChanged);
  if (result.Succeeded()) result = backup.Put();
  if (!result.Succeeded()) return result;
  result = write();
  if (result.state != FileState::kOld) backup.Keep();
  return result;
}

std::optional<FileResult> Edit::Create() {
  PendingFile file(path_, nullptr, "");
  const auto write = [&](std::string_view piece) { file.Write(piece); };
  if (!rewrite_(std::nullopt, write)) return FileResult();
  FileResult result = file.Finish();
  if (result.Succeeded()) result = file.Rename();
  if (result.system_error == EEXIST) return StartOver(Obstacle::kChanged);
  return result;
}

milliseconds Edit::Waited() const {
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start_);
}

std::optional<FileResult> Edit::Wait() {
  if (obstacle_ == Obstacle::kChanged) {
    const bool endless = ++restarts_ >= kMaxRestarts && IsTimeOver();
    return endless ? std::optional(Busy()) : std::nullopt;
  }
  if (IsTimeOver()) {
    despite_reader_ = obstacle_ == Obstacle::kReader;
    return despite_reader_ ? std::nullopt : std::optional(Busy());
  }
  if (Waited() >= options_.notice_after && !notice_given_) {
    notice_given_ = true;
    if (options_.on_wait) options_.on_wait();
  }
  std::this_thread::sleep_for(kPause);
  return std::nullopt;
}

FileResult Edit::Busy() const {
  FileResult result =
      Failed(FileError::kBusy, 0, "another edit did not end in time");
  if (obstacle_ == Obstacle::kLockFile) result.lock_file = LockPath(path_);
  return result;
}

}  // namespace
}  // namespace fairlead::internal

namespace fairlead {

FileContent ReadFileContent(const std::string& path) {
  FileContent content;
  content.result.path = path;
  const internal::Descriptor file =
      internal::OpenAboveStandardStreams(path.c_str(), O_RDONLY | O_NOCTTY);
  const int error =
      file.IsOpen() ? internal::ReadToEnd(file.number(), content.text) : errno;
  if (error == 0) return content;
  content.text.clear();
  content.result = internal::Failed(FileError::kCannotRead, error);
  content.result.path = path;
  return content;
}

FileResult RewriteFile(const std::string& path, const FileRewrite& rewrite,
                       const FileEditOptions& options) {
  std::string target = path;
  FileResult result = internal::FollowLinks(target);
  if (result.Succeeded())
    result = internal::Edit(target, rewrite, options).Run();
  result.path = std::move(target);
  return result;
}

FileResult EditFile(const std::string& path, const FileChange& change,
                    const FileEditOptions& options) {
  const auto rewrite = [&change](std::optional<std::string> old_text,
                                 const PieceWriter& write) {
    const std::optional<std::string> text = change(old_text);
    if (!text || text == old_text) return false;
    old_text.reset();  // In place, what is new is copied.
    write(*text);
    return true;
  };
  return RewriteFile(path, rewrite, options);
}

FileResult ReplaceFile(const std::string& path, std::string_view text,
                       const FileEditOptions& options) {
  return EditFile(
      path,
      [text](const std::optional<std::string>&) { return std::string(text); },
      options);
}

}  // namespace fairlead
