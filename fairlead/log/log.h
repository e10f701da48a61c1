// The log: whole lines, to a file and to standard output at once.

#ifndef FAIRLEAD_LOG_LOG_H_
#define FAIRLEAD_LOG_LOG_H_

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// A log that writes every text both to a file, at its end, and to standard
/// output (`std::cout`).
///
/// The text is written as it is: no time, level, prefix or line end is added.
/// Any byte may occur in it, zero included. With the CRLF flag on, every line
/// feed becomes a carriage return and a line feed; a carriage return that
/// already stands there is not looked at, so "x\r\n" is written "x\r\r\n".
///
/// A text that holds a line break (a line feed or a carriage return, anywhere)
/// is flushed at once, with all that waits before it, to the file and to
/// standard output. A text without one stays in the buffers until a line break
/// follows, the buffer is full, or the log is destroyed (the file) or the
/// program ends (standard output).
///
/// A log without a file, because none could be opened, writes to standard
/// output only. It does not say so, and never tries to open one again.
///
/// In a program that has closed a standard stream, the file does not take the
/// place of it.
///
/// A log may be a static object. It works from its construction to its
/// destruction, also in a program that never includes <iostream>, and so in the
/// constructors and destructors of the static objects that are made after it.
///
/// @par What can get lost
/// A text with a line break has reached the system when `<<` returns: it
/// survives the death of the program, but not that of the machine, for nothing
/// waits for the disk. A text that waits for its line break dies with a program
/// that is killed.
/// @par
/// What the file does not take, because the disk is full or a limit is reached,
/// waits in the log and is written, once and in its order, when there is room
/// again: every later text with a line break tries, and while more than 8 KiB
/// wait, every text. Once more than 64 KiB wait so, further texts are dropped
/// whole, without notice. The destructor tries a last time; what waits then, or
/// when the program is killed, is lost.
/// @par
/// A limit on the size of files (`ulimit -f`, RLIMIT_FSIZE) is such a limit:
/// the log's file raises no SIGXFSZ. Two cases are left to the program, which
/// can ignore the signal: a limit that is set after the first text, to less
/// than 8 KiB above the size of the file; and standard output, where that is a
/// file as large as it may be.
/// @par
/// A failure of `std::cout` stays with that stream until the program clears it;
/// the file goes on.
/// @par Thread safety
/// Any number of threads may write to one log. Each `<<` is written whole, and
/// in the same order to the file and to standard output; within a chain of them
/// other threads may come between. Construction and destruction must not run
/// beside a write. What the program itself writes to `std::cout` is not held
/// back by the log.
/// @par Fork
/// Parent and child share the open file, and each text of either goes to its
/// end. A text that waits in the log at the fork waits in both and is written
/// twice, unless the child ends by `_exit` or `exec`. Where another thread is
/// writing at the fork, the child's log is locked for ever: fork before there
/// are threads, or let the child make a log of its own.
/// @par Cost
/// A text with a line break is one `write` to the file and one to standard
/// output, made while the lock is held, the texts waiting before it included (a
/// text beyond the buffer of standard output may take more). Where the size of
/// files is limited, two system calls more keep the signal back. Without the
/// CRLF flag nothing is copied but into the buffers.
/// @par Example
/// @code
/// fairlead::CLog log("client.log", false);
/// const std::string host = "localhost";
/// log << "connected to " + host + "\n";  // One text: no thread comes between.
/// @endcode
class CLog {  // Only what others call is exported: the rest is inlined.
 public:
  /// Opens the first of `names`, in their order, that can be opened for
  /// appending; a file that is not there is made. The CRLF flag is off.
  ///
  /// The list should hold a name: an empty one makes a log without a file.
  FAIRLEAD_EXPORT explicit CLog(const std::vector<std::string>& names);

  /// Opens the file for appending, made if it is not there, with the CRLF flag
  /// as given.
  FAIRLEAD_EXPORT CLog(const std::string& name, bool crlf);

  /// A second name is not a flag: for several names, give a list of them.
  template <typename Text>
  CLog(const std::string& name, const Text* other_name) = delete;

  /// Flushes the file and closes it; a failure to do so is ignored.
  FAIRLEAD_EXPORT ~CLog();

  // Not const: CLog({"a.log", "b.log"}) shall be read as two names, never as a
  // copy of the log CLog("a.log", "b.log").
  CLog(CLog&) = delete;
  CLog& operator=(const CLog&) = delete;

  /// Writes `text` to the file and to standard output.
  ///
  /// @return the log, so that writes chain: `log << a << b`
  /// @throws std::system_error with the code of the lock, if it cannot be
  ///     locked; nothing is written then
  /// @throws std::bad_alloc if there is no memory for the copy that the CRLF
  ///     flag needs or for a text that has to wait. Standard output does not
  ///     have the text then, nor has the file, unless its disk took a part of
  ///     it and the rest could not wait: it ends in a torn text then. The log
  ///     can be used on.
  /// @throws std::ios_base::failure if the program has asked `std::cout` to
  ///     throw; the file has the text then, and the log can be used on. No
  ///     other failure to write is told.
  friend FAIRLEAD_EXPORT CLog& operator<<(CLog& log, const std::string& text);

 private:
  // An open file and the text that waits for it. A std::ofstream does not say
  // how much of its buffer a full disk took: a part would be lost, or be
  // written twice.
  class File {
   public:
    File() = default;
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool Open(const std::string& name);
    void Write(std::string_view text, bool flush);

   private:
    std::size_t Send(std::string_view text);
    void Flush();

    int descriptor_ = -1;  // -1 where none could be opened.
    std::string waiting_;
    bool limit_in_sight_ = false;  // On the size of files.
    std::size_t until_asked_ = 0;  // Bytes until it is asked for again.
  };

  void Write(std::string_view text);

  File file_;  // Guarded by mutex_.
  std::mutex mutex_;
  const bool crlf_;  // Set once.
};

FAIRLEAD_EXPORT CLog& operator<<(CLog& log, const std::string& text);

}  // namespace fairlead

#endif  // FAIRLEAD_LOG_LOG_H_
