// The private side of a CTCPClient that an exchange uses.

#include "fairlead/net/exchange_connection.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace fairlead::internal {
namespace {

int SetBlocking(int sock, bool blocking) {
  const int flags = fcntl(sock, F_GETFL);
  if (flags == -1) return errno;
  const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
  return fcntl(sock, F_SETFL, wanted) == -1 ? errno : 0;
}

// Returns the error of the socket, which the system then forgets.
int SocketError(int sock) {
  int error = 0;
  socklen_t size = sizeof(error);
  if (getsockopt(sock, SOL_SOCKET, SO_ERROR, &error, &size) == -1) return errno;
  return error;
}

// Makes the system ask a peer that has been quiet for 30 seconds whether it is
// still there, and give up after 30 more without an answer: ETIMEDOUT. Should
// that be refused, only the limits of time end the wait.
void KeepAlive(int sock) {
  const auto set = [sock](int level, int option, int value) {
    setsockopt(sock, level, option, &value, sizeof(value));
  };
  set(IPPROTO_TCP, TCP_KEEPIDLE, 30);
  set(IPPROTO_TCP, TCP_KEEPINTVL, 10);
  set(IPPROTO_TCP, TCP_KEEPCNT, 3);
  set(SOL_SOCKET, SO_KEEPALIVE, 1);
}

// Waits until a connection is made or refused.
int AwaitConnection(int sock, Deadline deadline) {
  pollfd writable = {.fd = sock, .events = POLLOUT, .revents = 0};
  for (;;) {
    const int ready = poll(&writable, 1, PollTimeout(deadline));
    if (ready == -1 && errno != EINTR) return errno;
    if (ready > 0) break;
    if (HasPassed(deadline)) return ETIMEDOUT;
  }
  return SocketError(sock);
}

// A connect that a signal interrupts goes on by itself.
int ConnectSocket(int sock, const sockaddr_in& address, Deadline deadline) {
  if (const int error = SetBlocking(sock, false)) return error;
  if (connect(sock, reinterpret_cast<const sockaddr*>(&address),
              sizeof(address)) == 0)
    return 0;
  if (errno != EINPROGRESS && errno != EINTR) return errno;
  return AwaitConnection(sock, deadline);
}

}  // namespace

int ExchangeConnection::Open(const sockaddr_in& address, Deadline deadline) {
  Close();
  const int error = Connect(address, deadline);
  if (error != 0) Close();
  return error;
}

int ExchangeConnection::Connect(const sockaddr_in& address, Deadline deadline) {
  client_.owner_ = getpid();
  client_.peer_.addr = address;
  if (!client_.CreateMainSock()) return errno;
  finished_ = false;
  KeepAlive(client_.mainSock_);
  reset_ = ConnectSocket(client_.mainSock_, address, deadline);
  if (reset_ != 0 && reset_ != ECONNRESET) return reset_;
  if (const int error = SetBlocking(client_.mainSock_, true)) return error;
  descriptor_.Reset(
      fcntl(client_.mainSock_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return descriptor_.IsOpen() ? Start() : errno;
}

int ExchangeConnection::Start() try {
  buffer_ = std::make_unique<ReceiveBuffer>();
  client_.buffer_ = buffer_.get();
  client_.receiveError_ = CTCPClient::kReceiving;
  client_.StartRecvThread();
  return 0;
} catch (const std::system_error& error) {
  return error.code().value();
}

// A second shutdown would fail once both directions are closed.
int ExchangeConnection::FinishSending() {
  if (!finished_ && shutdown(descriptor(), SHUT_WR) == -1) return errno;
  finished_ = true;
  return 0;
}

bool ExchangeConnection::IsReceiving() const {
  return client_.receiveError_ == CTCPClient::kReceiving;
}

int ExchangeConnection::ReceiveError() const {
  const int error = client_.receiveError_;
  return error == 0 ? reset_ : error;
}

int ExchangeConnection::TakeError() const { return SocketError(descriptor()); }

// No call waits for an acknowledgement, so it is asked for. In between this
// sleeps: once both directions are closed, a poll of the socket would return at
// once.
int ExchangeConnection::AwaitAcknowledgement(Deadline deadline) const {
  constexpr int kLongestSleep = 32;  // In milliseconds.
  for (int sleep = 1;; sleep = std::min(sleep * 2, kLongestSleep)) {
    int unacknowledged = 0;
    if (ioctl(descriptor(), SIOCOUTQ, &unacknowledged) == -1) return errno;
    const int error = SocketError(descriptor());
    if (error != 0 || unacknowledged == 0 || HasPassed(deadline)) return error;
    const Deadline next = DeadlineAfter(std::chrono::steady_clock::now(),
                                        std::chrono::milliseconds(sleep));
    if (poll(nullptr, 0, PollTimeout(Earlier(next, deadline))) == -1 &&
        errno != EINTR)
      return errno;
  }
}

// In a child of fork(), the parent's receive thread may have been using the
// buffer: it is leaked, as it may be locked and half changed.
void ExchangeConnection::Close() {
  const pid_t owner = client_.owner_;
  client_.Close();
  client_.buffer_ = nullptr;
  if (owner != 0 && owner != getpid()) (void)buffer_.release();
  buffer_.reset();
  descriptor_.Reset();
}

}  // namespace fairlead::internal
