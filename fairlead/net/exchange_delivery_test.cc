// What closing and silence say about bytes that the system has taken and the
// peer has not acknowledged.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
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

namespace fairlead::internal::exchange_delivery_test {
namespace {

using namespace std::chrono_literals;

using ExchangeDeliveryTest = InterposedCallsTest;

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
TEST_F(ExchangeDeliveryTest, ClosingLosesNothingThoughThePeerGoesOnSending) {
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
TEST_F(ExchangeDeliveryTest, WaitsForAPeerThatReadsSlowly) {
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

TEST_F(ExchangeDeliveryTest, ReportsAPeerThatDoesNotRead) {
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
TEST_F(ExchangeDeliveryTest, ADelayedAcknowledgementIsNoSilence) {
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

TEST_F(ExchangeDeliveryTest, ADelayedAcknowledgementIsAwaited) {
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
TEST_F(ExchangeDeliveryTest, TheAcknowledgementOfAnEndIsAwaited) {
  Server server([](const Socket&) {});
  Exchange exchange(
      {.limits = {.total = 60s, .idle = 10ms}, .half_close = true});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  DelayAcknowledgements();
  const ExchangeResult result = ReceiveAll(exchange);
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed) << result.Text();
}

// What the system took counts again if the conversation goes on.
TEST_F(ExchangeDeliveryTest, APeerThatWasSilentMayStillRead) {
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
TEST_F(ExchangeDeliveryTest, ClosingReportsAPeerThatOnlySends) {
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

TEST_F(ExchangeDeliveryTest, ClosingEndsWithTheTime) {
  EXPECT_EQ(EndUnread({.total = 1s, .idle = 60s}, [](const Socket&) {}).end,
            ExchangeEnd::kTimeOver);
}

TEST_F(ExchangeDeliveryTest, ClosingReportsAReset) {
  const ExchangeResult result =
      EndUnread(kPatient, [](Socket& peer) { peer.Reset(); });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerReset);
  EXPECT_EQ(result.error, ECONNRESET);
}

// Whether the reset comes before or after the close is chance.
TEST_F(ExchangeDeliveryTest, AResetAfterARunIsDoneChangesNothing) {
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
TEST_F(ExchangeDeliveryTest, ClosingDoesNotWaitForWhatIsAcknowledged) {
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

TEST_F(ExchangeDeliveryTest, TheDestructorAndAChildDoNotWait) {
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
}  // namespace fairlead::internal::exchange_delivery_test
