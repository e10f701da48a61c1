// The lines of an input, as they are logged.

#ifndef FAIRLEAD_TOOL_LOG_LINE_LOGGER_H_
#define FAIRLEAD_TOOL_LOG_LINE_LOGGER_H_

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tool/log/repeats.h"

namespace fairlead::tool {

/// What is written before a line: "[2026.11.14 20:57:54]", the same without
/// brackets and with a space, or nothing.
enum class StampForm { kBracket, kPlain, kNone };

/// Splits pieces of input into lines, and suppresses repeats.
class LineLogger {
 public:
  /// Takes a line with its timestamp and newline.
  using Write = std::function<void(const std::string& line)>;

  /// @param interval in which repeats are suppressed, in seconds, more than 0;
  ///     without it, none are
  LineLogger(StampForm stamp, std::optional<double> interval, Write write);
  LineLogger(const LineLogger&) = delete;
  LineLogger& operator=(const LineLogger&) = delete;

  /// Takes a piece of the input, of any size.
  void Take(std::string_view piece);

  /// Ends the input, whose last line may lack its newline, and reports all
  /// repeats.
  void End();

  /// Reports the repeats that have ended.
  void ReportEnded();

  /// Returns how long ReportEnded() has nothing to do, in milliseconds for
  /// poll(); -1 if no line is remembered.
  int Wait() const;

 private:
  void Complete(std::string_view rest);
  void LogUnlessRepeated(std::string_view line);
  void Log(std::string_view line);

  const StampForm stamp_;
  const Write write_;
  std::string begun_;  // A line without its newline so far.
  std::optional<Repeats> repeats_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LOG_LINE_LOGGER_H_
