// Where the data of an exchange goes: standard output or a file.

#ifndef FAIRLEAD_TOOL_TRAFFIC_DESTINATION_H_
#define FAIRLEAD_TOOL_TRAFFIC_DESTINATION_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tool/io/output.h"

namespace fairlead::tool {

/// The file of -out; standard output if the path is empty.
struct OutFile {
  std::string path = {};
  bool append = false;
};

/// Standard output, or a file that takes its place.
///
/// Gathers what is added until it is flushed, or too much to keep.
///
/// The file is opened once there is a connection or something to write, so that
/// a command that cannot connect leaves the file as it was.
class Destination {
 public:
  /// @param output outlives the object
  Destination(const Output& output, OutFile file);
  Destination(const Destination&) = delete;
  Destination& operator=(const Destination&) = delete;

  /// Closes the file, without a check.
  ~Destination();

  /// Creates the file, or truncates it unless it is appended to. Does nothing
  /// for standard output, and for a file that is open.
  ///
  /// @throws Failure with kCannotWrite
  void Open();

  /// Adds bytes to those that wait to be written.
  void Add(std::string_view bytes);

  /// Returns how many bytes wait, and how many were added in all.
  std::size_t waiting() const { return waiting_.size() - done_; }
  std::uint64_t added() const { return added_; }

  /// Opens the file, and writes what waits. After a failure nothing waits.
  ///
  /// @throws Failure with kCannotWrite, or with kReaderGone for standard output
  void Flush();

  /// Does the same, as far as that is possible without blocking. What cannot be
  /// written waits from the start of a line, unless the line is longer than
  /// what can be written at once, a page or more.
  ///
  /// @throws Failure as Flush() does
  void FlushAtOnce();

  /// Waits until standard output takes more.
  ///
  /// @return false if the descriptor `stop` becomes readable first
  /// @throws Failure with kCannotWrite if polling fails
  bool AwaitOutlet(int stop) const { return output_.AwaitWritable(stop); }

  /// Closes standard output, so that its reader sees the end. Does nothing for
  /// a file.
  void End() const;

  /// Closes the file. After a failure it is still open, so that the failure can
  /// be written to it.
  ///
  /// @throws Failure with kCannotWrite if what was written may be lost
  void Close();

  /// Returns the descriptor of standard output, for polling.
  int outlet() const { return output_.descriptor(); }

  Screen screen() const { return screen_; }

  /// Returns "writing standard output" or "writing 'FILE'".
  const std::string& stage() const { return stage_; }

 private:
  bool IsFile() const { return !file_.path.empty(); }
  [[noreturn]] void Fail(std::string_view action, int error) const;
  void OpenWith(int flags);
  void Write(std::size_t size);
  std::size_t Room() const;
  std::size_t WholeLines(std::size_t size) const;

  const Output& output_;
  const OutFile file_;
  const std::string stage_;
  Screen screen_;
  int descriptor_ = -1;  // Of the file, while it is open.
  std::string waiting_;
  std::size_t done_ = 0;  // Bytes of waiting_ that are written.
  std::uint64_t added_ = 0;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_DESTINATION_H_
