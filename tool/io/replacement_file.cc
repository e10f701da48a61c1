#include "tool/io/replacement_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr int kMostLinks = 40;

std::string FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder;
}

// So that the new name is on the disk too. Some file systems cannot do that for
// a folder, and some folders may not be opened.
void SyncFolder(const std::string& path) {
  const Descriptor folder(
      open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.IsOpen() && fsync(folder.number()) == -1 && errno != EINVAL)
    FailToWrite(path, errno);
}

}  // namespace

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

void FailToWrite(const std::string& path, std::string_view why) {
  throw Failure(kCannotWrite, Concat("cannot write ", Quoted(path), ": ", why));
}

void FailToWrite(const std::string& path, int error) {
  FailToWrite(path, ErrorText(error));
}

struct stat StatusOf(const Descriptor& file, const std::string& path) {
  struct stat status = {};
  if (fstat(file.number(), &status) == -1) FailToWrite(path, errno);
  return status;
}

void WriteAll(const Descriptor& file, std::string_view text, off_t at,
              const std::string& path) {
  while (!text.empty()) {
    const ssize_t count = pwrite(file.number(), text.data(), text.size(), at);
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) FailToWrite(path, errno);
    text.remove_prefix(static_cast<std::size_t>(count));
    at += count;
  }
}

void Sync(const Descriptor& file, const std::string& path) {
  if (fsync(file.number()) == -1) FailToWrite(path, errno);
}

Beside::Beside(std::string target, const std::optional<struct stat>& old,
               std::string_view remedy)
    : target_(std::move(target)), old_(old), remedy_(remedy), file_(OpenNew()) {
  if (!file_.IsOpen()) FailToReplace(ErrorText(errno));
}

Beside::~Beside() {
  if (file_.IsOpen() && !renamed_) unlink(path_.c_str());
}

int Beside::OpenNew() {
  if (old_ && old_->st_nlink > 1)
    FailToReplace("it has several names, and only one would be changed");
  const std::string start =
      Concat(FolderOf(target_), "/.fairlead.", getpid(), ".");
  for (int number = 0;; ++number) {
    path_ = Concat(start, number);
    const int file =
        open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
             old_ ? 0600 : 0666);
    if (file != -1 || errno != EEXIST) return file;
  }
}

// A file that is there may have other ways to be written.
void Beside::FailToReplace(std::string_view why) const {
  const bool exists = access(target_.c_str(), F_OK) == 0;
  FailToWrite(target_, Concat(why, exists ? remedy_ : ""));
}

void Beside::Write(std::string_view text) {
  WriteAll(file_, text, size_, target_);
  size_ += static_cast<off_t>(text.size());
}

// Once all is written: a write takes away the bits that lend an owner's rights.
void Beside::BeLikeTheOld() const {
  const struct stat now = StatusOf(file_, target_);
  const bool same = now.st_uid == old_->st_uid && now.st_gid == old_->st_gid;
  if (!same && fchown(file_.number(), old_->st_uid, old_->st_gid) == -1)
    FailToReplace("a new file would not have the owner of the old one");
  if (fchmod(file_.number(), old_->st_mode & 07777U) == -1)
    FailToWrite(target_, errno);
}

bool Beside::Rename() {
  if (old_) BeLikeTheOld();
  Sync(file_, target_);
  const unsigned flags = old_ ? 0 : RENAME_NOREPLACE;
  int result =
      renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), flags);
  // Some file systems cannot look whether the name is taken.
  if (result == -1 && flags != 0 && errno == EINVAL)
    result = rename(path_.c_str(), target_.c_str());
  if (result == -1 && flags != 0 && errno == EEXIST) return false;
  if (result == -1) FailToReplace(ErrorText(errno));
  renamed_ = true;
  SyncFolder(target_);
  return true;
}

}  // namespace fairlead::tool
