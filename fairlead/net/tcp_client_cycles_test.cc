// Many connections of one client, with two senders at a time, in random order:
// data, floods, resets and ends on either side. Meanwhile a thief takes each
// descriptor number that is free: the client must never use one of its files.
// FAIRLEAD_CYCLES says how many connections.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <charconv>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead::internal::tcp_client_cycles_test {
namespace {

int Cycles() {
  int cycles = 200;
  if (const char* const text = std::getenv("FAIRLEAD_CYCLES"))
    std::from_chars(text, text + std::string_view(text).size(), cycles);
  return cycles;
}

// Opens and closes pipes all the time. A pipe that another thread used holds a
// byte, or is closed already.
class Thief {
 public:
  Thief() : thread_([this] { Run(); }) {}
  Thief(const Thief&) = delete;
  Thief& operator=(const Thief&) = delete;
  ~Thief() {
    ends_ = true;
    thread_.join();
    EXPECT_GT(pipes_, 0);
  }

 private:
  void Run() {
    while (!ends_) {
      std::array<int, 2> pipe{};
      if (pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) continue;
      ++pipes_;
      std::this_thread::yield();
      char byte = 0;
      EXPECT_EQ(read(pipe[0], &byte, 1), -1) << "a byte in the thief's pipe";
      EXPECT_EQ(close(pipe[0]), 0) << "the thief's pipe was closed";
      EXPECT_EQ(close(pipe[1]), 0) << "the thief's pipe was closed";
    }
  }

  std::atomic<bool> ends_ = false;
  int pipes_ = 0;
  std::thread thread_;  // The last member: it uses the others.
};

// What the peer does before the end.
enum class PeerAction { kEcho, kFlood, kReset, kClose, kNothing };
constexpr std::array kPeerActions = {PeerAction::kEcho, PeerAction::kFlood,
                                     PeerAction::kReset, PeerAction::kClose,
                                     PeerAction::kNothing};

void Act(PeerAction action, Socket& peer) {
  switch (action) {
    case PeerAction::kEcho:
      peer.Send(peer.Receive(4));
      return;
    case PeerAction::kFlood:
      peer.Send(std::string(100'000, 'x'));
      return;
    case PeerAction::kReset:
      return peer.Reset();
    case PeerAction::kClose:
      return peer.Close();
    case PeerAction::kNothing:
      return;
  }
}

// Sends until the connection has ended, or five messages.
void SendSome(CTCPClient& client) {
  const CTCPMessage message = MessageOf("ping");
  for (int i = 0; i < 5 && client.SendMsg(&message); ++i) {
  }
}

// Which end the connection comes to, and when.
enum class Ending { kTerminate, kClose, kEarlyTerminate };

void RunCycle(CTCPClient& client, const Listener& listener, PeerAction action,
              Ending ending) {
  ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
  Socket peer = listener.Accept();
  std::thread first([&] { SendSome(client); });
  std::thread second([&] { SendSome(client); });
  std::thread other_end([&] { Act(action, peer); });
  if (ending == Ending::kEarlyTerminate) client.Terminate();
  first.join();
  second.join();
  // An echo waits for its bytes, and a flood for a reader.
  if (ending == Ending::kEarlyTerminate || action == PeerAction::kFlood)
    client.Terminate();
  other_end.join();
  ending == Ending::kClose ? client.Close() : client.Terminate();
  EXPECT_FALSE(client.IsNotTerminated());
  while (client.MessagesCount() > 0) client.PopMessage();
}

TEST(TcpClientCyclesTest, NoneUsesADescriptorThatIsNotItsOwn) {
  const unsigned int seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const Listener listener = std::move(Listener().Listen());
  const int before = CountDescriptors();
  {
    const Thief thief;
    CTCPClient client;
    for (int i = 0; i < Cycles() && !testing::Test::HasFailure(); ++i)
      RunCycle(client, listener, kPeerActions[random() % kPeerActions.size()],
               static_cast<Ending>(random() % 3));
  }
  EXPECT_EQ(CountDescriptors(), before);
}

}  // namespace
}  // namespace fairlead::internal::tcp_client_cycles_test
