// Every system call of the client that can fail, made to fail; and what each
// call was asked for. The calls are this program's own, and go on to the
// system's unless a test says otherwise.

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/net/loopback.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead {
namespace {

using loopback::CountDescriptors;
using loopback::Listener;
using loopback::MessageOf;
using loopback::Pair;
using loopback::Socket;
using loopback::WaitForEnd;
using loopback::WaitForMessages;
using loopback::WaitingConsumer;
using loopback::WaitUntil;

// What is called in the place of the system; empty functions stand for it. Set
// before a client connects and cleared after it has closed.
struct Calls {
  std::function<int(int, int, int)> socket;
  std::function<int(int, const sockaddr*, socklen_t)> connect;
  std::function<int(int, int, int, const void*, socklen_t)> setsockopt;
  std::function<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select;
  std::function<ssize_t(int, void*, std::size_t, int)> recv;
  std::function<ssize_t(int, const void*, std::size_t, int)> send;
  std::function<int(int, int)> shutdown;
  std::function<int(int)> close;
} calls;

// The system's call of that name.
template <typename Function>
Function* System(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define FAIRLEAD_SYSTEM(name) System<decltype(::name)>(#name)

int Fail(int error) {
  errno = error;
  return -1;
}

bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

}  // namespace
}  // namespace fairlead

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the
// system's headers have no names of use to a reader.
extern "C" {

FAIRLEAD_EXPORT int socket(int domain, int type, int protocol) noexcept {
  using fairlead::calls;
  if (calls.socket) return calls.socket(domain, type, protocol);
  return fairlead::FAIRLEAD_SYSTEM(socket)(domain, type, protocol);
}

FAIRLEAD_EXPORT int connect(int sock, const sockaddr* peer, socklen_t size) {
  using fairlead::calls;
  if (calls.connect) return calls.connect(sock, peer, size);
  return fairlead::FAIRLEAD_SYSTEM(connect)(sock, peer, size);
}

FAIRLEAD_EXPORT int setsockopt(int sock, int level, int name, const void* value,
                               socklen_t size) noexcept {
  using fairlead::calls;
  if (calls.setsockopt) return calls.setsockopt(sock, level, name, value, size);
  return fairlead::FAIRLEAD_SYSTEM(setsockopt)(sock, level, name, value, size);
}

FAIRLEAD_EXPORT int select(int end, fd_set* read, fd_set* write, fd_set* error,
                           timeval* limit) {
  using fairlead::calls;
  if (calls.select) return calls.select(end, read, write, error, limit);
  return fairlead::FAIRLEAD_SYSTEM(select)(end, read, write, error, limit);
}

// By another name in here: the headers may hold a checked recv of their own.
FAIRLEAD_EXPORT ssize_t OwnRecv(int sock, void* data, std::size_t size,
                                int flags) __asm__("recv");

ssize_t OwnRecv(int sock, void* data, std::size_t size, int flags) {
  using fairlead::calls;
  if (calls.recv) return calls.recv(sock, data, size, flags);
  return fairlead::FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
}

FAIRLEAD_EXPORT ssize_t send(int sock, const void* data, std::size_t size,
                             int flags) {
  using fairlead::calls;
  if (calls.send) return calls.send(sock, data, size, flags);
  return fairlead::FAIRLEAD_SYSTEM(send)(sock, data, size, flags);
}

FAIRLEAD_EXPORT int shutdown(int sock, int how) noexcept {
  using fairlead::calls;
  if (calls.shutdown) return calls.shutdown(sock, how);
  return fairlead::FAIRLEAD_SYSTEM(shutdown)(sock, how);
}

FAIRLEAD_EXPORT int close(int descriptor) {
  using fairlead::calls;
  if (calls.close) return calls.close(descriptor);
  return fairlead::FAIRLEAD_SYSTEM(close)(descriptor);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace fairlead {
namespace {

class TcpClientFaultsTest : public testing::Test {
 protected:
  ~TcpClientFaultsTest() override { calls = {}; }

  // The descriptor that the client is given is noted here.
  void NoteSocket() {
    calls.connect = [this](int sock, const sockaddr* peer, socklen_t size) {
      sock_ = sock;
      return FAIRLEAD_SYSTEM(connect)(sock, peer, size);
    };
  }

  int sock_ = -1;
};

TEST_F(TcpClientFaultsTest, SystemHasNoSocket) {
  calls.socket = [](int, int, int) { return Fail(EMFILE); };
  CTCPClient client;
  const NetClient anybody;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(client.ConnectTo(&anybody));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
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
  testing::internal::CaptureStdout();
  EXPECT_FALSE(client.ConnectTo(&Listener().endpoint()));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "err=110\n");
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

TEST_F(TcpClientFaultsTest, WaitsAndReceivesAsItPromises) {
  NoteSocket();
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

TEST_F(TcpClientFaultsTest, ReportsAShortSend) {
  Pair pair;
  const CTCPMessage message = MessageOf("12345");
  for (const int sent : {0, 1, 4}) {
    calls.send = [sent](int, const void*, std::size_t, int) { return sent; };
    EXPECT_FALSE(pair.client.SendMsg(&message)) << sent;
  }
  calls.send = [](int, const void*, std::size_t, int) { return 5; };
  EXPECT_TRUE(pair.client.SendMsg(&message));
}

TEST_F(TcpClientFaultsTest, ReportsAFailedSend) {
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
TEST_F(TcpClientFaultsTest, KeepsASigpipeThatTheSendDidNotRaise) {
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

TEST_F(TcpClientFaultsTest, SendsOnceWithoutFlags) {
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
TEST_F(TcpClientFaultsTest, ClosesNoDescriptorDuringASend) {
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
TEST_F(TcpClientFaultsTest, ClosesNoDescriptorThatTerminateWakes) {
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
TEST_F(TcpClientFaultsTest, EndsASendThatWaitsWhenItCloses) {
  std::atomic<bool> full = false;
  calls.setsockopt = [](int, int, int, const void*, socklen_t) { return 0; };
  calls.send = [&](int sock, const void* data, std::size_t size, int) {
    const ssize_t sent =
        FAIRLEAD_SYSTEM(send)(sock, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(size)) return sent;
    full = true;  // Without a time-out, the next one waits for ever.
    return FAIRLEAD_SYSTEM(send)(sock, data, size, MSG_NOSIGNAL);
  };
  Pair pair;
  std::thread sending([&] {
    const CTCPMessage message = MessageOf(std::string(1800, 'x'));
    while (pair.client.SendMsg(&message)) {
    }
  });
  while (!full) std::this_thread::yield();
  pair.client.Close();
  sending.join();
}

// Numbers that an fd_set has no room for.
TEST_F(TcpClientFaultsTest, WorksWithDescriptorsOfAnyNumber) {
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
TEST_F(TcpClientFaultsTest, EndsWhereItsSocketIsForgotten) {
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
}  // namespace fairlead
