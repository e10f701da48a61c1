// A whole conversation with a server: look its name up, connect, send, receive,
// close, within limits of time. The outcome is a value.

#ifndef FAIRLEAD_NET_EXCHANGE_H_
#define FAIRLEAD_NET_EXCHANGE_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/export.h"
#include "fairlead/time/the_time.h"

namespace fairlead {

namespace internal {
class ExchangeState;
}

/// Why a step of an exchange ended.
enum class ExchangeEnd {
  kDone,        ///< It did what it was to do, and the connection stands.
  kPeerClosed,  ///< The peer closed after its last byte.
  kPeerReset,  ///< The peer reset the connection: bytes may be lost either way.
  kSilence,    ///< The peer took and sent nothing for ExchangeLimits::idle.
  kTimeOver,   ///< A limit of time was reached.
  kFailed,     ///< The system reports an error.
};

/// What an exchange was doing when it ended.
enum class ExchangePhase {
  kResolving,   ///< Looking up the host name.
  kConnecting,  ///< Trying the addresses, one after the other.
  kReading,     ///< Reading what is to be sent.
  kSending,     ///< Sending; receiving, too.
  kReceiving,   ///< Everything was sent.
};

/// How long an exchange may take; `std::nullopt`: for ever.
struct ExchangeLimits {
  using Limit = std::optional<std::chrono::milliseconds>;

  Limit total = std::chrono::seconds(30);  ///< From Connect() on.

  /// For each address. Without it, the addresses share what is left of `total`:
  /// the first of two that does not answer takes half of it.
  Limit connect = {};

  /// Between two bytes, in either direction. It does not count while the input
  /// has nothing to send and the peer has not closed.
  Limit idle = std::chrono::seconds(5);
};

/// What came of a step. Plain value.
struct FAIRLEAD_EXPORT ExchangeResult {
  ExchangeEnd end = ExchangeEnd::kDone;
  ExchangePhase phase = ExchangePhase::kResolving;

  /// POSIX `errno` for kFailed and kPeerReset, or a result of `getaddrinfo` if
  /// the phase is kResolving; else 0.
  int error = 0;
  int system_error = 0;        ///< `errno` of a look-up's EAI_SYSTEM; else 0.
  std::string address;         ///< The last one tried, dotted; empty if none.
  std::uint64_t sent = 0;      ///< Bytes the system took since Connect().
  std::uint64_t received = 0;  ///< Bytes given to the sink since Connect().

  /// Returns whether `end` is kDone.
  explicit operator bool() const { return end == ExchangeEnd::kDone; }

  /// Returns the reason in words, such as "not connected: Connection refused".
  std::string Text() const;
};

/// A step that an exchange reports while it runs.
struct ExchangeEvent {
  enum class Kind {
    kResolved,      ///< The name has this address; told for each.
    kConnecting,    ///< The address is tried.
    kNotConnected,  ///< It failed, with this error.
    kConnected,     ///< It is connected.
    kSent,          ///< So many bytes have been sent, in sum.
    kPeerClosed,    ///< The peer will send no more.
  };
  Kind kind;
  std::string_view address = {};  ///< Dotted; empty for kSent and kPeerClosed.
  int error = 0;                  ///< POSIX `errno`.
  std::uint64_t sent = 0;
};

/// A descriptor whose bytes are sent as they come, until its end.
struct ExchangeInput {
  int descriptor = 0;

  /// Returns what is sent for `bytes`, for example encrypted; it stays valid
  /// until the next call. At the end of the input it is called once more with
  /// `at_end`. Nothing ends the exchange: kFailed in kReading, with ECANCELED.
  /// Called on another thread; must not throw. Empty: sent as is.
  std::function<std::optional<std::string_view>(std::string_view bytes,
                                                bool at_end)>
      filter = {};
};

struct ExchangeOptions {
  ExchangeLimits limits = {};

  /// Close the sending direction after the last byte, so that the peer sees the
  /// end of what was sent; nothing can be sent afterwards.
  bool half_close = false;

  /// Told of each step, on the thread that runs the exchange.
  std::function<void(const ExchangeEvent&)> on_event = {};

  /// Called on that thread after the sink was given what there was, before the
  /// exchange waits or ends: a sink that gathers what it writes, writes it now.
  /// Not after a call of the sink that threw.
  std::function<void()> on_taken = {};
};

/// A conversation with one server over a CTCPClient.
///
/// @par Steps
/// Connect(), then Converse() as often as there is something to say, then
/// Close(); Run() is all three. Each returns why it ended. Nothing is printed,
/// and the process never ended.
/// @par A peer that vanishes
/// After a power cut, or a cable that is pulled, nothing tells that the peer is
/// gone. While nothing is to be sent, the system asks it after 30 seconds of
/// silence, and ends the wait after 30 more: kFailed, with ETIMEDOUT.
/// @par Memory
/// A connection has a buffer of 253 KB for what was received: a peer that sends
/// faster than the sink takes is held back. A body is not copied.
/// @par Errors
/// Failures are results. std::bad_alloc is thrown, and what a callback throws;
/// the exchange can then be closed.
/// @par Thread safety
/// An object belongs to one thread, and its callbacks must not call it. Several
/// objects are independent. In a child of fork(), which must not come from a
/// callback, only Close(), Connect() and the destructor may be called; the
/// connection stays the parent's.
/// @par Example
/// @code
/// std::string reply;
/// const fairlead::ExchangeResult result = fairlead::Exchange().Run(
///     "localhost", 7000, "hello\n", [&](std::string_view bytes, auto) {
///       reply += bytes;
///       return reply.ends_with('\n');  // One line is enough.
///     });
/// if (!result) std::fprintf(stderr, "%s\n", result.Text().c_str());
/// @endcode
class FAIRLEAD_EXPORT Exchange {
 public:
  /// Takes what was received, and when; returns whether that is enough. Bytes
  /// come in the order sent, cut anywhere. One call without bytes says that the
  /// peer sends no more, if not all was sent yet; true then ends a quiet input.
  using Sink =
      std::function<bool(std::string_view bytes, const TheTime& received)>;

  explicit Exchange(ExchangeOptions options = {});
  ~Exchange();  ///< Calls Close().
  Exchange(Exchange&& other) noexcept;
  Exchange& operator=(Exchange&& other) noexcept;

  /// Looks the host up (IPv4) and connects to the first of its addresses that
  /// answers. A connection from before is closed first.
  ///
  /// A dotted address is not looked up. A name is, on a thread of its own,
  /// because the system's look-up knows no limit: if the time is over, that
  /// thread is left behind, and ends when the name servers' own limit, often 10
  /// to 30 seconds, is over.
  /// @param host a name or a dotted address; a zero byte ends it
  /// @return kDone, kTimeOver or kFailed; the error is that of the last address
  ExchangeResult Connect(const std::string& host, std::uint16_t port);

  /// Sends the body and gives what comes to the sink, until all is sent and the
  /// sink has enough, or until the exchange ends otherwise. What came after
  /// "enough" is kept for the next call. If the peer resets the connection
  /// after "enough" and before all is sent, the end is kPeerReset. Whether the
  /// system took the last bytes before the reset is chance: where the reply is
  /// enough, let that count. Without a sink it only sends, and takes nothing.
  /// Without a connection the error is ENOTCONN; for bytes to be sent after a
  /// half-close, EPIPE.
  ExchangeResult Converse(std::string_view body, const Sink& sink);

  /// The same with bytes that come from a descriptor. If the sink has enough
  /// while the input has nothing to send, it ends, and takes no more from it.
  ExchangeResult Converse(const ExchangeInput& input, const Sink& sink);

  /// Closes the connection; what was received and not taken is discarded.
  void Close();

  /// Connect(), Converse() and Close().
  ExchangeResult Run(const std::string& host, std::uint16_t port,
                     std::string_view body, const Sink& sink);

 private:
  std::unique_ptr<internal::ExchangeState> state_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_NET_EXCHANGE_H_
