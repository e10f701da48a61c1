// Overwrites a file, and restores it on failure.

#include "fairlead/file/overwrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <tuple>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/file/edit_lock.h"
#include "fairlead/file/file_results.h"
#include "fairlead/file/new_file.h"
#include "fairlead/file/text_writer.h"

namespace fairlead::internal {
namespace {

// Allocates disk space for a text without changing the file's size. Succeeds
// if the file system does not support this: then writing will show. Returns 0
// or the error.
int Reserve(const Descriptor& file, std::size_t size) {
  const int result = Uninterrupted([&] {
    return fallocate(file.number(), FALLOC_FL_KEEP_SIZE, 0,
                     static_cast<off_t>(size));
  });
  return result == 0 || errno == EOPNOTSUPP || errno == ENOSYS ? 0 : errno;
}

int Truncate(const Descriptor& file, std::size_t size) {
  const int result = Uninterrupted(
      [&] { return ftruncate(file.number(), static_cast<off_t>(size)); });
  return result == 0 ? 0 : errno;
}

// Gives the written file its size and syncs it. Returns 0 or the error.
int Complete(const Descriptor& file, std::size_t size) {
  struct stat now = {};
  if (fstat(file.number(), &now) == -1) return errno;
  if (now.st_size != static_cast<off_t>(size))
    if (const int error = Truncate(file, size)) return error;
  return Sync(file);
}

int WriteNew(const Descriptor& file, std::string_view old_text,
             const TextJournal& new_text, TextWriter& writer) {
  const auto write = [&](std::string_view piece) {
    return writer.Write(file, piece);
  };
  if (const int error = new_text.ForEachPiece(old_text, write)) return error;
  if (const int error = writer.Flush(file)) return error;
  return Complete(file, new_text.size());
}

int Restore(const Descriptor& file, std::string_view old_text) {
  const int error = WriteAllAt(file.number(), old_text, 0);
  return error == 0 ? Complete(file, old_text.size()) : error;
}

FileResult FailureToRestore(int error, int restore_error) {
  FileResult result =
      Failed(FileError::kCannotWrite, error,
             ErrorText(error) +
                 "; restoring the old text failed too, and part of it "
                 "may be lost: " +
                 ErrorText(restore_error));
  result.state = FileState::kMixed;
  return result;
}

}  // namespace

// A partially written file is worse than an old one, so space is reserved
// first. At the end, what was reserved is freed; if that fails, nothing is
// lost.
FileResult Overwrite(const Descriptor& file, std::string_view old_text,
                     const TextJournal& new_text) {
  TextWriter writer;  // Allocates before anything is written.
  const BlockedSignals blocked(EndingSignals());
  const BlockedSignal limit(SIGXFSZ);
  int error =
      new_text.size() > old_text.size() ? Reserve(file, new_text.size()) : 0;
  const bool has_space = error == 0;
  if (has_space) error = WriteNew(file, old_text, new_text, writer);
  if (error == 0) {
    FileResult result;
    result.state = FileState::kNew;
    return result;
  }
  const int restore_error = has_space ? Restore(file, old_text) : 0;
  std::ignore = Truncate(file, old_text.size());
  if (error == EFBIG) limit.Discard();
  return restore_error == 0 ? WriteResult(error)
                            : FailureToRestore(error, restore_error);
}

}  // namespace fairlead::internal
