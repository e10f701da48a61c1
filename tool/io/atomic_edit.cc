#include "tool/io/atomic_edit.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <tuple>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/io/read_file.h"
#include "tool/io/replacement_file.h"

namespace fairlead::tool {
namespace {

constexpr std::string_view kRemedy = " (-inplace rewrites the file itself)";

void Replace(const std::string& path, const struct stat& old,
             std::string_view text) {
  Beside beside(path, old, kRemedy);
  beside.Write(text);
  beside.Rename();
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
      FailToWrite(path, error);
    }
  }
  WriteAll(file, text, 0, path);
  if (ftruncate(file.number(), size) == -1) FailToWrite(path, errno);
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
    if (errno != EINTR)
      FailToWrite(path, Concat("no lock: ", ErrorText(errno)));
}

[[noreturn]] void FailToOpen(const std::string& path, int error) {
  const bool readable =
      faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
  if (readable) FailToWrite(path, error);
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(path), ": ", ErrorText(error)));
}

// Each of these returns false where the file was made or replaced meanwhile by
// somebody else, so that the edit must begin again.

bool MakeFile(const std::string& path, const Change& change) {
  const std::string text = change(std::nullopt);
  Beside beside(path, std::nullopt, kRemedy);
  beside.Write(text);
  return beside.Rename();
}

bool EditExisting(const std::string& path, const Descriptor& file,
                  Writing writing, const Change& change) {
  if (!S_ISREG(StatusOf(file, path).st_mode))
    FailToWrite(path, "it is no regular file");
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
