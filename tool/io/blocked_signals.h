// Blocks signals during a critical section.

#ifndef FAIRLEAD_TOOL_IO_BLOCKED_SIGNALS_H_
#define FAIRLEAD_TOOL_IO_BLOCKED_SIGNALS_H_

#include <csignal>

namespace fairlead::tool {

/// Blocks SIGINT, SIGTERM and SIGHUP, and the SIGALRM by which Interruption
/// ends a command that does not end by itself, for the lifetime of the object;
/// pending ones are delivered at its end.
///
/// Affects the calling thread only: other threads must block them too. Objects
/// may be nested.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM})
      sigaddset(&blocked, signal);
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_BLOCKED_SIGNALS_H_
