// A few calls that Ctrl-C does not part.

#ifndef FAIRLEAD_TOOL_IO_HELD_SIGNALS_H_
#define FAIRLEAD_TOOL_IO_HELD_SIGNALS_H_

#include <csignal>

namespace fairlead::tool {

/// As long as it lives, SIGINT, SIGTERM and SIGHUP wait; one that came then
/// arrives.
///
/// That holds for the calling thread: in a process with others, these have to
/// block the signals as well. Objects may be nested.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &before_);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_HELD_SIGNALS_H_
