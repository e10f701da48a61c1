// The client beside a bare socket, without thread or queue, and beside a bare
// socket, Asio and POCO with a thread that feeds a queue. The servers are
// threads of this process, on the loopback interface.

#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"

#ifdef FAIRLEAD_PEER_ASIO
#include <asio.hpp>
#endif

#ifdef FAIRLEAD_PEER_POCO
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>
#endif

namespace {

using fairlead::CTCPClient;
using fairlead::CTCPMessage;
using fairlead::NetClient;
using fairlead::internal::Listener;
using fairlead::internal::MessageOf;
using fairlead::internal::Socket;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 1796;
constexpr std::size_t kFloodMessages = 2048;

void Check(bool holds) {
  if (!holds) std::abort();
}

class FairleadClient {
 public:
  explicit FairleadClient(const NetClient& server) {
    Check(client_.ConnectTo(&server));
  }

  // Sends the request. Returns the length of the reply, or of its first part.
  std::size_t Exchange(const CTCPMessage& request) {
    std::unique_lock<std::mutex> lock(client_.queueMutex);
    Check(client_.SendMsg(&request));
    client_.messageCv.wait(lock);
    lock.unlock();
    return Receive();
  }

  // Nobody else pops, so the messages that were counted are there.
  std::size_t Receive() {
    if (count_ == 0) count_ = client_.MessagesCount();
    for (; count_ == 0; count_ = client_.MessagesCount()) {
      std::unique_lock<std::mutex> lock(client_.queueMutex);
      client_.messageCv.wait_for(lock, std::chrono::microseconds(200));
    }
    --count_;
    return static_cast<std::size_t>(client_.PopMessage().len);
  }

  void Close() { client_.Close(); }

 private:
  CTCPClient client_;
  std::int32_t count_ = 0;  // Of messages that wait.
};

class BareTransport {
 public:
  explicit BareTransport(const NetClient& server)
      : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    Check(connect(socket_.number(),
                  reinterpret_cast<const sockaddr*>(&server.addr),
                  sizeof(server.addr)) == 0);
  }
  void Send(const CTCPMessage& message) {
    Check(send(socket_.number(), message.data,
               static_cast<std::size_t>(message.len), MSG_NOSIGNAL) > 0);
  }
  // Returns 0 at the end and after a failure.
  std::size_t Receive(CTCPMessage& message) {
    const ssize_t received = recv(socket_.number(), message.data, kPiece, 0);
    return received > 0 ? static_cast<std::size_t>(received) : 0;
  }
  void Shutdown() { shutdown(socket_.number(), SHUT_RD); }
  void Close() { socket_.Close(); }

 private:
  Socket socket_;
};

class BareClient {
 public:
  explicit BareClient(const NetClient& server) : transport_(server) {}

  void Send(const CTCPMessage& message) { transport_.Send(message); }

  std::size_t Exchange(const CTCPMessage& request) {
    Send(request);
    return Receive();
  }

  std::size_t Receive() {
    const std::size_t received = transport_.Receive(message_);
    Check(received > 0);
    return received;
  }

  void Close() { transport_.Close(); }

 private:
  BareTransport transport_;
  CTCPMessage message_;
};

// The least that a client with a receive thread needs.
class MessageQueue {
 public:
  void Push(CTCPMessage& message, std::size_t received) {
    message.len = static_cast<std::int32_t>(received);
    message.time = fairlead::TheTime();
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      queue_.push_back(message);
    }
    queued_.notify_one();
  }

  // Waits for a message. Returns its length.
  std::size_t Pop() {
    std::unique_lock<std::mutex> lock(mutex_);
    queued_.wait(lock, [this] { return !queue_.empty(); });
    const CTCPMessage message = queue_.front();
    queue_.pop_front();
    return static_cast<std::size_t>(message.len);
  }

 private:
  std::mutex mutex_;
  std::condition_variable queued_;
  std::deque<CTCPMessage> queue_;
};

// A blocking socket whose thread feeds a queue.
template <typename Transport>
class QueueClient {
 public:
  explicit QueueClient(const NetClient& server) : transport_(server) {
    thread_ = std::thread([this] {
      CTCPMessage message;
      while (const std::size_t received = transport_.Receive(message))
        queue_.Push(message, received);
    });
  }
  ~QueueClient() { Close(); }
  QueueClient(const QueueClient&) = delete;
  QueueClient& operator=(const QueueClient&) = delete;

  std::size_t Exchange(const CTCPMessage& request) {
    transport_.Send(request);
    return Receive();
  }

  std::size_t Receive() { return queue_.Pop(); }

  void Close() {
    if (!thread_.joinable()) return;
    transport_.Shutdown();
    thread_.join();
    transport_.Close();
  }

 private:
  Transport transport_;
  MessageQueue queue_;
  std::thread thread_;
};

#ifdef FAIRLEAD_PEER_POCO
class PocoTransport {
 public:
  explicit PocoTransport(const NetClient& server)
      : socket_(Poco::Net::SocketAddress(
            reinterpret_cast<const sockaddr*>(&server.addr),
            sizeof(server.addr))) {}
  void Send(const CTCPMessage& message) {
    Check(socket_.sendBytes(message.data, message.len) == message.len);
  }
  std::size_t Receive(CTCPMessage& message) try {
    return static_cast<std::size_t>(
        socket_.receiveBytes(message.data, static_cast<int>(kPiece)));
  } catch (const Poco::Exception&) {
    return 0;
  }
  void Shutdown() { socket_.shutdownReceive(); }
  void Close() { socket_.close(); }

 private:
  Poco::Net::StreamSocket socket_;
};
#endif

#ifdef FAIRLEAD_PEER_ASIO
class AsioClient {
 public:
  explicit AsioClient(const NetClient& server) : socket_(context_) {
    socket_.connect({asio::ip::address_v4(ntohl(server.addr.sin_addr.s_addr)),
                     ntohs(server.addr.sin_port)});
    StartReceive();
    thread_ = std::thread([this] { context_.run(); });
  }
  ~AsioClient() { Close(); }
  AsioClient(const AsioClient&) = delete;
  AsioClient& operator=(const AsioClient&) = delete;

  std::size_t Exchange(const CTCPMessage& request) {
    asio::write(socket_, asio::buffer(request.data,
                                      static_cast<std::size_t>(request.len)));
    return Receive();
  }

  std::size_t Receive() { return queue_.Pop(); }

  void Close() {
    if (!thread_.joinable()) return;
    context_.stop();
    thread_.join();
    socket_.close();
  }

 private:
  void StartReceive() {
    socket_.async_read_some(
        asio::buffer(message_.data, kPiece),
        [this](const asio::error_code& error, std::size_t received) {
          if (error) return;
          queue_.Push(message_, received);
          StartReceive();
        });
  }

  asio::io_context context_;
  asio::ip::tcp::socket socket_;
  CTCPMessage message_;
  MessageQueue queue_;
  std::thread thread_;
};
#endif

// One message and its echo.
template <typename Client>
void RoundTrip(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  const auto size = static_cast<std::size_t>(state.range(0));
  const CTCPMessage request = MessageOf(std::string(size, 'x'));
  std::thread server([&] {
    const Socket peer = listener.Accept();
    for (;;) {
      const std::string body = peer.Receive(size);
      if (body.size() < size || !peer.Send(body)) break;
    }
  });
  Client client(listener.endpoint());
  for (auto _ : state) {
    std::size_t received = client.Exchange(request);
    while (received < size) received += client.Receive();
  }
  client.Close();
  server.join();
}

// Messages from the server, each of `state.range(0)` bytes and sent by itself,
// without a wait for the acknowledgement of the one before.
template <typename Client>
void Flood(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  const auto size = static_cast<std::size_t>(state.range(0));
  const std::size_t all = size * kFloodMessages;
  const CTCPMessage go = MessageOf("x");
  std::thread server([&] {
    const Socket peer = listener.Accept();
    const int no_delay = 1;
    Check(setsockopt(peer.number(), IPPROTO_TCP, TCP_NODELAY, &no_delay,
                     sizeof(no_delay)) == 0);
    const std::string bytes(size, 'x');
    while (peer.Receive(1) == "x")
      for (std::size_t i = 0; i < kFloodMessages; ++i) Check(peer.Send(bytes));
  });
  Client client(listener.endpoint());
  for (auto _ : state) {
    std::size_t received = client.Exchange(go);
    while (received < all) received += client.Receive();
    Check(received == all);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(all));
  client.Close();
  server.join();
}

// Accepts and resets connections until one receives a byte. Resets leave no
// port in TIME_WAIT.
void ServeConnections(const Listener& listener) {
  for (bool more = true; more;) {
    Socket peer = listener.Accept();
    more = peer.ReceiveEnd();
    peer.Reset();
  }
}

// Connecting and closing.
template <typename Client>
void ConnectAndClose(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  std::thread server([&] { ServeConnections(listener); });
  for (auto _ : state) Client(listener.endpoint()).Close();
  BareClient(listener.endpoint()).Send(MessageOf("x"));
  server.join();
}

// Closing a client whose thread waits for input.
template <typename Client>
void Close(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  std::thread server([&] { ServeConnections(listener); });
  for (auto _ : state) {
    Client client(listener.endpoint());
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto start = Clock::now();
    client.Close();
    const std::chrono::duration<double> taken = Clock::now() - start;
    state.SetIterationTime(taken.count());
  }
  BareClient(listener.endpoint()).Send(MessageOf("x"));
  server.join();
}

double ProcessorSeconds() {
  rusage usage = {};
  Check(getrusage(RUSAGE_SELF, &usage) == 0);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) +
           static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The processor time of a connected client in ten idle seconds.
template <typename Client>
void TenIdleSeconds(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  for (auto _ : state) {
    Client client(listener.endpoint());
    const Socket peer = listener.Accept();
    const double before = ProcessorSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(10));
    state.SetIterationTime(ProcessorSeconds() - before);
    client.Close();
  }
}

// Registers all benchmarks of one implementation.
template <typename Client>
void Register(const std::string& competitor) {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark(("TcpRoundTrip/" + competitor).c_str(), &RoundTrip<Client>)
      ->Arg(64)
      ->Arg(1796)
      ->UseRealTime();
  RegisterBenchmark(("TcpFlood/" + competitor).c_str(), &Flood<Client>)
      ->Arg(100)
      ->Arg(1796)
      ->UseRealTime();
  RegisterBenchmark(("TcpConnectAndClose/" + competitor).c_str(),
                    &ConnectAndClose<Client>)
      ->UseRealTime();
  RegisterBenchmark(("TcpClose/" + competitor).c_str(), &Close<Client>)
      ->Iterations(300)
      ->UseManualTime();
}

const bool kRegistered = [] {
  Register<FairleadClient>("fairlead");
  Register<BareClient>("bare_socket");
  Register<QueueClient<BareTransport>>("thread_and_queue");
#ifdef FAIRLEAD_PEER_ASIO
  Register<AsioClient>("asio");
#endif
#ifdef FAIRLEAD_PEER_POCO
  Register<QueueClient<PocoTransport>>("poco");
#endif
  benchmark::RegisterBenchmark("TcpTenIdleSeconds/fairlead",
                               &TenIdleSeconds<FairleadClient>)
      ->Iterations(1)
      ->UseManualTime();
  return true;
}();

}  // namespace
