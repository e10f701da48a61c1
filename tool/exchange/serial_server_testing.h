// Servers that serve one connection after the other, or begin late.

#ifndef FAIRLEAD_TOOL_EXCHANGE_SERIAL_SERVER_TESTING_H_
#define FAIRLEAD_TOOL_EXCHANGE_SERIAL_SERVER_TESTING_H_

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "tool/testing.h"

namespace fairlead::tool {

/// Returns a socket bound to the loopback port, or to a free one for 0, which
/// others may share. It refuses connections until it listens.
inline int BoundSocket(int port) {
  const int bound = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(bound, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  EXPECT_EQ(bind(bound, reinterpret_cast<sockaddr*>(&address), sizeof address),
            0);
  return bound;
}

/// Serves one connection of a bound socket with a script, on a thread, once the
/// socket listens. Refuses others from then on.
class LateServer {
 public:
  /// @param socket is closed at the end
  LateServer(int socket, std::function<void(int connection)> script)
      : socket_(socket),
        script_(std::move(script)),
        thread_([this] { Serve(); }) {}
  LateServer(const LateServer&) = delete;
  LateServer& operator=(const LateServer&) = delete;
  ~LateServer() {
    is_over_ = true;
    shutdown(socket_, SHUT_RDWR);
    thread_.join();
    close(socket_);
  }

 private:
  // Fails at once until the socket listens, and then waits.
  void Serve() {
    int connection = -1;
    while ((connection = accept(socket_, nullptr, nullptr)) == -1 && !is_over_)
      std::this_thread::yield();
    if (connection == -1) return;
    shutdown(socket_, SHUT_RDWR);
    script_(connection);
    close(connection);
  }

  const int socket_;
  const std::function<void(int connection)> script_;
  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

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
