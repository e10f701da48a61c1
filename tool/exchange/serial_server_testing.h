// A server that serves one connection after the other.

#ifndef FAIRLEAD_TOOL_EXCHANGE_SERIAL_SERVER_TESTING_H_
#define FAIRLEAD_TOOL_EXCHANGE_SERIAL_SERVER_TESTING_H_

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "tool/testing.h"

namespace fairlead::tool {

/// Serves connections on a loopback port, each with a script, on a thread.
class SerialServer {
 public:
  /// The connection, which is closed afterwards, and its number from 1 on.
  using Script = std::function<void(int connection, int number)>;

  explicit SerialServer(Script script)
      : script_(std::move(script)),
        listener_(ListenOnLoopback(8)),
        port_(PortOf(listener_)),
        thread_([this] { Serve(); }) {}
  SerialServer(const SerialServer&) = delete;
  SerialServer& operator=(const SerialServer&) = delete;
  ~SerialServer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }

  /// Returns how many connections were accepted.
  int count() const { return count_; }
  int port() const { return port_; }

  /// Returns the command with the arguments -host and -port of this server.
  Words Arguments(std::string_view command) const {
    return {std::string(command), "-host", "127.0.0.1", "-port",
            std::to_string(port_)};
  }

 private:
  void Serve() {
    for (;;) {
      const int connection = accept(listener_, nullptr, nullptr);
      if (connection == -1) return;
      script_(connection, ++count_);
      close(connection);
    }
  }

  const Script script_;
  const int listener_;
  const int port_;
  std::atomic<int> count_ = 0;
  std::thread thread_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_SERIAL_SERVER_TESTING_H_
