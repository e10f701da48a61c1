// Edits a file under a lock, by replacing it or in place.

#include "tool/io/atomic_edit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <thread>
#include <tuple>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"
#include "tool/io/blocked_signals.h"
#include "tool/io/edit_lock.h"
#include "tool/io/leftovers.h"
#include "tool/io/read_file.h"
#include "tool/io/replacement_file.h"

namespace fairlead::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view kRemedy = " (-inplace overwrites the file itself)";
constexpr std::chrono::milliseconds kPause{5};

void Replace(const std::string& path, const Descriptor& old,
             std::string_view text) {
  const BlockedSignals blocked;
  ReplacementFile replacement(path, &old, kRemedy);
  replacement.Write(text);
  replacement.Rename();
}

// Allocates disk space for the text without changing the file's size. Succeeds
// if the file system does not support this: then writing will show. Returns 0
// or the error.
int Reserve(const Descriptor& file, std::string_view text) {
  const auto size = static_cast<off_t>(text.size());
  while (fallocate(file.number(), FALLOC_FL_KEEP_SIZE, 0, size) == -1)
    if (errno != EINTR) return errno == EOPNOTSUPP ? 0 : errno;
  return 0;
}

// Frees what Reserve() allocated. Failure is harmless.
void Release(const Descriptor& file, std::string_view old_text) {
  std::ignore = ftruncate(file.number(), static_cast<off_t>(old_text.size()));
}

// Replaces the content of the file and syncs it. Returns 0 or the error.
int SetContent(const Descriptor& file, std::string_view text) {
  if (const int error = WriteAt(file, text, 0)) return error;
  const auto size = static_cast<off_t>(text.size());
  struct stat now = {};
  if (fstat(file.number(), &now) == -1) return errno;
  if (now.st_size != size && ftruncate(file.number(), size) == -1) return errno;
  return fsync(file.number()) == -1 ? errno : 0;
}

// Reserves space first and restores the old text on failure: a partially
// written file is worse than an old one.
void Overwrite(const std::string& path, const Descriptor& file,
               std::string_view old_text, std::string_view new_text) {
  const BlockedSignals blocked;
  int error = new_text.size() > old_text.size() ? Reserve(file, new_text) : 0;
  const bool has_space = error == 0;
  if (has_space) error = SetContent(file, new_text);
  if (error == 0) return;
  const int restore_error = has_space ? SetContent(file, old_text) : 0;
  Release(file, old_text);
  if (restore_error == 0) FailToWrite(path, error);
  FailToWrite(path, Concat(Reason(error),
                           "; restoring the old text failed too, and part of "
                           "it may be lost: ",
                           Reason(restore_error)));
}

[[noreturn]] void FailToOpen(const std::string& path, int error) {
  const bool readable =
      faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
  if (readable) FailToWrite(path, error);
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(path), ": ", Reason(error)));
}

// Polls for the end of another edit.
class Waiting {
 public:
  Waiting(const std::string& path, const Patience& patience)
      : path_(path), patience_(patience) {}

  // Returns whether the edit goes on without the lock: at the limit, if only a
  // reader keeps it.
  bool Pause(EditLock::State state) {
    const auto waited = Clock::now() - start_;
    if (waited >= patience_.limit) {
      if (state == EditLock::State::kReader) return true;
      Fail(state);
    }
    if (waited >= patience_.notice_after && !notice_given_) {
      notice_given_ = true;
      patience_.give_notice();
    }
    std::this_thread::sleep_for(kPause);
    return false;
  }

 private:
  [[noreturn]] void Fail(EditLock::State state) const {
    throw Failure(
        kTimeIsOver,
        Concat("another edit of ", Quoted(path_),
               " did not end in time: try again",
               state == EditLock::State::kLockFile
                   ? Concat("; if there is none, delete ",
                            Quoted(Concat(FolderOf(path_), "/.fairlead.lock")))
                   : ""));
  }

  const std::string& path_;
  const Patience& patience_;
  const Clock::time_point start_ = Clock::now();
  bool notice_given_ = false;
};

// Each of these returns false if the edit must start over: another edit has the
// lock (see `state`), or another process created or replaced the file.

bool CreateFile(const std::string& path, const Change& change) {
  const std::string text = change(std::nullopt);
  const BlockedSignals blocked;
  ReplacementFile replacement(path, nullptr, kRemedy);
  replacement.Write(text);
  return replacement.Rename();
}

bool EditExisting(const std::string& path, const Descriptor& file,
                  Writing writing, const Change& change, bool despite_reader,
                  EditLock::State& state) {
  if (!S_ISREG(StatusOf(file, path).st_mode))
    FailToWrite(path, "it is not a regular file");
  const EditLock lock(path, file);
  state = lock.state();
  const bool goes_on = despite_reader && state == EditLock::State::kReader;
  if (state != EditLock::State::kMine && !goes_on) return false;
  if (!IsAt(path, file)) return false;

  const std::string old_text = ReadAll(file.number(), Quoted(path));
  const std::string new_text = change(old_text);
  if (new_text == old_text) return true;
  if (writing == Writing::kReplace) {
    Replace(path, file, new_text);
    return true;
  }
  Overwrite(path, file, old_text, new_text);
  RemoveLeftovers(FolderOf(path), file);
  return true;
}

bool TryToEdit(const std::string& path, Writing writing, const Change& change,
               bool despite_reader, EditLock::State& state) {
  const Descriptor file(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  if (file.IsOpen())
    return EditExisting(path, file, writing, change, despite_reader, state);
  if (errno == ENOENT) return CreateFile(path, change);
  FailToOpen(path, errno);
}

}  // namespace

void EditFile(const std::string& path, Writing writing, const Change& change,
              const Patience& patience) {
  const std::string target = FollowLinks(path);
  Waiting waiting(target, patience);
  bool despite_reader = false;
  while (true) {
    auto state = EditLock::State::kMine;
    if (TryToEdit(target, writing, change, despite_reader, state)) return;
    if (state != EditLock::State::kMine) despite_reader = waiting.Pause(state);
  }
}

}  // namespace fairlead::tool
