// How a connection ends, and what it leaves: threads, descriptors, signals.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"
#include "fairlead/testing/captured_output.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead {
namespace {

using internal::BodyOf;
using internal::CountDescriptors;
using internal::CountEntries;
using internal::Exchanges;
using internal::Listener;
using internal::MessageOf;
using internal::Pair;
using internal::Socket;
using internal::WaitForEnd;
using internal::WaitForMessages;
using internal::WaitForThreads;
using internal::WaitingConsumer;
using internal::WaitUntil;

constexpr int kCycles = internal::kThreadSanitized ? 2000 : 10000;
constexpr int kRounds = internal::kThreadSanitized ? 500 : 2000;

// Some sanitizers add a thread of theirs to the first one that starts.
int CountThreads() {
  std::thread([] {}).join();
  return CountEntries("/proc/self/task");
}

TEST(TcpClientEndTest, TerminatesAClientThatNeverConnected) {
  CTCPClient client;
  client.Terminate();
  EXPECT_FALSE(client.IsNotTerminated());
  client.Terminate();
  client.Close();
  EXPECT_FALSE(client.IsNotTerminated());
}

TEST(TcpClientEndTest, ClosesAClientThatNeverConnected) {
  CTCPClient client;
  client.Close();
  EXPECT_FALSE(client.IsNotTerminated());
  client.Close();
}

TEST(TcpClientEndTest, TerminatesWhileReceiving) {
  const int threads = CountThreads();
  const int descriptors = CountDescriptors();
  {
    Pair pair;
    EXPECT_TRUE(pair.client.IsNotTerminated());
    pair.client.Terminate();
    EXPECT_FALSE(pair.client.IsNotTerminated());
    EXPECT_TRUE(pair.peer.ReceiveEnd());
    pair.client.Terminate();
    pair.client.Close();
  }
  EXPECT_EQ(CountDescriptors(), descriptors);
  EXPECT_TRUE(WaitForThreads(threads));
}

TEST(TcpClientEndTest, DestroysAClientThatReceives) {
  const Listener listener = std::move(Listener().Listen());
  std::optional<CTCPClient> client(std::in_place);
  ASSERT_TRUE(client->ConnectTo(&listener.endpoint()));
  const Socket peer = listener.Accept();
  client.reset();
  EXPECT_TRUE(peer.ReceiveEnd());
}

TEST(TcpClientEndTest, TerminatesInAFlood) {
  Pair pair;
  std::thread server([&] {
    const std::string bytes(100000, 'x');
    while (pair.peer.Send(bytes)) {
    }
  });
  EXPECT_TRUE(WaitForMessages(pair.client, 100));
  pair.client.Close();
  server.join();
  EXPECT_GE(pair.client.MessagesCount(), 100);
}

TEST(TcpClientEndTest, StaysUnterminatedAfterThePeerHasClosed) {
  Pair pair;
  ASSERT_TRUE(pair.peer.Send("last words"));
  ASSERT_TRUE(WaitForMessages(pair.client, 1));
  const int descriptors = CountDescriptors();
  pair.peer.Close();
  ASSERT_TRUE(WaitUntil(pair.client, [&] {
    return CountDescriptors() == descriptors - 2;  // The peer's and ours.
  }));
  EXPECT_TRUE(pair.client.IsNotTerminated());
  EXPECT_EQ(pair.client.MessagesCount(), 1);

  pair.client.Terminate();
  EXPECT_FALSE(pair.client.IsNotTerminated());
  EXPECT_EQ(pair.client.MessagesCount(), 1);
  EXPECT_EQ(BodyOf(pair.client.PopMessage()), "last words");
}

TEST(TcpClientEndTest, EndsQuietlyWhenThePeerResets) {
  internal::CapturedOutput output;
  Pair pair;
  pair.peer.Reset();
  EXPECT_TRUE(WaitForEnd(pair.client));
  EXPECT_TRUE(pair.client.IsNotTerminated());
  EXPECT_EQ(pair.client.MessagesCount(), 0);
  pair.client.Close();
  EXPECT_EQ(output.Take(), "");
}

// However many threads go on asking for the socket, closing gets hold of it.
TEST(TcpClientEndTest, TerminatesWhileManyThreadsGoOnSending) {
  Pair pair;
  std::atomic<bool> terminated = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 32; ++i) {
    threads.emplace_back([&] {
      const CTCPMessage nothing;
      while (!terminated) pair.client.SendMsg(&nothing);
    });
  }
  pair.client.Terminate();
  terminated = true;
  for (std::thread& thread : threads) thread.join();
  const CTCPMessage nothing;
  EXPECT_FALSE(pair.client.SendMsg(&nothing));
}

// A thread that waits for the end of another one's wait misses nothing of it.
TEST(TcpClientEndTest, TerminatesFromManyThreadsAtOnce) {
  const Listener listener = std::move(Listener().Listen());
  for (int round = 0; round < kRounds; ++round) {
    CTCPClient client;
    ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
    Socket peer = listener.Accept();
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
      threads.emplace_back([&client] { client.Terminate(); });
    threads.emplace_back([&client] { client.Close(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(client.IsNotTerminated());
    EXPECT_TRUE(peer.ReceiveEnd());
    peer.Reset();
  }
}

TEST(TcpClientEndTest, WakesAConsumerWhenItTerminates) {
  CTCPClient client;
  WaitingConsumer consumer(client);
  client.Terminate();
  consumer.Join();
  EXPECT_FALSE(client.IsNotTerminated());
}

TEST(TcpClientEndTest, WakesAConsumerWhenThePeerCloses) {
  Pair pair;
  WaitingConsumer consumer(pair.client);
  pair.peer.Close();
  consumer.Join();
  EXPECT_TRUE(pair.client.IsNotTerminated());
  EXPECT_EQ(pair.client.MessagesCount(), 0);
}

TEST(TcpClientEndTest, LeavesNothingAfterThousandsOfConnections) {
  Listener listener = std::move(Listener().Listen());
  const int threads = CountThreads();
  std::thread server([&listener] {
    for (int cycle = 0; cycle < kCycles; ++cycle) {
      Socket peer = listener.Accept();
      peer.Send(peer.Receive(4));
      if (cycle % 2 == 0) peer.ReceiveEnd();  // Either end goes first.
      peer.Reset();
    }
  });
  const int descriptors = CountDescriptors();
  const CTCPMessage request = MessageOf("ping");
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    CTCPClient client;
    ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
    ASSERT_TRUE(client.SendMsg(&request));
    ASSERT_TRUE(WaitForMessages(client, 1));
    ASSERT_EQ(BodyOf(client.PopMessage()), "ping");
    client.Close();
  }
  server.join();
  EXPECT_EQ(CountDescriptors(), descriptors);
  EXPECT_TRUE(WaitForThreads(threads));
}

TEST(TcpClientEndTest, ConnectsAndTerminatesWithoutAnExchange) {
  const Listener listener = std::move(Listener().Listen());
  for (int cycle = 0; cycle < 300; ++cycle) {
    CTCPClient client;
    ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
    Socket peer = listener.Accept();
    std::thread server([&] { peer.Reset(); });  // Meets Terminate anywhere.
    client.Terminate();
    server.join();
  }
}

TEST(TcpClientEndTest, CanConnectAgainOnceClosed) {
  const Listener listener = std::move(Listener().Listen());
  CTCPClient client;
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
    EXPECT_TRUE(client.IsNotTerminated());
    EXPECT_TRUE(Exchanges(client, listener.Accept()));
    client.Close();
  }
}

TEST(TcpClientDeathTest, EndsTheProcessWhenConnectedTwice) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::set_terminate([] { _exit(7); });
        Pair pair;
        pair.client.ConnectTo(&pair.listener.endpoint());
      },
      testing::ExitedWithCode(7), "");
}

// The mask of this thread, which a test may change, comes back at its end.
class TcpClientSignalTest : public testing::Test {
 protected:
  TcpClientSignalTest() {
    handledBy = 0;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask_);
    struct sigaction action = {};
    action.sa_handler = [](int) {
      handledBy = static_cast<int>(syscall(SYS_gettid));
    };
    sigaction(SIGUSR1, &action, &action_);  // Without SA_RESTART.
  }

  ~TcpClientSignalTest() override {
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    sigaction(SIGUSR1, &action_, nullptr);
  }

  static void ChangeMask(int how) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    pthread_sigmask(how, &set, nullptr);
  }

  static volatile std::sig_atomic_t handledBy;  // The thread.

 private:
  sigset_t mask_;
  struct sigaction action_;
};

volatile std::sig_atomic_t TcpClientSignalTest::handledBy = 0;

// While this thread blocks it, only the receive thread could take the signal.
TEST_F(TcpClientSignalTest, IsLeftToThreadsOfTheProgram) {
  Pair pair;
  ChangeMask(SIG_BLOCK);
  kill(getpid(), SIGUSR1);
  EXPECT_TRUE(Exchanges(pair.client, pair.peer));
  EXPECT_EQ(handledBy, 0);
  ChangeMask(SIG_UNBLOCK);
  EXPECT_EQ(handledBy, static_cast<int>(syscall(SYS_gettid)));
  EXPECT_TRUE(Exchanges(pair.client, pair.peer));
}

TEST_F(TcpClientSignalTest, FindsTheMaskOfTheCallerUnchanged) {
  ChangeMask(SIG_BLOCK);
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  Pair pair;
  EXPECT_TRUE(Exchanges(pair.client, pair.peer));
  pair.client.Close();
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int signal = 1; signal < NSIG; ++signal)
    EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal));
}

// A stack that no address space can hold: the system refuses the thread.
TEST_F(TcpClientSignalTest, FindsTheMaskUnchangedWhereAThreadIsRefused) {
  pthread_attr_t usual;
  pthread_attr_t huge;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  ASSERT_EQ(pthread_getattr_default_np(&huge), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&huge, std::size_t{1} << 62), 0);

  const Listener listener = std::move(Listener().Listen());
  const int descriptors = CountDescriptors();
  CTCPClient client;
  ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
  EXPECT_THROW(client.ConnectTo(&listener.endpoint()), std::system_error);
  ASSERT_EQ(pthread_setattr_default_np(&usual), 0);

  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGUSR1), 0);
  EXPECT_EQ(CountDescriptors(), descriptors + 1);  // The socket is kept,
  client.Close();                                  // until now.
  EXPECT_EQ(CountDescriptors(), descriptors);
  pthread_attr_destroy(&usual);
  pthread_attr_destroy(&huge);
}

}  // namespace
}  // namespace fairlead
