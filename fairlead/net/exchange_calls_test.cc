// Exchanges at moments that system calls make certain: a connection to itself,
// a peer that is gone before anyone looks, a failure that one of two threads
// meets, a receive that fills its room.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client_calls_testing.h"

namespace fairlead::internal::exchange_calls_test {
namespace {

using namespace std::chrono_literals;

using ExchangeCallsTest = InterposedCallsTest;

void ShareAddress(int sock) {
  const int on = 1;
  EXPECT_EQ(setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)), 0);
}

// Returns whether the system still has a connection of a port with itself.
bool IsConnectedToItself(int port) {
  std::array<char, 32> ports{};
  std::snprintf(ports.data(), ports.size(), "0100007F:%04X 0100007F:%04X",
                static_cast<unsigned>(port), static_cast<unsigned>(port));
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);)
    if (line.find(ports.data()) != std::string::npos) return true;
  return false;
}

// The system may give a client the port that it connects to.
TEST_F(ExchangeCallsTest, AConnectionToItselfIsRefused) {
  const Listener refusing;
  ShareAddress(refusing.number());
  const std::uint16_t port = PortOf(refusing);
  int connections = 0;
  calls.connect = [&](int sock, const sockaddr* peer, socklen_t size) {
    ShareAddress(sock);
    const auto* own =
        reinterpret_cast<const sockaddr*>(&refusing.endpoint().addr);
    EXPECT_EQ(bind(sock, own, sizeof(sockaddr_in)), 0);
    ++connections;
    return FAIRLEAD_SYSTEM(connect)(sock, peer, size);
  };
  Exchange exchange({.limits = kPatient});
  for (const char* host : {"127.0.0.1", "0.0.0.0"}) {
    Reply reply;
    const ExchangeResult result =
        exchange.Run(host, port, "hello", reply.Until(5));
    EXPECT_EQ(result.end, ExchangeEnd::kFailed);
    EXPECT_EQ(result.phase, ExchangePhase::kConnecting);
    EXPECT_EQ(result.error, ECONNREFUSED);
    EXPECT_EQ(reply.text, "");
    EXPECT_FALSE(IsConnectedToItself(port));
  }
  EXPECT_EQ(connections, 2);
}

int StateOf(int sock) {
  tcp_info info = {};
  socklen_t size = sizeof(info);
  EXPECT_EQ(getsockopt(sock, IPPROTO_TCP, TCP_INFO, &info, &size), 0);
  return info.tcpi_state;
}

void AwaitState(int sock, int state) {
  while (StateOf(sock) != state) std::this_thread::yield();
}

// The system then reports a broken pipe instead of a reset.
TEST_F(ExchangeCallsTest, AnEndAndAResetBeforeTheFirstLookAreAReset) {
  const Listener listener = std::move(Listener().Listen());
  calls.connect = [&](int sock, const sockaddr* address, socklen_t size) {
    FAIRLEAD_SYSTEM(connect)(sock, address, size);
    Socket peer = listener.Accept();
    peer.Send("bye");
    shutdown(peer.number(), SHUT_WR);
    AwaitState(sock, TCP_CLOSE_WAIT);
    peer.Reset();
    AwaitState(sock, TCP_CLOSE);
    return Fail(EINPROGRESS);
  };
  Reply reply;
  const ExchangeResult result =
      Exchange({.limits = kPatient})
          .Run("127.0.0.1", PortOf(listener), "", reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kPeerReset) << result.Text();
  EXPECT_EQ(result.error, ECONNRESET);
  EXPECT_EQ(reply.text, "bye");
}

// Bytes that came in time may be taken late, as after the process was stopped.
TEST_F(ExchangeCallsTest, BytesThatWaitInTheSystemAreNoSilence) {
  std::promise<void> sent;
  std::promise<void> conversing;
  std::atomic<bool> held = false;
  NoteSocket();
  calls.recv = [&](int sock, void* data, std::size_t size, int flags) {
    if (sock == sock_ && !held.exchange(true)) {
      conversing.get_future().wait();
      std::this_thread::sleep_for(300ms);
    }
    return FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
  };
  Server server([&](Socket& peer) {
    peer.Send("x");
    sent.set_value();
    peer.ReceiveEnd();
  });
  Exchange exchange({.limits = {.total = 60s, .idle = 100ms}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  sent.get_future().wait();
  conversing.set_value();
  Reply reply;
  const ExchangeResult result = exchange.Converse("", reply.Until(1));
  EXPECT_TRUE(result) << result.Text();
  EXPECT_EQ(reply.text, "x");
  exchange.Close();
}

// Likewise a peer to which more could be sent.
TEST_F(ExchangeCallsTest, RoomForWhatIsToBeSentIsNoSilence) {
  const std::string body(400'000, 'x');  // More than one send takes.
  std::atomic<int> sends = 0;
  calls.send = [&](int sock, const void* data, std::size_t size, int flags) {
    if (++sends == 2) std::this_thread::sleep_for(300ms);
    return FAIRLEAD_SYSTEM(send)(sock, data, size, flags);
  };
  std::size_t read = 0;
  {
    Server server([&](Socket& peer) { read = peer.Receive(1'000'000).size(); });
    Exchange exchange({.limits = {.total = 60s, .idle = 100ms}});
    const ExchangeResult result =
        exchange.Run("127.0.0.1", server.port(), body, {});
    EXPECT_TRUE(result) << result.Text();
    EXPECT_GE(sends, 2);
  }
  EXPECT_EQ(read, body.size());
}

// The system reports a failure once: to the thread that sends or to the one
// that receives.
TEST_F(ExchangeCallsTest, AFailureIsOfSendingWhoeverMeetsIt) {
  for (const bool sender_meets_it : {false, true}) {
    std::atomic<int> sends = 0;
    calls.send = [&](int sock, const void* data, std::size_t, int flags) {
      if (sends++ == 0) return FAIRLEAD_SYSTEM(send)(sock, data, 1, flags);
      return ssize_t{Fail(sender_meets_it ? ETIMEDOUT : EPIPE)};
    };
    calls.recv = [&](int, void*, std::size_t, int) {
      return ssize_t{sender_meets_it ? 0 : Fail(ETIMEDOUT)};
    };
    Server server([](Socket& peer) { peer.ReceiveEnd(); });
    Exchange exchange({.limits = kPatient});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    const ExchangeResult result =
        exchange.Converse("hello", Reply().UntilTheEnd());
    exchange = Exchange();
    EXPECT_EQ(result.end, ExchangeEnd::kFailed) << result.Text();
    EXPECT_EQ(result.phase, ExchangePhase::kSending) << sender_meets_it;
    EXPECT_EQ(result.error, ETIMEDOUT);
  }
}

// The receive thread looks for more after a receive that has filled its room,
// while the exchange waits.
TEST_F(ExchangeCallsTest, WhatFillsTheRoomIsTakenThoughNoMoreComes) {
  constexpr int kRoom = 72 * 1796;
  calls.recv = [is_first = true](int sock, void* data, std::size_t size,
                                 int flags) mutable {
    if (!std::exchange(is_first, false))
      return FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
    const ssize_t received =
        FAIRLEAD_SYSTEM(recv)(sock, data, size, flags | MSG_WAITALL);
    std::this_thread::sleep_for(20ms);
    return received;
  };
  std::promise<void> taken;
  Server server([&](Socket& peer) {
    peer.Send(std::string(kRoom, 'x'));
    taken.get_future().wait();
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  const ExchangeResult result = exchange.Converse("", reply.Until(kRoom));
  taken.set_value();
  exchange = Exchange();
  EXPECT_TRUE(result) << result.Text();
  EXPECT_EQ(reply.text.size(), std::size_t{kRoom});
}

}  // namespace
}  // namespace fairlead::internal::exchange_calls_test
