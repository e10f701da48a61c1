// Standard output for data, standard error for errors and notes.

#ifndef FAIRLEAD_TOOL_IO_OUTPUT_H_
#define FAIRLEAD_TOOL_IO_OUTPUT_H_

#include <sys/stat.h>

#include <cstddef>
#include <string_view>

namespace fairlead::tool {

/// Properties of standard output that change how text is shown.
struct Screen {
  bool terminal = false;
  bool colour = false;
};

/// Standard output, for data only.
///
/// The library prints its own lines to descriptor 1. To keep them out of the
/// data, the constructor duplicates standard output to another descriptor and
/// points descriptor 1 at standard error. It also opens /dev/null in the
/// opposite mode for each standard descriptor that is closed: no file or socket
/// then reuses its number, and using it fails. It ignores SIGPIPE and SIGXFSZ,
/// so that a command can finish its work when a pipe is closed, and a limit on
/// file sizes is reported as an error.
///
/// Create at most one per process.
class Output {
 public:
  /// @throws Failure with kCannotWrite if a descriptor cannot be opened or
  ///     duplicated: data could be lost, or mixed with the library's lines
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Writes all the bytes, unbuffered.
  ///
  /// @throws Failure with kReaderGone if the pipe has no reader; with
  ///     kCannotWrite for any other error
  void Write(std::string_view bytes) const;

  /// Closes standard output, so that its reader sees the end. What is written
  /// later is dropped. Does nothing if that fails.
  void End() const;

  /// Waits until some bytes can be written: a page for a pipe.
  ///
  /// @return false if the descriptor `stop` becomes readable first
  /// @throws Failure with kCannotWrite if polling fails
  bool AwaitWritable(int stop) const;

  /// Returns how many bytes could be written without blocking.
  std::size_t Room() const;

  /// Returns what to poll until there is room.
  int descriptor() const { return descriptor_; }

  /// Returns whether standard output is this regular file.
  bool IsFile(const struct stat& status) const;

  Screen screen() const { return screen_; }

 private:
  int descriptor_ = -1;
  Screen screen_;
};

/// Returns whether the descriptor refers to this regular file.
bool IsOfFile(int descriptor, const struct stat& status);

/// Writes all the bytes to the descriptor, which may be non-blocking.
///
/// @return false with `errno` set on failure
bool WriteAll(int descriptor, std::string_view bytes);

/// Returns whether some bytes could be written without blocking.
bool IsWritable(int descriptor);

/// Returns how many bytes could be written without blocking, if nobody else
/// writes: any number to a regular file, as many as fit to a pipe that is
/// empty, a page to anything else that is writable.
std::size_t RoomIn(int descriptor);

/// Prints a line to standard error: "fairlead send: TEXT". Replaces a progress
/// bar. On a terminal, begins a new line after data without a final newline.
///
/// @param command its name, or ""
void PrintError(std::string_view command, std::string_view text);

/// Sets whether notes and progress bars are suppressed.
void SetQuiet(bool quiet);
bool IsQuiet();

/// Prints a line as PrintError() does, unless the tool is quiet.
void PrintNote(std::string_view command, std::string_view text);

/// Draws a progress bar on standard error, replacing the previous one.
void DrawBar(std::string_view bar);

/// Erases the progress bar, if there is one.
void ClearBar();

/// Returns whether standard error is a terminal that can rewrite a line.
bool ErrorIsTerminal();

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_OUTPUT_H_
