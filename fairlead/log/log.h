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
/// Texts are written verbatim, zero bytes included, without timestamp, prefix
/// or newline. With the CRLF flag, each LF becomes CR LF, even after a CR.
///
/// A text that contains LF or CR is flushed at once, with everything buffered
/// before it. Other texts are buffered until such a text follows, the buffer is
/// full, or the log is destroyed (standard output: the program ends).
///
/// If no file can be opened, the log silently writes to standard output only
/// and does not try again. The file never gets descriptor 0, 1 or 2.
///
/// @par Durability
/// A text with LF or CR has reached the kernel when `<<` returns: it survives a
/// crash of the program, not of the machine (no `fsync`). A killed program
/// loses its buffered texts.
/// @par
/// While the disk is full, texts wait in the log; they are written once, in
/// order, when there is room. A text with LF or CR retries; while more than 8
/// KiB wait, every text does. While more than 64 KiB wait, texts are
/// dropped whole, without notice. What the destructor cannot write is lost.
/// @par
/// RLIMIT_FSIZE (`ulimit -f`) acts like a full disk and raises no SIGXFSZ. One
/// that is set or lifted while the log is in use is noticed within 8 KiB of
/// text. What it refuses of standard output is dropped. An error of `std::cout`
/// stays set until the program clears it; the file is unaffected.
/// @par Thread safety
/// Threads may share a log. Each `<<` is atomic, in the same order in the file
/// and on standard output; other threads may write between two `<<` of a chain.
/// No thread may write during construction or destruction. What the program
/// itself writes to `std::cout` is not locked out.
/// @par Fork and static objects
/// Parent and child append to the same open file. Both write a text buffered at
/// the fork, unless the child ends with `_exit` or `exec`. If another thread is
/// writing then, the child's log is locked forever: fork before starting
/// threads, or let the child construct its own. Static objects made after a
/// static log may use it to the end, even if nothing includes <iostream>.
/// @par Cost
/// A text with LF or CR takes one `write` to the file and one to standard
/// output (more if it exceeds that buffer) with the lock held, and a few more
/// system calls if RLIMIT_FSIZE is set. Only the CRLF flag copies the text.
/// @par Example
/// @code
/// fairlead::CLog log("client.log", false);
/// log << "connected to " + std::string("localhost") + "\n";  // One text.
/// @endcode
class CLog {  // Only what others call is exported: the rest is inlined.
 public:
  /// Opens, for appending, the first of `names` that can be opened or created.
  /// An empty list makes a log without a file. The CRLF flag is off.
  FAIRLEAD_EXPORT explicit CLog(const std::vector<std::string>& names);

  /// Opens a file for appending, and creates it if needed.
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

  /// Writes `text` to the file and to standard output; returns the log.
  /// @throws std::system_error with the code of a failed lock; nothing written
  /// @throws std::bad_alloc if the text cannot be copied or buffered; nothing
  ///     written, except the part that a full disk took
  /// @throws std::ios_base::failure if the program made `std::cout` throw; the
  ///     file has the text. Other write errors are not reported, and the log
  ///     remains usable after any exception.
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
