// A connected CTCPClient as an exchange uses it: with a bounded buffer, a limit
// of time for connecting, and the reason why receiving ended. Not installed.

#ifndef FAIRLEAD_NET_EXCHANGE_CONNECTION_H_
#define FAIRLEAD_NET_EXCHANGE_CONNECTION_H_

#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "fairlead/base/descriptor.h"
#include "fairlead/net/deadline.h"
#include "fairlead/net/receive_buffer.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead::internal {

// The time between two looks at something that no call waits for: the longer,
// the longer nothing has changed.
class LookPause {
 public:
  void Note(bool has_changed) {
    length_ = has_changed ? kShortest : std::min(2 * length_, kLongest);
  }

  // Returns when it ends if it begins now.
  Deadline End() const { return std::chrono::steady_clock::now() + length_; }

 private:
  static constexpr std::chrono::milliseconds kShortest{1};
  static constexpr std::chrono::milliseconds kLongest{32};

  std::chrono::milliseconds length_ = kShortest;
};

class ExchangeConnection {
 public:
  ExchangeConnection() = default;
  ~ExchangeConnection() { Close(); }
  ExchangeConnection(const ExchangeConnection&) = delete;
  ExchangeConnection& operator=(const ExchangeConnection&) = delete;

  // Connects to an address; returns 0 or the error, ETIMEDOUT at the deadline.
  int Open(in_addr address, std::uint16_t port, Deadline deadline);

  bool IsOpen() const { return descriptor_.IsOpen(); }

  // Closes the sending direction, once. Returns 0 or the error.
  int FinishSending();
  bool HasFinishedSending() const { return finished_; }

  // Returns whether the receive thread still receives. Once it does not, all it
  // has received is in the buffer.
  bool IsReceiving() const;

  // Returns whether one of the events of poll(2) can be met at once.
  bool IsReady(short events) const;

  // Returns why receiving ended: 0 if the peer closed, or the error.
  int ReceiveError() const;

  // Makes ReceiveError() return a reset that a send met: the system reports it
  // once.
  void NoteReset() { reset_ = ECONNRESET; }

  // Returns the error that the system reports for the connection, once; 0 if
  // there is none.
  int TakeError() const;

  // Returns how many bytes the peer has not acknowledged, or -1. The end of the
  // sending direction counts as one byte that was sent last. The system keeps
  // the count after a reset.
  int Unacknowledged() const;

  // Returns whether Unacknowledged() has changed since the last call.
  bool HasAcknowledgedMore();

  // Returns whether one was missing then.
  bool AwaitsAcknowledgement() const { return unacknowledged_ > 0; }

  // Returns for how long the peer may be silent: `idle`, or longer while an
  // acknowledgement is missing, which its system may delay.
  std::optional<std::chrono::milliseconds> Patience(
      std::optional<std::chrono::milliseconds> idle) const;

  // Returns Unacknowledged() without that end, or 0. For when nothing is being
  // sent.
  std::uint64_t Missing() const { return WithoutEnd(Unacknowledged()); }

  struct Delivery {
    int error = 0;
    std::uint64_t missing = 0;  // Bytes that the peer has not acknowledged.
  };

  // Closes the sending direction and waits until the peer has acknowledged all
  // that was sent, for the time of `idle`, or longer as Patience() has it,
  // after each acknowledgement. Returns at once if it has. Drops what comes
  // meanwhile, as a peer may have to be read before it reads. In a child of
  // fork(), does nothing.
  Delivery Deliver(Deadline end, std::optional<std::chrono::milliseconds> idle);

  // What was received; only while IsOpen().
  ReceiveBuffer& buffer() { return *buffer_; }

  // The descriptor to send on. It is open until Close(), also while the
  // client's own is closed by the receive thread.
  int descriptor() const { return descriptor_.number(); }

  void Close();

 private:
  int Connect(const sockaddr_in& address, Deadline deadline);
  int Start();
  std::uint64_t WithoutEnd(int unacknowledged) const;
  Delivery Undelivered() const;
  void DropReceived(Deadline deadline);

  std::unique_ptr<ReceiveBuffer> buffer_;
  CTCPClient client_;
  Descriptor descriptor_;

  // ECONNRESET if the peer reset the connection while it was made, or a send
  // met a reset; else 0. What came before is still to be received.
  int reset_ = 0;
  std::atomic<bool> finished_ = false;  // The sending direction is closed.

  int unacknowledged_ = 0;  // At the last look.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_EXCHANGE_CONNECTION_H_
