// Watches the command `listen`.

#include "tool/listen/listen_watch.h"

#include <sys/timerfd.h>

#include <cerrno>
#include <chrono>

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

using std::chrono::nanoseconds;

// A time of zero would never come.
timespec TimerTime(nanoseconds time) {
  if (time <= nanoseconds::zero()) return {.tv_sec = 0, .tv_nsec = 1};
  const auto whole = std::chrono::floor<std::chrono::seconds>(time);
  return {.tv_sec = whole.count(), .tv_nsec = (time - whole).count()};
}

}  // namespace

ListenWatch::ListenWatch(const Settings& settings, Display& display)
    : command_(settings.command),
      verbose_(settings.verbose),
      limit_(settings.command, settings.timeout) {
  if (!settings.log.empty()) {
    Enter("opening the log");
    log_.emplace(settings.log, settings.crlf);
  }
  limit_.OnTimeout([this, &display](std::string_view text) {
    if (log_) log_->AddAtOnce(Failed(text));
    display.FailedAtOnce(kTimeIsOver, text);
  });
}

void ListenWatch::WatchLimit() {
  const auto left = limit_.Remaining();
  if (!left) return;
  timer_.emplace(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  const itimerspec end = {.it_interval = {}, .it_value = TimerTime(*left)};
  if (!timer_->IsOpen() ||
      timerfd_settime(timer_->number(), 0, &end, nullptr) != 0)
    throw Failure(kReceivingFailed,
                  Concat("cannot set a timer: ", Reason(errno)));
  limit_.Delegate(true);
}

void ListenWatch::FailAtLimit() const {
  throw Failure(kTimeIsOver, limit_.Message());
}

void ListenWatch::Log(const std::string& event) {
  if (log_) log_->Add(event);
}

void ListenWatch::Tell(const std::string& step) {
  Log(step);
  if (verbose_) PrintNote(command_, step);
}

void ListenWatch::Fail(std::string_view why) {
  Log(Failed(why));
  limit_.OnTimeout({});
}

void ListenWatch::CheckLog() const {
  if (log_) log_->Check();
}

}  // namespace fairlead::tool
