// What watches the command `listen`: its time limit and its log.

#ifndef FAIRLEAD_TOOL_LISTEN_LISTEN_WATCH_H_
#define FAIRLEAD_TOOL_LISTEN_LISTEN_WATCH_H_

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tool/base/descriptor.h"
#include "tool/traffic/display.h"
#include "tool/traffic/exchange_log.h"
#include "tool/traffic/time_limit.h"

namespace fairlead::tool {

/// The time limit of `listen`, and its log, if there are any.
///
/// The limit ends the process, until a call of WatchLimit(). From then on it
/// makes limit() readable, so that what ends the command is shown after what
/// was received; the process ends two seconds later if that blocks.
class ListenWatch {
 public:
  /// How to watch.
  struct Settings {
    std::string command;  ///< For messages.
    std::optional<std::chrono::milliseconds> timeout = {};
    std::string log = {};  ///< Its file; "" for none.
    bool crlf = false;
    bool verbose = false;
  };

  /// Begins to count, and opens the log.
  ///
  /// @param display outlives the object
  /// @throws Failure with kCannotWrite for the log
  ListenWatch(const Settings& settings, Display& display);

  /// Sets what the process is doing, for the message on timeout.
  void Enter(std::string stage) { limit_.Enter(std::move(stage)); }

  /// Stops ending the process at the time limit, which the caller now watches.
  ///
  /// @throws Failure with kReceivingFailed if the system has no timer
  void WatchLimit();

  /// Returns what becomes readable at the time limit, or -1 if nothing does.
  int limit() const { return timer_ ? timer_->number() : -1; }

  /// @throws Failure with kTimeIsOver, always
  [[noreturn]] void FailAtLimit() const;

  void Log(const std::string& event);

  /// Logs a step, and prints it with -verbose.
  void Tell(const std::string& step);

  /// Logs what ends the command, so that the time limit does not.
  void Fail(std::string_view why);

  /// @throws Failure with kCannotWrite if events are missing in the log
  void CheckLog() const;

 private:
  const std::string command_;
  const bool verbose_;
  std::optional<ExchangeLog> log_;  // Outlives the clock that writes to it.
  TimeLimit limit_;
  std::optional<Descriptor> timer_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LISTEN_LISTEN_WATCH_H_
