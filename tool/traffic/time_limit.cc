// The timer thread of -timeout.

#include "tool/traffic/time_limit.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/exit_status.h"
#include "tool/command/duration.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

using std::chrono::milliseconds;

// How late something else that watches the limit may be: its thread may have to
// wait for a processor.
constexpr std::chrono::seconds kGrace{2};

}  // namespace

TimeLimit::TimeLimit(std::string command, std::optional<milliseconds> limit)
    : command_(std::move(command)), limit_(limit) {
  Restart();
  if (limit) thread_ = std::thread([this] { Run(); });
}

TimeLimit::~TimeLimit() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  changed_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void TimeLimit::SetDeadline(std::optional<Clock::time_point> deadline) {
  {
    const std::lock_guard lock(mutex_);
    deadline_ = deadline;
    delegated_ = false;
  }
  changed_.notify_one();
}

void TimeLimit::Pause() { SetDeadline(std::nullopt); }

void TimeLimit::Restart() {
  if (limit_) SetDeadline(Clock::now() + *limit_);
}

std::optional<milliseconds> TimeLimit::Remaining() const {
  const std::lock_guard lock(mutex_);
  if (!deadline_) return std::nullopt;
  return std::max(milliseconds::zero(),
                  std::chrono::ceil<milliseconds>(*deadline_ - Clock::now()));
}

// Called for each message that is received, so the timer thread is woken only
// if it already waits longer than the limit.
void TimeLimit::Delegate(bool delegated) {
  const std::lock_guard lock(mutex_);
  delegated_ = delegated;
  if (!delegated && HasPassed()) changed_.notify_one();
}

// Who watches the limit has found it passed, and writes how all ended.
void TimeLimit::NoteWriting(std::string_view stage) {
  const std::lock_guard lock(mutex_);
  writing_ = stage;
  late_ = HasPassed();
}

void TimeLimit::BePatient() {
  const std::lock_guard lock(mutex_);
  patient_ = true;
}

void TimeLimit::Enter(std::string stage) {
  const std::lock_guard lock(mutex_);
  stage_ = std::move(stage);
}

std::string TimeLimit::MessageOf(std::string_view stage) const {
  return Concat("timed out after ", DurationText(*limit_), " while ", stage,
                "; increase -timeout");
}

std::string TimeLimit::Message() const {
  const std::lock_guard lock(mutex_);
  return MessageOf(stage_);
}

void TimeLimit::OnTimeout(
    std::function<void(std::string_view message)> callback) {
  const std::lock_guard lock(mutex_);
  on_timeout_ = std::move(callback);
}

void TimeLimit::Run() {
  std::unique_lock lock(mutex_);
  while (!ended_) {
    const auto now = Clock::now();
    const bool is_watched = delegated_ && (writing_.empty() || late_);
    if (!deadline_)
      changed_.wait(lock);
    else if (now < *deadline_)
      changed_.wait_until(lock, *deadline_);
    else if ((is_watched || patient_) && now < *deadline_ + kGrace)
      changed_.wait_until(lock, *deadline_ + kGrace);
    else
      EndProcess();
  }
}

// Calls _exit(), because a destructor could block on what timed out.
void TimeLimit::EndProcess() const {
  const std::string message = MessageOf(writing_.empty() ? stage_ : writing_);
  if (on_timeout_) on_timeout_(message);
  if (IsWritable(STDERR_FILENO)) PrintError(command_, message);
  _exit(kTimeIsOver);
}

}  // namespace fairlead::tool
