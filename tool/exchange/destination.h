// Where the data of an exchange goes: standard output or a file.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DESTINATION_H_
#define FAIRLEAD_TOOL_EXCHANGE_DESTINATION_H_

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
/// The file is opened only once there is a connection, so that a command that
/// cannot connect leaves the file as it was.
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

  /// Writes all the bytes, unbuffered. Those for a file that is not open yet
  /// wait in memory for Open(), up to 64 KiB; more are dropped.
  ///
  /// @throws Failure with kCannotWrite, or with kReaderGone for standard output
  void Write(std::string_view bytes);

  /// Returns whether a short text could be written without blocking.
  bool IsReady() const;

  /// Closes standard output, so that its reader sees the end. Does nothing for
  /// a file.
  void End() const;

  /// Closes the file.
  ///
  /// @throws Failure with kCannotWrite if what was written may be lost
  void Close();

  Screen screen() const { return screen_; }

 private:
  bool IsFile() const { return !file_.path.empty(); }
  [[noreturn]] void Fail(std::string_view action, int error) const;

  const Output& output_;
  const OutFile file_;
  Screen screen_;
  int descriptor_ = -1;  // Of the file, while it is open.
  std::string waiting_;  // For the file.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DESTINATION_H_
