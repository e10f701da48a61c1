// The buffer of an exchange: what comes out of it, in which pieces, and when a
// thread may go on.

#include "fairlead/net/receive_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::receive_buffer_test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// Bytes of which no two runs are alike for long.
char ByteAt(std::size_t index) {
  return static_cast<char>((index * 31 + index / 251) & 0xFF);
}

std::string PatternOf(std::size_t begin, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = ByteAt(begin + i);
  return bytes;
}

// As a receive of so many bytes; returns the length of the room that it had.
std::size_t Receive(ReceiveBuffer& buffer, const std::string& bytes) {
  const std::span<char> room = buffer.AwaitRoom();
  EXPECT_LE(bytes.size(), room.size());
  std::memcpy(room.data(), bytes.data(), bytes.size());
  buffer.Add(bytes.size());
  return room.size();
}

std::string TakeAll(ReceiveBuffer& buffer) {
  std::string all;
  while (const auto piece = buffer.Next()) all += piece->bytes;
  return all;
}

std::vector<std::size_t> TakeSizes(ReceiveBuffer& buffer) {
  std::vector<std::size_t> sizes;
  while (const auto piece = buffer.Next()) sizes.push_back(piece->bytes.size());
  return sizes;
}

TEST(ReceiveBufferTest, StartsEmpty) {
  ReceiveBuffer buffer;
  EXPECT_FALSE(buffer.HasPieces());
  EXPECT_FALSE(buffer.Next());
  EXPECT_EQ(buffer.AwaitRoom().size(), 129'312u);
}

TEST(ReceiveBufferTest, CutsAReceiveIntoPiecesOfTheLengthOfAMessage) {
  struct Case {
    std::size_t received;
    std::vector<std::size_t> pieces;
  };
  const Case cases[] = {
      {1, {1}},
      {1795, {1795}},
      {1796, {1796}},
      {1797, {1796, 1}},
      {3592, {1796, 1796}},
      {129'312, std::vector<std::size_t>(72, 1796)},
  };
  ReceiveBuffer buffer;
  for (const Case& c : cases) {
    Receive(buffer, PatternOf(0, c.received));
    EXPECT_TRUE(buffer.HasPieces());
    EXPECT_EQ(TakeSizes(buffer), c.pieces);
    EXPECT_FALSE(buffer.HasPieces());
  }
}

TEST(ReceiveBufferTest, JoinsNoReceives) {
  ReceiveBuffer buffer;
  for (const std::size_t size : {5u, 1u, 1800u, 7u})
    Receive(buffer, PatternOf(0, size));
  EXPECT_EQ(TakeSizes(buffer), (std::vector<std::size_t>{5, 1, 1796, 4, 7}));
}

TEST(ReceiveBufferTest, HasAPieceUntilTheLastOfAReceiveIsReturned) {
  ReceiveBuffer buffer;
  Receive(buffer, PatternOf(0, 1797));
  EXPECT_TRUE(buffer.Next());
  EXPECT_TRUE(buffer.HasPieces());
  EXPECT_TRUE(buffer.Next());
  EXPECT_FALSE(buffer.HasPieces());
  EXPECT_FALSE(buffer.Next());
}

TEST(ReceiveBufferTest, KeepsTheTimeOfEachReceive) {
  ReceiveBuffer buffer;
  const auto nanoseconds = [](const TheTime& time) {
    return std::int64_t{time.ts.tv_sec} * 1'000'000'000 + time.ts.tv_nsec;
  };
  std::vector<std::int64_t> between = {nanoseconds(TheTime())};
  for (int i = 0; i < 2; ++i) {
    Receive(buffer, "x");
    between.push_back(nanoseconds(TheTime()));
  }
  for (std::size_t i = 0; i < 2; ++i) {
    const auto piece = buffer.Next();
    ASSERT_TRUE(piece);
    EXPECT_GE(nanoseconds(piece->time), between[i]);
    EXPECT_LE(nanoseconds(piece->time), between[i + 1]);
  }
}

// A piece is not overwritten before the next one is asked for, wherever in the
// ring it is. The room is given in whole messages, so that a flood is cut where
// single receives would cut it.
TEST(ReceiveBufferTest, GivesBackWhatWasReceived) {
  constexpr unsigned kSeed = 5;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  ReceiveBuffer buffer;
  std::size_t received = 0;
  std::size_t taken = 0;
  std::deque<std::size_t> waiting;
  while (received < std::size_t{Rounds(10'000'000)}) {
    // Never so much that there might be no room.
    while (received - taken < 60'000 && waiting.size() < 100) {
      const std::span<char> room = buffer.AwaitRoom();
      ASSERT_GE(room.size(), 16'164u);
      ASSERT_LE(room.size(), 129'312u);
      ASSERT_EQ(room.size() % 1796, 0u);
      const std::size_t size =
          random() % 2 == 0 ? room.size() : 1 + random() % 3000;
      std::ranges::generate(room.first(size), [&, i = received]() mutable {
        return ByteAt(i++);
      });
      buffer.Add(size);
      received += size;
      waiting.push_back(size);
    }
    for (std::size_t rest = waiting.front(); rest > 0;) {
      const auto piece = buffer.Next();
      ASSERT_TRUE(piece);
      ASSERT_EQ(piece->bytes.size(), std::min<std::size_t>(rest, 1796));
      ASSERT_EQ(piece->bytes, PatternOf(taken, piece->bytes.size()));
      taken += piece->bytes.size();
      rest -= piece->bytes.size();
    }
    waiting.pop_front();
  }
}

// Whichever of two threads is the faster one, in receives of one byte, which
// fill the table of receives, and of many, which fill the ring.
TEST(ReceiveBufferTest, HoldsTheReceiveThreadBack) {
  for (const std::size_t size : {1u, 1000u, 129'312u}) {
    SCOPED_TRACE(size);
    const std::size_t all = size * (size == 1 ? 20'000 : 2000);
    ReceiveBuffer buffer;
    std::thread receiving([&] {
      for (std::size_t sent = 0; sent < all;) {
        const std::span<char> room = buffer.AwaitRoom();
        const std::size_t count = std::min({size, room.size(), all - sent});
        for (std::size_t i = 0; i < count; ++i) room[i] = ByteAt(sent + i);
        buffer.Add(count);
        sent += count;
      }
    });
    bool same = true;
    for (std::size_t taken = 0; taken < all;) {
      buffer.Wait(std::nullopt, [](bool any) { return any; });
      while (const auto piece = buffer.Next()) {
        for (const char byte : piece->bytes)
          same = ByteAt(taken++) == byte && same;
      }
    }
    receiving.join();
    EXPECT_TRUE(same);
    EXPECT_FALSE(buffer.HasPieces());
  }
}

TEST(ReceiveBufferTest, StopEndsAWaitForRoom) {
  ReceiveBuffer buffer;
  std::thread receiving([&] {
    for (;;) {
      const std::span<char> room = buffer.AwaitRoom();
      if (room.empty()) return;
      buffer.Add(room.size());
    }
  });
  buffer.Wait(std::nullopt, [](bool any) { return any; });
  buffer.Stop();
  receiving.join();
  EXPECT_TRUE(buffer.AwaitRoom().empty());
  EXPECT_EQ(TakeAll(buffer).size() % 129'312, 0u);  // What came is kept.
}

TEST(ReceiveBufferTest, NotifyEndsAWait) {
  ReceiveBuffer buffer;
  std::atomic<bool> news = false;
  std::thread notifying([&] {
    news = true;
    buffer.Notify();
  });
  buffer.Wait(std::nullopt, [&](bool any) {
    EXPECT_FALSE(any);
    return news.load();
  });
  notifying.join();
}

// What may be followed by more ends no wait, until there is no room for it.
TEST(ReceiveBufferTest, WithoutRoomTheWaitForPiecesEnds) {
  const std::string bytes = PatternOf(0, 3'000'000);
  ReceiveBuffer buffer;
  std::thread receiver([&] {
    for (std::size_t at = 0; at < bytes.size();) {
      const std::span<char> room = buffer.AwaitRoom();
      const std::size_t size = bytes.copy(room.data(), room.size(), at);
      at += size;
      buffer.Add(size, true);
    }
    buffer.Notify();
  });
  std::string taken;
  while (taken.size() < bytes.size()) {
    buffer.Wait(std::nullopt, [](bool any) { return any; });
    taken += TakeAll(buffer);
  }
  receiver.join();
  EXPECT_EQ(taken, bytes);
}

TEST(ReceiveBufferTest, TheDeadlineEndsAWait) {
  ReceiveBuffer buffer;
  const auto deadline = steady_clock::now() + 10ms;
  buffer.Wait(deadline, [](bool) { return false; });
  EXPECT_GE(steady_clock::now(), deadline);
}

}  // namespace
}  // namespace fairlead::internal::receive_buffer_test
