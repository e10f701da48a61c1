// A signal that a system call raises beside its error, kept from the program.
// Not installed.

#ifndef FAIRLEAD_BASE_BLOCKED_SIGNALS_H_
#define FAIRLEAD_BASE_BLOCKED_SIGNALS_H_

#include <csignal>
#include <ctime>

namespace fairlead::internal {

// Blocks one signal in the calling thread for as long as it lives. What a
// program does with the signal otherwise stays as it is.
class BlockedSignal {
 public:
  explicit BlockedSignal(int signal) {
    sigemptyset(&blocked_);
    sigaddset(&blocked_, signal);
    pthread_sigmask(SIG_BLOCK, &blocked_, &before_);
    was_pending_ = sigismember(&before_, signal) == 1 && IsPending(signal);
  }
  ~BlockedSignal() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignal(const BlockedSignal&) = delete;
  BlockedSignal& operator=(const BlockedSignal&) = delete;

  // Takes the signal that a call has just raised off the queue. One that was
  // waiting before is the program's and stays: the one raised has merged with
  // it.
  void Discard() const {
    const timespec now = {};
    if (!was_pending_) sigtimedwait(&blocked_, nullptr, &now);
  }

 private:
  static bool IsPending(int signal) {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
  }

  sigset_t blocked_;
  sigset_t before_;
  bool was_pending_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_BLOCKED_SIGNALS_H_
