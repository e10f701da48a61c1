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

constexpr unsigned kGrace = 2;  // In seconds.

// What the handlers know. Lock-free, as a handler needs it.
std::atomic<int> signal_that_came = 0;
std::atomic<int> wake = -1;  // The writing end of the pipe.

void EndBySignal() {
  (void)std::signal(signal_that_came, SIG_DFL);
  (void)std::raise(signal_that_came);
}

void Note(int signal) {
  const int error = errno;
  signal_that_came = signal;
  [[maybe_unused]] const ssize_t written = write(wake, "", 1);
  alarm(kGrace);
  errno = error;
}

void Handle(int signal, void (*handler)(int)) {
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
  wake = ends[1];
  (void)std::signal(SIGALRM, [](int) { EndBySignal(); });
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) Handle(signal, Note);
}

bool Interruption::HasCome() { return signal_that_came != 0; }

void Interruption::End() {
  EndBySignal();
  std::abort();  // No default action of these signals returns.
}

}  // namespace fairlead::tool
