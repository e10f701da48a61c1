// A child of fork() lets go of the client that it was given a copy of, whatever
// the parent's threads were doing, and the parent's connection goes on.

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <ctime>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "fairlead/export.h"
#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead {
namespace {

using internal::Exchanges;
using internal::Listener;
using internal::MessageOf;
using internal::Pair;
using internal::WaitForMessages;
using internal::WaitingConsumer;

// Where a thread other than the test's own can be stopped.
enum class Place { kNowhere, kReceive, kSend, kStamp, kSignalOfTheEnd };

std::atomic<Place> stop = Place::kNowhere;
std::atomic<bool> stopped = false;

bool IsOwnThread() { return syscall(SYS_gettid) == getpid(); }

// Holds the calling thread for as long as it is to be stopped at that place.
void Pass(Place place) {
  if (stop != place || IsOwnThread()) return;
  stopped = true;
  while (stop == place) std::this_thread::yield();
}

template <typename Function>
Function* System(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define FAIRLEAD_SYSTEM(name) System<decltype(::name)>(#name)

}  // namespace
}  // namespace fairlead

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the
// system's headers have no names of use to a reader.
extern "C" {

// By another name in here: the headers may hold a checked recv of their own.
FAIRLEAD_EXPORT ssize_t OwnRecv(int sock, void* data, std::size_t size,
                                int flags) __asm__("recv");

ssize_t OwnRecv(int sock, void* data, std::size_t size, int flags) {
  fairlead::Pass(fairlead::Place::kReceive);
  return fairlead::FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
}

FAIRLEAD_EXPORT ssize_t send(int sock, const void* data, std::size_t size,
                             int flags) {
  fairlead::Pass(fairlead::Place::kSend);
  return fairlead::FAIRLEAD_SYSTEM(send)(sock, data, size, flags);
}

// A received message is stamped while the queue is locked.
FAIRLEAD_EXPORT int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock == CLOCK_REALTIME) fairlead::Pass(fairlead::Place::kStamp);
  return fairlead::FAIRLEAD_SYSTEM(clock_gettime)(clock, time);
}

// The receive thread's last act, while the state is locked.
FAIRLEAD_EXPORT int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  fairlead::Pass(fairlead::Place::kSignalOfTheEnd);
  return fairlead::FAIRLEAD_SYSTEM(pthread_cond_broadcast)(condition);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace fairlead {
namespace {

// Runs `act` in a child; returns whether it came to an end there and said yes.
bool ChildDoes(const std::function<bool()>& act) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);  // Ends a child that waits for ever.
    _exit(act() ? 0 : 1);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

class TcpClientForkTest : public testing::Test {
 protected:
  ~TcpClientForkTest() override { GoOn(); }

  // With a message in the queue: the receive thread is in its loop.
  static void StopAt(Place place, Pair& pair) {
    ASSERT_TRUE(pair.peer.Send("x"));
    ASSERT_TRUE(WaitForMessages(pair.client, 1));
    stopped = false;
    stop = place;
  }
  static void WaitForStop() {
    while (!stopped) std::this_thread::yield();
  }
  static void GoOn() { stop = Place::kNowhere; }

  // Whether the parent has these single bytes in its queue, and goes on.
  static bool GoesOn(Pair& pair, int count) {
    if (!WaitForMessages(pair.client, count)) return false;
    for (int i = 0; i < count; ++i)
      if (pair.client.PopMessage().len != 1) return false;
    return Exchanges(pair.client, pair.peer);
  }
};

struct Leaving {
  const char* name;
  void (*leave)(std::optional<CTCPClient>& client);
};

constexpr Leaving kLeavings[] = {
    {"destruction", [](auto& client) { client.reset(); }},
    {"Terminate", [](auto& client) { client->Terminate(); }},
    {"Close", [](auto& client) { client->Close(); }},
    {"all", [](auto& client) {
       client->Terminate();
       client->Close();
       client->Close();
       client.reset();
     }}};

TEST_F(TcpClientForkTest, LetsGoOfItsDescriptorAlone) {
  const Listener listener = std::move(Listener().Listen());
  std::optional<CTCPClient> client(std::in_place);
  ASSERT_TRUE(client->ConnectTo(&listener.endpoint()));
  const internal::Socket peer = listener.Accept();
  ASSERT_TRUE(peer.Send("x"));
  ASSERT_TRUE(WaitForMessages(*client, 1));
  const int sock = client->PopMessage().sock;
  for (const Leaving& c : kLeavings) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(ChildDoes([&] {
      c.leave(client);
      return !IsOpen(sock);
    }));
    EXPECT_TRUE(Exchanges(*client, peer));
  }
  client->Close();
  EXPECT_TRUE(peer.ReceiveEnd());
}

TEST_F(TcpClientForkTest, IsClosedAndEmptyThere) {
  Pair pair;
  ASSERT_TRUE(pair.peer.Send("x"));
  ASSERT_TRUE(WaitForMessages(pair.client, 1));
  EXPECT_TRUE(ChildDoes([&] {
    pair.client.Close();
    const CTCPMessage nothing;
    return !pair.client.IsNotTerminated() && pair.client.MessagesCount() == 0 &&
           !pair.client.SendMsg(&nothing);
  }));
  EXPECT_EQ(pair.client.MessagesCount(), 1);
  EXPECT_TRUE(pair.client.IsNotTerminated());
}

// Leaves a copy of the client made at that moment; it must not wait, neither
// then nor in what follows.
bool ChildLeaves(CTCPClient& client) {
  return ChildDoes([&client] {
    client.Close();
    const bool closed =
        !client.IsNotTerminated() && client.MessagesCount() == 0;
    client.~CTCPClient();
    return closed;
  });
}

TEST_F(TcpClientForkTest, LeavesWhileAThreadReceives) {
  Pair pair;
  StopAt(Place::kReceive, pair);
  ASSERT_TRUE(pair.peer.Send("x"));
  WaitForStop();
  EXPECT_TRUE(ChildLeaves(pair.client));
  GoOn();
  EXPECT_TRUE(GoesOn(pair, 2));
}

TEST_F(TcpClientForkTest, LeavesWhileAThreadHoldsTheQueue) {
  Pair pair;
  StopAt(Place::kStamp, pair);
  ASSERT_TRUE(pair.peer.Send("x"));
  WaitForStop();
  EXPECT_TRUE(ChildLeaves(pair.client));
  GoOn();
  EXPECT_TRUE(GoesOn(pair, 2));
}

TEST_F(TcpClientForkTest, LeavesWhileAThreadSends) {
  Pair pair;
  StopAt(Place::kSend, pair);
  std::thread sending([&pair] {
    const CTCPMessage message = MessageOf("x");
    EXPECT_TRUE(pair.client.SendMsg(&message));
  });
  WaitForStop();
  EXPECT_TRUE(ChildLeaves(pair.client));
  GoOn();
  sending.join();
  EXPECT_EQ(pair.peer.Receive(1), "x");
  EXPECT_TRUE(GoesOn(pair, 1));
}

TEST_F(TcpClientForkTest, LeavesWhileAThreadWaitsForMessages) {
  Pair pair;
  WaitingConsumer consumer(pair.client);
  EXPECT_TRUE(ChildLeaves(pair.client));
  ASSERT_TRUE(pair.peer.Send("x"));
  consumer.Join();
  EXPECT_TRUE(GoesOn(pair, 1));
}

bool Sleeps(pid_t thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string number;
  std::string name;
  std::string state;
  return status >> number >> name >> state && state == "S";
}

// While the receive thread is held, Terminate has nothing to do but wait.
TEST_F(TcpClientForkTest, LeavesWhileAThreadWaitsForTheEnd) {
  Pair pair;
  StopAt(Place::kReceive, pair);
  ASSERT_TRUE(pair.peer.Send("x"));
  WaitForStop();
  std::atomic<pid_t> closer = 0;
  std::thread closing([&] {
    closer = static_cast<pid_t>(syscall(SYS_gettid));
    pair.client.Terminate();
  });
  while (pair.client.IsNotTerminated() || !Sleeps(closer))
    std::this_thread::yield();
  EXPECT_TRUE(ChildLeaves(pair.client));
  GoOn();
  closing.join();
  EXPECT_TRUE(pair.peer.ReceiveEnd());
}

TEST_F(TcpClientForkTest, LeavesWhileTheReceiveThreadEnds) {
  Pair pair;
  StopAt(Place::kSignalOfTheEnd, pair);
  pair.peer.Close();
  WaitForStop();
  EXPECT_TRUE(ChildLeaves(pair.client));
  GoOn();
  pair.client.Close();
}

class TcpClientForkThreadTest : public TcpClientForkTest {
 protected:
  void SetUp() override {
    if (internal::kThreadSanitized)
      GTEST_SKIP() << "the thread sanitizer allows no thread in such a child";
    TcpClientForkTest::SetUp();
  }
};

// What a child connects is its own, and ends there as anywhere: Close leaves
// the queue as it is.
bool ExchangesAndCloses(CTCPClient& client, const Listener& listener) {
  if (!client.ConnectTo(&listener.endpoint())) return false;
  const internal::Socket peer = listener.Accept();
  if (!Exchanges(client, peer) || !peer.Send("x") ||
      !WaitForMessages(client, 1))
    return false;
  client.Close();
  return client.MessagesCount() == 1 && peer.ReceiveEnd();
}

TEST_F(TcpClientForkThreadTest, ConnectsAClientThatTheParentMade) {
  const Listener listener = std::move(Listener().Listen());
  CTCPClient client;
  EXPECT_TRUE(ChildDoes([&] { return ExchangesAndCloses(client, listener); }));
}

// A consumer of the child is woken as without a fork, although the connection
// is refused and the client was made by the parent.
TEST_F(TcpClientForkThreadTest, WakesAConsumerOfTheChildAfterARefusal) {
  const Listener refusing;
  CTCPClient client;
  EXPECT_TRUE(ChildDoes([&] {
    WaitingConsumer consumer(client);
    const bool refused = !client.ConnectTo(&refusing.endpoint());
    client.Close();
    consumer.Join();
    return refused && !client.IsNotTerminated();
  }));
}

TEST_F(TcpClientForkThreadTest, ConnectsAgainOnceClosed) {
  Pair pair;
  StopAt(Place::kStamp, pair);
  ASSERT_TRUE(pair.peer.Send("x"));
  WaitForStop();
  EXPECT_TRUE(ChildDoes([&] {
    GoOn();
    pair.client.Close();
    return ExchangesAndCloses(pair.client, pair.listener);
  }));
  GoOn();
  EXPECT_TRUE(GoesOn(pair, 2));
}

TEST_F(TcpClientForkThreadTest, WakesAConsumerOfTheChildOnceClosed) {
  Pair pair;
  // The receive thread has started: a sanitizer's allocator is not in use.
  ASSERT_TRUE(pair.peer.Send("x"));
  ASSERT_TRUE(WaitForMessages(pair.client, 1));
  EXPECT_TRUE(ChildDoes([&] {
    pair.client.Close();
    WaitingConsumer consumer(pair.client);
    pair.client.Close();
    consumer.Join();
    return true;
  }));
}

}  // namespace
}  // namespace fairlead
