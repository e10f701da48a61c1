#include "tool/exchange/time_limit.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/exit_status.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

// Whether a line can be written to standard error without waiting.
bool SomebodyListens() {
  pollfd room{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
  return poll(&room, 1, 0) == 1;
}

}  // namespace

TimeLimit::TimeLimit(std::string command, int seconds)
    : command_(std::move(command)),
      seconds_(seconds),
      thread_([this] { Run(); }) {}

TimeLimit::~TimeLimit() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  ended_cv_.notify_one();
  thread_.join();
}

void TimeLimit::Enter(std::string stage) {
  const std::lock_guard lock(mutex_);
  stage_ = std::move(stage);
}

void TimeLimit::TellAlso(std::function<void(std::string_view text)> tell) {
  const std::lock_guard lock(mutex_);
  tell_ = std::move(tell);
}

// _exit: no destructor may wait for what has not come in time.
void TimeLimit::Run() {
  std::unique_lock lock(mutex_);
  if (ended_cv_.wait_for(lock, std::chrono::seconds(seconds_),
                         [this] { return ended_; }))
    return;
  const std::string text = Concat("-timeout ", seconds_, " is over while ",
                                  stage_, "; a larger one waits longer");
  if (tell_) tell_(text);
  if (SomebodyListens()) PrintError(command_, text);
  _exit(kTimeIsOver);
}

}  // namespace fairlead::tool
