// A log file that detects failed writes.

#ifndef FAIRLEAD_TOOL_LOG_LOG_FILE_H_
#define FAIRLEAD_TOOL_LOG_LOG_FILE_H_

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <streambuf>
#include <string>

#include "fairlead/log/log.h"
#include "tool/base/descriptor.h"
#include "tool/command/parameter.h"

namespace fairlead::tool {

inline constexpr Parameter kLogCrlf = {
    .name = "crlf",
    .kind = Kind::kSwitch,
    .group = Group::kLog,
    .help = "end the lines of the log with CR LF; an existing CR is kept too"};

/// A CLog whose file is known to be open.
///
/// CLog copies its output to `std::cout` and does not report failed writes. So
/// this object redirects `std::cout` during its lifetime, and watches the size
/// of the file through a second descriptor. Only one may exist at a time.
class LogFile {
 public:
  /// Opens the file for appending. Creates it if it does not exist.
  ///
  /// @param copy receives what CLog writes to `std::cout`, each text in one
  ///     piece; nullptr drops it
  /// @throws Failure with kCannotWrite if the file cannot be opened, written or
  ///     examined
  LogFile(std::string path, bool crlf, std::streambuf* copy);
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile();

  /// Appends the text, which ends with a newline, in one piece. Thread-safe.
  void Write(const std::string& text);

  /// Returns the status of the open file.
  ///
  /// @throws Failure with kCannotWrite
  struct stat Status() const;

  /// Returns whether a write would not block. It may block for a pipe.
  bool IsReady() const;

  /// Returns a message about bytes that are missing in the file, or "".
  ///
  /// Compares sizes, so a loss is not detected if another program appends as
  /// much. Of a pipe, what is written once nobody reads it is missing; of other
  /// files that are not regular, no loss is detected.
  ///
  /// @throws Failure with kCannotWrite if the size cannot be determined
  std::string Missing() const;

 private:
  std::int64_t Size() const;
  bool HasNoReader() const;

  const std::string path_;
  const bool crlf_;
  const Descriptor file_;
  const std::int64_t size_before_;
  std::atomic<std::int64_t> written_ = 0;
  std::atomic<std::int64_t> unread_ = 0;
  std::streambuf* const console_;  // The previous buffer of std::cout.
  CLog log_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LOG_LOG_FILE_H_
