// The total time limit of a command: -timeout.

#ifndef FAIRLEAD_TOOL_EXCHANGE_TIME_LIMIT_H_
#define FAIRLEAD_TOOL_EXCHANGE_TIME_LIMIT_H_

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace fairlead::tool {

/// Ends the process with kTimeIsOver after a time limit.
///
/// Resolving, connecting, reading standard input and writing to a slow pipe
/// have no time limit of their own, so a timer thread ends the process,
/// whatever the others wait for. No data is lost, because output is unbuffered.
class TimeLimit {
 public:
  /// @param limit `std::nullopt` for none
  TimeLimit(std::string command,
            std::optional<std::chrono::milliseconds> limit);
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;

  /// Stops the timer.
  ~TimeLimit();

  /// Sets what the process is doing, as in "connecting to 127.0.0.1", for the
  /// message on timeout.
  void Enter(std::string stage);

  /// Sets a callback that the timer thread runs just before the process exits
  /// on timeout. It must not block.
  void OnTimeout(std::function<void(std::string_view message)> callback);

 private:
  void Run(std::chrono::milliseconds limit);

  const std::string command_;  // Set once.
  std::mutex mutex_;
  std::condition_variable ended_cv_;
  bool ended_ = false;                                // Guarded by mutex_.
  std::string stage_ = "preparing";                   // Guarded by mutex_.
  std::function<void(std::string_view)> on_timeout_;  // Guarded by mutex_.
  std::thread thread_;  // Joinable if there is a limit.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_TIME_LIMIT_H_
