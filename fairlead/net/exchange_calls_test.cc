// Exchanges at moments that system calls make certain: a connection to itself,
// and a peer that is gone before anyone looks.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
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

// A server whose system takes little of what is sent before it is read.
class SlowServer {
 public:
  explicit SlowServer(std::function<void(Socket&)> serve)
      : thread_([this, serve = std::move(serve)] {
          Socket peer = listener_.Accept();
          sent_.get_future().wait();
          serve(peer);
        }) {}
  ~SlowServer() { thread_.join(); }
  SlowServer(const SlowServer&) = delete;
  SlowServer& operator=(const SlowServer&) = delete;

  // Connects, and sends a body of 100 kB, which waits in the system then.
  ExchangeResult Send(Exchange& exchange) {
    ExchangeResult result = exchange.Connect("127.0.0.1", PortOf(listener_));
    if (result) result = exchange.Converse(body_, {});
    sent_.set_value();
    EXPECT_TRUE(result) << result.Text();
    EXPECT_EQ(result.sent, body_.size());
    return result;
  }

  // Sends it in an exchange that is only that.
  ExchangeResult RunSend() {
    Exchange exchange(
        {.limits = kPatient, .on_event = [this](const ExchangeEvent& event) {
           if (event.sent == body_.size()) sent_.set_value();
         }});
    return exchange.Run("127.0.0.1", PortOf(listener_), body_, {});
  }

  const std::string& body() const { return body_; }

 private:
  static Listener WithLittleRoom() {
    Listener listener;
    const int size = 4096;
    EXPECT_EQ(setsockopt(listener.number(), SOL_SOCKET, SO_RCVBUF, &size,
                         sizeof(size)),
              0);
    return std::move(listener.Listen());
  }

  const std::string body_ = std::string(100'000, 'x');
  const Listener listener_ = WithLittleRoom();
  std::promise<void> sent_;
  std::thread thread_;
};

// What comes after a close resets the connection, and the system then drops
// what it has not sent yet.
TEST_F(ExchangeCallsTest, ClosingLosesNothingThoughThePeerGoesOnSending) {
  std::string read;
  const std::string chat(20 << 20, 'y');  // More than anything holds.
  ExchangeResult closed;
  {
    SlowServer server([&](Socket& peer) {
      for (int i = 0; i < 10; ++i) {
        peer.Send("a line\n");
        std::this_thread::sleep_for(20ms);
      }
      peer.Send(chat);
      read = peer.Receive(1'000'000);
    });
    Exchange exchange({.limits = kPatient});
    server.Send(exchange);
    closed = exchange.Close();
  }
  EXPECT_TRUE(closed) << closed.Text();
  EXPECT_EQ(closed.sent, 100'000u);
  EXPECT_EQ(read.size(), 100'000u);
}

// What follows after everything is sent.
using Step = std::function<ExchangeResult(Exchange&)>;

ExchangeResult Close(Exchange& exchange) { return exchange.Close(); }

ExchangeResult ReceiveAll(Exchange& exchange) {
  return exchange.Converse("", Reply().UntilTheEnd());
}

// A peer that takes a little now and then is not silent.
TEST_F(ExchangeCallsTest, WaitsForAPeerThatReadsSlowly) {
  for (const Step& step : {Step(Close), Step(ReceiveAll)}) {
    std::string read;
    ExchangeResult result;
    {
      SlowServer server([&](Socket& peer) {
        while (read.size() < server.body().size()) {
          std::this_thread::sleep_for(100ms);
          read += peer.Receive(10'000);
        }
      });
      Exchange exchange({.limits = {.total = 60s, .idle = 600ms}});
      server.Send(exchange);
      result = step(exchange);
    }
    EXPECT_NE(result.end, ExchangeEnd::kSilence);
    EXPECT_EQ(result.sent, 100'000u);
    EXPECT_EQ(read.size(), 100'000u);
  }
}

// Ends an exchange with a peer that does something else than read.
ExchangeResult EndUnread(const ExchangeLimits& limits,
                         const std::function<void(Socket&)>& act,
                         const Step& step = Close) {
  std::promise<void> closed;
  std::promise<int> unread;
  SlowServer server([&](Socket& peer) {
    act(peer);
    closed.get_future().wait();
    int count = -1;
    ioctl(peer.number(), FIONREAD, &count);
    unread.set_value(count);
  });
  Exchange exchange({.limits = limits});
  server.Send(exchange);
  ExchangeResult result = step(exchange);
  closed.set_value();
  const int acknowledged = unread.get_future().get();
  if (acknowledged != -1) {
    EXPECT_EQ(result.sent, static_cast<std::uint64_t>(acknowledged));
  }
  EXPECT_EQ(result.phase, ExchangePhase::kSending);
  EXPECT_LT(result.sent, server.body().size());
  return result;
}

TEST_F(ExchangeCallsTest, ReportsAPeerThatDoesNotRead) {
  const auto answer = [](Socket& peer) { peer.Send("bye"); };
  const auto answer_and_end = [](Socket& peer) {
    peer.Send("bye");
    shutdown(peer.number(), SHUT_WR);
  };
  for (const std::function<void(Socket&)>& act :
       {std::function<void(Socket&)>(answer), {answer_and_end}})
    for (const Step& step : {Step(Close), Step(ReceiveAll)}) {
      const ExchangeResult result =
          EndUnread({.total = 60s, .idle = 200ms}, act, step);
      EXPECT_EQ(result.end, ExchangeEnd::kSilence);
      EXPECT_EQ(result.Text(), "the peer did not read");
    }
}

// The peer's system may wait for an answer that takes the acknowledgement
// along.
TEST_F(ExchangeCallsTest, ADelayedAcknowledgementIsNoSilence) {
  for (const Step& step : {Step(Close), Step(ReceiveAll)}) {
    std::promise<void> done;
    Server server([&](Socket& peer) {
      const int quick = 0;
      setsockopt(peer.number(), IPPROTO_TCP, TCP_QUICKACK, &quick,
                 sizeof(quick));
      done.get_future().wait();
    });
    Exchange exchange({.limits = {.total = 60s, .idle = 10ms}});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(exchange.Converse("x", {}));
    const ExchangeResult result = step(exchange);
    done.set_value();
    EXPECT_EQ(result.phase, ExchangePhase::kReceiving);
    EXPECT_EQ(result.sent, 3u);
  }
}

// Makes no acknowledgement known for 200 ms from the first question on.
void DelayAcknowledgements() {
  using std::chrono::steady_clock;
  calls.ioctl = [end = std::optional<steady_clock::time_point>()](
                    int sock, unsigned long request, void* argument) mutable {
    if (!end) end = steady_clock::now() + 200ms;
    const int result = FAIRLEAD_SYSTEM(ioctl)(sock, request, argument);
    int& left = *static_cast<int*>(argument);
    if (steady_clock::now() < *end) left = std::max(left, 1);
    return result;
  };
}

TEST_F(ExchangeCallsTest, ADelayedAcknowledgementIsAwaited) {
  for (const Step& step : {Step(Close), Step(ReceiveAll)}) {
    std::promise<void> done;
    Server server([&](Socket&) { done.get_future().wait(); });
    Exchange exchange({.limits = {.total = 60s, .idle = 10ms}});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    DelayAcknowledgements();
    EXPECT_TRUE(exchange.Converse("x", {}));
    const ExchangeResult result = step(exchange);
    done.set_value();
    EXPECT_EQ(result.phase, ExchangePhase::kReceiving);
    EXPECT_EQ(result.sent, 1u);
  }
}

// Also if the end of the sending direction is all that was sent.
TEST_F(ExchangeCallsTest, TheAcknowledgementOfAnEndIsAwaited) {
  Server server([](const Socket&) {});
  Exchange exchange(
      {.limits = {.total = 60s, .idle = 10ms}, .half_close = true});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  DelayAcknowledgements();
  const ExchangeResult result = ReceiveAll(exchange);
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed) << result.Text();
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

// What the system took counts again if the conversation goes on.
TEST_F(ExchangeCallsTest, APeerThatWasSilentMayStillRead) {
  std::promise<void> silent;
  SlowServer server([&](Socket& peer) {
    silent.get_future().wait();
    peer.Receive(server.body().size());
  });
  Exchange exchange({.limits = {.total = 60s, .idle = 200ms}});
  server.Send(exchange);
  EXPECT_EQ(ReceiveAll(exchange).end, ExchangeEnd::kSilence);
  silent.set_value();
  const ExchangeResult result = ReceiveAll(exchange);
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(result.sent, server.body().size());
}

// What it sends is not what is awaited.
TEST_F(ExchangeCallsTest, ClosingReportsAPeerThatOnlySends) {
  std::atomic<bool> stop = false;
  std::thread talker;
  const ExchangeResult result =
      EndUnread({.total = 60s, .idle = 300ms}, [&](Socket& peer) {
        talker = std::thread([&stop, sock = peer.number()] {
          while (!stop && send(sock, "x", 1, MSG_NOSIGNAL) == 1)
            std::this_thread::sleep_for(10ms);
        });
      });
  stop = true;
  talker.join();
  EXPECT_EQ(result.end, ExchangeEnd::kSilence);
}

TEST_F(ExchangeCallsTest, ClosingEndsWithTheTime) {
  EXPECT_EQ(EndUnread({.total = 1s, .idle = 60s}, [](const Socket&) {}).end,
            ExchangeEnd::kTimeOver);
}

TEST_F(ExchangeCallsTest, ClosingReportsAReset) {
  const ExchangeResult result =
      EndUnread(kPatient, [](Socket& peer) { peer.Reset(); });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerReset);
  EXPECT_EQ(result.error, ECONNRESET);
}

// Whether the reset comes before or after the close is chance.
TEST_F(ExchangeCallsTest, AResetAfterARunIsDoneChangesNothing) {
  SlowServer server([](Socket& peer) { peer.Reset(); });
  const ExchangeResult result = server.RunSend();
  EXPECT_TRUE(result) << result.Text();
  EXPECT_EQ(result.sent, server.body().size());
}

// Counts the closes of the sending direction: closing waits after one.
class ShutdownCount {
 public:
  ShutdownCount() {
    calls.shutdown = [this](int sock, int how) {
      count_ += how == SHUT_WR ? 1 : 0;
      return FAIRLEAD_SYSTEM(shutdown)(sock, how);
    };
  }
  int count() const { return count_; }

 private:
  std::atomic<int> count_ = 0;
};

// The reply has acknowledged the body.
TEST_F(ExchangeCallsTest, ClosingDoesNotWaitForWhatIsAcknowledged) {
  const ShutdownCount shutdowns;
  Server server([](Socket& peer) {
    peer.Send(peer.Receive(5));
    peer.ReceiveEnd();
  });
  Reply reply;
  EXPECT_TRUE(Exchange({.limits = kPatient})
                  .Run("127.0.0.1", server.port(), "hello", reply.Until(5)));
  EXPECT_EQ(shutdowns.count(), 0);
}

TEST_F(ExchangeCallsTest, TheDestructorAndAChildDoNotWait) {
  const ShutdownCount shutdowns;
  {
    SlowServer server([](Socket& peer) { peer.Receive(1'000'000); });
    Exchange exchange({.limits = kPatient});
    server.Send(exchange);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
      exchange.Close();
      _exit(shutdowns.count());
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(shutdowns.count(), 0);
}

}  // namespace
}  // namespace fairlead::internal::exchange_calls_test
