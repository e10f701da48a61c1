// Tests of what an exchange does at the edges of its promises: without a
// connection, after its end, at limits of any size, and in a child process.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
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
#include <future>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/loopback_testing.h"
#include "fairlead/testing/memory_file.h"

namespace fairlead::internal::exchange_edges_test {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

// A sink that gathers is asked to write after the last of many pieces, and
// before the exchange waits: the peer goes on only once all was written.
TEST(ExchangeEdgesTest, WhatTheSinkWasGivenIsAnnounced) {
  constexpr std::size_t kBody = 100'000;
  std::atomic<std::size_t> written = 0;
  std::string gathered;
  int pieces = 0;
  int batches = 0;
  Server server([&](Socket& peer) {
    peer.Send(std::string(kBody, 'x'));
    while (written < kBody) std::this_thread::yield();
    peer.Send("y");
  });
  Exchange exchange({.limits = kPatient, .on_taken = [&] {
                       EXPECT_FALSE(gathered.empty());
                       written += gathered.size();
                       gathered.clear();
                       ++batches;
                     }});
  const ExchangeResult result =
      exchange.Run("127.0.0.1", server.port(), "",
                   [&](std::string_view bytes, const TheTime&) {
                     gathered += bytes;
                     ++pieces;
                     return false;
                   });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(written, kBody + 1);
  EXPECT_EQ(gathered, "");
  EXPECT_LT(batches, pieces);
}

// Returns the timer of the connection from a port to another, as the system
// lists it: 2 is that of keep-alive.
std::string TimerOf(int from, int to) {
  std::array<char, 32> ports{};
  std::snprintf(ports.data(), ports.size(), "0100007F:%04X 0100007F:%04X",
                static_cast<unsigned>(from), static_cast<unsigned>(to));
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);)
    if (line.find(ports.data()) != std::string::npos) {
      std::istringstream fields(line);
      std::string field;
      for (int i = 0; i < 6; ++i) fields >> field;
      return field.substr(0, field.find(':'));
    }
  return "";
}

TEST(ExchangeEdgesTest, AQuietPeerIsAskedWhetherItIsThere) {
  int port = 0;
  Server server([&](Socket& peer) {
    sockaddr_in client = {};
    socklen_t size = sizeof(client);
    getpeername(peer.number(), reinterpret_cast<sockaddr*>(&client), &size);
    port = ntohs(client.sin_port);
    peer.Send("x");
    peer.ReceiveEnd();
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  EXPECT_TRUE(exchange.Converse("", [](auto, auto) { return true; }));
  EXPECT_EQ(TimerOf(port, server.port()), "02");
  exchange.Close();
}

void ExpectNotConnected(const ExchangeResult& result) {
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kSending);
  EXPECT_EQ(result.error, ENOTCONN);
  EXPECT_EQ(result.Text(),
            "sending failed: Transport endpoint is not connected");
}

TEST(ExchangeEdgesTest, NeedsAConnection) {
  Pipe input;
  Reply reply;
  Exchange exchange({.limits = kPatient, .half_close = true});
  const auto expect_none = [&] {
    ExpectNotConnected(exchange.Converse("", reply.UntilTheEnd()));
    ExpectNotConnected(exchange.Converse("x", {}));
    ExpectNotConnected(exchange.Converse(
        ExchangeInput{.descriptor = input.ends[0]}, reply.UntilTheEnd()));
  };
  expect_none();

  const Listener refusing;
  EXPECT_FALSE(exchange.Connect("127.0.0.1", PortOf(refusing)));
  expect_none();

  Server server([](Socket& peer) { peer.ReceiveEnd(); });
  EXPECT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  exchange.Close();
  expect_none();
}

TEST(ExchangeEdgesTest, AnInputMustBeADescriptor) {
  Server server([](Socket& peer) { peer.ReceiveEnd(); });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  const ExchangeResult result =
      exchange.Converse(ExchangeInput{.descriptor = -1}, reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kReading);
  EXPECT_EQ(result.error, EBADF);
}

// A socket whose peer resets it.
TEST(ExchangeEdgesTest, AResetOfTheInputIsNotThePeers) {
  const Listener source = std::move(Listener().Listen());
  const Socket input(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(connect(input.number(),
                    reinterpret_cast<const sockaddr*>(&source.endpoint().addr),
                    sizeof(sockaddr_in)),
            0);
  source.Accept().Reset();
  Server server([](Socket& peer) { peer.ReceiveEnd(); });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  const ExchangeResult result = exchange.Converse(
      ExchangeInput{.descriptor = input.number()}, reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kReading);
  EXPECT_EQ(result.error, ECONNRESET);
}

TEST(ExchangeEdgesTest, TheLongestLimitsAreNone) {
  constexpr ExchangeLimits kLongest = {.total = milliseconds::max(),
                                       .connect = milliseconds::max(),
                                       .idle = milliseconds::max()};
  Server server([](Socket& peer) { peer.Send(peer.Receive(2)); });
  Reply reply;
  EXPECT_TRUE(Exchange({.limits = kLongest})
                  .Run("127.0.0.1", server.port(), "hi", reply.Until(2)));
}

TEST(ExchangeEdgesTest, NoTimeIsOverAtOnce) {
  Listener listener = std::move(Listener().Listen());
  for (const milliseconds none : {milliseconds::min(), -1ms, 0ms}) {
    Reply reply;
    const ExchangeResult result =
        Exchange({.limits = {.total = none, .idle = 60s}})
            .Run("127.0.0.1", PortOf(listener), "", reply.UntilTheEnd());
    EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  }
  for (const milliseconds none : {milliseconds::min(), 0ms}) {
    Reply reply;
    const ExchangeResult result =
        Exchange({.limits = {.total = 60s, .idle = none}})
            .Run("127.0.0.1", PortOf(listener), "x", reply.UntilTheEnd());
    EXPECT_EQ(result.end, ExchangeEnd::kSilence);
    EXPECT_EQ(result.sent, 1u);
  }
}

// The time is not up to the sink.
TEST(ExchangeEdgesTest, TheTimeEndsASlowSink) {
  Server server([](Socket& peer) {
    peer.Send(std::string(1 << 20, 'x'));
    peer.ReceiveEnd();
  });
  int calls = 0;
  const ExchangeResult result =
      Exchange({.limits = {.total = 200ms, .idle = 60s}})
          .Run("127.0.0.1", server.port(), "", [&](auto, const auto&) {
            ++calls;
            std::this_thread::sleep_for(20ms);
            return false;
          });
  EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  EXPECT_LE(calls, 11);
}

TEST(ExchangeEdgesTest, NothingIsSentAfterAHalfClose) {
  Server server([](Socket& peer) {
    EXPECT_EQ(peer.Receive(100), "12345");
    peer.Send("one");
    EXPECT_EQ(recv(peer.number(), nullptr, 0, 0), 0);
    peer.Send("two");
  });
  Exchange exchange({.limits = kPatient, .half_close = true});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply one;
  EXPECT_TRUE(exchange.Converse("12345", one.Until(3)));
  const ExchangeResult result = exchange.Converse("more", one.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kSending);
  EXPECT_EQ(result.error, EPIPE);
  EXPECT_EQ(result.sent, 5u);
  Pipe input;
  EXPECT_EQ(exchange
                .Converse(ExchangeInput{.descriptor = input.ends[0]},
                          one.UntilTheEnd())
                .error,
            EPIPE);
  Reply two;
  // Receiving goes on, also after both directions are closed.
  for (int turn = 0; turn < 3; ++turn)
    EXPECT_EQ(exchange.Converse("", two.UntilTheEnd()).end,
              ExchangeEnd::kPeerClosed);
  EXPECT_EQ(one.text + two.text, "onetwo");
}

// The system reports it once.
TEST(ExchangeEdgesTest, AResetStaysAReset) {
  for (const std::string& body : {std::string(), std::string(5 << 20, 'x')}) {
    Server server([](Socket& peer) { peer.Reset(); });
    Exchange exchange({.limits = kPatient});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    for (int turn = 0; turn < 3; ++turn) {
      Reply reply;
      EXPECT_EQ(
          exchange.Converse(turn == 0 ? body : "", reply.UntilTheEnd()).end,
          ExchangeEnd::kPeerReset);
    }
  }
}

// Many turns, each of which has enough after one message.
TEST(ExchangeEdgesTest, TurnsHoldAFloodBackToo) {
  std::atomic<std::size_t> sent = 0;
  Server server([&](Socket& peer) {
    const std::string piece(1 << 16, 'x');
    while (sent < (200u << 20) && peer.Send(piece)) sent += piece.size();
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  for (int turn = 0; turn < 100; ++turn)
    EXPECT_TRUE(exchange.Converse("", [&](auto, const auto&) {
      std::this_thread::sleep_for(5ms);
      return true;
    }));
  EXPECT_LT(sent, 40u << 20);
}

// What the system takes while the time runs out is counted.
TEST(ExchangeEdgesTest, CountsWhatWasSentUntilTheEnd) {
  const std::string large(64 << 20, 'x');
  for (int run = 0; run < 20; ++run) {
    std::size_t read = 0;
    ExchangeResult result;
    {
      Server server([&](Socket& peer) {
        while (const std::size_t more = peer.Receive(10'000).size())
          read += more;
      });
      result = Exchange({.limits = {.total = milliseconds(run), .idle = 60s}})
                   .Run("127.0.0.1", server.port(), large, {});
    }
    EXPECT_EQ(result.sent, read);
  }
}

// Also if the sink ends the exchange while more is sent.
TEST(ExchangeEdgesTest, CountsWhatWasSentUntilTheSinkThrows) {
  const std::string large(64 << 20, 'x');
  std::promise<void> more_read;
  std::uint64_t sent = 0;
  std::size_t read = 0;
  {
    Server server([&](Socket& peer) {
      peer.Send("x");
      read = peer.Receive(5'000'000).size();
      more_read.set_value();
      while (const std::size_t more = peer.Receive(10'000).size()) read += more;
    });
    Exchange exchange(
        {.limits = kPatient, .on_event = [&](const ExchangeEvent& event) {
           if (event.kind == ExchangeEvent::Kind::kSent) sent = event.sent;
         }});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    EXPECT_THROW(exchange.Converse(large,
                                   [&](auto, const auto&) -> bool {
                                     more_read.get_future().wait();
                                     throw 7;
                                   }),
                 int);
  }
  EXPECT_EQ(sent, read);
}

// Reporting each piece would cost more than sending it.
TEST(ExchangeEdgesTest, ReportsWhatIsSentOnceAMillisecondAtMost) {
  const std::string large(64 << 20, 'x');
  const MemoryFile file;
  file.Write(large);
  Server server([](Socket& peer) {
    while (!peer.Receive(1'000'000).empty()) {
    }
  });
  int reports = 0;
  std::uint64_t sent = 0;
  Exchange exchange(
      {.limits = kPatient, .on_event = [&](const ExchangeEvent& event) {
         if (event.kind != ExchangeEvent::Kind::kSent) return;
         ++reports;
         sent = event.sent;
       }});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(exchange.Converse(ExchangeInput{.descriptor = file.descriptor()},
                                Exchange::Sink()));
  const auto passed =
      std::chrono::ceil<milliseconds>(std::chrono::steady_clock::now() - start);
  EXPECT_EQ(sent, large.size());
  EXPECT_LE(reports, passed.count() + 2);
}

std::size_t CountWaiting(int descriptor) {
  std::array<char, 100> bytes{};
  pollfd readable = {.fd = descriptor, .events = POLLIN, .revents = 0};
  if (poll(&readable, 1, 0) != 1) return 0;
  return static_cast<std::size_t>(read(descriptor, bytes.data(), bytes.size()));
}

// Bytes that come while the sink says "enough" are sent and counted, or left.
TEST(ExchangeEdgesTest, AnInputLosesNothingAtTheEnd) {
  for (int run = 0; run < 200; ++run) {
    Pipe input;
    std::string read;
    ExchangeResult result;
    {
      Server server([&](Socket& peer) {
        peer.Send("x");
        read = peer.Receive(100);
      });
      Exchange exchange({.limits = kPatient});
      ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
      result = exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                                 [&](std::string_view, const TheTime&) {
                                   input.Write("late");
                                   return true;
                                 });
      EXPECT_TRUE(result);
    }
    EXPECT_EQ(read.size() + CountWaiting(input.ends[0]), 4u);
    EXPECT_EQ(result.sent, read.size());
  }
}

TEST(ExchangeEdgesTest, ConnectingAgainDropsTheFirst) {
  Server first([](Socket& peer) {
    peer.Send("first");
    peer.ReceiveEnd();
  });
  Server second([](Socket& peer) { peer.Send("second"); });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", first.port()));
  EXPECT_TRUE(exchange.Converse("", [](auto, const auto&) { return true; }));
  ASSERT_TRUE(exchange.Connect("127.0.0.1", second.port()));
  Reply reply;
  EXPECT_EQ(exchange.Converse("", reply.UntilTheEnd()).received, 6u);
  EXPECT_EQ(reply.text, "second");
}

// In the child the threads of the parent are gone, here one that holds a flood
// back.
TEST(ExchangeEdgesTest, AChildLeavesTheConnectionToTheParent) {
  constexpr std::size_t kFlood = 20 << 20;
  for (int run = 0; run < 5; ++run) {
    Server server([](Socket& peer) { peer.Send(std::string(kFlood, 'x')); });
    Exchange exchange({.limits = kPatient});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    Reply reply;
    EXPECT_TRUE(exchange.Converse("", reply.Until(1)));
    std::this_thread::sleep_for(milliseconds(run));
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
      exchange.Close();
      exchange.Close();
      { const Exchange gone = std::move(exchange); }
      _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(exchange.Converse("", reply.UntilTheEnd()).end,
              ExchangeEnd::kPeerClosed);
    EXPECT_EQ(reply.text.size(), kFlood);
  }
}

// Returns the longest of the pieces of 300,000 bytes.
std::size_t LongestPiece(const ExchangeOptions& options) {
  constexpr std::size_t kSize = 300'000;
  Server server([](Socket& peer) { peer.Send(std::string(kSize, 'x')); });
  std::size_t longest = 0;
  std::size_t sum = 0;
  const ExchangeResult result =
      Exchange(options).Run("127.0.0.1", server.port(), "",
                            [&](std::string_view bytes, const TheTime&) {
                              longest = std::max(longest, bytes.size());
                              sum += bytes.size();
                              return false;
                            });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed) << result.Text();
  EXPECT_EQ(sum, kSize);
  return longest;
}

TEST(ExchangeEdgesTest, APieceIsAMessageUnlessMoreIsAskedFor) {
  EXPECT_EQ(LongestPiece({.limits = kPatient}), 1'796U);
  const std::size_t longest =
      LongestPiece({.limits = kPatient, .max_piece = 10'000});
  EXPECT_GT(longest, 1'796U);
  EXPECT_LE(longest, 10'000U);
  EXPECT_EQ(LongestPiece({.limits = kPatient, .max_piece = 0}), 1U);
}

}  // namespace
}  // namespace fairlead::internal::exchange_edges_test
