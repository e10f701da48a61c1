// The client beside a bare socket, without thread or queue, and beside Asio
// with a thread that feeds a queue. The servers are threads of this process, on
// the loopback interface.

#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
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

namespace {

using fairlead::CTCPClient;
using fairlead::CTCPMessage;
using fairlead::NetClient;
using fairlead::internal::Listener;
using fairlead::internal::MessageOf;
using fairlead::internal::Socket;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 1796;
constexpr std::size_t kFlood = kPiece * 2048;

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

  std::size_t Receive() {
    while (client_.MessagesCount() == 0) {
      std::unique_lock<std::mutex> lock(client_.queueMutex);
      client_.messageCv.wait_for(lock, std::chrono::microseconds(200));
    }
    return static_cast<std::size_t>(client_.PopMessage().len);
  }

  void Close() { client_.Close(); }

 private:
  CTCPClient client_;
};

class BareClient {
 public:
  explicit BareClient(const NetClient& server)
      : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    Check(connect(socket_.number(),
                  reinterpret_cast<const sockaddr*>(&server.addr),
                  sizeof(server.addr)) == 0);
  }

  void Send(const CTCPMessage& message) {
    Check(send(socket_.number(), message.data,
               static_cast<std::size_t>(message.len), MSG_NOSIGNAL) > 0);
  }

  std::size_t Exchange(const CTCPMessage& request) {
    Send(request);
    return Receive();
  }

  std::size_t Receive() {
    const ssize_t received = recv(socket_.number(), message_.data, kPiece, 0);
    Check(received > 0);
    return static_cast<std::size_t>(received);
  }

  void Close() { socket_.Close(); }

 private:
  Socket socket_;
  CTCPMessage message_;
};

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

  std::size_t Receive() {
    std::unique_lock<std::mutex> lock(mutex_);
    queued_.wait(lock, [this] { return !queue_.empty(); });
    const CTCPMessage message = queue_.front();
    queue_.pop_front();
    return static_cast<std::size_t>(message.len);
  }

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
          message_.len = static_cast<std::int32_t>(received);
          message_.time = fairlead::TheTime();
          {
            const std::lock_guard<std::mutex> lock(mutex_);
            queue_.push_back(message_);
          }
          queued_.notify_one();
          StartReceive();
        });
  }

  asio::io_context context_;
  asio::ip::tcp::socket socket_;
  CTCPMessage message_;
  std::mutex mutex_;
  std::condition_variable queued_;
  std::deque<CTCPMessage> queue_;
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

// A few megabytes from the server, one message at a time.
template <typename Client>
void Flood(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  const CTCPMessage go = MessageOf("x");
  std::thread server([&] {
    const Socket peer = listener.Accept();
    const std::string bytes(kFlood, 'x');
    while (peer.Receive(1) == "x" && peer.Send(bytes)) {
    }
  });
  Client client(listener.endpoint());
  for (auto _ : state) {
    std::size_t received = client.Exchange(go);
    while (received < kFlood) received += client.Receive();
    Check(received == kFlood);
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(kFlood));
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
#ifdef FAIRLEAD_PEER_ASIO
  Register<AsioClient>("asio");
#endif
  benchmark::RegisterBenchmark("TcpTenIdleSeconds/fairlead",
                               &TenIdleSeconds<FairleadClient>)
      ->Iterations(1)
      ->UseManualTime();
  return true;
}();

}  // namespace
