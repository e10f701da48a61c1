// For tests that make system calls of edits fail. Defines those calls, so only
// one source of a program may include it, before any other header. Not
// installed.

#ifndef FAIRLEAD_FILE_EDIT_FAULTS_TESTING_H_
#define FAIRLEAD_FILE_EDIT_FAULTS_TESTING_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "fairlead/file/edit_testing.h"

// Decides for each call whether it fails: returns the error, or 0.
namespace {

using Hook = std::function<int(std::string_view call, int fd)>;
Hook* hook = nullptr;

template <typename... Arguments>
int Call(std::string_view name, int fd, long number, Arguments... arguments) {
  const int error = hook != nullptr ? (*hook)(name, fd) : 0;
  if (error == 0) return static_cast<int>(syscall(number, arguments...));
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  const bool unnamed = (flags & O_TMPFILE) == O_TMPFILE;
  return Call(unnamed ? "O_TMPFILE" : "open", 3, SYS_openat, AT_FDCWD, path,
              flags, mode);
}

int fcntl(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  return Call("fcntl", 3, SYS_fcntl, fd, command, argument);
}

ssize_t read(int fd, void* data, std::size_t size) {
  return Call("read", fd, SYS_read, fd, data, size);
}

ssize_t pread(int fd, void* data, std::size_t size, off_t at) {
  return Call("pread", fd, SYS_pread64, fd, data, size, at);
}

ssize_t pwrite(int fd, const void* data, std::size_t size, off_t at) {
  return Call("pwrite", fd, SYS_pwrite64, fd, data, size, at);
}

// Without waiting for the disk.
int fsync(int fd) {
  return Call("fsync", fd, SYS_fcntl, fd, F_GETFD) == -1 ? -1 : 0;
}

int ftruncate(int fd, off_t size) noexcept {
  return Call("ftruncate", fd, SYS_ftruncate, fd, size);
}

int fallocate(int fd, int mode, off_t at, off_t size) {
  return Call("fallocate", fd, SYS_fallocate, fd, mode, at, size);
}

int fchmod(int fd, mode_t mode) noexcept {
  return Call("fchmod", fd, SYS_fchmod, fd, mode);
}

int fstat(int fd, struct stat* status) noexcept {
  return Call("fstat", fd, SYS_fstat, fd, status);
}

int stat(const char* path, struct stat* status) noexcept {
  return Call("stat", 3, SYS_stat, path, status);
}

int lstat(const char* path, struct stat* status) noexcept {
  return Call("lstat", 3, SYS_lstat, path, status);
}

int fstatat(int fd, const char* path, struct stat* status, int flags) noexcept {
  return Call("fstatat", fd, SYS_newfstatat, fd, path, status, flags);
}

int access(const char* path, int kind) noexcept {
  return Call("access", 3, SYS_access, path, kind);
}

ssize_t fgetxattr(int fd, const char* name, void* value,
                  std::size_t size) noexcept {
  return Call("fgetxattr", fd, SYS_fgetxattr, fd, name, value, size);
}

int fsetxattr(int fd, const char* name, const void* value, std::size_t size,
              int flags) noexcept {
  return Call("fsetxattr", fd, SYS_fsetxattr, fd, name, value, size, flags);
}

int fremovexattr(int fd, const char* name) noexcept {
  return Call("fremovexattr", fd, SYS_fremovexattr, fd, name);
}

ssize_t flistxattr(int fd, char* list, std::size_t size) noexcept {
  return Call("flistxattr", fd, SYS_flistxattr, fd, list, size);
}

ssize_t readlinkat(int fd, const char* path, char* target,
                   std::size_t size) noexcept {
  return Call("readlinkat", fd, SYS_readlinkat, fd, path, target, size);
}

int linkat(int from_fd, const char* from, int to_fd, const char* to,
           int flags) noexcept {
  return Call("linkat", 3, SYS_linkat, from_fd, from, to_fd, to, flags);
}

int rename(const char* from, const char* to) noexcept {
  return Call("rename", 3, SYS_rename, from, to);
}

int renameat2(int from_fd, const char* from, int to_fd, const char* to,
              unsigned flags) noexcept {
  return Call("renameat2", 3, SYS_renameat2, from_fd, from, to_fd, to, flags);
}

}  // extern "C"

namespace fairlead::internal {
namespace {

// Installs a hook for a scope.
class Hooked {
 public:
  explicit Hooked(Hook call) : call_(std::move(call)) { hook = &call_; }
  Hooked(const Hooked&) = delete;
  Hooked& operator=(const Hooked&) = delete;
  ~Hooked() { hook = nullptr; }

 private:
  Hook call_;
};

constexpr std::string_view kCalls[] = {
    "open",   "O_TMPFILE",    "fcntl",      "read",       "pread",     "pwrite",
    "fsync",  "ftruncate",    "fallocate",  "fchmod",     "fstat",     "stat",
    "lstat",  "fstatat",      "access",     "fgetxattr",  "fsetxattr", "linkat",
    "rename", "fremovexattr", "flistxattr", "readlinkat", "renameat2"};

constexpr char kOlder[] = "the text before the old one\n";  // Of the backup.
constexpr char kOld[] = "old text\n";
constexpr char kNew[] = "the new text\n";

struct Way {
  const char* name;
  bool exists;       // The file, before.
  bool has_unnamed;  // The file system has unnamed files.
  FileResult (*write)(const std::string& path);
  bool has_older = false;  // There is an older backup.
  bool keeps_old = false;  // In a backup.
};

template <bool in_place>
FileResult Replaced(const std::string& path) {
  return ReplaceFile(path, kNew, {.in_place = in_place});
}

FileResult Shortened(const std::string& path) {
  return ReplaceFile(path, "s", {.in_place = true});
}

FileResult InPieces(const std::string& path) {
  ReplacementFile file(path);
  file.Write("the new ");
  file.Write("text\n");
  return file.Commit();
}

template <bool in_place>
FileResult Rewritten(const std::string& path) {
  return RewriteFile(
      path,
      [](const std::optional<std::string>&, const PieceWriter& write) {
        write("the new ");
        write("text\n");
        return true;
      },
      {.in_place = in_place});
}

template <bool in_place>
FileResult WithBackup(const std::string& path) {
  return ReplaceFile(path, kNew, {.in_place = in_place, .backup_suffix = "~"});
}

constexpr Way kWays[] = {
    {"replace", true, true, Replaced<false>},
    {"in place", true, true, Replaced<true>},
    {"in place, shorter", true, true, Shortened},
    {"create", false, true, Replaced<false>},
    {"in pieces", true, true, InPieces},
    {"create in pieces", false, true, InPieces},
    {"replace by a hidden file", true, false, Replaced<false>},
    {"create by a hidden file", false, false, Replaced<false>},
    {"hidden, in pieces", true, false, InPieces},
    {"rewrite", true, true, Rewritten<false>},
    {"rewrite in place", true, true, Rewritten<true>},
    {"create by rewriting", false, true, Rewritten<false>},
    {"rewrite by a hidden file", true, false, Rewritten<false>},
    {"first backup", true, true, WithBackup<false>, false, true},
    {"backup", true, true, WithBackup<false>, true, true},
    {"backup by a hidden file", true, false, WithBackup<false>, true, true},
    {"first backup in place", true, true, WithBackup<true>, false, true},
    {"backup in place", true, true, WithBackup<true>, true, true},
    {"hidden backup in place", true, false, WithBackup<true>, true, true},
    {"create, without a backup", false, true, WithBackup<false>},
};

std::string NewText(const Way& way) {
  return way.write == Shortened ? "s" : kNew;
}

// The folder of an edit, with the files that exist before.
class Files {
 public:
  explicit Files(const Way& way) {
    if (way.exists) Put(folder_, "f", kOld);
    if (way.has_older) Put(folder_, "f~", kOlder);
  }

  std::string path() const { return folder_.Path("f"); }
  std::string Text() const { return ReadFile(path()); }
  std::string Backup() const { return ReadFile(path() + "~"); }
  nlink_t Links() const { return StatusOf(path()).st_nlink; }
  std::size_t Count() const { return FilesIn(folder_); }

 private:
  const TempFolder folder_;
};

}  // namespace
}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_EDIT_FAULTS_TESTING_H_
