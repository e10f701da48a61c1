// Exchanges while system calls fail, each one at each of its calls: the outcome
// is a value, nothing hangs or leaks, and the exchange can be used again.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_faults_testing.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/loopback_testing.h"

namespace fairlead::internal::exchange_faults_test {
namespace {

using namespace std::chrono_literals;

void Arm(Call call, int before, bool for_ever, int error) {
  fault.before = before;
  fault.for_ever = for_ever;
  fault.error = error;
  fault.hits = 0;
  fault.call = call;
}

// Returns whether a call has failed.
bool Disarm() {
  fault.call = Call::kNone;
  return fault.hits > 0;
}

// One kind of exchange; its reply is "ok\n".
struct Kind {
  const char* name;
  ExchangeEnd end;
  std::function<ExchangeResult(Exchange&, std::uint16_t port, Reply&)> run;
};

ExchangeResult RunBody(Exchange& exchange, std::uint16_t port,
                       std::string_view body, Reply& reply) {
  return exchange.Run("127.0.0.1", port, body, reply.Until(3));
}

ExchangeResult RunPipe(Exchange& exchange, std::uint16_t port,
                       const Pipe& input, Reply& reply) {
  ExchangeResult result = exchange.Connect("127.0.0.1", port);
  if (result)
    result = exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                               reply.UntilTheEnd());
  exchange.Close();
  return result;
}

ExchangeResult RunInput(Exchange& exchange, std::uint16_t port, Reply& reply) {
  Pipe input;
  input.Write("hello");
  input.CloseWriting();
  return RunPipe(exchange, port, input, reply);
}

// The input has nothing until it is waited for.
ExchangeResult RunQuietInput(Exchange& exchange, std::uint16_t port,
                             Reply& reply) {
  Pipe input;
  before_wait = [&input] {
    input.Write("hello");
    input.CloseWriting();
  };
  const ExchangeResult result = RunPipe(exchange, port, input, reply);
  before_wait = nullptr;
  return result;
}

const std::string kLarge = std::string(1 << 20, 'x') + '\n';

const Kind kKinds[] = {
    {"a short body", ExchangeEnd::kDone,
     [](auto& exchange, auto port, auto& reply) {
       return RunBody(exchange, port, "hello\n", reply);
     }},
    {"a long body", ExchangeEnd::kDone,
     [](auto& exchange, auto port, auto& reply) {
       return RunBody(exchange, port, kLarge, reply);
     }},
    {"an input", ExchangeEnd::kPeerClosed, RunInput},
    {"a quiet input", ExchangeEnd::kPeerClosed, RunQuietInput},
};

constexpr Call kCalls[] = {
    Call::kSocket, Call::kConnect, Call::kPoll,     Call::kSend,
    Call::kFcntl,  Call::kEventfd, Call::kRecv,     Call::kSetsockopt,
    Call::kIoctl,  Call::kThread,  Call::kShutdown, Call::kGetsockopt,
    Call::kRead,
};

Exchange HalfClosing(bool half_close) {
  return Exchange({.limits = kPatient, .half_close = half_close});
}

// The peer closes its end in a moment.
bool WaitForDescriptors(int count) {
  const auto limit = std::chrono::steady_clock::now() + 1min;
  while (CountDescriptors() > count) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::yield();
  }
  return true;
}

class ExchangeFaultsTest : public testing::Test {
 protected:
  ~ExchangeFaultsTest() override { Disarm(); }

  void ExpectDone(const Kind& kind, Exchange& exchange) {
    Reply reply;
    const ExchangeResult result = kind.run(exchange, server_.port(), reply);
    EXPECT_EQ(result.end, kind.end) << result.Text();
    EXPECT_EQ(reply.text, "ok\n");
  }

  // Returns whether a call has failed.
  bool RunWithFault(const Kind& kind, Call call, int before, bool for_ever,
                    int error) {
    Exchange exchange = HalfClosing(kind.end == ExchangeEnd::kPeerClosed);
    Reply reply;
    Arm(call, before, for_ever, error);
    const ExchangeResult result = kind.run(exchange, server_.port(), reply);
    const bool hit = Disarm();
    const bool done = result.end == kind.end && reply.text == "ok\n";
    const bool failed = result.end == ExchangeEnd::kFailed &&
                        result.error == error && error != EINTR;
    EXPECT_TRUE(done || (hit && failed)) << result.Text() << reply.text;
    ExpectDone(kind, exchange);
    return hit;
  }

  SerialServer server_{[](Socket& peer) {
    is_peer = true;
    AnswerOk(peer);
  }};
};

TEST_F(ExchangeFaultsTest, EachFailureIsAValue) {
  const int descriptors = CountDescriptors();
  for (const Call call : kCalls) {
    int hits = 0;
    for (const Kind& kind : kKinds)
      for (const bool for_ever : {false, true})
        for (int before = 0; before < 100; ++before) {
          SCOPED_TRACE(testing::Message()
                       << kind.name << ", call " << static_cast<int>(call)
                       << " after " << before << (for_ever ? ", all" : ""));
          if (!RunWithFault(kind, call, before, for_ever, ENOBUFS)) break;
          ++hits;
          ASSERT_FALSE(HasFailure());
        }
    EXPECT_GT(hits, 0) << static_cast<int>(call);
  }
  EXPECT_TRUE(WaitForDescriptors(descriptors));
}

TEST_F(ExchangeFaultsTest, AnInterruptionEndsNothing) {
  for (const Call call :
       {Call::kConnect, Call::kPoll, Call::kSend, Call::kRecv, Call::kRead})
    for (const Kind& kind : kKinds)
      for (int before = 0; before < 100; ++before) {
        SCOPED_TRACE(testing::Message() << kind.name << " " << before);
        if (!RunWithFault(kind, call, before, false, EINTR)) break;
        ASSERT_FALSE(HasFailure());
      }
}

// Another process may have read what was there.
TEST_F(ExchangeFaultsTest, AnInputThatHasNothingAfterAllIsReadAgain) {
  EXPECT_TRUE(RunWithFault(kKinds[2], Call::kRead, 0, false, EAGAIN));
}

TEST_F(ExchangeFaultsTest, ALookUpWithoutAThreadFails) {
  Exchange exchange({.limits = kPatient});
  Arm(Call::kThread, 0, true, EAGAIN);
  const ExchangeResult result = exchange.Connect("localhost", server_.port());
  EXPECT_TRUE(Disarm());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kResolving);
  EXPECT_EQ(result.error, EAI_AGAIN);
}

// What fails on this side ends it, also if the peer never pauses.
TEST_F(ExchangeFaultsTest, AFloodDoesNotHideAFailure) {
  Server flooding([](Socket& peer) {
    is_peer = true;
    const std::string piece(1 << 16, 'x');
    while (peer.Send(piece)) {
    }
  });
  Exchange exchange({.limits = {.total = std::nullopt, .idle = std::nullopt}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", flooding.port()));
  Reply reply;
  Arm(Call::kEventfd, 0, true, EMFILE);
  const ExchangeResult result =
      exchange.Converse(kLarge, [](auto, const auto&) { return false; });
  EXPECT_TRUE(Disarm());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kSending);
  EXPECT_EQ(result.error, EMFILE);
}

// A peer that has closed its sending direction, and reads nothing until this
// ends.
class DeafServer {
 public:
  ~DeafServer() { done_.Write("x"); }

  ExchangeResult Send(std::string_view body) const {
    Exchange exchange(
        {.limits = {.total = 60s, .idle = 400ms}, .half_close = true});
    if (ExchangeResult result = exchange.Connect("127.0.0.1", server_.port());
        !result)
      return result;
    Reply reply;
    return exchange.Converse(body, reply.UntilTheEnd());
  }

 private:
  Pipe done_;
  Server server_{[this](Socket& peer) {
    is_peer = true;
    shutdown(peer.number(), SHUT_WR);
    char byte = 0;
    EXPECT_EQ(read(done_.ends[0], &byte, 1), 1);
  }};
};

TEST_F(ExchangeFaultsTest, AsksForAnAcknowledgementNowAndThen) {
  const std::string body(300'000, 'x');
  const DeafServer server;
  ioctls = 0;
  const ExchangeResult result = server.Send(body);
  EXPECT_EQ(result.end, ExchangeEnd::kSilence);
  EXPECT_LT(result.sent, body.size());
  EXPECT_GE(ioctls, 2);
  EXPECT_LE(ioctls, 60);
}

TEST_F(ExchangeFaultsTest, ClosingAsksForNoAcknowledgementIfNothingWasSent) {
  for (const std::string_view body : {"", "x"}) {
    Server server([](Socket& peer) { peer.Send("hello"); });
    Exchange exchange({.limits = {.total = 20s}});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    const ExchangeResult result = exchange.Converse(
        body,
        [](std::string_view bytes, const TheTime&) { return !bytes.empty(); });
    EXPECT_EQ(result.end, ExchangeEnd::kDone) << result.Text();
    ioctls = 0;
    exchange.Close();
    EXPECT_EQ(ioctls > 0, !body.empty());
  }
}

TEST_F(ExchangeFaultsTest, ClosingAsksOnceIfAllIsAcknowledged) {
  Server server([](Socket& peer) {
    peer.Send(peer.Receive(5));
    peer.ReceiveEnd();
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  EXPECT_TRUE(exchange.Converse("hello", reply.Until(5)));
  ioctls = 0;
  EXPECT_TRUE(exchange.Close());
  EXPECT_EQ(ioctls, 1);
}

// After a broken send, what the peer sent before is awaited for two seconds.
// The system reports a reset once: the next exchange meets it too.
TEST_F(ExchangeFaultsTest, ABrokenSendIsReportedThoughThePeerStays) {
  Pipe done;
  Server silent([&](Socket&) {
    is_peer = true;
    char byte = 0;
    EXPECT_EQ(read(done.ends[0], &byte, 1), 1);
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", silent.port()));
  Reply reply;
  Arm(Call::kSend, 0, true, EPIPE);
  const ExchangeResult result = exchange.Converse("hello", reply.UntilTheEnd());
  EXPECT_TRUE(Disarm());
  done.Write("x");
  EXPECT_EQ(result.end, ExchangeEnd::kPeerReset) << result.Text();
  EXPECT_EQ(result.phase, ExchangePhase::kSending);
  const ExchangeResult next = exchange.Converse("", reply.UntilTheEnd());
  EXPECT_EQ(next.end, ExchangeEnd::kPeerReset) << next.Text();
}

// An exchange ends with the peer, while its sender may have met a reset: the
// next one over the connection must meet it, and not wait for an
// acknowledgement. A sender that takes the error is held there until the
// exchange has ended.
TEST_F(ExchangeFaultsTest, AResetThatComesWithTheEndIsMetByTheNextExchange) {
  Pipe input;
  Server server([](Socket& peer) { peer.Send("hello"); });
  Exchange exchange({.limits = {.total = 20s}});
  std::promise<void> met;
  std::atomic<bool> written = false;
  on_socket_error = [&] {
    if (!written.exchange(false)) return;
    met.set_value();
    std::this_thread::sleep_for(200ms);
  };
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                    [&](std::string_view bytes, const TheTime&) {
                      if (!bytes.empty()) return false;
                      written = true;
                      input.Write("x");
                      met.get_future().wait_for(200ms);
                      return true;
                    });
  on_socket_error = nullptr;
  const ExchangeResult next = exchange.Converse("", Reply().UntilTheEnd());
  EXPECT_EQ(next.end, ExchangeEnd::kPeerReset) << next.Text();
}

TEST_F(ExchangeFaultsTest, AResetThatTheReceiveThreadTakesFirstIsAReset) {
  Pipe input;
  std::promise<void> waits;
  std::promise<void> received;
  before_wait = [&] { waits.set_value(); };
  after_failure = [] { std::this_thread::sleep_for(100ms); };
  Server server([&](Socket& peer) {
    peer.Send("ans");
    waits.get_future().wait_for(5s);
    received.get_future().wait_for(5s);
    std::this_thread::sleep_for(20ms);
    peer.Reset();
  });
  Exchange exchange({.limits = {.total = 20s}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  const ExchangeResult result =
      exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                        [&](std::string_view bytes, const TheTime&) {
                          if (bytes.empty()) return false;
                          received.set_value();
                          std::this_thread::sleep_for(300ms);
                          return false;
                        });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerReset) << result.Text();
}

}  // namespace
}  // namespace fairlead::internal::exchange_faults_test
