// The bound on everything: -timeout.

#ifndef FAIRLEAD_TOOL_EXCHANGE_TIME_LIMIT_H_
#define FAIRLEAD_TOOL_EXCHANGE_TIME_LIMIT_H_

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace fairlead::tool {

/// Ends the process with kTimeIsOver when the time is over.
///
/// Resolving, connecting, reading standard input and writing to a slow pipe
/// block without a bound of their own, so the clock runs on a thread beside
/// them, and it ends the process whatever the others wait for. Nothing is lost
/// by that: data is written without a buffer.
class TimeLimit {
 public:
  TimeLimit(std::string command, int seconds);
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;

  /// The time no longer counts.
  ~TimeLimit();

  /// What is being done from now on, as "connecting to 127.0.0.1"; told to the
  /// person when the time is over.
  void Enter(std::string stage);

  /// Whom else to tell when the time is over, and in whose name the process
  /// waits no more: what it calls may not wait. It is called on the clock's own
  /// thread.
  void TellAlso(std::function<void(std::string_view text)> tell);

 private:
  void Run();

  const std::string command_;  // Set once.
  const int seconds_;          // Set once.
  std::mutex mutex_;
  std::condition_variable ended_cv_;
  bool ended_ = false;                          // Guarded by mutex_.
  std::string stage_ = "preparing";             // Guarded by mutex_.
  std::function<void(std::string_view)> tell_;  // Guarded by mutex_.
  std::thread thread_;  // Last: it starts when all else is there.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_TIME_LIMIT_H_
