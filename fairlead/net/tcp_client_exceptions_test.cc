// What the receive thread throws ends that thread as a failed receive does, and
// never the process.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead {
namespace {

using internal::BodyOf;
using internal::CountDescriptors;
using internal::Exchanges;
using internal::Listener;
using internal::Pair;
using internal::Socket;
using internal::WaitForEnd;
using internal::WaitingConsumer;
using internal::WaitUntil;

enum class Fault { kNone, kOnce, kForEver };

// The allocations of every thread but the test's own, and which fail.
std::atomic<int> allocations = 0;
std::atomic<int> first_to_fail = 0;
std::atomic<Fault> fault = Fault::kNone;

bool Fails() {
  if (fault == Fault::kNone || syscall(SYS_gettid) == getpid()) return false;
  const int number = ++allocations;
  return fault == Fault::kOnce ? number == first_to_fail
                               : number >= first_to_fail;
}

}  // namespace
}  // namespace fairlead

// Not inlined: g++ would take the calls in them for a mismatched pair.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = fairlead::Fails() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory,
                                       std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace fairlead {
namespace {

// A host whose label is too long for a string without memory of its own.
constexpr in_addr_t kLongHost = 0x7F646464;  // 127.100.100.100

class TcpClientExceptionsTest : public testing::Test {
 protected:
  ~TcpClientExceptionsTest() override { fault = Fault::kNone; }

  static void FailFrom(int number, Fault kind) {
    allocations = 0;
    first_to_fail = number;
    fault = kind;
  }
};

// Sends single bytes until the client has closed; returns how many came
// through.
int ReceivedUntilTheEnd(CTCPClient& client, const Socket& peer) {
  const CTCPMessage nothing;
  for (int received = 0;; ++received) {
    peer.Send("x");
    bool ended = false;
    if (!WaitUntil(client, [&] {
          if (client.MessagesCount() > received) return true;
          return ended = !client.SendMsg(&nothing);
        }))
      return -1;
    if (ended) return client.MessagesCount();
  }
}

// The label, the read set, the queue's messages one by one, and the queue's own
// table: whichever fails, what came before is kept.
TEST_F(TcpClientExceptionsTest, EndsWhereMemoryIsShort) {
  const int descriptors = CountDescriptors();
  const Listener listener = std::move(Listener(kLongHost).Listen());
  for (const Fault kind : {Fault::kOnce, Fault::kForEver}) {
    int before = 0;
    for (int number = 1; number <= 12; ++number) {
      SCOPED_TRACE(number);
      CTCPClient client;
      FailFrom(number, kind);
      ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
      const Socket peer = listener.Accept();
      const int received = ReceivedUntilTheEnd(client, peer);
      fault = Fault::kNone;
      EXPECT_TRUE(peer.ReceiveEnd());
      EXPECT_TRUE(client.IsNotTerminated());
      EXPECT_GE(received, before);
      before = received;
      while (client.MessagesCount() > 0)
        EXPECT_EQ(BodyOf(client.PopMessage()), "x");
      client.Close();

      ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
      EXPECT_TRUE(Exchanges(client, listener.Accept()));
    }
    EXPECT_GE(before, 5);
  }
  EXPECT_EQ(CountDescriptors(), descriptors + 1);  // The listener's.
}

// The first allocation is the label's, or nothing is received before it fails.
TEST_F(TcpClientExceptionsTest, EndsWhereNoLabelCanBeMade) {
  const Listener listener = std::move(Listener(kLongHost).Listen());
  CTCPClient client;
  FailFrom(1, Fault::kOnce);
  ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
  const Socket peer = listener.Accept();
  EXPECT_TRUE(peer.ReceiveEnd());
  fault = Fault::kNone;
  EXPECT_EQ(client.MessagesCount(), 0);
}

TEST_F(TcpClientExceptionsTest, WakesAConsumerWhereAMessageCannotBeQueued) {
  Pair pair;
  WaitingConsumer consumer(pair.client);
  FailFrom(1, Fault::kForEver);
  ASSERT_TRUE(pair.peer.Send("x"));
  consumer.Join();
  fault = Fault::kNone;
  EXPECT_TRUE(pair.peer.ReceiveEnd());
  EXPECT_EQ(pair.client.MessagesCount(), 0);  // That message is lost.
}

// A lock of which the holder has died cannot be had.
void BreakQueueMutex(CTCPClient& client) {
  pthread_mutex_t* const mutex = client.queueMutex.native_handle();
  pthread_mutexattr_t robust;
  pthread_mutexattr_init(&robust);
  pthread_mutexattr_setrobust(&robust, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(mutex, &robust);
  pthread_mutexattr_destroy(&robust);
  std::thread([mutex] { pthread_mutex_lock(mutex); }).join();
}

TEST_F(TcpClientExceptionsTest, EndsWhereTheQueueCannotBeLocked) {
  const int descriptors = CountDescriptors();
  const Listener listener = std::move(Listener().Listen());
  const auto client = std::make_unique<CTCPClient>();
  ASSERT_TRUE(client->ConnectTo(&listener.endpoint()));
  const Socket peer = listener.Accept();
  BreakQueueMutex(*client);
  ASSERT_TRUE(peer.Send("x"));
  EXPECT_TRUE(peer.ReceiveEnd());
  EXPECT_TRUE(client->IsNotTerminated());
  client->Close();
  EXPECT_EQ(CountDescriptors(), descriptors + 2);  // The listener's and peer's.
}

}  // namespace
}  // namespace fairlead
