// Sending: what goes out and on which descriptor, what is refused, and a peer
// that is gone.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead::tcp_client_send_test {
namespace {

using internal::MessageOf;
using internal::Pair;
using internal::Socket;
using internal::WaitForEnd;

std::pair<Socket, Socket> SocketPair() {
  std::array<int, 2> numbers = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, numbers.data()), 0);
  return {Socket(numbers[0]), Socket(numbers[1])};
}

// A socket whose every send meets a peer that is gone.
Socket BrokenSocket() { return SocketPair().first; }

bool SendOn(int sock) {
  CTCPMessage message = MessageOf("x");
  message.sock = sock;
  return CTCPClient().SendMsg(&message);
}

TEST(TcpClientSendTest, SendsExactlyTheBytesOfTheBody) {
  Pair pair;
  std::string sent;
  for (const std::size_t count : {1U, 2U, 1795U, 1796U, 1797U, 1800U}) {
    const std::string body(count, static_cast<char>('a' + count % 26));
    const CTCPMessage message = MessageOf(body);
    EXPECT_TRUE(pair.client.SendMsg(&message));
    sent += body;
  }
  pair.client.Close();
  EXPECT_EQ(pair.peer.Receive(sent.size() + 1), sent);
}

TEST(TcpClientSendTest, SendsNothingForALengthOfZero) {
  Pair pair;
  const CTCPMessage nothing;
  EXPECT_TRUE(pair.client.SendMsg(&nothing));
  pair.client.Close();
  EXPECT_TRUE(pair.peer.ReceiveEnd());
}

TEST(TcpClientSendTest, RefusesALengthThatABodyCannotHave) {
  Pair pair;
  CTCPMessage message = MessageOf("x");
  const auto [ours, theirs] = SocketPair();
  for (const int length : {-1, 1801, INT_MIN, INT_MAX}) {
    message.len = length;
    message.sock = 0;
    EXPECT_FALSE(pair.client.SendMsg(&message)) << length;
    message.sock = ours.number();
    EXPECT_FALSE(pair.client.SendMsg(&message)) << length;
  }
  pair.client.Close();
  EXPECT_TRUE(pair.peer.ReceiveEnd());
  EXPECT_EQ(recv(theirs.number(), message.data, 1, MSG_DONTWAIT), -1);
}

TEST(TcpClientSendTest, SendsOnTheSocketThatTheMessageNames) {
  Pair pair;
  const auto [ours, theirs] = SocketPair();
  CTCPMessage message = MessageOf("elsewhere");
  message.sock = ours.number();
  EXPECT_TRUE(pair.client.SendMsg(&message));
  EXPECT_EQ(theirs.Receive(9), "elsewhere");
  pair.client.Close();
  EXPECT_TRUE(pair.peer.ReceiveEnd());
}

TEST(TcpClientSendTest, SendsOnAnotherSocketWithoutOneOfItsOwn) {
  const auto [ours, theirs] = SocketPair();
  EXPECT_TRUE(SendOn(ours.number()));
  EXPECT_EQ(theirs.Receive(1), "x");
}

TEST(TcpClientSendTest, ReportsADeadDescriptor) {
  EXPECT_FALSE(SendOn(-1));
  EXPECT_FALSE(SendOn(INT_MAX));
}

TEST(TcpClientSendTest, ReportsADescriptorThatIsNoSocket) {
  std::array<int, 2> ends;
  ASSERT_EQ(pipe(ends.data()), 0);
  EXPECT_FALSE(SendOn(ends[1]));
  close(ends[0]);
  close(ends[1]);
}

// No socket is the number 0, which may be anybody's.
TEST(TcpClientSendTest, LeavesDescriptorZeroAloneWithoutASocket) {
  const auto [ours, theirs] = SocketPair();
  const int standardInput = dup(STDIN_FILENO);
  ASSERT_EQ(dup2(ours.number(), STDIN_FILENO), STDIN_FILENO);
  {
    CTCPClient client;
    const CTCPMessage message = MessageOf("x");
    EXPECT_FALSE(client.SendMsg(&message));
    client.Close();
    EXPECT_FALSE(client.SendMsg(&message));
  }
  char byte = 0;
  EXPECT_EQ(recv(theirs.number(), &byte, 1, MSG_DONTWAIT), -1);
  EXPECT_EQ(errno, EAGAIN);  // Nothing came, and it is still open.
  if (standardInput == -1) {
    close(STDIN_FILENO);
  } else {
    dup2(standardInput, STDIN_FILENO);
    close(standardInput);
  }
}

TEST(TcpClientSendTest, FailsOnceThePeerHasClosed) {
  Pair pair;
  pair.peer.Close();
  EXPECT_TRUE(WaitForEnd(pair.client));
  const CTCPMessage message = MessageOf("x");
  EXPECT_FALSE(pair.client.SendMsg(&message));
}

TEST(TcpClientSendTest, FailsOnceThePeerHasReset) {
  Pair pair;
  pair.peer.Reset();
  EXPECT_TRUE(WaitForEnd(pair.client));
  const CTCPMessage message = MessageOf("x");
  EXPECT_FALSE(pair.client.SendMsg(&message));
}

TEST(TcpClientSendTest, FailsOnceTheClientHasClosed) {
  Pair pair;
  pair.client.Close();
  const CTCPMessage message = MessageOf("x");
  EXPECT_FALSE(pair.client.SendMsg(&message));
}

// Takes the 2 seconds of the timeout, the only test that does.
TEST(TcpClientSendTest, FailsWhileThePeerDoesNotRead) {
  Pair pair;
  const std::string body(1800, 'x');
  const CTCPMessage message = MessageOf(body);
  std::size_t taken = 0;
  while (pair.client.SendMsg(&message)) taken += body.size();
  EXPECT_TRUE(pair.client.IsNotTerminated());
  std::thread closing([&] { pair.client.Close(); });
  std::size_t arrived = 0;
  for (std::size_t more = 1; more > 0; arrived += more)
    more = pair.peer.Receive(100000).size();
  closing.join();
  EXPECT_GE(arrived, taken);
  EXPECT_LT(arrived, taken + body.size());
}

TEST(TcpClientSendTest, SendsFromManyThreads) {
  constexpr int kThreads = 4;
  constexpr std::size_t kMessages = 500;
  Pair pair;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&pair, i] {
      const CTCPMessage message =
          MessageOf(std::string(1000, static_cast<char>('a' + i)));
      for (std::size_t sent = 0; sent < kMessages; ++sent)
        EXPECT_TRUE(pair.client.SendMsg(&message));
    });
  }
  const std::string bytes = pair.peer.Receive(kThreads * kMessages * 1000);
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < kThreads; ++i) {
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 'a' + i),
              kMessages * 1000);
  }
}

// Many sends meet the end of the connection; it ends all the same.
TEST(TcpClientSendTest, SendsWhileThePeerCloses) {
  const CTCPMessage message = MessageOf("x");
  for (int round = 0; round < 30; ++round) {
    Pair pair;
    ASSERT_TRUE(pair.connected);
    EXPECT_TRUE(pair.client.SendMsg(&message));
    std::array<std::thread, 3> threads;
    for (std::thread& thread : threads) {
      thread = std::thread([&] {
        while (pair.client.SendMsg(&message)) {
        }
      });
    }
    pair.peer.Reset();
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(pair.client.SendMsg(&message));
    EXPECT_TRUE(pair.client.IsNotTerminated());
    pair.client.Close();
    EXPECT_FALSE(pair.client.IsNotTerminated());
  }
}

// SIGPIPE in this thread: what a test makes of it is undone at its end.
class TcpClientSigpipeTest : public testing::Test {
 protected:
  TcpClientSigpipeTest() {
    handled = 0;
    sigaction(SIGPIPE, nullptr, &action_);
    pthread_sigmask(SIG_SETMASK, nullptr, &mask_);
  }

  ~TcpClientSigpipeTest() override {
    sigaction(SIGPIPE, &action_, nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }

  static void Handle(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    ASSERT_EQ(sigaction(SIGPIPE, &action, nullptr), 0);
  }

  static void CountSignal(int /*signal*/) { handled = handled + 1; }

  static sigset_t Sigpipe() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
  }

  static void Block(int how) {
    const sigset_t set = Sigpipe();
    pthread_sigmask(how, &set, nullptr);
  }

  static bool IsBlocked() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, SIGPIPE) == 1;
  }

  static bool IsPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
  }

  static volatile std::sig_atomic_t handled;

 private:
  struct sigaction action_;
  sigset_t mask_;
};

volatile std::sig_atomic_t TcpClientSigpipeTest::handled = 0;

TEST_F(TcpClientSigpipeTest, SurvivesWithTheDefaultAction) {
  Handle(SIG_DFL);
  const Socket broken = BrokenSocket();
  EXPECT_FALSE(SendOn(broken.number()));
  EXPECT_FALSE(IsPending());
  EXPECT_FALSE(IsBlocked());
}

TEST_F(TcpClientSigpipeTest, CallsNoHandler) {
  Handle(&CountSignal);
  const Socket broken = BrokenSocket();
  EXPECT_FALSE(SendOn(broken.number()));
  EXPECT_EQ(handled, 0);

  ASSERT_EQ(raise(SIGPIPE), 0);  // The handler itself is untouched.
  EXPECT_EQ(handled, 1);
}

TEST_F(TcpClientSigpipeTest, LeavesNothingBehindWhereItIsIgnored) {
  Handle(SIG_IGN);
  const Socket broken = BrokenSocket();
  EXPECT_FALSE(SendOn(broken.number()));
  EXPECT_FALSE(IsPending());
  struct sigaction action = {};
  sigaction(SIGPIPE, nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_IGN);
}

TEST_F(TcpClientSigpipeTest, LeavesNothingBehindWhereItIsBlocked) {
  Handle(&CountSignal);
  Block(SIG_BLOCK);
  const Socket broken = BrokenSocket();
  EXPECT_FALSE(SendOn(broken.number()));
  EXPECT_FALSE(IsPending());
  EXPECT_TRUE(IsBlocked());
}

TEST_F(TcpClientSigpipeTest, KeepsASignalThatWasPending) {
  Handle(&CountSignal);
  Block(SIG_BLOCK);
  ASSERT_EQ(raise(SIGPIPE), 0);
  const Socket broken = BrokenSocket();
  EXPECT_FALSE(SendOn(broken.number()));
  EXPECT_TRUE(IsPending());
  EXPECT_EQ(handled, 0);
  Block(SIG_UNBLOCK);
  EXPECT_EQ(handled, 1);
}

TEST_F(TcpClientSigpipeTest, ReachesTheHandlerAfterASuccess) {
  Handle(&CountSignal);
  const auto [ours, theirs] = SocketPair();
  EXPECT_TRUE(SendOn(ours.number()));
  EXPECT_FALSE(IsBlocked());
  ASSERT_EQ(raise(SIGPIPE), 0);
  EXPECT_EQ(handled, 1);
}

}  // namespace
}  // namespace fairlead::tcp_client_send_test
