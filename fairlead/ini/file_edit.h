// Whole files: read, edited and replaced, and never left half written.

#ifndef FAIRLEAD_INI_FILE_EDIT_H_
#define FAIRLEAD_INI_FILE_EDIT_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// @file
/// Edits of files, such as settings, by several processes at once. Unless
/// edited in place, a file has the complete old text or the complete new one at
/// every moment, after a crash or a power failure too.
///
/// A new text is written to an unnamed file in the folder of the old one. It
/// gets the owner, the access control list, the extended attributes and the
/// mode of the old one, is synced to the disk and is renamed over the old one;
/// then the folder is synced, if it may be read. If something cannot be kept,
/// nothing is changed; signatures of integrity (security.ima, security.evm) are
/// left out, as they are of the old text.
/// A file that did not exist gets the mode 0666 less the umask. Symbolic links
/// are followed, except those that others put into a folder like /tmp. Only
/// regular files are written; a pipe or a device is refused without waiting,
/// and so is /dev/fd/N if that file was deleted or has no name.
///
/// @par Errors
/// Every result is a value. Only std::bad_alloc and what the caller's functions
/// throw are exceptions; the file is not changed then. A limit on file sizes
/// (RLIMIT_FSIZE) is an error and raises no SIGXFSZ.
/// @par Signals
/// SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGALRM are blocked in the calling
/// thread while a file has a temporary name, `.fairlead.PID.N` or
/// `.fairlead.lock`, in the folder; other threads must block them themselves.
/// Only a process killed in that moment leaves such a file, which the next edit
/// that writes in that folder, by the same user, deletes, if the file system
/// supports locks: a process locks its hidden files. On a file system
/// without unnamed files (O_TMPFILE) the new file has such a name from the
/// first piece on; edits then block the signals, a ReplacementFile does not. An
/// edit in place blocks them while it copies the backup and writes.
/// @par Threads and fork
/// All functions may run in any thread, also for the same file; an object is
/// for one thread. A forked child does not prolong the lock, and must not
/// destroy its parent's objects: that would delete the parent's hidden file.
/// @par Cost
/// EditFile() holds both texts in memory, RewriteFile() one. An edit that
/// writes waits for the disk twice, once in place, and once more for a backup;
/// it reads the folder.
/// @par Example
/// @code
/// using namespace fairlead;
/// const auto add_line = [](const std::optional<std::string>& text) {
///   return text.value_or("") + "seen=yes\n";
/// };
/// const FileResult edited = EditFile("seen.ini", add_line);
/// if (!edited.Succeeded()) std::fputs(edited.Message().c_str(), stderr);
/// // ReadFile("seen.ini").text.ends_with("seen=yes\n") == true
/// @endcode

/// Why a call failed.
enum class FileError : std::uint8_t {
  kNone,         ///< It succeeded.
  kCannotRead,   ///< The file or a symbolic link to it cannot be read.
  kCannotWrite,  ///< The file or its folder cannot be written.
  /// The file can only be edited in place: to replace it would lose a hard
  /// link, the owner, the access control list or an attribute, or the folder
  /// forbids it.
  kOnlyInPlace,
  kBusy,  ///< Another edit did not end within the time limit.
};

/// What the file contains after a call.
enum class FileState : std::uint8_t {
  kOld,  ///< The old bytes; nothing was changed.
  /// The new text. If the call failed, the folder could not be synced, and a
  /// power failure may restore the old text.
  kNew,
  kMixed,  ///< Parts of both: writing in place failed, and then restoring.
};

/// The result of an edit. A success with the state kOld means that there was
/// nothing to change.
struct FAIRLEAD_EXPORT FileResult {
  FileError error = FileError::kNone;
  FileState state = FileState::kOld;
  int system_error = 0;   ///< The errno of the failure; 0 if it has none.
  std::string path;       ///< The file, with symbolic links followed.
  std::string reason;     ///< "Permission denied"; "" on success.
  std::string lock_file;  ///< With kBusy: a file to delete if no edit runs.

  /// Returns whether the call did what it should.
  bool Succeeded() const { return error == FileError::kNone; }

  /// Returns one sentence for people, without a newline; "" on success. It
  /// names the path once, with '?' for control bytes.
  std::string Message() const;
};

/// The bytes of a file, or why they could not be read.
struct FileContent {
  std::string text;   ///< Complete if the result is a success, else "".
  FileResult result;  ///< Its `system_error` is ENOENT if there is no file.
};

/// Returns the bytes of a file of any type, to its end; waits until a pipe is
/// opened for writing. Allocates the size of a regular file once.
FAIRLEAD_EXPORT FileContent ReadFile(const std::string& path);

/// Returns the new text of a file, or nothing to leave the file alone. Gets the
/// old text, or nothing if there is no file. May be called again, with the new
/// old text, if a program that ignores the lock changes the file meanwhile. If
/// it throws, the file is not changed. It must not edit the same file.
using FileChange = std::function<std::optional<std::string>(
    const std::optional<std::string>& old_text)>;

/// Takes the next piece of a new text. Reports no failure: the edit does.
using PieceWriter = std::function<void(std::string_view piece)>;

/// Gets the old text of a file as its own, or nothing if there is no file, and
/// passes the new one to `write`, in pieces of any size. Returns whether to
/// write the file; false discards the pieces. Otherwise like a FileChange. Must
/// call `write` in the thread that called it, before it returns.
using FileRewrite = std::function<bool(std::optional<std::string> old_text,
                                       const PieceWriter& write)>;

/// How an edit writes, and how it waits for another edit of the file.
struct FileEditOptions {
  /// Overwrites the file itself, which keeps all but its text. Space on the
  /// disk is reserved first, and the old text is restored if writing fails, but
  /// a process killed while writing leaves a mixture.
  bool in_place = false;
  /// If not empty, an edit that writes keeps the old file, with its attributes,
  /// at FileResult::path and this suffix, such as "~". Only a regular file of
  /// that name is replaced, as the older backup. If there can be no backup, the
  /// edit fails and nothing is changed; if it fails later, it restores the
  /// older backup. A file that did not exist has none.
  ///
  /// The backup is the old file itself, or a copy if editing in place or
  /// without hard links. A process killed between the renames may leave it a
  /// hard link of the file, with the older backup lost, and a hidden file,
  /// because of which the next edit accepts the link.
  std::string backup_suffix = {};
  std::chrono::milliseconds lock_limit{10'000};   ///< Then fails with kBusy.
  std::chrono::milliseconds notice_after{1'000};  ///< Then calls `on_wait`.
  /// Called once if the edit has to wait; if it throws, the edit ends.
  std::function<void()> on_wait = {};
};

/// Edits a file, or creates it. Writes nothing if the text does not change.
///
/// Locks the file against other edits, so that none is lost. A process that may
/// only read the file cannot block an edit for longer than the time limit.
/// flock(2) locks have no effect. Where the folder cannot be written and a
/// reader keeps the file locked, an edit in place goes on after the limit
/// without.
FAIRLEAD_EXPORT FileResult EditFile(const std::string& path,
                                    const FileChange& change,
                                    const FileEditOptions& options = {});

/// Edits a large file as EditFile() does, but passes the old text on without a
/// copy, and the pieces to the new file. So an edit needs the memory of one
/// text, and what `rewrite` needs. Writes the text even if it is equal.
///
/// In place, it also needs the memory of the new pieces, which are collected
/// until `rewrite` returns; then the old text is read again, in case writing
/// fails. Unchanged parts of `old_text` are not new where they were in memory:
/// moving a long string keeps them there.
FAIRLEAD_EXPORT FileResult RewriteFile(const std::string& path,
                                       const FileRewrite& rewrite,
                                       const FileEditOptions& options = {});

/// Replaces or creates a file: an EditFile() that ignores the old text.
FAIRLEAD_EXPORT FileResult ReplaceFile(const std::string& path,
                                       std::string_view text,
                                       const FileEditOptions& options = {});

/// A new text for a file, written in pieces. The old text, if any, stays until
/// Commit(); without it, the destructor discards the new one. The old file need
/// not be readable. It is not locked: an edit between the construction and
/// Commit() is lost.
class FAIRLEAD_EXPORT ReplacementFile {
 public:
  /// Begins a new text for the file; result() has the error, if any.
  explicit ReplacementFile(const std::string& path);
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;
  ~ReplacementFile();

  /// Appends to the new text. Returns false if this or an earlier call failed.
  bool Write(std::string_view text);

  /// Replaces the file by the new text. Call it once; it also reports an
  /// earlier failure. Fails with EEXIST if there was no file and another
  /// process has created one.
  const FileResult& Commit();

  /// Returns the first failure; the result of Commit() after that.
  const FileResult& result() const { return result_; }

 private:
  class File;

  FAIRLEAD_PRIVATE void Keep(FileResult result);

  std::unique_ptr<File> file_;  // Null after a failure or Commit().
  FileResult result_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_FILE_EDIT_H_
