// Serves peers in one poll loop. No call but poll() waits.

#include "tool/listen/listener.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

#include "tool/base/concat.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kBufferSize = 65536;

// How much of what is received may wait to be sent back: of one peer; of all
// of them, who share it; and of each of them even if nothing is left to share,
// so that peers that do not read their echo starve nobody.
constexpr std::size_t kMaxWaiting = std::size_t{64} << 10;
constexpr std::size_t kShared = std::size_t{3} << 20;
constexpr std::size_t kLeastWaiting = std::size_t{1} << 10;

[[noreturn]] void Fail(int error) {
  throw std::system_error(error, std::generic_category());
}

void Check(int result) {
  if (result == -1) Fail(errno);
}

// The socket API takes every address family as this type.
sockaddr* Generic(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

int NewSocket() {
  const int created =
      socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  Check(created);
  return created;
}

int BoundPort(int listener) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  Check(getsockname(listener, Generic(address), &size));
  return ntohs(address.sin_port);
}

// Returns the port. One that is given can be used again as soon as its last
// server has ended; a free one must not be such a port, or listen() could fail.
int Listen(int listener, in_addr address, int port) {
  const int reuse = port == 0 ? 0 : 1;
  Check(setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse));
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr = address;
  place.sin_port = htons(static_cast<std::uint16_t>(port));
  Check(bind(listener, Generic(place), sizeof place));
  Check(listen(listener, SOMAXCONN));
  return BoundPort(listener);
}

std::string NameOf(const sockaddr_in& peer) {
  std::array<char, INET_ADDRSTRLEN> address{};
  inet_ntop(AF_INET, &peer.sin_addr, address.data(), address.size());
  return Concat(address.data(), ":", ntohs(peer.sin_port));
}

bool IsExhaustion(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS ||
         error == ENOMEM;
}

// accept() also reports what happened to the one connection, which is gone, or
// that the firewall refuses it.
bool ConcernsOneConnection(int error) {
  constexpr std::array kErrors = {
      EAGAIN,      EINTR,  ECONNABORTED, EPROTO,       ENETDOWN,    EPERM,
      ENOPROTOOPT, ENONET, EHOSTDOWN,    EHOSTUNREACH, ENETUNREACH, EOPNOTSUPP};
  return std::ranges::find(kErrors, error) != kErrors.end();
}

bool IsTransient(int error) { return error == EAGAIN || error == EINTR; }

}  // namespace

// One connection, which it serves as far as that is possible without waiting.
class Listener::Connection {
 public:
  Connection(int socket, std::string name, Listener& listener)
      : socket_(socket),
        listener_(listener),
        peer_{.name = std::move(name)},
        reply_left_(listener.settings_.reply.size()),
        echoes_(listener.settings_.echo),
        left_(listener.settings_.bytes) {}

  const PeerAccount& peer() const { return peer_; }
  int error() const { return error_; }
  bool HasEnded() const { return left_ == 0 && !HasWaiting(); }

  // Makes closing the socket reset the connection.
  void Reset() const {
    const linger at_once = {.l_onoff = 1, .l_linger = 0};
    setsockopt(socket_.number(), SOL_SOCKET, SO_LINGER, &at_once,
               sizeof at_once);
  }

  // Leaves out a connection that waits for nothing: if it were broken, poll()
  // would return at once, again and again.
  pollfd Wait(ListenerEvents& events) const {
    const int awaited =
        (Reads(events) ? POLLIN : 0) | (Writes(events) ? POLLOUT : 0);
    return {.fd = awaited == 0 ? -1 : socket_.number(),
            .events = static_cast<short>(awaited),
            .revents = 0};
  }

  void Serve(int happened, std::vector<char>& buffer, ListenerEvents& events) {
    if ((happened & ~POLLOUT) != 0 && Reads(events)) Read(buffer, events);
    if (Writes(events)) Write(buffer, events);
  }

 private:
  bool HasWaiting() const { return reply_left_ > 0 || !echo_.empty(); }

  bool Writes(ListenerEvents& events) const {
    return HasWaiting() && events.TakesSent(peer_);
  }

  // The reply is not copied, so it may wait without being counted: its peer may
  // send all it has before it reads.
  bool Reads(ListenerEvents& events) const {
    return left_ > 0 && Room() > 0 && events.TakesReceived(peer_);
  }

  // Returns how much may be received.
  std::size_t Room() const {
    if (!echoes_) return kBufferSize;
    const std::size_t most = listener_.MostWaiting(echo_.size());
    return most - std::min(most, echo_.size());
  }

  void Read(std::vector<char>& buffer, ListenerEvents& events) {
    const ssize_t got = recv(socket_.number(), buffer.data(),
                             std::min({buffer.size(), left_, Room()}), 0);
    if (got > 0)
      return Take({buffer.data(), static_cast<std::size_t>(got)}, events);
    if (got == -1 && IsTransient(errno)) return;
    left_ = 0;
    if (got == -1) Break(errno);
  }

  void Take(std::string_view bytes, ListenerEvents& events) {
    if (left_ != ListenerSettings::kUnlimited) left_ -= bytes.size();
    peer_.received += bytes.size();
    events.Received(peer_, bytes);
    if (echoes_) Echo(bytes, events);
  }

  // Keeps only what the system does not take.
  void Echo(std::string_view bytes, ListenerEvents& events) {
    if (!HasWaiting() && events.TakesSent(peer_))
      bytes.remove_prefix(Sent(bytes, events));
    if (echoes_) Keep(bytes);
  }

  void Keep(std::string_view bytes) {
    echo_ += bytes;
    listener_.waiting_ += bytes.size();
  }

  // Also gives the memory back, so that it is in proportion to what waits.
  void Forget(std::size_t count) {
    echo_.erase(0, count);
    listener_.waiting_ -= count;
    if (echo_.size() < echo_.capacity() / 2) echo_.shrink_to_fit();
  }

  // Once per turn, so that a peer that reads fast leaves the others theirs.
  void Write(std::vector<char>& buffer, ListenerEvents& events) {
    if (reply_left_ == 0) return Forget(Sent(echo_, events));
    const Reply& reply = listener_.settings_.reply;
    reply_left_ -= Sent(reply.From(reply.size() - reply_left_, buffer), events);
  }

  // Returns how many bytes were sent; none of them wait after a failure.
  std::size_t Sent(std::string_view bytes, ListenerEvents& events) {
    const ssize_t sent =
        send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent == -1) {
      if (!IsTransient(errno)) Break(errno);
      return 0;
    }
    const auto count = static_cast<std::size_t>(sent);
    peer_.sent += count;
    events.Sent(peer_, bytes.substr(0, count));
    return count;
  }

  // Sends nothing more. What has come from the peer is still read, without
  // waiting for more. If only this side has failed, the peer must not take for
  // whole what it was sent.
  void Break(int error) {
    if (error_ == 0) error_ = error == EPIPE ? ECONNRESET : error;
    reply_left_ = 0;
    Forget(echo_.size());
    echoes_ = false;
    Reset();
    shutdown(socket_.number(), SHUT_RD);
  }

  const Descriptor socket_;
  Listener& listener_;
  PeerAccount peer_;
  std::uint64_t reply_left_;  // Bytes of the reply to send.
  std::string echo_;          // Received, and not sent back yet.
  bool echoes_;
  std::size_t left_;  // Bytes to receive; 0 also after the peer's end.
  int error_ = 0;
};

Listener::Listener(in_addr address, int port, ListenerSettings settings)
    : settings_(std::move(settings)),
      socket_(std::in_place, NewSocket()),
      port_(Listen(socket_->number(), address, port)),
      buffer_(kBufferSize) {}

Listener::~Listener() = default;

bool Listener::Serve(ListenerEvents& events, int stop) {
  std::vector<pollfd> waits;
  while (socket_ || !connections_.empty()) {
    waits = {{.fd = stop, .events = POLLIN, .revents = 0},
             {.fd = events.Outlet(), .events = POLLOUT, .revents = 0},
             {.fd = Accepts(events) ? socket_->number() : -1,
              .events = POLLIN,
              .revents = 0}};
    const std::size_t before = waits.size();
    for (const auto& connection : connections_)
      waits.push_back(connection->Wait(events));
    while (poll(waits.data(), waits.size(), -1) == -1)
      if (errno != EINTR) Fail(errno);
    if (waits[0].revents != 0) return false;
    if (waits[1].revents != 0) events.OutletIsReady();
    if (waits[2].revents != 0) Accept(events);
    for (std::size_t i = before; i < waits.size(); ++i)
      if (waits[i].revents != 0)
        connections_[i - before]->Serve(waits[i].revents, buffer_, events);
    RemoveEnded(events);
  }
  return true;
}

void Listener::Abandon() {
  Close();
  for (const auto& connection : connections_) connection->Reset();
  connections_.clear();
  waiting_ = 0;
}

// Each peer has an equal share, as far as the others leave it that. Those that
// came first, when there were fewer, may have more.
std::size_t Listener::MostWaiting(std::size_t own) const {
  const std::size_t share =
      std::min(kShared / connections_.size(), kMaxWaiting);
  const std::size_t left = kShared - std::min(kShared, waiting_);
  return std::max(std::min(share, own + left), kLeastWaiting);
}

void Listener::Accept(ListenerEvents& events) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  const int socket = accept4(socket_->number(), Generic(address), &size,
                             SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (socket == -1) return PassOver(errno, events);
  connections_.push_back(
      std::make_unique<Connection>(socket, NameOf(address), *this));
  if (++accepted_ == settings_.count) Close();
  events.Connected(connections_.back()->peer());
}

void Listener::PassOver(int error, ListenerEvents& events) {
  if (ConcernsOneConnection(error)) return;
  if (!IsExhaustion(error) || connections_.empty()) Fail(error);
  exhausted_ = true;
  if (!std::exchange(exhaustion_is_reported_, true)) events.Exhausted(error);
}

void Listener::RemoveEnded(ListenerEvents& events) {
  std::erase_if(connections_, [this, &events](const auto& connection) {
    if (!connection->HasEnded()) return false;
    events.Ended(connection->peer(), connection->error());
    exhausted_ = false;
    return true;
  });
}

}  // namespace fairlead::tool
