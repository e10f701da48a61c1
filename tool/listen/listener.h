// A TCP server for any number of peers, on one thread.

#ifndef FAIRLEAD_TOOL_LISTEN_LISTENER_H_
#define FAIRLEAD_TOOL_LISTEN_LISTENER_H_

#include <netinet/in.h>

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/descriptor.h"
#include "tool/listen/reply.h"

namespace fairlead::tool {

/// How a Listener serves its peers.
struct ListenerSettings {
  static constexpr auto kUnlimited = std::numeric_limits<std::size_t>::max();

  Reply reply = {};                ///< Sent to each peer once it connects.
  bool echo = false;               ///< Whether each peer is sent what it sends.
  std::size_t bytes = kUnlimited;  ///< To receive from each peer, which is then
                                   ///< disconnected.
  std::size_t count = kUnlimited;  ///< Connections to accept; later ones are
                                   ///< refused.
};

/// One peer, and the bytes exchanged with it so far.
struct PeerAccount {
  std::string name;  ///< "127.0.0.1:40123".
  std::size_t received = 0;
  std::size_t sent = 0;
};

/// Receives the events of a Listener, on the thread of Serve(). What it throws
/// leaves Serve().
class ListenerEvents {
 public:
  ListenerEvents() = default;
  ListenerEvents(const ListenerEvents&) = delete;
  ListenerEvents& operator=(const ListenerEvents&) = delete;
  virtual ~ListenerEvents() = default;

  virtual void Connected(const PeerAccount& /*peer*/) {}
  virtual void Received(const PeerAccount& /*peer*/,
                        std::string_view /*bytes*/) {}

  /// The system took these bytes, to send them to the peer.
  virtual void Sent(const PeerAccount& /*peer*/, std::string_view /*bytes*/) {}

  /// @param error 0, or why the connection broke: ECONNRESET if the peer reset
  ///     it
  virtual void Ended(const PeerAccount& /*peer*/, int /*error*/) {}

  /// The system lacks descriptors or memory for another connection, which waits
  /// until one of the others has ended. Called once.
  virtual void Exhausted(int /*error*/) {}

  /// Returns whether another peer may connect, something may be received from a
  /// peer, and something sent to it. What may not, waits.
  virtual bool TakesPeers() { return true; }
  virtual bool TakesReceived(const PeerAccount& /*peer*/) { return true; }
  virtual bool TakesSent(const PeerAccount& /*peer*/) { return true; }

  /// Returns a descriptor, or -1. Once it is writable, OutletIsReady() is
  /// called, and the answers above may be others.
  virtual int Outlet() { return -1; }
  virtual void OutletIsReady() {}
};

/// Serves any number of peers at once. None of them holds up the others, unless
/// the events do.
///
/// A connection ends when it breaks, or when everything has been sent and the
/// peer has closed its sending half or sent all the bytes of the settings.
///
/// @par Cost
/// A peer that does not read its echo is not read either while 64 KiB of it
/// wait, or less if there are many: all peers together share 3 MiB, and each
/// has 1 KiB in any case. What waits takes at most twice its memory.
class Listener {
 public:
  /// Listens. The system completes connections even before Serve().
  ///
  /// @param port 0 for a free one
  /// @throws std::system_error
  Listener(in_addr address, int port, ListenerSettings settings);
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener();

  int port() const { return port_; }

  /// Serves until the last of the settings' connections has ended.
  ///
  /// @param stop a descriptor that ends this when it becomes readable, or -1
  /// @return false if `stop` has ended this
  /// @throws std::system_error if the system fails, or lacks descriptors or
  ///     memory for the only connection
  /// @throws Failure with kCannotRead if the reply cannot be read
  bool Serve(ListenerEvents& events, int stop);

  /// Resets the connections that are not accepted yet, and refuses others.
  void Close() { socket_.reset(); }

  /// Resets all connections, and refuses others: their peers see that this
  /// failed, and do not wait for more.
  void Abandon();

 private:
  class Connection;

  bool Accepts(ListenerEvents& events) const {
    return socket_ && !exhausted_ && events.TakesPeers();
  }
  void Accept(ListenerEvents& events);
  void PassOver(int error, ListenerEvents& events);
  void RemoveEnded(ListenerEvents& events);
  std::size_t MostWaiting(std::size_t own) const;

  const ListenerSettings settings_;
  std::optional<Descriptor> socket_;  // Empty when no more are accepted.
  const int port_;
  std::size_t accepted_ = 0;
  bool exhausted_ = false;  // Another connection has to end first.
  bool exhaustion_is_reported_ = false;
  std::vector<std::unique_ptr<Connection>> connections_;
  std::vector<char> buffer_;  // For what is received.
  std::size_t waiting_ = 0;   // Bytes to send back, of all peers.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LISTEN_LISTENER_H_
