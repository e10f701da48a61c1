// Whole files: read, edited and replaced, and never left half written.

#ifndef FAIRLEAD_FILE_FILE_EDIT_H_
#define FAIRLEAD_FILE_FILE_EDIT_H_

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
/// every moment, after a crash or a power failure too: the new text is synced
/// to an unnamed file in the folder, which is then renamed over the old one.
///
/// The new file gets the owner, access control list, extended attributes and
/// mode of the old one, or mode 0666 less the umask; if something cannot be
/// kept, nothing is changed. Symbolic links are followed, except those that
/// others put into a folder like /tmp. Only regular files with a name are
/// written; pipes and devices are refused without waiting.
/// @code
/// const auto edited = fairlead::EditFile("seen.ini", [](const auto& text) {
///   return text.value_or("") + "seen=yes\n";
/// });
/// if (!edited.Succeeded()) std::fputs(edited.Message().c_str(), stderr);
/// const std::string seen = fairlead::ReadFileContent("seen.ini").text;
/// // seen.ends_with("seen=yes\n") == true
/// @endcode
/// @par Errors
/// Results are values. Throws only std::bad_alloc and what a caller's function
/// throws, with the file unchanged. RLIMIT_FSIZE is an error, without SIGXFSZ.
/// @par Signals
/// SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGALRM are blocked in the calling
/// thread, not in others, while the folder has a hidden file or an edit in
/// place writes. A process killed then leaves the hidden file; the next edit
/// there by the same user deletes it. docs/design.md has the details.
/// @par Threads and fork
/// Thread-safe, also for the same file; an object is for one thread. A forked
/// child must not destroy its parent's objects: that deletes the hidden file.
/// @par Cost
/// EditFile() holds both texts in memory, RewriteFile() one. An edit reads the
/// folder and waits for the disk: twice, once in place, once more for a backup.

/// Why a call failed.
enum class FileError : std::uint8_t {
  kNone,         ///< It succeeded.
  kCannotRead,   ///< The file or a symbolic link to it cannot be read.
  kCannotWrite,  ///< The file or its folder cannot be written.
  /// Only an edit in place is possible: a new file would lose a hard link, the
  /// owner, the access control list or an attribute, or the folder forbids it.
  kOnlyInPlace,
  kBusy,  ///< Another edit did not end within the time limit.
};

/// What the file contains after a call.
enum class FileState : std::uint8_t {
  kOld,    ///< The old bytes; nothing was changed.
  kNew,    ///< The new text. If the call failed, the folder is not synced.
  kMixed,  ///< Parts of both: writing in place failed, and then restoring.
};

/// The result of an edit. Success with kOld: there was nothing to change.
struct FAIRLEAD_EXPORT FileResult {
  FileError error = FileError::kNone;
  FileState state = FileState::kOld;
  int system_error = 0;   ///< The errno of the failure; 0 if it has none.
  std::string path;       ///< The file, with symbolic links followed.
  std::string reason;     ///< "Permission denied"; "" on success.
  std::string lock_file;  ///< With kBusy: a file to delete if no edit runs.

  /// Returns whether the call did what it should.
  bool Succeeded() const { return error == FileError::kNone; }

  /// Returns a sentence for people, without control bytes; "" on success.
  std::string Message() const;
};

/// The bytes of a file, or why they could not be read.
struct FileContent {
  std::string text;   ///< Complete if the result is a success, else "".
  FileResult result;  ///< Its `system_error` is ENOENT if there is no file.
};

/// Returns the bytes of a file of any type, to its end; waits until a pipe is
/// opened for writing. Allocates the size of a regular file once.
FAIRLEAD_EXPORT FileContent ReadFileContent(const std::string& path);

/// Returns the new text of a file, or nothing to leave the file alone. Gets the
/// old text, or nothing if there is no file; again if a program that ignores
/// the lock changes it meanwhile. Must not edit the same file.
using FileChange = std::function<std::optional<std::string>(
    const std::optional<std::string>& old_text)>;

/// Takes the next piece of a new text. Reports no failure: the edit does.
using PieceWriter = std::function<void(std::string_view piece)>;

/// Like a FileChange, but owns the old text and passes the new one in pieces to
/// `write`, in the same thread. Returns whether to write the file.
using FileRewrite = std::function<bool(std::optional<std::string> old_text,
                                       const PieceWriter& write)>;

/// How an edit writes, and how it waits for another edit of the file.
struct FileEditOptions {
  /// Overwrites the file itself, which keeps all but its text. Reserves space
  /// on the disk first, and restores the old text if writing fails, but a
  /// process killed while writing leaves a mixture.
  bool in_place = false;
  /// If not empty, an edit that writes keeps the old file, or a full copy if in
  /// place or without hard links, at FileResult::path and this suffix, like
  /// "~"; a file that did not exist has none. It fails if it cannot, or if that
  /// is no regular file. If it fails later, it restores the older backup,
  /// unless the file system can neither link files nor exchange their names. If
  /// killed between the renames, the backup may be a hard link to the file and
  /// the older backup lost. A hidden link then remains; it lets the next edit
  /// accept the backup.
  std::string backup_suffix = {};
  std::chrono::milliseconds lock_limit{10'000};   ///< Then fails with kBusy.
  std::chrono::milliseconds notice_after{1'000};  ///< Then calls `on_wait`.
  /// Called once if the edit has to wait; if it throws, the edit ends.
  std::function<void()> on_wait = {};
};

/// Edits or creates a file. Writes nothing if the text does not change. Locks
/// the file against other edits, not against flock(2). A process that may only
/// read the file cannot block an edit for longer than the time limit: in a
/// folder without write permission, an edit in place then goes on unlocked.
FAIRLEAD_EXPORT FileResult EditFile(const std::string& path,
                                    const FileChange& change,
                                    const FileEditOptions& options = {});

/// Edits a large file as EditFile() does, but writes equal text, too, and needs
/// the memory of one text. In place, also keeps the new pieces in memory; those
/// that still point into `old_text`'s buffer are not copied, and moving the
/// string keeps the buffer. Reads the old text again, in case writing fails.
FAIRLEAD_EXPORT FileResult RewriteFile(const std::string& path,
                                       const FileRewrite& rewrite,
                                       const FileEditOptions& options = {});

/// Replaces or creates a file: an EditFile() that ignores the old text.
FAIRLEAD_EXPORT FileResult ReplaceFile(const std::string& path,
                                       std::string_view text,
                                       const FileEditOptions& options = {});

/// A new text for a file, written in pieces. The old text, if any, stays until
/// Commit(), without which the destructor discards the new one. The old file
/// may be unreadable. It is not locked: an edit before Commit() is lost.
class FAIRLEAD_EXPORT ReplacementFile {
 public:
  explicit ReplacementFile(const std::string& path);  ///< Begins a new text.
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;
  ~ReplacementFile();

  /// Appends to the new text. Returns false if this or an earlier call failed.
  bool Write(std::string_view text);

  /// Replaces the file by the new text. Call it once; it also reports an
  /// earlier failure. EEXIST: another process has created the file.
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

#endif  // FAIRLEAD_FILE_FILE_EDIT_H_
