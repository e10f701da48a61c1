// What happened in an exchange, line by line, for -log.

#ifndef FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_LOG_H_
#define FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_LOG_H_

#include <optional>
#include <string_view>

#include "fairlead/log/only_once.h"
#include "tool/command/arguments.h"
#include "tool/log/log_file.h"

namespace fairlead::tool {

inline constexpr Parameter kLog = {
    .name = "log",
    .word = "FILE",
    .kind = Kind::kFile,
    .group = "Log",
    .help =
        "append to FILE what happens, a stamped line an event, a warning that "
        "repeats once in 10 seconds; of the bytes only how many there are, and "
        "nothing of it to standard output or error"};

/// The log of an exchange. Until Open() it takes every event and writes none.
///
/// Any number of threads may add events once it is open.
class ExchangeLog {
 public:
  /// Opens the file of -log, where it is given.
  ///
  /// @throws Failure with kCannotWrite
  void Open(const Arguments& arguments);

  /// Adds a line: the event with the time before it.
  void Add(std::string_view event);

  /// The same for what may come again and again: at most one line in 10
  /// seconds for each text.
  void Warn(std::string_view event);

  /// The same for the last words of a process that can wait no more: not where
  /// the line would have to wait.
  void AddAtOnce(std::string_view event);

  /// @throws Failure with kCannotWrite where events are missing in the file
  void Check() const;

 private:
  std::optional<LogFile> file_;
  COnlyOnce once_{OnceThrottle};
};

/// Checks that -crlf does not stand without -log.
///
/// @throws Failure with kWrongUsage
void CheckLogUsage(const Arguments& arguments);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_LOG_H_
