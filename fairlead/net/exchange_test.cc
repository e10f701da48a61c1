// Tests of exchanges with servers of every kind on loopback.

#include "fairlead/net/exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/host_lookup.h"
#include "fairlead/net/loopback_testing.h"

namespace fairlead::internal::exchange_test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using Kind = ExchangeEvent::Kind;

TEST(ExchangeTest, SendsAndReceivesUntilTheSinkHasEnough) {
  Server server([](Socket& peer) {
    const std::string request = peer.Receive(6);
    peer.Send("you said " + request);
    peer.ReceiveEnd();
  });
  Reply reply;
  const ExchangeResult result =
      Exchange({.limits = kPatient})
          .Run("127.0.0.1", server.port(), "hello\n", reply.Until(15));
  EXPECT_TRUE(result);
  EXPECT_EQ(result.end, ExchangeEnd::kDone);
  EXPECT_EQ(result.phase, ExchangePhase::kReceiving);
  EXPECT_EQ(result.error, 0);
  EXPECT_EQ(result.address, "127.0.0.1");
  EXPECT_EQ(result.sent, 6u);
  EXPECT_EQ(result.received, 15u);
  EXPECT_EQ(result.Text(), "done");
  EXPECT_EQ(reply.text, "you said hello\n");
}

TEST(ExchangeTest, GivesTheTimeOfReceipt) {
  Server server([](Socket& peer) { peer.Send("x"); });
  const std::time_t before = std::time(nullptr);
  std::vector<std::time_t> times;
  Exchange({.limits = kPatient})
      .Run("127.0.0.1", server.port(), "",
           [&](std::string_view, const TheTime& time) {
             times.push_back(time.ts.tv_sec);
             return false;
           });
  ASSERT_EQ(times.size(), 1u);
  EXPECT_GE(times[0], before);
  EXPECT_LE(times[0], std::time(nullptr));
}

TEST(ExchangeTest, SaysThatThePeerClosed) {
  Server server([](Socket& peer) { peer.Send("bye"); });
  Reply reply;
  const ExchangeResult result =
      Exchange({.limits = kPatient})
          .Run("127.0.0.1", server.port(), "", reply.UntilTheEnd());
  EXPECT_FALSE(result);
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(result.phase, ExchangePhase::kReceiving);
  EXPECT_EQ(result.error, 0);
  EXPECT_EQ(result.Text(), "the peer closed");
  EXPECT_EQ(reply.text, "bye");
}

// Whoever meets the reset first, sender or receive thread: it is a reset.
TEST(ExchangeTest, AResetIsAResetWhenever) {
  const std::string large(20 << 20, 'x');
  struct Case {
    std::string_view body;
    std::string_view answer;
    std::function<void(Socket&)> serve;
  };
  const auto reset = [](Socket& peer) { peer.Reset(); };
  const auto answer_and_reset = [](Socket& peer) {
    peer.Send("half an ans");
    peer.Reset();
  };
  const auto refuse = [](Socket& peer) { peer.Send("421 too busy"); };
  const auto read_some_and_close = [](Socket& peer) {
    peer.Receive(100'000);
    peer.Send("413 too large");
  };
  const std::vector<Case> cases = {
      {"", "", reset},
      {"hello", "", reset},
      {"", "half an ans", answer_and_reset},
      {std::string_view(large).substr(0, 50'000), "", refuse},
      {large, "", refuse},
      {large, "", read_some_and_close},
      {"12", "",
       [](Socket& peer) {
         peer.Receive(1);  // The other byte is unread at the close.
         while (recv(peer.number(), nullptr, 0, MSG_PEEK) < 0) {
         }
         char next;
         recv(peer.number(), &next, 1, MSG_PEEK);
         peer.Send("x");
       }},
  };
  for (std::size_t i = 0; i < cases.size(); ++i)
    for (int run = 0; run < 20; ++run) {
      SCOPED_TRACE(testing::Message() << "case " << i << ", run " << run);
      Server server(cases[i].serve);
      Reply reply;
      const ExchangeResult result =
          Exchange({.limits = kPatient})
              .Run("127.0.0.1", server.port(), cases[i].body,
                   reply.UntilTheEnd());
      EXPECT_EQ(result.end, ExchangeEnd::kPeerReset);
      EXPECT_EQ(result.error, ECONNRESET);
      EXPECT_EQ(result.Text(), "the peer reset the connection");
      EXPECT_EQ(result.received, reply.text.size());
      EXPECT_THAT(reply.text, testing::StartsWith(cases[i].answer));
    }
}

TEST(ExchangeTest, ADottedAddressOfNobodyIsRefused) {
  const Listener refusing;
  const ExchangeResult result =
      Exchange({.limits = kPatient}).Connect("127.0.0.1", PortOf(refusing));
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kConnecting);
  EXPECT_EQ(result.error, ECONNREFUSED);
  EXPECT_EQ(result.address, "127.0.0.1");
  EXPECT_EQ(result.Text(), "not connected: Connection refused");
}

TEST(ExchangeTest, AnUnknownNameIsNotResolved) {
  const ExchangeResult result =
      Exchange({.limits = kPatient}).Connect("no such host", 1);
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kResolving);
  EXPECT_NE(result.error, 0);
  EXPECT_EQ(result.address, "");
  EXPECT_EQ(result.Text(), std::string("the name was not resolved: ") +
                               gai_strerror(result.error));
}

TEST(ExchangeTest, ANameIsLookedUp) {
  Server server([](Socket& peer) { peer.Send("hi"); });
  Reply reply;
  std::vector<std::pair<Kind, std::string>> events;
  Exchange exchange(
      {.limits = kPatient, .on_event = [&](const ExchangeEvent& event) {
         events.emplace_back(event.kind, event.address);
       }});
  EXPECT_TRUE(exchange.Run("localhost", server.port(), "abc", reply.Until(2)));
  EXPECT_EQ(reply.text, "hi");
  EXPECT_THAT(events,
              testing::ElementsAre(std::pair(Kind::kResolved, "127.0.0.1"),
                                   std::pair(Kind::kConnecting, "127.0.0.1"),
                                   std::pair(Kind::kConnected, "127.0.0.1"),
                                   std::pair(Kind::kSent, "")));
}

// The backlog of one is full, so that the system drops further attempts.
TEST(ExchangeTest, ConnectingEndsWithTheTime) {
  Listener full;
  ASSERT_EQ(listen(full.number(), 0), 0);
  Exchange first({.limits = kPatient});
  ASSERT_TRUE(first.Connect("127.0.0.1", PortOf(full)));
  ExchangeResult result;
  std::vector<Exchange> more;
  for (int i = 0; i < 5 && result; ++i) {
    more.emplace_back(ExchangeOptions{.limits = {.total = 300ms}});
    result = more.back().Connect("127.0.0.1", PortOf(full));
  }
  EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  EXPECT_EQ(result.phase, ExchangePhase::kConnecting);
  EXPECT_EQ(result.Text(), "the time is over while connecting");

  Exchange limited({.limits = {.total = 60s, .connect = 100ms}});
  result = limited.Connect("127.0.0.1", PortOf(full));
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.error, ETIMEDOUT);
}

TEST(ExchangeTest, ASilentPeerEndsIt) {
  Server server([](Socket& peer) {
    peer.Send("first half");
    peer.ReceiveEnd();
  });
  Reply reply;
  const ExchangeResult result =
      Exchange({.limits = {.total = 60s, .idle = 100ms}})
          .Run("127.0.0.1", server.port(), "", reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kSilence);
  EXPECT_EQ(result.phase, ExchangePhase::kReceiving);
  EXPECT_EQ(result.Text(), "the peer was silent");
  EXPECT_EQ(reply.text, "first half");
}

TEST(ExchangeTest, TheTimeEndsAPeerThatIsNeverSilent) {
  Server server([](Socket& peer) {
    while (peer.Send("x")) std::this_thread::sleep_for(5ms);
  });
  Reply reply;
  const ExchangeResult result =
      Exchange({.limits = {.total = 200ms, .idle = 60s}})
          .Run("127.0.0.1", server.port(), "", reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  EXPECT_EQ(result.phase, ExchangePhase::kReceiving);
  EXPECT_EQ(result.Text(), "the time is over while receiving");
}

// Exchanges a large body with a server that acts, and then does not read.
ExchangeResult SendToNoReader(const std::function<void(Socket& peer)>& act,
                              Reply& reply) {
  const std::string large(30 << 20, 'x');
  Pipe done;
  Server server([&](Socket& peer) {
    act(peer);
    char byte = 0;
    EXPECT_EQ(read(done.ends[0], &byte, 1), 1);
  });
  ExchangeResult result =
      Exchange({.limits = {.total = 60s, .idle = 200ms}})
          .Run("127.0.0.1", server.port(), large, reply.UntilTheEnd());
  done.Write("x");
  EXPECT_EQ(result.end, ExchangeEnd::kSilence);
  EXPECT_EQ(result.phase, ExchangePhase::kSending);
  EXPECT_LT(result.sent, large.size());
  return result;
}

TEST(ExchangeTest, APeerThatDoesNotReadEndsIt) {
  Reply reply;
  EXPECT_EQ(SendToNoReader([](Socket& /*peer*/) {}, reply).Text(),
            "the peer did not read");
}

// It has closed its sending direction: that must not pass for the end.
TEST(ExchangeTest, APeerThatSendsNoMoreAndDoesNotReadEndsIt) {
  Reply reply;
  SendToNoReader(
      [](Socket& peer) {
        peer.Send("bye");
        shutdown(peer.number(), SHUT_WR);
      },
      reply);
  EXPECT_EQ(reply.text, "bye");
}

// The client's own sends give up after two seconds.
TEST(ExchangeTest, WaitsForAPeerThatPausesForLonger) {
  const std::string large(20 << 20, 'x');
  std::size_t read = 0;
  {
    Server server([&](Socket& peer) {
      std::this_thread::sleep_for(2500ms);
      read = peer.Receive(large.size()).size();
      peer.Send("thanks");
    });
    Reply reply;
    const ExchangeResult result =
        Exchange({.limits = kPatient})
            .Run("127.0.0.1", server.port(), large, reply.Until(6));
    EXPECT_TRUE(result) << result.Text();
    EXPECT_EQ(result.sent, large.size());
    EXPECT_EQ(reply.text, "thanks");
  }
  EXPECT_EQ(read, large.size());
}

// Both send more than any buffer holds before either reads.
TEST(ExchangeTest, ReceivesWhileItSends) {
  const std::string large(20 << 20, 'x');
  std::size_t read = 0;
  {
    Server server([&](Socket& peer) {
      EXPECT_TRUE(peer.Send(large));
      read = peer.Receive(large.size()).size();
    });
    Reply reply;
    const ExchangeResult result =
        Exchange({.limits = kPatient})
            .Run("127.0.0.1", server.port(), large, reply.Until(large.size()));
    EXPECT_TRUE(result) << result.Text();
    EXPECT_EQ(result.received, large.size());
    EXPECT_EQ(reply.text, large);
  }
  EXPECT_EQ(read, large.size());
}

// "Enough" does not cut the body.
TEST(ExchangeTest, AllIsSentAlsoIfTheSinkHasEnoughBefore) {
  const std::string large(20 << 20, 'x');
  std::size_t read = 0;
  {
    Server server([&](Socket& peer) {
      peer.Send("hello first\n");
      std::this_thread::sleep_for(50ms);
      read = peer.Receive(large.size()).size();
    });
    Reply reply;
    EXPECT_TRUE(Exchange({.limits = kPatient})
                    .Run("127.0.0.1", server.port(), large, reply.Until(1)));
  }
  EXPECT_EQ(read, large.size());
}

TEST(ExchangeTest, AHalfCloseShowsThePeerTheEnd) {
  Server server([](Socket& peer) {
    const std::string all = peer.Receive(1'000'000);
    peer.Send(std::to_string(all.size()));
  });
  Reply reply;
  const ExchangeResult result =
      Exchange({.limits = kPatient, .half_close = true})
          .Run("127.0.0.1", server.port(), "12345", reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(reply.text, "5");
}

TEST(ExchangeTest, SeveralTurnsOfOneConversation) {
  Server server([](Socket& peer) {
    peer.Send("220 ready\r\n");
    EXPECT_EQ(peer.Receive(6), "HELO x");
    peer.Send("250 hello\r\n");
    EXPECT_EQ(peer.Receive(4), "QUIT");
    peer.Send("221 bye\r\n");
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply greeting;
  EXPECT_TRUE(exchange.Converse("", greeting.Until(11)));
  EXPECT_EQ(greeting.text, "220 ready\r\n");
  Reply answer;
  EXPECT_TRUE(exchange.Converse("HELO x", answer.Until(11)));
  EXPECT_EQ(answer.text, "250 hello\r\n");
  Reply farewell;
  const ExchangeResult result =
      exchange.Converse("QUIT", farewell.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(farewell.text, "221 bye\r\n");
  EXPECT_EQ(result.sent, 10u);
  EXPECT_EQ(result.received, 31u);
}

// Without a sink nothing is taken: what comes stays for the next turn.
TEST(ExchangeTest, SendsAloneWithoutASink) {
  Server server([](Socket& peer) {
    for (const char* text : {"a", "b", "c"}) {
      peer.Send(text);
      EXPECT_EQ(peer.Receive(1), ".");
    }
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  for (const char* text : {"a", "b", "c"}) {
    Reply reply;
    EXPECT_TRUE(exchange.Converse("", reply.Until(1)));
    EXPECT_EQ(reply.text, text);
    const ExchangeResult sent = exchange.Converse(".", {});
    EXPECT_TRUE(sent);
    EXPECT_EQ(sent.phase, ExchangePhase::kReceiving);
  }
}

TEST(ExchangeTest, AnExchangeCanConnectAgain) {
  Exchange exchange({.limits = kPatient});
  for (const char* text : {"one", "two", "three"}) {
    Server server([&](Socket& peer) { peer.Send(text); });
    Reply reply;
    const ExchangeResult result =
        exchange.Run("127.0.0.1", server.port(), "", reply.UntilTheEnd());
    EXPECT_EQ(reply.text, text);
    EXPECT_EQ(result.received, reply.text.size());
  }
}

TEST(ExchangeTest, WhatTheSinkThrowsReachesTheCaller) {
  const std::string large(30 << 20, 'x');
  Server server([](Socket& peer) {
    peer.Send("x");
    while (!peer.Receive(1 << 20).empty()) {
    }
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  EXPECT_THROW(
      exchange.Converse(large, [](auto, const auto&) -> bool { throw 7; }),
      int);
  exchange.Close();
}

// A peer that sends 100 MB to a sink that is asleep is held back.
TEST(ExchangeTest, ASlowSinkHoldsThePeerBack) {
  constexpr std::size_t kFlood = 100 << 20;
  std::atomic<std::size_t> sent = 0;
  Server server([&](Socket& peer) {
    const std::string piece(1 << 20, 'x');
    while (sent < kFlood && peer.Send(piece)) sent += piece.size();
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  std::size_t received = 0;
  const ExchangeResult result =
      exchange.Converse("", [&](std::string_view bytes, const TheTime&) {
        if (received == 0) {
          std::this_thread::sleep_for(500ms);
          EXPECT_LT(sent, 40u << 20);
        }
        received += bytes.size();
        return false;
      });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(received, kFlood);
}

// The receive thread waits for room when the exchange closes.
TEST(ExchangeTest, ClosesWhileAFloodIsHeldBack) {
  for (int run = 0; run < 20; ++run) {
    Server server([](Socket& peer) {
      const std::string piece(1 << 20, 'x');
      while (peer.Send(piece)) {
      }
    });
    Exchange exchange({.limits = kPatient});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    EXPECT_TRUE(exchange.Converse("", [&](auto, const auto&) {
      std::this_thread::sleep_for(std::chrono::milliseconds(run));
      return true;
    }));
  }
}

TEST(HostLookupTest, AnswersByValue) {
  const HostLookup local = LookUpHost("localhost", 60s);
  EXPECT_FALSE(local.timed_out);
  EXPECT_EQ(local.error, 0);
  EXPECT_THAT(local.addresses, testing::ElementsAre("127.0.0.1"));
  EXPECT_THAT(LookUpHost("127.0.0.9").addresses,
              testing::ElementsAre("127.0.0.9"));
  EXPECT_THAT(LookUpHost(std::string("127.0.0.8\0x", 11)).addresses,
              testing::ElementsAre("127.0.0.8"));
  const HostLookup unknown = LookUpHost("no such host");
  EXPECT_NE(unknown.error, 0);
  EXPECT_THAT(unknown.addresses, testing::IsEmpty());
}

TEST(ExchangeTest, PrintsNothing) {
  const Listener refusing;
  Server server([](Socket& peer) { peer.Send("hi"); });
  Reply reply;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Exchange exchange({.limits = kPatient});
  exchange.Connect("127.0.0.1", PortOf(refusing));
  exchange.Connect("no such host", 1);
  const ExchangeResult result =
      exchange.Run("localhost", server.port(), "", reply.UntilTheEnd());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
}

}  // namespace
}  // namespace fairlead::internal::exchange_test
