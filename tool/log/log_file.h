// The file of a log, and the ways in which writing it can fail.

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

inline constexpr Parameter kCrlf = {
    .name = "crlf",
    .kind = Kind::kSwitch,
    .group = Group::kLog,
    .help = "end the lines of the log with CR LF; an existing CR is kept too"};

/// A CLog whose file is known to be open.
///
/// CLog copies all that it writes to `std::cout`, and says nothing of what it
/// cannot write. So, as long as the object lives, `std::cout` leads where the
/// object was told, and a second descriptor of the file keeps watch on it. One
/// object at a time.
class LogFile {
 public:
  /// Opens the file for appending, made if it is not there.
  ///
  /// @param copy gets what CLog writes to `std::cout`, each text in one piece;
  ///     with nullptr the copy is dropped
  /// @throws Failure with kCannotWrite where it cannot be opened, takes
  ///     nothing, or its size cannot be known
  LogFile(std::string path, bool crlf, std::streambuf* copy);
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile();

  /// Appends the text, which ends with a line feed, as one piece. May be called
  /// from any number of threads.
  void Write(const std::string& text);

  /// What fstat(2) says of the open file.
  ///
  /// @throws Failure with kCannotWrite where it says nothing
  struct stat Facts() const;

  /// Whether a line can be written without waiting, as to a pipe it may not.
  bool IsReady() const;

  /// What of the written text is not in the file, in words; "" where nothing is
  /// known to be missing.
  ///
  /// It is the size of the file that tells. So a loss goes unseen where another
  /// program appends as much, and in what is no regular file.
  ///
  /// @throws Failure with kCannotWrite where the size cannot be known
  std::string Missing() const;

 private:
  std::int64_t Size() const;

  const std::string path_;
  const bool crlf_;
  const Descriptor file_;
  const std::int64_t size_before_;
  std::atomic<std::int64_t> written_ = 0;
  std::streambuf* const console_;  // What std::cout had.
  CLog log_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LOG_LOG_FILE_H_
