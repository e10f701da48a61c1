// Sending while system calls fail, and the life of the descriptor during a
// send.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"
#include "fairlead/net/tcp_client_calls_testing.h"

namespace fairlead::tcp_client_send_faults_test {
namespace {

using internal::calls;
using internal::Fail;
using internal::IsOpen;
using internal::Listener;
using internal::MessageOf;
using internal::Pair;
using internal::Socket;
using internal::WaitForMessages;
using internal::WaitUntil;

using TcpClientSendFaultsTest = internal::InterposedCallsTest;

TEST_F(TcpClientSendFaultsTest, ReportsAShortSend) {
  Pair pair;
  const CTCPMessage message = MessageOf("12345");
  for (const int sent : {0, 1, 4}) {
    calls.send = [sent](int, const void*, std::size_t, int) { return sent; };
    EXPECT_FALSE(pair.client.SendMsg(&message)) << sent;
  }
  calls.send = [](int, const void*, std::size_t, int) { return 5; };
  EXPECT_TRUE(pair.client.SendMsg(&message));
}

TEST_F(TcpClientSendFaultsTest, ReportsAFailedSend) {
  Pair pair;
  for (const int error : {EAGAIN, EINTR, EPIPE, ECONNRESET}) {
    for (const CTCPMessage& message : {MessageOf("12345"), MessageOf("")}) {
      int sends = 0;
      calls.send = [&](int, const void*, std::size_t, int) {
        ++sends;
        return Fail(error);
      };
      EXPECT_FALSE(pair.client.SendMsg(&message)) << error;
      EXPECT_EQ(sends, 1);  // Nothing is tried again.
    }
  }
}

volatile std::sig_atomic_t handled = 0;

// Such as that of a pipe in another part of the program, meanwhile.
TEST_F(TcpClientSendFaultsTest, KeepsASigpipeThatTheSendDidNotRaise) {
  handled = 0;
  struct sigaction action = {};
  struct sigaction before = {};
  action.sa_handler = [](int) { handled = handled + 1; };
  ASSERT_EQ(sigaction(SIGPIPE, &action, &before), 0);
  Pair pair;
  calls.send = [](int, const void*, std::size_t, int) {
    EXPECT_EQ(raise(SIGPIPE), 0);
    EXPECT_EQ(handled, 0);  // Held back until the end.
    return Fail(EAGAIN);
  };
  const CTCPMessage message = MessageOf("x");
  EXPECT_FALSE(pair.client.SendMsg(&message));
  EXPECT_EQ(handled, 1);
  sigaction(SIGPIPE, &before, nullptr);
}

TEST_F(TcpClientSendFaultsTest, SendsOnceWithoutFlags) {
  NoteSocket();
  Pair pair;
  const CTCPMessage message = MessageOf("12345");
  int sends = 0;
  calls.send = [&](int sock, const void* data, std::size_t size, int flags) {
    EXPECT_EQ(sock, sock_);
    EXPECT_EQ(data, message.data);  // Not copied.
    EXPECT_EQ(size, 5U);
    EXPECT_EQ(flags, 0);
    ++sends;
    return 5;
  };
  EXPECT_TRUE(pair.client.SendMsg(&message));
  EXPECT_EQ(sends, 1);
}

// A send on its way while the peer closes: the number stays its socket's until
// it has returned.
TEST_F(TcpClientSendFaultsTest, ClosesNoDescriptorDuringASend) {
  NoteSocket();
  std::atomic<bool> closing = false;
  std::atomic<bool> closed = false;
  calls.shutdown = [&](int sock, int how) {
    closing = true;
    return FAIRLEAD_SYSTEM(shutdown)(sock, how);
  };
  calls.close = [&](int descriptor) {
    if (descriptor == sock_) closed = closing = true;
    return FAIRLEAD_SYSTEM(close)(descriptor);
  };
  Pair pair;
  calls.send = [&](int, const void*, std::size_t, int) -> ssize_t {
    pair.peer.Close();
    while (!closing) std::this_thread::yield();
    EXPECT_FALSE(closed);
    return 1;
  };
  const CTCPMessage message = MessageOf("x");
  EXPECT_TRUE(pair.client.SendMsg(&message));
  pair.client.Close();
  EXPECT_TRUE(closed);
}

// The same for the call by which Terminate wakes the receive thread.
TEST_F(TcpClientSendFaultsTest, ClosesNoDescriptorThatTerminateWakes) {
  NoteSocket();
  std::atomic<bool> waiting = false;
  std::atomic<bool> closing = false;
  std::atomic<bool> closed = false;
  std::function<void()> closePeer;
  calls.select = [&](int end, fd_set* read, fd_set*, fd_set*, timeval* limit) {
    waiting = true;  // The thread has seen that it is to go on.
    return FAIRLEAD_SYSTEM(select)(end, read, nullptr, nullptr, limit);
  };
  calls.close = [&](int descriptor) {
    if (descriptor == sock_) closed = closing = true;
    return FAIRLEAD_SYSTEM(close)(descriptor);
  };
  calls.shutdown = [&](int sock, int how) {
    if (how == SHUT_RD) {
      closePeer();
      while (!closing) std::this_thread::yield();
      EXPECT_FALSE(closed);
    }
    closing = true;
    return FAIRLEAD_SYSTEM(shutdown)(sock, how);
  };
  Pair pair;
  closePeer = [&pair] { pair.peer.Close(); };
  while (!waiting) std::this_thread::yield();
  pair.client.Terminate();
  EXPECT_TRUE(closed);
}

// A send waits for room while the client is closed: it ends, at once.
TEST_F(TcpClientSendFaultsTest, EndsASendThatWaitsWhenItCloses) {
  std::atomic<bool> full = false;
  calls.setsockopt = [](int, int, int, const void*, socklen_t) { return 0; };
  calls.send = [&](int sock, const void* data, std::size_t size, int) {
    const ssize_t sent =
        FAIRLEAD_SYSTEM(send)(sock, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(size)) return sent;
    full = true;  // Without a timeout, the next one waits for ever.
    return FAIRLEAD_SYSTEM(send)(sock, data, size, MSG_NOSIGNAL);
  };
  Pair pair;
  const CTCPMessage message = MessageOf(std::string(1800, 'x'));
  std::size_t taken = 0;
  std::thread sending([&] {
    while (pair.client.SendMsg(&message)) taken += 1800;
  });
  while (!full) std::this_thread::yield();
  pair.client.Close();
  sending.join();
  EXPECT_FALSE(pair.client.SendMsg(&message));
  std::size_t arrived = 0;
  for (std::size_t more = 1; more > 0; arrived += more)
    more = pair.peer.Receive(100'000).size();
  EXPECT_GE(arrived, taken);
  EXPECT_LT(arrived, taken + 1800);
}

// Numbers that an fd_set has no room for.
TEST_F(TcpClientSendFaultsTest, WorksWithDescriptorsOfAnyNumber) {
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit most = {before.rlim_max, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &most), 0);
  NoteSocket();
  for (const int number : {1022, 1023, 1024, 1025, 2047, 2048, 4999, 19999}) {
    if (static_cast<rlim_t>(number) >= before.rlim_max) continue;
    SCOPED_TRACE(number);
    calls.socket = {};
    const Listener listener = std::move(Listener().Listen());
    calls.socket = [number](int domain, int type, int protocol) {
      const int sock = FAIRLEAD_SYSTEM(socket)(domain, type, protocol);
      const int moved = fcntl(sock, F_DUPFD_CLOEXEC, number);
      close(sock);
      return moved;
    };
    CTCPClient client;
    ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
    ASSERT_EQ(sock_, number);
    Socket peer = listener.Accept();
    for (int i = 0; i < 3; ++i) {
      ASSERT_TRUE(peer.Send("x"));
      ASSERT_TRUE(WaitForMessages(client, 1));
      const CTCPMessage message = client.PopMessage();
      EXPECT_EQ(message.sock, number);
      EXPECT_TRUE(client.SendMsg(&message));
      EXPECT_EQ(peer.Receive(1), "x");
    }
    peer.Close();
    EXPECT_TRUE(WaitUntil(client, [&] { return !IsOpen(number); }));
  }
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

// A program may take the socket away while the thread waits; the thread then
// has none, and does not mistake that for descriptor 0.
TEST_F(TcpClientSendFaultsTest, EndsWhereItsSocketIsForgotten) {
  NoteSocket();
  std::atomic<bool> waiting = false;
  std::vector<int> ends;
  calls.select = [&](int end, fd_set* read, fd_set*, fd_set*, timeval* limit) {
    ends.push_back(end);
    waiting = true;
    return FAIRLEAD_SYSTEM(select)(end, read, nullptr, nullptr, limit);
  };
  Pair pair;
  while (!waiting) std::this_thread::yield();
  calls.socket = [](int, int, int) { return Fail(EMFILE); };
  EXPECT_FALSE(pair.client.CreateMainSock());
  ASSERT_TRUE(pair.peer.Send("x"));  // Ends the wait that is in progress.
  EXPECT_TRUE(WaitForMessages(pair.client, 1));
  pair.client.Close();
  EXPECT_EQ(ends, std::vector<int>{sock_ + 1});
  close(sock_);
}

}  // namespace
}  // namespace fairlead::tcp_client_send_faults_test
