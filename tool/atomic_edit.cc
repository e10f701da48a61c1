#include "tool/atomic_edit.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "tool/concat.h"
#include "tool/descriptor.h"
#include "tool/escapes.h"
#include "tool/failure.h"
#include "tool/read_file.h"

namespace fairlead::tool {
namespace {

constexpr int kMostLinks = 40;

[[noreturn]] void Fail(const std::string& path, std::string_view why) {
  throw Failure(kCannotWrite, Concat("cannot write ", Quoted(path), ": ", why));
}

[[noreturn]] void Fail(const std::string& path, int error) {
  Fail(path, ErrorText(error));
}

// A file that is there can also be rewritten.
[[noreturn]] void FailToReplace(const std::string& path, std::string_view why) {
  const bool exists = access(path.c_str(), F_OK) == 0;
  Fail(path, Concat(why, exists ? " (-inplace rewrites the file itself)" : ""));
}

// What the path stands for when the symbolic links at its end are followed;
// the last one may lead to where there is no file yet.
std::string FollowLinks(const std::string& path) {
  std::filesystem::path target = path;
  std::error_code error;
  for (int links = 0; links < kMostLinks; ++links) {
    const auto link = std::filesystem::read_symlink(target, error);
    if (error) return target.string();
    target = target.parent_path() / link;
  }
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(path), ": ", ErrorText(ELOOP)));
}

std::string FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

struct stat StatusOf(const Descriptor& file, const std::string& path) {
  struct stat status = {};
  if (fstat(file.number(), &status) == -1) Fail(path, errno);
  return status;
}

void WriteAll(const Descriptor& file, std::string_view text,
              const std::string& path) {
  off_t at = 0;
  while (!text.empty()) {
    const ssize_t count = pwrite(file.number(), text.data(), text.size(), at);
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) Fail(path, errno);
    text.remove_prefix(static_cast<std::size_t>(count));
    at += count;
  }
}

void Sync(const Descriptor& file, const std::string& path) {
  if (fsync(file.number()) == -1) Fail(path, errno);
}

// So that the new name is on the disk too. Some file systems cannot do that for
// a folder, and some folders may not be opened.
void SyncFolder(const std::string& path) {
  const Descriptor folder(
      open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.IsOpen() && fsync(folder.number()) == -1 && errno != EINVAL)
    Fail(path, errno);
}

// A hidden file beside the target, deleted at the end unless it has got the
// target's name. One that a killed process left behind does not matter: the
// next number is free.
class Beside {
 public:
  Beside(std::string target, mode_t mode)
      : target_(std::move(target)), file_(OpenNew(mode)) {
    if (!file_.IsOpen()) FailToReplace(target_, ErrorText(errno));
  }
  Beside(const Beside&) = delete;
  Beside& operator=(const Beside&) = delete;
  ~Beside() {
    if (file_.IsOpen() && !renamed_) unlink(path_.c_str());
  }

  const Descriptor& file() const { return file_; }

  void Write(std::string_view text) const { WriteAll(file_, text, target_); }

  // Brings the file to the disk and gives it the target's name. With
  // RENAME_NOREPLACE, false where a file of that name has appeared.
  bool Rename(unsigned flags);

 private:
  int OpenNew(mode_t mode);

  std::string target_;
  std::string path_;
  Descriptor file_;
  bool renamed_ = false;
};

int Beside::OpenNew(mode_t mode) {
  const std::string start =
      Concat(FolderOf(target_), "/.fairlead.", getpid(), ".");
  for (int number = 0;; ++number) {
    path_ = Concat(start, number);
    const int file =
        open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (file != -1 || errno != EEXIST) return file;
  }
}

bool Beside::Rename(unsigned flags) {
  Sync(file_, target_);
  int result =
      renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), flags);
  // Some file systems cannot look whether the name is taken.
  if (result == -1 && flags != 0 && errno == EINVAL)
    result = rename(path_.c_str(), target_.c_str());
  if (result == -1 && flags != 0 && errno == EEXIST) return false;
  if (result == -1) FailToReplace(target_, ErrorText(errno));
  renamed_ = true;
  SyncFolder(target_);
  return true;
}

void KeepOwner(const Descriptor& file, const struct stat& old,
               const std::string& path) {
  const struct stat now = StatusOf(file, path);
  if (now.st_uid == old.st_uid && now.st_gid == old.st_gid) return;
  if (fchown(file.number(), old.st_uid, old.st_gid) == -1)
    FailToReplace(path, "a new file would not have the owner of the old one");
}

void Replace(const std::string& path, const struct stat& old,
             std::string_view text) {
  if (old.st_nlink > 1)
    FailToReplace(path, "it has several names, and only one would be changed");
  Beside beside(path, 0600);
  beside.Write(text);
  KeepOwner(beside.file(), old, path);
  if (fchmod(beside.file().number(), old.st_mode & 07777U) == -1)
    Fail(path, errno);
  beside.Rename(0);
}

// Room for all of the text is found first, because a half-written file is worse
// than an old one.
void Overwrite(const std::string& path, const Descriptor& file,
               const struct stat& old, std::string_view text) {
  const auto size = static_cast<off_t>(text.size());
  if (size > old.st_size) {
    const int error = posix_fallocate(file.number(), 0, size);
    if (error != 0) {
      std::ignore = ftruncate(file.number(), old.st_size);
      Fail(path, error);
    }
  }
  WriteAll(file, text, path);
  if (ftruncate(file.number(), size) == -1) Fail(path, errno);
  Sync(file, path);
}

// Whether the path still stands for the file: another edit may have replaced
// it before the lock was ours.
bool IsStill(const std::string& path, const struct stat& file) {
  struct stat now = {};
  return stat(path.c_str(), &now) == 0 && now.st_dev == file.st_dev &&
         now.st_ino == file.st_ino;
}

void Lock(const Descriptor& file, const std::string& path) {
  while (flock(file.number(), LOCK_EX) == -1)
    if (errno != EINTR) Fail(path, Concat("no lock: ", ErrorText(errno)));
}

[[noreturn]] void FailToOpen(const std::string& path, int error) {
  const bool readable =
      faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
  if (readable) Fail(path, error);
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(path), ": ", ErrorText(error)));
}

// Each of these returns false where the file was made or replaced meanwhile by
// somebody else, so that the edit must begin again.

bool MakeFile(const std::string& path, const Change& change) {
  const std::string text = change(std::nullopt);
  Beside beside(path, 0666);
  beside.Write(text);
  return beside.Rename(RENAME_NOREPLACE);
}

bool EditExisting(const std::string& path, const Descriptor& file,
                  Writing writing, const Change& change) {
  if (!S_ISREG(StatusOf(file, path).st_mode))
    Fail(path, "it is no regular file");
  Lock(file, path);
  const struct stat status = StatusOf(file, path);
  if (!IsStill(path, status)) return false;

  const std::string old_text = ReadAll(file.number(), Quoted(path));
  const std::string new_text = change(old_text);
  if (new_text == old_text) return true;
  if (writing == Writing::kInPlace)
    Overwrite(path, file, status, new_text);
  else
    Replace(path, status, new_text);
  return true;
}

bool TryToEdit(const std::string& path, Writing writing, const Change& change) {
  const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (file.IsOpen()) return EditExisting(path, file, writing, change);
  if (errno == ENOENT) return MakeFile(path, change);
  FailToOpen(path, errno);
}

}  // namespace

void EditFile(const std::string& path, Writing writing, const Change& change) {
  const std::string target = FollowLinks(path);
  while (!TryToEdit(target, writing, change)) {
  }
}

}  // namespace fairlead::tool
