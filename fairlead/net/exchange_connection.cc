// The private side of a CTCPClient that an exchange uses.

#include "fairlead/net/exchange_connection.h"

#include <arpa/inet.h>
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
#include <cstdint>
#include <system_error>
#include <utility>

namespace fairlead::internal {
namespace {

// Returns for how long to wait for an acknowledgement, which the peer's system
// may delay by 0.5 s.
std::optional<std::chrono::milliseconds> WithDelay(
    std::optional<std::chrono::milliseconds> idle) {
  if (!idle) return idle;
  return std::max(*idle, std::chrono::milliseconds(500));
}

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

// A connection that was made and reset since. After the peer's end, the system
// calls it a broken pipe.
bool WasReset(int error) { return error == ECONNRESET || error == EPIPE; }

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

// Where no server listens on a port of this machine that the system also gives
// to clients, it may give that port to this one, which then connects to itself.
bool IsSelf(const sockaddr_in& own, const sockaddr_in& peer) {
  return own.sin_port == peer.sin_port &&
         own.sin_addr.s_addr == peer.sin_addr.s_addr;
}

// Returns ECONNREFUSED if the socket is connected to itself, and makes its
// close free the port at once. The peer's address is asked for only if the port
// is the same: an address of 0 means this machine.
int RefuseSelf(int sock, std::uint16_t port) {
  sockaddr_in own = {};
  socklen_t size = sizeof(own);
  if (getsockname(sock, reinterpret_cast<sockaddr*>(&own), &size) == -1)
    return errno;
  if (own.sin_port != port) return 0;
  sockaddr_in peer = {};
  size = sizeof(peer);
  if (getpeername(sock, reinterpret_cast<sockaddr*>(&peer), &size) == -1 ||
      !IsSelf(own, peer))
    return 0;
  const linger reset = {.l_onoff = 1, .l_linger = 0};
  setsockopt(sock, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
  return ECONNREFUSED;
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

int ExchangeConnection::Open(in_addr address, std::uint16_t port,
                             Deadline deadline) {
  Close();
  const int error = Connect({.sin_family = AF_INET,
                             .sin_port = htons(port),
                             .sin_addr = address,
                             .sin_zero = {}},
                            deadline);
  if (error != 0) Close();
  return error;
}

int ExchangeConnection::Connect(const sockaddr_in& address, Deadline deadline) {
  client_.owner_ = getpid();
  client_.peer_.addr = address;
  if (!client_.CreateMainSock()) return errno;
  finished_ = false;
  unacknowledged_ = 0;
  KeepAlive(client_.mainSock_);
  const int made = ConnectSocket(client_.mainSock_, address, deadline);
  if (made != 0 && !WasReset(made)) return made;
  reset_ = made == 0 ? 0 : ECONNRESET;
  if (const int error = RefuseSelf(client_.mainSock_, address.sin_port))
    return error;
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

bool ExchangeConnection::IsReady(short events) const {
  pollfd file = {.fd = descriptor(), .events = events, .revents = 0};
  return poll(&file, 1, 0) == 1 && (file.revents & events) != 0;
}

int ExchangeConnection::ReceiveError() const {
  const int error = client_.receiveError_;
  return error == 0 ? reset_ : error;
}

int ExchangeConnection::TakeError() const { return SocketError(descriptor()); }

int ExchangeConnection::Unacknowledged() const {
  int count = 0;
  return ioctl(descriptor(), SIOCOUTQ, &count) == -1 ? -1 : count;
}

bool ExchangeConnection::HasAcknowledgedMore() {
  const int left = Unacknowledged();
  return std::exchange(unacknowledged_, left) != left;
}

std::optional<std::chrono::milliseconds> ExchangeConnection::Patience(
    std::optional<std::chrono::milliseconds> idle) const {
  return AwaitsAcknowledgement() ? WithDelay(idle) : idle;
}

std::uint64_t ExchangeConnection::WithoutEnd(int unacknowledged) const {
  return static_cast<std::uint64_t>(
      std::max(unacknowledged - (finished_ ? 1 : 0), 0));
}

ExchangeConnection::Delivery ExchangeConnection::Undelivered() const {
  const int left = Unacknowledged();
  if (left == -1) return {.error = errno};
  const std::uint64_t missing = WithoutEnd(left);
  if (missing == 0) return {};
  return {.error = IsReceiving() || ReceiveError() == 0 ? TakeError()
                                                        : ReceiveError(),
          .missing = missing};
}

void ExchangeConnection::DropReceived(Deadline deadline) {
  buffer_->Wait(deadline, [](bool any) { return any; });
  while (buffer_->Next()) {
  }
}

ExchangeConnection::Delivery ExchangeConnection::Deliver(
    Deadline end, std::optional<std::chrono::milliseconds> idle) {
  using std::chrono::steady_clock;
  if (client_.owner_ != getpid()) return {};
  Delivery left = Undelivered();
  if (left.missing > 0 && left.error == 0) left.error = FinishSending();
  const auto until = [&] {
    return Earlier(end, DeadlineAfter(steady_clock::now(), WithDelay(idle)));
  };
  Deadline deadline = until();
  LookPause pause;
  while (left.missing > 0 && left.error == 0 && !HasPassed(deadline)) {
    DropReceived(Earlier(deadline, pause.End()));
    const std::uint64_t before = left.missing;
    left = Undelivered();
    pause.Note(left.missing < before);
    if (left.missing < before) deadline = until();
  }
  return left;
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
