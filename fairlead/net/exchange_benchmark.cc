// An exchange beside a loop of poll, send and recv with a buffer of 64 KB, and
// beside Asio. The servers are threads of this process, on the loopback
// interface. Each connection is part of what is timed, but for the round trips.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "fairlead/net/exchange.h"
#include "fairlead/net/loopback_testing.h"

#ifdef FAIRLEAD_PEER_ASIO
#include <asio.hpp>
#endif

namespace {

using fairlead::internal::Listener;
using fairlead::internal::Socket;

constexpr std::size_t kSmall = 64;
constexpr std::size_t kLarge = std::size_t{100} << 20;
constexpr std::size_t kBuffer = std::size_t{64} << 10;

void Check(bool holds) {
  if (!holds) std::abort();
}

std::uint16_t PortOf(const Listener& listener) {
  return ntohs(listener.endpoint().addr.sin_port);
}

// Sends `size` bytes, then receives until `enough` or the peer's end. Returns
// what it received.
class FairleadClient {
 public:
  explicit FairleadClient(const Listener& server) : exchange_(Options()) {
    Check(static_cast<bool>(exchange_.Connect("127.0.0.1", PortOf(server))));
  }

  std::size_t Converse(std::string_view body, std::size_t enough) {
    std::size_t received = 0;
    exchange_.Converse(body, [&](std::string_view bytes, const auto&) {
      received += bytes.size();
      return received >= enough;
    });
    return received;
  }

 private:
  static fairlead::ExchangeOptions Options() {
    return {.limits = {.total = std::chrono::minutes(5)}, .max_piece = kBuffer};
  }

  fairlead::Exchange exchange_;
};

class PollClient {
 public:
  explicit PollClient(const Listener& server)
      : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const auto* address =
        reinterpret_cast<const sockaddr*>(&server.endpoint().addr);
    Check(connect(socket_.number(), address, sizeof(sockaddr_in)) == 0);
    Check(fcntl(socket_.number(), F_SETFL, O_NONBLOCK) == 0);
  }

  std::size_t Converse(std::string_view body, std::size_t enough) {
    for (std::size_t received = 0;;) {
      pollfd file = {socket_.number(), POLLIN, 0};
      if (!body.empty()) file.events |= POLLOUT;
      Check(poll(&file, 1, -1) == 1);
      if ((file.revents & POLLOUT) != 0) Send(body);
      if ((file.revents & POLLIN) == 0) continue;
      const ssize_t count =
          recv(socket_.number(), buffer_.data(), buffer_.size(), 0);
      if (count > 0) received += static_cast<std::size_t>(count);
      if (count == 0 || received >= enough) return received;
    }
  }

 private:
  void Send(std::string_view& body) {
    const ssize_t sent = send(socket_.number(), body.data(),
                              std::min(body.size(), kBuffer), MSG_NOSIGNAL);
    Check(sent > 0 || errno == EAGAIN);
    if (sent > 0) body.remove_prefix(static_cast<std::size_t>(sent));
  }

  Socket socket_;
  std::array<char, kBuffer> buffer_;
};

#ifdef FAIRLEAD_PEER_ASIO
// One direction after the other, which is all that is asked here.
class AsioClient {
 public:
  explicit AsioClient(const Listener& server) : socket_(context_) {
    socket_.connect({asio::ip::address_v4::loopback(), PortOf(server)});
  }

  std::size_t Converse(std::string_view body, std::size_t enough) {
    asio::write(socket_, asio::buffer(body));
    std::size_t received = 0;
    asio::error_code error;
    while (!error && received < enough)
      received += socket_.read_some(asio::buffer(buffer_), error);
    return received;
  }

 private:
  asio::io_context context_;
  asio::ip::tcp::socket socket_;
  std::array<char, kBuffer> buffer_;
};
#endif

template <typename Client>
void RoundTrip(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  std::thread server([&] {
    const Socket peer = listener.Accept();
    for (;;) {
      const std::string request = peer.Receive(kSmall);
      if (request.size() < kSmall || !peer.Send(request)) return;
    }
  });
  {
    Client client(listener);
    const std::string body(kSmall, 'x');
    for (auto _ : state) Check(client.Converse(body, kSmall) == kSmall);
  }
  server.join();
}

template <typename Client>
void ReceiveFlood(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  const std::string flood(kLarge, 'x');
  for (auto _ : state) {
    std::thread server([&] { listener.Accept().Send(flood); });
    Check(Client(listener).Converse("", kLarge + 1) == kLarge);
    server.join();
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(kLarge));
}

// The server says that it has all.
template <typename Client>
void SendBody(benchmark::State& state) {
  const Listener listener = std::move(Listener().Listen());
  const std::string body(kLarge, 'x');
  for (auto _ : state) {
    std::thread server([&] {
      const Socket peer = listener.Accept();
      std::array<char, kBuffer> buffer;
      for (std::size_t read = 0; read < kLarge;) {
        const ssize_t count =
            recv(peer.number(), buffer.data(), buffer.size(), 0);
        Check(count > 0);
        read += static_cast<std::size_t>(count);
      }
      peer.Send("x");
    });
    Check(Client(listener).Converse(body, 1) == 1);
    server.join();
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(kLarge));
}

// Registers all benchmarks of one implementation.
template <typename Client>
void Register(const std::string& competitor) {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark(("ExchangeRoundTrip/" + competitor).c_str(),
                    &RoundTrip<Client>)
      ->UseRealTime();
  RegisterBenchmark(("ExchangeFlood/" + competitor).c_str(),
                    &ReceiveFlood<Client>)
      ->UseRealTime();
  RegisterBenchmark(("ExchangeBody/" + competitor).c_str(), &SendBody<Client>)
      ->UseRealTime();
}

const bool kRegistered = [] {
  Register<FairleadClient>("fairlead");
  Register<PollClient>("poll");
#ifdef FAIRLEAD_PEER_ASIO
  Register<AsioClient>("asio");
#endif
  return true;
}();

}  // namespace
