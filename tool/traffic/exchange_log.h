// The events of an exchange, one line each, for -log.

#ifndef FAIRLEAD_TOOL_TRAFFIC_EXCHANGE_LOG_H_
#define FAIRLEAD_TOOL_TRAFFIC_EXCHANGE_LOG_H_

#include <string>
#include <string_view>

#include "tool/command/parameter.h"
#include "tool/log/log_file.h"

namespace fairlead::tool {

inline constexpr Parameter kLog = {
    .name = "log",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kLog,
    .help =
        "append one timestamped line per event to FILE: byte counts, and in "
        "'send' and 'recv' the line or missing text that decided"};

/// Returns what a log has of the end of something that failed.
std::string Failed(std::string_view why);

/// The log of an exchange.
///
/// Any number of threads may add events.
class ExchangeLog {
 public:
  /// Opens the file for appending.
  ///
  /// @throws Failure with kCannotWrite
  ExchangeLog(const std::string& path, bool crlf);

  /// Appends a line: the event, with a timestamp before it.
  void Add(std::string_view event);

  /// Does the same at the end of a process that cannot wait. Does nothing if
  /// writing the line would block.
  void AddAtOnce(std::string_view event);

  /// Returns whether writing a line would not block.
  bool IsReady() const { return file_.IsReady(); }

  /// @throws Failure with kCannotWrite if events are missing in the file
  void Check() const;

 private:
  LogFile file_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_EXCHANGE_LOG_H_
