// Connecting, receiving and closing while system calls fail, and what each call
// is asked for.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"
#include "fairlead/net/tcp_client_calls_testing.h"
#include "fairlead/testing/captured_output.h"

namespace fairlead::tcp_client_faults_test {
namespace {

using internal::calls;
using internal::CapturedOutput;
using internal::CountDescriptors;
using internal::Fail;
using internal::IsOpen;
using internal::Listener;
using internal::Pair;
using internal::WaitForEnd;
using internal::WaitForMessages;
using internal::WaitingConsumer;

using TcpClientFaultsTest = internal::InterposedCallsTest;

TEST_F(TcpClientFaultsTest, SystemHasNoSocket) {
  calls.socket = [](int, int, int) { return Fail(EMFILE); };
  CTCPClient client;
  const NetClient anybody;
  CapturedOutput output;
  EXPECT_FALSE(client.ConnectTo(&anybody));
  EXPECT_EQ(output.Take(), "");
  const CTCPMessage nothing;
  EXPECT_FALSE(client.SendMsg(&nothing));
  client.Close();
  EXPECT_FALSE(client.CreateMainSock());
  EXPECT_FALSE(client.IsNotTerminated());  // Only a socket revives it.
}

TEST_F(TcpClientFaultsTest, ForgetsItsSocketWhereThereIsNoOther) {
  CTCPClient client;
  ASSERT_TRUE(client.CreateMainSock());
  const int descriptors = CountDescriptors();
  calls.socket = [](int, int, int) { return Fail(ENFILE); };
  EXPECT_FALSE(client.CreateMainSock());
  client.Close();
  EXPECT_EQ(CountDescriptors(), descriptors);  // The first one, not closed.
}

TEST_F(TcpClientFaultsTest, AsksForAnIpv4StreamSocket) {
  std::vector<int> asked;
  calls.socket = [&](int domain, int type, int protocol) {
    asked = {domain, type, protocol};
    return Fail(EMFILE);
  };
  EXPECT_FALSE(CTCPClient().CreateMainSock());
  EXPECT_EQ(asked, (std::vector<int>{AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0}));
}

TEST_F(TcpClientFaultsTest, PrintsTheErrorOfAConnection) {
  int tried = -1;
  calls.connect = [&](int sock, const sockaddr*, socklen_t size) {
    tried = sock;
    EXPECT_EQ(size, 16U);
    return Fail(ETIMEDOUT);
  };
  CTCPClient client;
  CapturedOutput output;
  EXPECT_FALSE(client.ConnectTo(&Listener().endpoint()));
  EXPECT_EQ(output.Take(), "err=110\n");
  EXPECT_TRUE(IsOpen(tried));
  client.Terminate();
  EXPECT_FALSE(IsOpen(tried));
}

TEST_F(TcpClientFaultsTest, ConnectsWithoutTheTimeOutsThatItIsRefused) {
  std::vector<int> options;
  calls.setsockopt = [&](int, int level, int option, const void* value,
                         socklen_t size) {
    EXPECT_EQ(level, SOL_SOCKET);
    EXPECT_EQ(size, sizeof(timeval));
    const auto& limit = *static_cast<const timeval*>(value);
    EXPECT_EQ(limit.tv_sec, 2);
    EXPECT_EQ(limit.tv_usec, 0);
    options.push_back(option);
    return Fail(ENOPROTOOPT);
  };
  Pair pair;
  EXPECT_TRUE(pair.connected);
  EXPECT_EQ(options, (std::vector<int>{SO_RCVTIMEO, SO_SNDTIMEO}));
  ASSERT_TRUE(pair.peer.Send("x"));
  EXPECT_TRUE(WaitForMessages(pair.client, 1));
}

TEST_F(TcpClientFaultsTest, AbandonsASocketThatCannotBeWaitedFor) {
  NoteSocket();
  for (const int error : {EINTR, EBADF, ENOMEM}) {
    calls.select = [error](int, fd_set*, fd_set*, fd_set*, timeval*) {
      return Fail(error);
    };
    Pair pair;
    ASSERT_TRUE(pair.connected);
    ASSERT_TRUE(WaitForEnd(pair.client));
    EXPECT_TRUE(pair.client.IsNotTerminated());
    EXPECT_EQ(pair.client.MessagesCount(), 0);
    pair.client.Close();
    EXPECT_FALSE(pair.client.IsNotTerminated());
    EXPECT_TRUE(IsOpen(sock_));
    close(sock_);
  }
}

TEST_F(TcpClientFaultsTest, EndsWhereAReceiveFails) {
  NoteSocket();
  for (const int error : {ECONNRESET, EAGAIN, EINTR}) {
    calls.recv = [error](int, void*, std::size_t, int) { return Fail(error); };
    Pair pair;
    ASSERT_TRUE(pair.peer.Send("x"));
    ASSERT_TRUE(WaitForEnd(pair.client));
    EXPECT_TRUE(pair.client.IsNotTerminated());
    EXPECT_EQ(pair.client.MessagesCount(), 0);
    pair.client.Terminate();
    EXPECT_FALSE(IsOpen(sock_));
  }
}

// It waits before each receive, as no receive is full.
TEST_F(TcpClientFaultsTest, WaitsAndReceivesAsItPromises) {
  NoteSocket();
  calls.ioctl = [](int, unsigned long, void*) { return Fail(EINVAL); };
  std::atomic<int> passes = 0;
  calls.select = [&](int end, fd_set* read, fd_set* write, fd_set* error,
                     timeval* limit) {
    EXPECT_EQ(end, sock_ + 1);
    for (int i = 0; i < FD_SETSIZE; ++i)
      EXPECT_EQ(FD_ISSET(i, read) != 0, i == sock_);
    EXPECT_EQ(write, nullptr);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(limit->tv_sec, 3);  // Afresh each time: the system counts down.
    EXPECT_EQ(limit->tv_usec, 0);
    ++passes;
    return FAIRLEAD_SYSTEM(select)(end, read, write, error, limit);
  };
  calls.recv = [&](int sock, void* data, std::size_t size, int flags) {
    if (sock == sock_) {
      EXPECT_EQ(size, 1796U);
      EXPECT_EQ(flags, 0);
    }
    return FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
  };
  Pair pair;
  for (int i = 1; i <= 5; ++i) {
    ASSERT_TRUE(pair.peer.Send("x"));
    ASSERT_TRUE(WaitForMessages(pair.client, i));
  }
  EXPECT_GE(passes, 5);
}

constexpr int kFlood = 10 * 1796;

class TcpClientFloodTest : public TcpClientFaultsTest {
 protected:
  TcpClientFloodTest() {
    calls.select = [this](int end, fd_set* read, fd_set*, fd_set*,
                          timeval* limit) {
      ++waits_;
      return FAIRLEAD_SYSTEM(select)(end, read, nullptr, nullptr, limit);
    };
  }

  // Makes the receive thread, which asks after its first receive, ask how much
  // there is until all has come.
  void AwaitFlood() {
    calls.ioctl = [this](int sock, unsigned long request, void* argument) {
      for (;;) {
        FAIRLEAD_SYSTEM(ioctl)(sock, request, argument);
        has_come_ = has_come_ || *static_cast<int*>(argument) >= kFlood - 1796;
        if (has_come_) return 0;
      }
    };
  }

  std::atomic<int> waits_ = 0;

 private:
  bool has_come_ = false;
};

// The waits are those for the first message and for more than there is.
TEST_F(TcpClientFloodTest, DoesNotWaitForWhatIsThere) {
  AwaitFlood();
  Pair pair;
  ASSERT_TRUE(pair.peer.Send(std::string(kFlood, 'x')));
  ASSERT_TRUE(WaitForMessages(pair.client, 10));
  EXPECT_LE(waits_, 2);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(pair.client.PopMessage().len, 1796);
}

TEST_F(TcpClientFloodTest, WaitsWhereTheSystemDoesNotSayHowMuchThereIs) {
  calls.ioctl = [](int, unsigned long, void*) { return Fail(EINVAL); };
  Pair pair;
  ASSERT_TRUE(pair.peer.Send(std::string(kFlood, 'x')));
  ASSERT_TRUE(WaitForMessages(pair.client, 10));
  EXPECT_GE(waits_, 10);
}

// The 3 seconds pass in no time, and nothing ever comes.
TEST_F(TcpClientFaultsTest, WakesAConsumerAfterEverySilence) {
  std::atomic<int> silences = 0;
  calls.select = [&](int, fd_set* read, fd_set*, fd_set*, timeval*) {
    FD_ZERO(read);
    ++silences;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return 0;
  };
  Pair pair;
  for (int i = 0; i < 3; ++i) {
    std::unique_lock<std::mutex> lock(pair.client.queueMutex);
    pair.client.messageCv.wait(lock);
  }
  EXPECT_GE(silences, 3);
  EXPECT_EQ(pair.client.MessagesCount(), 0);
}

// Without any limit on the wait, only Terminate itself can end it.
TEST_F(TcpClientFaultsTest, TerminateEndsTheWaitForInput) {
  std::atomic<bool> waiting = false;
  calls.select = [&](int end, fd_set* read, fd_set*, fd_set*, timeval*) {
    waiting = true;
    return FAIRLEAD_SYSTEM(select)(end, read, nullptr, nullptr, nullptr);
  };
  for (int round = 0; round < 100; ++round) {
    waiting = false;
    Pair pair;
    while (!waiting) std::this_thread::yield();
    pair.client.Terminate();
    EXPECT_FALSE(pair.client.IsNotTerminated());
    pair.peer.Reset();
  }
}

// Nor can a silence be what wakes the second.
TEST_F(TcpClientFaultsTest, WakesTwoConsumersForOneMessage) {
  calls.select = [](int end, fd_set* read, fd_set*, fd_set*, timeval*) {
    return FAIRLEAD_SYSTEM(select)(end, read, nullptr, nullptr, nullptr);
  };
  Pair pair;
  WaitingConsumer one(pair.client);
  WaitingConsumer two(pair.client);
  ASSERT_TRUE(pair.peer.Send("x"));
  one.Join();
  two.Join();
  EXPECT_EQ(pair.client.MessagesCount(), 1);
}

TEST_F(TcpClientFaultsTest, TerminateTellsThePeerNothingBeforeItCloses) {
  std::atomic<int> shutdowns = 0;
  int peer = -1;
  calls.shutdown = [&](int sock, int how) {
    if (shutdowns++ > 0) return 0;  // The closing thread's, which may follow.
    EXPECT_EQ(how, SHUT_RD);
    const int result = FAIRLEAD_SYSTEM(shutdown)(sock, how);
    char byte = 0;
    EXPECT_EQ(recv(peer, &byte, 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EAGAIN);
    return result;
  };
  Pair pair;
  peer = pair.peer.number();
  pair.client.Close();
  EXPECT_TRUE(pair.peer.ReceiveEnd());
}

}  // namespace
}  // namespace fairlead::tcp_client_faults_test
