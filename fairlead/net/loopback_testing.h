// What the tests and benchmarks of the client need at the other end: a listener
// on a free loopback port, and the connections it accepts. Not installed.

#ifndef FAIRLEAD_NET_LOOPBACK_TESTING_H_
#define FAIRLEAD_NET_LOOPBACK_TESTING_H_

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "fairlead/base/descriptor.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead::internal {

// Owns a descriptor of a socket, above those of the standard streams even where
// the test program was started without them.
class Socket {
 public:
  explicit Socket(int number)
      : number_(internal::MoveAboveStandardStreams(number)) {}
  ~Socket() { Close(); }
  Socket(Socket&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Socket& operator=(Socket&&) = delete;

  int number() const { return number_; }

  void Close() {
    if (number_ != -1) close(std::exchange(number_, -1));
  }

  // Closes with a reset, which leaves no trace of the connection in the system.
  void Reset() {
    const linger now = {1, 0};
    setsockopt(number_, SOL_SOCKET, SO_LINGER, &now, sizeof(now));
    Close();
  }

  // False where the client is gone.
  bool Send(std::string_view bytes) const {
    while (!bytes.empty()) {
      const ssize_t sent =
          send(number_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }

  // The next `count` bytes; fewer where the client has closed.
  std::string Receive(std::size_t count) const {
    std::string bytes(count, '\0');
    std::size_t have = 0;
    while (have < count) {
      const ssize_t received =
          recv(number_, bytes.data() + have, count - have, 0);
      if (received <= 0) break;
      have += static_cast<std::size_t>(received);
    }
    bytes.resize(have);
    return bytes;
  }

  // Waits until the client has closed, and says whether nothing came before.
  bool ReceiveEnd() const { return Receive(1).empty(); }

 private:
  int number_;
};

// Accepts connections on a free port of 127.0.0.1, or of another loopback host.
// A client can connect before Accept() is called, so one thread can be both
// ends.
class Listener {
 public:
  explicit Listener(in_addr_t host = INADDR_LOOPBACK)
      : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    endpoint_.addr.sin_addr.s_addr = htonl(host);
    auto* address = reinterpret_cast<sockaddr*>(&endpoint_.addr);
    socklen_t size = sizeof(endpoint_.addr);
    if (bind(socket_.number(), address, size) != 0 ||
        getsockname(socket_.number(), address, &size) != 0)
      std::abort();
  }

  // A port that refuses connections until Listen() is called.
  const NetClient& endpoint() const { return endpoint_; }

  Listener& Listen() {
    listen(socket_.number(), SOMAXCONN);
    return *this;
  }

  int number() const { return socket_.number(); }

  Socket Accept() const {
    return Socket(accept4(socket_.number(), nullptr, nullptr, SOCK_CLOEXEC));
  }

 private:
  Socket socket_;
  NetClient endpoint_;
};

// A client and its accepted connection.
struct Pair {
  Pair() : connected(client.ConnectTo(&listener.endpoint())) {}

  Listener listener = std::move(Listener().Listen());
  CTCPClient client;
  const bool connected;
  Socket peer = listener.Accept();
};

// Looks at `done` whenever the client signals, and often in between, for as
// long as any machine may need.
template <typename Condition>
bool WaitUntil(CTCPClient& client, Condition done) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!done()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::unique_lock<std::mutex> lock(client.queueMutex);
    client.messageCv.wait_for(lock, std::chrono::milliseconds(5));
  }
  return true;
}

inline bool WaitForMessages(CTCPClient& client, int count) {
  return WaitUntil(client, [&] { return client.MessagesCount() >= count; });
}

// Waits until the connection has ended by itself: nothing can be sent any more.
inline bool WaitForEnd(CTCPClient& client) {
  const CTCPMessage nothing;
  return WaitUntil(client, [&] { return !client.SendMsg(&nothing); });
}

// A consumer that waits, once and without a limit, from before the constructor
// has returned.
class WaitingConsumer {
 public:
  explicit WaitingConsumer(CTCPClient& client)
      : thread_([this, &client] {
          std::unique_lock<std::mutex> lock(client.queueMutex);
          locked_ = true;
          client.messageCv.wait(lock);
        }) {
    while (!locked_) std::this_thread::yield();
    const std::lock_guard<std::mutex> lock(client.queueMutex);  // It waits.
  }
  void Join() { thread_.join(); }

 private:
  std::atomic<bool> locked_ = false;
  std::thread thread_;
};

inline CTCPMessage MessageOf(std::string_view body) {
  CTCPMessage message;
  message.len = static_cast<std::int32_t>(
      body.copy(reinterpret_cast<char*>(message.data), sizeof(message.data)));
  return message;
}

inline std::string BodyOf(const CTCPMessage& message) {
  return {message.data, message.data + message.len};
}

// Whether a message goes out and its echo comes back.
inline bool Exchanges(CTCPClient& client, const Socket& peer) {
  const CTCPMessage request = MessageOf("ping");
  return client.SendMsg(&request) && peer.Send(peer.Receive(4)) &&
         WaitForMessages(client, 1) && BodyOf(client.PopMessage()) == "ping";
}

// The number of entries of a folder: of descriptors in /proc/self/fd, of
// threads in /proc/self/task.
inline int CountEntries(const char* folder) {
  DIR* const entries = opendir(folder);
  int count = 0;
  while (readdir(entries) != nullptr) ++count;  // NOLINT(concurrency-mt-unsafe)
  closedir(entries);
  return count;
}

inline int CountDescriptors() { return CountEntries("/proc/self/fd"); }

// Waits until no more threads than `count` are left: one that has let go of its
// client still takes a moment to leave the system.
inline bool WaitForThreads(int count) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (CountEntries("/proc/self/task") > count) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_LOOPBACK_TESTING_H_
