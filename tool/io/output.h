// Standard output for data, standard error for errors and notes.

#ifndef FAIRLEAD_TOOL_IO_OUTPUT_H_
#define FAIRLEAD_TOOL_IO_OUTPUT_H_

#include <sys/stat.h>

#include <string_view>

namespace fairlead::tool {

/// What of the place where text goes changes the text.
struct Screen {
  bool terminal = false;
  bool colour = false;
};

/// The one way of data to standard output.
///
/// The library prints its own lines to descriptor 1. So that these reach the
/// person and not the data, the constructor keeps the true standard output
/// under another number and points descriptor 1 at standard error. It also
/// opens /dev/null, the wrong way round, for a standard descriptor that is
/// closed: no file or socket takes its number, and using it is an error. And it
/// ignores SIGPIPE and SIGXFSZ, so that a closed pipe and a limit on the size
/// of files are errors like others.
///
/// A command runs only where all of this was done: otherwise its data could be
/// lost, or mixed with the library's lines.
///
/// One object in the life of the process.
class Output {
 public:
  /// @throws Failure with kCannotWrite where a descriptor cannot be had
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Writes all of the bytes at once, without a buffer.
  ///
  /// @throws Failure with kCannotWrite
  void Write(std::string_view bytes) const;

  /// Waits until some bytes can be written, a page to a pipe.
  ///
  /// @return false where the descriptor `stop` becomes readable before
  /// @throws Failure with kCannotWrite where the system refuses to wait
  bool AwaitRoom(int stop) const;

  /// Whether standard output is this regular file.
  bool IsFile(const struct stat& facts) const;

  /// What standard output is.
  Screen screen() const { return screen_; }

 private:
  int descriptor_ = -1;
  Screen screen_;
};

/// Whether the descriptor is of this regular file.
bool IsOfFile(int descriptor, const struct stat& facts);

/// Prints a line to standard error: "fairlead send: TEXT". It replaces a bar,
/// and on a terminal begins below data that ended without a newline.
///
/// @param command "" for none
void PrintError(std::string_view command, std::string_view text);

/// Leaves notes and progress bars out, or no more.
void SetQuiet(bool quiet);
bool IsQuiet();

/// Prints a line as PrintError() does, unless the tool is quiet.
void PrintNote(std::string_view command, std::string_view text);

/// Draws a progress bar on standard error, in the place of the one before.
void DrawBar(std::string_view bar);

/// Takes the bar away, if one stands.
void ClearBar();

/// Whether standard error is a terminal on which a line can be rewritten.
bool ErrorIsTerminal();

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_OUTPUT_H_
