// Signals that are blocked for a scope, and those that a system call raises
// beside its error. Not installed.

#ifndef FAIRLEAD_BASE_BLOCKED_SIGNALS_H_
#define FAIRLEAD_BASE_BLOCKED_SIGNALS_H_

#include <csignal>
#include <ctime>

namespace fairlead::internal {

// Blocks signals in the calling thread for as long as it lives. Threads started
// meanwhile inherit the mask.
class BlockedSignals {
 public:
  explicit BlockedSignals(const sigset_t& signals) {
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

  bool WasBlocked(int signal) const {
    return sigismember(&before_, signal) == 1;
  }

 private:
  sigset_t before_;
};

inline sigset_t AllSignals() {
  sigset_t signals;
  sigfillset(&signals);
  return signals;
}

inline sigset_t OneSignal(int signal) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, signal);
  return signals;
}

// Blocks one signal that a system call may raise beside its error.
class BlockedSignal {
 public:
  explicit BlockedSignal(int signal)
      : signal_(OneSignal(signal)),
        blocked_(signal_),
        was_pending_(blocked_.WasBlocked(signal) && IsPending(signal)) {}

  // Removes the signal that a call has just made pending; returns whether there
  // was one. One that was pending before belongs to the program and stays: the
  // two have merged.
  bool Discard() const {
    const timespec now = {};
    return !was_pending_ && sigtimedwait(&signal_, nullptr, &now) != -1;
  }

 private:
  static bool IsPending(int signal) {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
  }

  const sigset_t signal_;
  const BlockedSignals blocked_;
  const bool was_pending_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_BLOCKED_SIGNALS_H_
