// Turns signals that end the process into a readable descriptor.

#include "tool/io/interruption.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace fairlead::tool {
namespace {

constexpr unsigned kGraceSeconds = 2;

// State of the handlers. Lock-free, and so async-signal-safe.
std::atomic<int> received_signal = 0;
std::atomic<int> wakeup_pipe = -1;  // The write end.

void EndBySignal() {
  (void)std::signal(received_signal, SIG_DFL);
  (void)std::raise(received_signal);
}

void HandleSignal(int signal) {
  const int error = errno;
  received_signal = signal;
  [[maybe_unused]] const ssize_t written = write(wakeup_pipe, "", 1);
  alarm(kGraceSeconds);
  errno = error;
}

void Install(int signal, void (*handler)(int)) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
    return;
  action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

}  // namespace

Interruption::Interruption() {
  std::array<int, 2> ends{-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) == -1) return;
  descriptor_ = ends[0];
  wakeup_pipe = ends[1];
  (void)std::signal(SIGALRM, [](int) { EndBySignal(); });
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    Install(signal, HandleSignal);
}

bool Interruption::HasCome() { return received_signal != 0; }

void Interruption::End() {
  EndBySignal();
  std::abort();  // No default action of these signals returns.
}

}  // namespace fairlead::tool
