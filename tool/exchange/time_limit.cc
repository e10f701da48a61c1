// The timer thread of -timeout.

#include "tool/exchange/time_limit.h"

#include <unistd.h>

#include <utility>

#include "tool/base/concat.h"
#include "tool/base/exit_status.h"
#include "tool/command/duration.h"
#include "tool/io/output.h"

namespace fairlead::tool {
TimeLimit::TimeLimit(std::string command,
                     std::optional<std::chrono::milliseconds> limit)
    : command_(std::move(command)) {
  if (limit) thread_ = std::thread([this, limit] { Run(*limit); });
}

TimeLimit::~TimeLimit() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  ended_cv_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void TimeLimit::Enter(std::string stage) {
  const std::lock_guard lock(mutex_);
  stage_ = std::move(stage);
}

void TimeLimit::OnTimeout(
    std::function<void(std::string_view message)> callback) {
  const std::lock_guard lock(mutex_);
  on_timeout_ = std::move(callback);
}

// Calls _exit(), because a destructor could block on what timed out.
void TimeLimit::Run(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  if (ended_cv_.wait_for(lock, limit, [this] { return ended_; })) return;
  const std::string message = Concat("timed out after ", DurationText(limit),
                                     " while ", stage_, "; increase -timeout");
  if (on_timeout_) on_timeout_(message);
  if (IsWritable(STDERR_FILENO)) PrintError(command_, message);
  _exit(kTimeIsOver);
}

}  // namespace fairlead::tool
