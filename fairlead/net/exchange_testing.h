// What the tests of exchanges have at the other end: a server of one
// connection, replies, and pipes as inputs. Not installed.

#ifndef FAIRLEAD_NET_EXCHANGE_TESTING_H_
#define FAIRLEAD_NET_EXCHANGE_TESTING_H_

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "fairlead/net/exchange.h"
#include "fairlead/net/loopback_testing.h"

namespace fairlead::internal {

// Limits that no test reaches unless it is about them.
inline constexpr ExchangeLimits kPatient = {.total = std::chrono::seconds(60),
                                            .connect = {},
                                            .idle = std::chrono::seconds(60)};

inline std::uint16_t PortOf(const Listener& listener) {
  return ntohs(listener.endpoint().addr.sin_port);
}

// A server that serves one connection on a thread.
class Server {
 public:
  explicit Server(std::function<void(Socket&)> serve)
      : thread_([this, serve = std::move(serve)] {
          Socket peer = listener_.Accept();
          serve(peer);
        }) {}
  ~Server() { thread_.join(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::uint16_t port() const { return PortOf(listener_); }

 private:
  Listener listener_ = std::move(Listener().Listen());
  std::thread thread_;
};

// A server that serves connections one after another, each on the same thread,
// until it is destroyed.
class SerialServer {
 public:
  explicit SerialServer(std::function<void(Socket&)> serve)
      : thread_([this, serve = std::move(serve)] {
          for (;;) {
            Socket peer = listener_.Accept();
            if (peer.number() == -1) return;
            serve(peer);
          }
        }) {}
  ~SerialServer() {
    shutdown(listener_.number(), SHUT_RDWR);  // Ends the wait in Accept().
    thread_.join();
  }
  SerialServer(const SerialServer&) = delete;
  SerialServer& operator=(const SerialServer&) = delete;

  std::uint16_t port() const { return PortOf(listener_); }

 private:
  Listener listener_ = std::move(Listener().Listen());
  std::thread thread_;
};

// Reads to the end of a line or of what is sent, says "ok" and, after a line,
// waits for the client's end.
inline void AnswerOk(Socket& peer) {
  std::array<char, 65536> buffer{};
  for (;;) {
    const ssize_t count = recv(peer.number(), buffer.data(), buffer.size(), 0);
    if (count < 0) return;
    const bool line =
        count > 0 && buffer[static_cast<std::size_t>(count) - 1] == '\n';
    if (count > 0 && !line) continue;
    peer.Send("ok\n");
    if (line) peer.ReceiveEnd();
    return;
  }
}

// Collects what comes until it is `enough` bytes.
struct Reply {
  Exchange::Sink Until(std::size_t enough) {
    return [this, enough](std::string_view bytes, const TheTime&) {
      text += bytes;
      return text.size() >= enough;
    };
  }
  Exchange::Sink UntilTheEnd() { return Until(std::string::npos); }

  std::string text;
};

// A pipe whose reading end is an input.
struct Pipe {
  Pipe() {
    if (pipe(ends) != 0) std::abort();
  }
  ~Pipe() {
    close(ends[0]);
    CloseWriting();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void Write(std::string_view text) const {
    EXPECT_EQ(write(ends[1], text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
  }
  void CloseWriting() {
    if (ends[1] != -1) close(std::exchange(ends[1], -1));
  }

  int ends[2] = {-1, -1};
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_EXCHANGE_TESTING_H_
