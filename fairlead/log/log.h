// A log that writes whole lines to a file and to standard output.

#ifndef FAIRLEAD_LOG_LOG_H_
#define FAIRLEAD_LOG_LOG_H_

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// A log that appends each text to a file and writes it to `std::cout`.
///
/// Texts are written verbatim, zero bytes included; with the CRLF flag, each LF
/// becomes CR LF, even after a CR. A text that contains LF or CR is flushed at
/// once, with what was buffered. Others are buffered until then, until the
/// buffer is full, or until the log is destroyed. If no file can be opened, the
/// log silently writes to standard output only. The file never gets descriptor
/// 0, 1 or 2.
/// @code
/// fairlead::CLog log("client.log", false);
/// log << "connected to " + std::string("localhost") + "\n";  // One text.
/// @endcode
/// @par Durability
/// A flushed text survives a crash of the program, not of the machine (no
/// `fsync`). On a full disk, or at RLIMIT_FSIZE (without SIGXFSZ), texts wait
/// in the log and are written once, in order, when there is room: a text with
/// LF or CR retries, and every text while more than 8 KiB wait. Beyond 64 KiB,
/// and in the destructor, they are dropped whole. What standard output refuses
/// is dropped; an error of `std::cout` stays set until the program clears it.
/// @par Threads and fork
/// Each `<<` is atomic, in the same order in both outputs; other threads may
/// write between two `<<` of a chain. No thread may write during construction
/// or destruction. After `fork()`, both processes append to the same file, and
/// both write what was buffered. If another thread was writing, the child's log
/// is locked forever: let the child construct its own. Static objects made
/// after a static log may use it to the end.
/// @par Cost
/// A text with LF or CR takes one `write` to each output, with the lock held,
/// and a few more system calls if RLIMIT_FSIZE is set.
class CLog {  // Only what others call is exported: the rest is inlined.
 public:
  /// Opens the first of `names` that can be opened or created, if any. The CRLF
  /// flag is off.
  FAIRLEAD_EXPORT explicit CLog(const std::vector<std::string>& names);

  /// Opens or creates a file.
  FAIRLEAD_EXPORT CLog(const std::string& name, bool crlf);

  /// Rejects a second name as the flag: pass a list of names.
  template <typename Text>
  CLog(const std::string& name, const Text* other_name) = delete;

  /// Flushes and closes the file; ignores errors.
  FAIRLEAD_EXPORT ~CLog();

  // Not const, so that CLog({"a.log", "b.log"}) is a list of names and not a
  // copy of CLog("a.log", "b.log").
  CLog(CLog&) = delete;
  CLog& operator=(const CLog&) = delete;

  /// Writes `text` to the file and to standard output; returns the log. Reports
  /// no other errors than these, after which it remains usable.
  /// @throws std::system_error with the code of a failed lock; nothing written
  /// @throws std::bad_alloc if the text cannot be copied or buffered; nothing
  ///     written, except the part that a full disk took
  /// @throws std::ios_base::failure if the program made `std::cout` throw; the
  ///     file has the text
  friend FAIRLEAD_EXPORT CLog& operator<<(CLog& log, const std::string& text);

 private:
  // An open file and the text that waits for it. A std::ofstream would not
  // report how much of it a full disk took.
  class File {
   public:
    File() = default;
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool Open(const std::string& name);
    void Write(std::string_view text, bool flush);
    bool size_limited() const { return size_limited_; }

   private:
    std::size_t Send(std::string_view text);
    void Flush();
    void CheckLimit(std::size_t bytes);

    int descriptor_ = -1;  // -1 if none could be opened.
    std::string waiting_;
    bool size_limited_ = false;          // As far as the log knows.
    std::size_t bytes_until_check_ = 0;  // Of RLIMIT_FSIZE.
  };

  void Write(std::string_view text);

  File file_;  // Guarded by mutex_.
  std::mutex mutex_;
  const bool crlf_;  // Set once.
};

FAIRLEAD_EXPORT CLog& operator<<(CLog& log, const std::string& text);

}  // namespace fairlead

#endif  // FAIRLEAD_LOG_LOG_H_
