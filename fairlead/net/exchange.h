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
  kDone,        ///< It did what it was to do; the connection is established.
  kPeerClosed,  ///< The peer closed after its last byte, and has acknowledged
                ///< all that was sent, unless the sink ended a quiet input.
  kPeerReset,  ///< The peer reset the connection: bytes may be lost either way.
  kSilence,    ///< The peer took and sent nothing for ExchangeLimits::idle, or
               ///< sent nothing within `first_byte`. The phase is kSending if
               ///< it has not acknowledged everything that was sent.
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

  /// Between two bytes, in either direction, the peer's acknowledgements
  /// included; at least half a second while one is missing, which a system may
  /// delay. It does not count while the input has nothing to send, also if the
  /// peer sends no more.
  Limit idle = std::chrono::seconds(5);

  /// From Connect() on, until the peer's first byte has come: a look-up, a
  /// connection or a peer that takes longer is kSilence.
  Limit first_byte = {};
};

/// What came of a step. Plain value.
struct FAIRLEAD_EXPORT ExchangeResult {
  ExchangeEnd end = ExchangeEnd::kDone;
  ExchangePhase phase = ExchangePhase::kResolving;

  /// POSIX `errno` for kFailed and kPeerReset, or a result of `getaddrinfo` if
  /// the phase is kResolving; else 0.
  int error = 0;
  int system_error = 0;  ///< `errno` of a lookup's EAI_SYSTEM; else 0.
  std::string address;   ///< The last one tried, dotted; empty if none.
  /// Bytes the system took since Connect(); after kSilence, or if Close()
  /// fails, those of them that the peer has acknowledged.
  std::uint64_t sent = 0;
  std::uint64_t received = 0;  ///< Bytes given to the sink since Connect().

  /// Returns whether `end` is kDone.
  explicit operator bool() const { return end == ExchangeEnd::kDone; }

  /// Returns the reason in words, such as "not connected: Connection refused".
  std::string Text() const;
};

/// A step that an exchange reports while it runs.
struct ExchangeEvent {
  enum class Kind {
    kResolved,      ///< The name has this address; reported for each.
    kConnecting,    ///< The address is tried.
    kNotConnected,  ///< It failed, with this error.
    kConnected,     ///< It is connected.
    kSent,          ///< So many bytes have been sent, in sum; pieces sent
                    ///< within 32 ms may be reported together.
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

  /// "Enough" ends the exchange only after the end of the input, instead of
  /// whenever it has nothing to send.
  bool await_end = false;
};

struct ExchangeOptions {
  ExchangeLimits limits = {};

  /// Close the sending direction after the last byte, so that the peer sees the
  /// end of what was sent; nothing can be sent afterwards.
  bool half_close = false;

  /// Called at each step, on the thread that runs the exchange.
  std::function<void(const ExchangeEvent&)> on_event = {};

  /// Called on that thread after the sink was given what there was, before the
  /// exchange waits or ends: a sink that gathers what it writes, writes it now.
  /// Not after a call of the sink that threw.
  std::function<void()> on_taken = {};

  /// The most bytes that the sink is given at once; 0 counts as 1. The default
  /// is the length of a message of CTCPClient; a sink to which only the stream
  /// matters costs less with some 64 KiB.
  std::size_t max_piece = 1796;
};

/// A conversation with one server over a CTCPClient.
/// @code
/// std::string reply;
/// const fairlead::ExchangeResult result = fairlead::Exchange().Run(
///     "localhost", 7000, "hello\n", [&](std::string_view bytes, auto) {
///       reply += bytes;
///       return reply.ends_with('\n');  // One line is enough.
///     });
/// if (!result) std::fprintf(stderr, "%s\n", result.Text().c_str());
/// @endcode
/// @par Steps
/// Connect(), then Converse() as often as there is something to say, then
/// Close(); Run() is all three. Each returns why it ended. Nothing is
/// printed, and the process is never ended.
/// @par A peer that vanishes
/// After a power cut or on a broken cable, nothing reports that the peer is
/// gone. While nothing is to be sent, the system asks it after 30 seconds of
/// silence, and ends the wait after 30 more: kFailed, with ETIMEDOUT.
/// @par Memory
/// A connection has a buffer of 505 KB for what was received: a peer that sends
/// faster than the sink takes is held back. A body is not copied.
/// @par Errors
/// Failures are results. std::bad_alloc is thrown, and what a callback throws,
/// after kSent has reported what was sent; the exchange can then be closed.
/// @par Thread safety
/// An object belongs to one thread, and its callbacks must not call it. Several
/// objects are independent. In a child of fork(), which must not come from a
/// callback, only Close(), Connect() and the destructor may be called; the
/// connection stays the parent's.
class FAIRLEAD_EXPORT Exchange {
 public:
  /// Takes what was received, and when; returns whether that is enough. Bytes
  /// come in the order sent, cut anywhere. One call without bytes says that the
  /// peer sends no more, if not all was sent yet; true then ends a quiet input.
  using Sink =
      std::function<bool(std::string_view bytes, const TheTime& received)>;

  explicit Exchange(ExchangeOptions options = {});
  ~Exchange();  ///< Closes the connection at once.
  Exchange(Exchange&& other) noexcept;
  Exchange& operator=(Exchange&& other) noexcept;

  /// Closes an earlier connection at once, looks the host up as LookUpHost() of
  /// host_lookup.h does, and connects to its first address that answers.
  /// @return kDone, kTimeOver, kSilence or kFailed; the error is that of the
  ///     last address
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
  /// while the input has nothing to send, it ends, and takes no more from it,
  /// unless ExchangeInput::await_end is set.
  ExchangeResult Converse(const ExchangeInput& input, const Sink& sink);

  /// Closes the connection; what was received and not taken is discarded.
  ///
  /// If a peer goes on sending after a close, the system resets the connection,
  /// and what was sent and not acknowledged is lost. If the last Converse() was
  /// done, this therefore waits until the peer has acknowledged everything: it
  /// closes the sending direction and discards what comes, for
  /// ExchangeLimits::idle, at least half a second, after each acknowledgement
  /// and within the total.
  /// @return kDone if nothing was waited for or all was acknowledged; else
  ///     kPeerReset, kSilence, kTimeOver or kFailed, in kSending
  /// @par Cost
  /// One system call if everything is acknowledged already, as by a reply.
  ExchangeResult Close();

  /// Connect(), Converse() and Close(); returns the first result that is not
  /// kDone, or else that of Converse(). A reset that only Close() meets changes
  /// nothing: it may as well come after the connection is closed.
  ExchangeResult Run(const std::string& host, std::uint16_t port,
                     std::string_view body, const Sink& sink);

 private:
  std::unique_ptr<internal::ExchangeState> state_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_NET_EXCHANGE_H_
