// Tests of exchanges that send what comes from a descriptor.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/loopback_testing.h"

namespace fairlead::internal::exchange_input_test {
namespace {

using namespace std::chrono_literals;

TEST(ExchangeInputTest, SendsAnInputAsItComes) {
  Pipe input;
  input.Write("first");
  Server server([&](Socket& peer) {
    EXPECT_EQ(peer.Receive(5), "first");
    peer.Send("1");
    EXPECT_EQ(peer.Receive(6), "second");
    EXPECT_TRUE(peer.ReceiveEnd());
    peer.Send("2");
  });
  Exchange exchange({.limits = kPatient, .half_close = true});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  std::string reply;
  const ExchangeResult result =
      exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                        [&](std::string_view bytes, const TheTime&) {
                          reply += bytes;
                          if (reply == "1") {
                            input.Write("second");
                            input.CloseWriting();
                          }
                          return false;
                        });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(reply, "12");
  EXPECT_EQ(result.sent, 11u);
}

TEST(ExchangeInputTest, AFilterChangesWhatIsSent) {
  Pipe input;
  input.Write("abc");
  input.CloseWriting();
  Server server([&](Socket& peer) { EXPECT_EQ(peer.Receive(9), "<abc><>!"); });
  std::string filtered;
  const ExchangeInput source = {
      .descriptor = input.ends[0],
      .filter = [&](std::string_view bytes, bool at_end) {
        filtered = "<" + std::string(bytes) + ">" + (at_end ? "!" : "");
        return std::string_view(filtered);
      }};
  Exchange exchange({.limits = kPatient, .half_close = true});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  EXPECT_EQ(exchange.Converse(source, reply.UntilTheEnd()).end,
            ExchangeEnd::kPeerClosed);
}

// A quiet input is not the peer's silence, and does not keep the sink's end
// from being the end.
TEST(ExchangeInputTest, AQuietInputIsNotSilence) {
  Pipe input;
  Server server([&](Socket& peer) {
    std::this_thread::sleep_for(300ms);
    peer.Send("late");
    peer.ReceiveEnd();
  });
  Exchange exchange({.limits = {.total = 60s, .idle = 50ms}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  EXPECT_TRUE(exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                                reply.Until(4)));
  EXPECT_EQ(reply.text, "late");
}

// What comes late is sent or left, as the input asks.
TEST(ExchangeInputTest, AnInputIsSentToItsEndIfThatIsAwaited) {
  for (const bool awaited : {true, false}) {
    Pipe input;
    std::string read;
    {
      Server server([&](Socket& peer) {
        peer.Send("220 hi\n");
        read = peer.Receive(100);
      });
      Exchange exchange({.limits = {.total = 60s, .idle = 50ms}});
      ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
      std::promise<void> enough;
      std::thread typist([&] {
        enough.get_future().wait();
        std::this_thread::sleep_for(200ms);
        input.Write("late");
        input.CloseWriting();
      });
      const ExchangeResult result = exchange.Converse(
          ExchangeInput{.descriptor = input.ends[0], .await_end = awaited},
          [&](std::string_view, const TheTime&) {
            enough.set_value();
            return true;
          });
      EXPECT_TRUE(result) << result.Text();
      typist.join();
    }
    EXPECT_EQ(read, awaited ? "late" : "");
  }
}

TEST(ExchangeInputTest, TheTimeEndsAnInputWhoseEndIsAwaited) {
  Pipe input;
  Server server([](Socket& peer) {
    peer.Send("x");
    peer.ReceiveEnd();
  });
  Exchange exchange({.limits = {.total = 300ms, .idle = 50ms}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  EXPECT_EQ(exchange
                .Converse(ExchangeInput{.descriptor = input.ends[0],
                                        .await_end = true},
                          reply.Until(1))
                .end,
            ExchangeEnd::kTimeOver);
}

// Nothing more can come then: the input alone decides how long it takes.
TEST(ExchangeInputTest, AQuietInputIsNotSilenceAfterThePeersEndEither) {
  Pipe input;
  std::string read;
  {
    Server server([&](Socket& peer) {
      peer.Send("bye");
      shutdown(peer.number(), SHUT_WR);
      read = peer.Receive(100);
    });
    Exchange exchange(
        {.limits = {.total = 60s, .idle = 50ms}, .half_close = true});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    std::thread typist([&input] {
      std::this_thread::sleep_for(300ms);
      input.Write("late");
      input.CloseWriting();
    });
    Reply reply;
    const ExchangeResult result = exchange.Converse(
        ExchangeInput{.descriptor = input.ends[0]}, reply.UntilTheEnd());
    typist.join();
    EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
    EXPECT_EQ(result.sent, 4u);
  }
  EXPECT_EQ(read, "late");
}

TEST(ExchangeInputTest, TheTimeEndsAQuietInputAfterThePeersEnd) {
  Pipe input;
  Server server([](Socket& peer) {
    shutdown(peer.number(), SHUT_WR);
    peer.ReceiveEnd();
  });
  Exchange exchange({.limits = {.total = 300ms, .idle = 50ms}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  EXPECT_EQ(exchange
                .Converse(ExchangeInput{.descriptor = input.ends[0]},
                          reply.UntilTheEnd())
                .end,
            ExchangeEnd::kTimeOver);
}

// The receive thread has ended by then.
TEST(ExchangeInputTest, AResetAfterThePeersEndIsMetWhileTheInputWaits) {
  Pipe input;
  Server server([&](Socket& peer) {
    peer.Send("hello");
    shutdown(peer.number(), SHUT_WR);
    std::this_thread::sleep_for(100ms);
    peer.Reset();
  });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  const ExchangeResult result = exchange.Converse(
      ExchangeInput{.descriptor = input.ends[0]}, reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kPeerReset);
  EXPECT_EQ(result.error, ECONNRESET);
  EXPECT_EQ(reply.text, "hello");
}

// A peer that has closed resets the connection when a line comes.
TEST(ExchangeInputTest, ALineAfterThePeersEndMeetsAReset) {
  Pipe input;
  Server server([&](Socket& peer) { peer.Send("hello"); });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  std::string reply;
  const ExchangeResult result =
      exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                        [&](std::string_view bytes, const TheTime&) {
                          reply += bytes;
                          if (bytes.empty()) input.Write("line");
                          return false;
                        });
  EXPECT_EQ(result.end, ExchangeEnd::kPeerReset);
  EXPECT_EQ(reply, "hello");
  EXPECT_EQ(result.sent, 4u);
}

// The filter takes a moment, so that the exchange looks at its limits
// meanwhile.
TEST(ExchangeInputTest, AnInputMayGoOnAfterALongPause) {
  Pipe input;
  std::string read;
  Server server([&](Socket& peer) {
    read = peer.Receive(5);
    peer.Send("thanks");
  });
  Exchange exchange({.limits = {.total = 60s, .idle = 300ms}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  std::thread typist([&input] {
    std::this_thread::sleep_for(500ms);
    input.Write("hello");
  });
  Reply reply;
  const ExchangeResult result = exchange.Converse(
      ExchangeInput{.descriptor = input.ends[0],
                    .filter = [](std::string_view bytes, bool /*at_end*/)
                        -> std::optional<std::string_view> {
                      std::this_thread::sleep_for(20ms);
                      return bytes;
                    }},
      reply.Until(6));
  typist.join();
  EXPECT_TRUE(result) << result.Text();
  EXPECT_EQ(reply.text, "thanks");
  EXPECT_EQ(read, "hello");
}

TEST(ExchangeInputTest, TheSinkDecidesWhetherAClosedPeerIsTheEndOfAQuietInput) {
  for (const bool ends : {true, false}) {
    Pipe input;
    std::string read;
    {
      Server server([&](Socket& peer) {
        peer.Send("bye");
        shutdown(peer.number(), SHUT_WR);
        read = peer.Receive(100);
      });
      Exchange exchange({.limits = kPatient, .half_close = true});
      ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
      int closed = 0;
      const ExchangeResult result =
          exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                            [&](std::string_view bytes, const TheTime&) {
                              if (!bytes.empty()) return false;
                              ++closed;
                              if (ends) return true;
                              input.Write("more");
                              input.CloseWriting();
                              return false;
                            });
      EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
      EXPECT_EQ(closed, 1);
    }
    EXPECT_EQ(read, ends ? "" : "more");
  }
}

// Far more than the system holds for a peer that does not read.
const std::string kLarge(std::size_t{32} << 20, 'x');

TEST(ExchangeInputTest, WithoutASinkWhatComesIsLeftAndAllIsSent) {
  std::promise<void> closed;
  std::size_t read = 0;
  ExchangeResult result;
  {
    Server server([&](Socket& peer) {
      peer.Send("x");
      shutdown(peer.number(), SHUT_WR);
      closed.get_future().wait();
      read = peer.Receive(kLarge.size()).size();
    });
    Exchange exchange(
        {.limits = kPatient, .on_event = [&](const ExchangeEvent& event) {
           if (event.kind == ExchangeEvent::Kind::kPeerClosed)
             closed.set_value();
         }});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    result = exchange.Converse(kLarge, {});
  }
  EXPECT_EQ(result.end, ExchangeEnd::kDone) << result.Text();
  EXPECT_EQ(result.received, 0U);
  EXPECT_EQ(read, kLarge.size());
}

// What comes later, before all is sent, does not change it.
TEST(ExchangeInputTest, ASinkHasEnoughOnceItSaysSo) {
  std::array<std::promise<void>, 2> taken;
  std::string text;
  ExchangeResult result;
  {
    Server server([&](Socket& peer) {
      for (std::promise<void>& next : taken) {
        peer.Send("x");
        next.get_future().wait();
      }
      EXPECT_EQ(peer.Receive(kLarge.size()).size(), kLarge.size());
      peer.ReceiveEnd();
    });
    Exchange exchange({.limits = kPatient});
    ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
    result =
        exchange.Converse(kLarge, [&](std::string_view bytes, const TheTime&) {
          taken.at(text.size()).set_value();
          text += bytes;
          return text.size() == 1;
        });
  }
  EXPECT_EQ(result.end, ExchangeEnd::kDone) << result.Text();
  EXPECT_EQ(text, "xx");
}

TEST(ExchangeInputTest, AnInputThatCannotBeReadIsAFailure) {
  Server server([](Socket& peer) { peer.ReceiveEnd(); });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  const ExchangeResult result =
      exchange.Converse(ExchangeInput{.descriptor = 999}, reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kReading);
  EXPECT_EQ(result.error, EBADF);
  EXPECT_EQ(result.Text(),
            "reading what is to be sent failed: Bad file descriptor");
}

// Neither does a filter that takes longer than the idle time.
TEST(ExchangeInputTest, AQuietInputDoesNotEndTheWaitForTheFirstByte) {
  Pipe input;
  input.Write("x");
  Server server([](Socket& peer) { peer.ReceiveEnd(); });
  Exchange exchange(
      {.limits = {.total = 5s, .idle = 100ms, .first_byte = 600ms}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  const ExchangeResult result =
      exchange.Converse(ExchangeInput{.descriptor = input.ends[0],
                                      .filter =
                                          [](std::string_view bytes, bool) {
                                            std::this_thread::sleep_for(300ms);
                                            return std::optional(bytes);
                                          }},
                        Reply().UntilTheEnd());
  exchange.Close();
  EXPECT_EQ(result.end, ExchangeEnd::kSilence);
  EXPECT_EQ(result.Text(), "the peer was silent");
  EXPECT_EQ(result.sent, 1u);
}

TEST(ExchangeInputTest, AFilterCanEndIt) {
  Pipe input;
  input.Write("abc");
  Server server([](Socket& peer) { EXPECT_TRUE(peer.ReceiveEnd()); });
  Exchange exchange({.limits = kPatient});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  Reply reply;
  const ExchangeResult result = exchange.Converse(
      ExchangeInput{
          .descriptor = input.ends[0],
          .filter = [](auto, bool) -> std::optional<std::string_view> {
            return std::nullopt;
          }},
      reply.UntilTheEnd());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kReading);
  EXPECT_EQ(result.error, ECANCELED);
  EXPECT_EQ(result.sent, 0u);
}

}  // namespace
}  // namespace fairlead::internal::exchange_input_test
