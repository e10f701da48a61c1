// The total time limit of a command: -timeout.

#ifndef FAIRLEAD_TOOL_TRAFFIC_TIME_LIMIT_H_
#define FAIRLEAD_TOOL_TRAFFIC_TIME_LIMIT_H_

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
/// Opening a log, reading standard input and writing to a slow pipe have no
/// time limit of their own, so a timer thread ends the process, whatever the
/// others wait for. What is received is written before anything is waited for,
/// so no data is lost.
///
/// An Exchange has a limit of its own and returns when it is reached. While one
/// runs, it is trusted with Remaining(): see Delegate().
///
/// @par Thread safety
/// One thread sets the limit; the timer thread only reads it. Any thread may
/// write output.
class TimeLimit {
 public:
  using Clock = std::chrono::steady_clock;

  /// Begins to count.
  ///
  /// @param limit `std::nullopt` for none
  TimeLimit(std::string command,
            std::optional<std::chrono::milliseconds> limit);
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;

  /// Stops the timer.
  ~TimeLimit();

  /// Stops counting until Restart().
  void Pause();

  /// Begins to count from zero.
  void Restart();

  /// Returns how much of the limit is left, at least 0; nothing without a
  /// limit.
  std::optional<std::chrono::milliseconds> Remaining() const;

  /// Adds two seconds before the process is ended, so that an operation limited
  /// by Remaining() can fail first.
  void BePatient();

  /// Sets whether something else watches the limit. While it does, the process
  /// ends only if that is two seconds late.
  void Delegate(bool delegated);

  /// Sets what the process is doing, as in "connecting to 127.0.0.1", for the
  /// message on timeout.
  void Enter(std::string stage);

  /// While it lives, the process writes output, whose reader may be slow. The
  /// limit then ends the process in time, unless it has passed before. One at a
  /// time.
  class Writing {
   public:
    /// @param limit null for none
    /// @param stage as in "writing standard output"; outlives the object
    Writing(TimeLimit* limit, std::string_view stage) : limit_(limit) {
      if (limit_ != nullptr) limit_->NoteWriting(stage);
    }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;
    ~Writing() {
      if (limit_ != nullptr) limit_->NoteWriting("");
    }

   private:
    TimeLimit* const limit_;
  };

  /// Returns the message on timeout: "timed out after 1 s while connecting to
  /// 127.0.0.1; increase -timeout".
  std::string Message() const;

  /// Sets a callback that the timer thread runs just before the process exits
  /// on timeout. It must not block.
  void OnTimeout(std::function<void(std::string_view message)> callback);

 private:
  void Run();
  void SetDeadline(std::optional<Clock::time_point> deadline);
  void NoteWriting(std::string_view stage);
  bool HasPassed() const { return deadline_ && Clock::now() >= *deadline_; }
  [[noreturn]] void EndProcess() const;
  std::string MessageOf(std::string_view stage) const;

  const std::string command_;                             // Set once.
  const std::optional<std::chrono::milliseconds> limit_;  // Set once.
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool ended_ = false;                                // Guarded by mutex_.
  bool delegated_ = false;                            // Guarded by mutex_.
  bool patient_ = false;                              // Guarded by mutex_.
  bool late_ = false;                                 // Guarded by mutex_.
  std::string_view writing_;                          // Guarded by mutex_.
  std::optional<Clock::time_point> deadline_;         // Guarded by mutex_.
  std::string stage_ = "preparing";                   // Guarded by mutex_.
  std::function<void(std::string_view)> on_timeout_;  // Guarded by mutex_.
  std::thread thread_;  // Joinable if there is a limit.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_TIME_LIMIT_H_
