// For tests: servers that are installed, each started on a free loopback port.

#ifndef FAIRLEAD_TOOL_REAL_SERVERS_TESTING_H_
#define FAIRLEAD_TOOL_REAL_SERVERS_TESTING_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "tool/testing.h"

namespace fairlead::tool {

/// Returns whether the shell finds the program.
inline bool IsInstalled(const std::string& program) {
  return RunProgram({.arguments = {"-c", "command -v " + program},
                     .program = "/bin/sh"})
             .status == 0;
}

/// Waits up to ten seconds for a server at the port. Returns whether there is
/// one.
inline bool ComesUp(int port) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < end) {
    const int connection = ConnectToPort(port);
    if (connection != -1) {
      close(connection);
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

/// A server on a free port. Tries another port if it was taken in the meantime.
class RealServer {
 public:
  explicit RealServer(const std::function<Launch(int port)>& launch_at) {
    for (int attempt = 0; attempt < 3; ++attempt) {
      port_ = ClosedPort();
      process_ = std::make_unique<Process>(launch_at(port_));
      if (ComesUp(port_)) return;
    }
    ADD_FAILURE() << "the server does not come up";
  }

  /// Returns what came of `fairlead send` or `recv` with these arguments.
  Outcome Send(const Words& arguments) const { return Run("send", arguments); }
  Outcome Receive(const Words& arguments) const {
    return Run("recv", arguments);
  }

  /// Ends the server with a signal, so that it tidies up.
  void End(int signal) {
    kill(process_->pid(), signal);
    process_->Wait();
  }

 private:
  Outcome Run(std::string_view command, const Words& arguments) const {
    return Fairlead(Words{std::string(command), "-host", "localhost", "-port",
                          std::to_string(port_), "-quiet"} +
                    arguments);
  }

  int port_ = 0;
  std::unique_ptr<Process> process_;  // Killed with the object.
};

/// Returns how to run a shell command, as root, with mounts of its own. All
/// that it starts ends with it.
inline Launch InOwnNamespaces(const std::string& command,
                              const Words& arguments = {}) {
  return {.arguments = Words{"--mount", "--pid", "--fork", "--kill-child", "sh",
                             "-c", command, "sh"} +
                       arguments,
          .program = "unshare"};
}

/// Returns "" if InOwnNamespaces() works, else why not, for skipping a test.
inline std::string WhyNoNamespaces() {
  if (!IsInstalled("unshare")) return "unshare is not installed";
  const Outcome outcome =
      RunProgram(InOwnNamespaces("mount -t tmpfs none /run"));
  return outcome.status == 0 ? "" : "no own mounts: " + outcome.error;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_REAL_SERVERS_TESTING_H_
