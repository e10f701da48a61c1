// Exchanges: the connection, and the loop that sends, receives and watches the
// time.

#include "fairlead/net/exchange.h"

#include <arpa/inet.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "fairlead/net/deadline.h"
#include "fairlead/net/exchange_connection.h"
#include "fairlead/net/exchange_sender.h"
#include "fairlead/net/name_lookup.h"

namespace fairlead {

using internal::Deadline;
using internal::ExchangeSender;
using std::chrono::steady_clock;
using Kind = ExchangeEvent::Kind;
using Progress = ExchangeSender::Progress;
using Status = ExchangeSender::Status;

namespace {

// How long the last bytes of a peer that takes no more may take to arrive.
constexpr std::chrono::seconds kMaxDrainAfterError{2};

// How many bytes the sink is given before other events are looked at again.
constexpr std::size_t kMaxTaken = std::size_t{256} << 10;

bool IsReset(int error) {
  return error == ECONNRESET || error == EPIPE || error == ENOTCONN;
}

bool HasFailed(const Progress& sending) {
  return sending.status == Status::kSendFailed ||
         sending.status == Status::kInputFailed;
}

struct Ending {
  ExchangeEnd end;
  ExchangePhase phase;
  int error = 0;
};

// The system reports one reset as different errors, by who asks first.
Ending Failure(ExchangePhase phase, int error) {
  if (IsReset(error)) return {ExchangeEnd::kPeerReset, phase, ECONNRESET};
  return {ExchangeEnd::kFailed, phase, error};
}

// An input may be a socket too: its reset is not the peer's.
Ending FailureOf(const Progress& sending) {
  if (sending.status == Status::kInputFailed)
    return {ExchangeEnd::kFailed, ExchangePhase::kReading, sending.error};
  return Failure(ExchangePhase::kSending, sending.error);
}

// After a reset, what the peer sent before is still to be received.
bool HasFailedForGood(const Progress& sending) {
  return HasFailed(sending) &&
         (sending.status == Status::kInputFailed || !IsReset(sending.error));
}

// Returns whether the exchange may end if the sink has enough.
bool MayEnd(const Progress& sending) {
  return sending.status == Status::kDone ||
         sending.status == Status::kWaitingForInput;
}

bool HasBytes(std::string_view body) { return !body.empty(); }
bool HasBytes(const ExchangeInput& /*input*/) { return true; }

ExchangePhase PhaseOf(const Progress& sending) {
  return sending.status == Status::kDone ? ExchangePhase::kReceiving
                                         : ExchangePhase::kSending;
}

}  // namespace

namespace internal {

class ExchangeState {
 public:
  using Sink = Exchange::Sink;

  explicit ExchangeState(ExchangeOptions options)
      : options_(std::move(options)) {}

  ExchangeResult Connect(const std::string& host, std::uint16_t port);
  void Close();

  template <typename Source>
  ExchangeResult Converse(const Source& source, const Sink& sink) {
    if (!connection_.IsOpen())
      return End(ExchangeEnd::kFailed, ExchangePhase::kSending, ENOTCONN);
    if (connection_.HasFinishedSending() && HasBytes(source))
      return End(ExchangeEnd::kFailed, ExchangePhase::kSending, EPIPE);
    last_ = steady_clock::now();
    close_told_ = false;
    ends_with_peer_ = false;
    const std::uint64_t before = result_.sent;
    ExchangeSender sender(connection_, source, options_.half_close);
    return Converse(sender, before, sink);
  }

 private:
  ExchangeResult ConnectToAny(const std::vector<in_addr>& addresses,
                              std::uint16_t port);
  int ConnectTo(in_addr address, std::uint16_t port, const Deadline& deadline);
  Deadline ConnectDeadline(std::size_t addresses_left) const;
  ExchangeResult Converse(ExchangeSender& sender, std::uint64_t sent_before,
                          const Sink& sink);
  void Note(const Progress& sending, std::uint64_t sent_before);
  bool Take(const Sink& sink, bool may_end, bool enough);
  std::optional<Ending> EndingOf(const Progress& sending, bool receiving,
                                 bool enough, const Sink& sink);
  std::optional<Ending> EndOfReceiving(const Progress& sending,
                                       const Sink& sink);
  Ending EndOfBoth();
  std::optional<Ending> EndOfTime(const Progress& sending,
                                  bool receiving) const;
  Deadline IdleDeadline(const Progress& sending, bool receiving) const;
  ExchangeResult End(ExchangeEnd end, ExchangePhase phase, int error = 0);
  void Tell(const ExchangeEvent& event) const {
    if (options_.on_event) options_.on_event(event);
  }

  ExchangeOptions options_;
  ExchangeConnection connection_;
  Deadline end_of_time_;
  steady_clock::time_point last_;  // When a byte last went or came.
  bool input_waits_ = false;       // Whether the input had nothing to send.
  bool close_told_ = false;        // To the sink,
  bool ends_with_peer_ = false;    // which ends a quiet input then.
  ExchangeResult result_;
};

ExchangeResult ExchangeState::End(ExchangeEnd end, ExchangePhase phase,
                                  int error) {
  result_.end = end;
  result_.phase = phase;
  result_.error = error;
  return result_;
}

ExchangeResult ExchangeState::Connect(const std::string& host,
                                      std::uint16_t port) {
  Close();
  result_ = {};
  end_of_time_ = DeadlineAfter(steady_clock::now(), options_.limits.total);
  const auto found = LookUpName(host, end_of_time_);
  if (!found) return End(ExchangeEnd::kTimeOver, ExchangePhase::kResolving);
  result_.system_error = found->system_error;
  if (found->addresses.empty())
    return End(ExchangeEnd::kFailed, ExchangePhase::kResolving, found->error);
  for (const in_addr address : found->addresses)
    Tell({.kind = Kind::kResolved, .address = Dotted(address)});
  return ConnectToAny(found->addresses, port);
}

ExchangeResult ExchangeState::ConnectToAny(
    const std::vector<in_addr>& addresses, std::uint16_t port) {
  int error = 0;
  std::size_t left = addresses.size();
  for (const in_addr address : addresses) {
    result_.address = Dotted(address);
    Tell({.kind = Kind::kConnecting, .address = result_.address});
    error = ConnectTo(address, port, ConnectDeadline(left--));
    if (error == 0) {
      Tell({.kind = Kind::kConnected, .address = result_.address});
      return End(ExchangeEnd::kDone, ExchangePhase::kConnecting);
    }
    Tell({.kind = Kind::kNotConnected,
          .address = result_.address,
          .error = error});
    if (HasPassed(end_of_time_))
      return End(ExchangeEnd::kTimeOver, ExchangePhase::kConnecting);
  }
  return End(ExchangeEnd::kFailed, ExchangePhase::kConnecting, error);
}

int ExchangeState::ConnectTo(in_addr address, std::uint16_t port,
                             const Deadline& deadline) {
  sockaddr_in endpoint = {};
  endpoint.sin_family = AF_INET;
  endpoint.sin_port = htons(port);
  endpoint.sin_addr = address;
  return connection_.Open(endpoint, deadline);
}

// An address that does not answer leaves time for those after it.
Deadline ExchangeState::ConnectDeadline(std::size_t addresses_left) const {
  const auto now = steady_clock::now();
  if (options_.limits.connect)
    return Earlier(end_of_time_, DeadlineAfter(now, options_.limits.connect));
  if (!end_of_time_) return std::nullopt;
  const auto share =
      (*end_of_time_ - now) / static_cast<std::int64_t>(addresses_left);
  return now + share;
}

void ExchangeState::Close() { connection_.Close(); }

// Each pass looks at the states before it takes what they announce: bytes that
// came before the end are in the buffer once the end is seen.
ExchangeResult ExchangeState::Converse(ExchangeSender& sender,
                                       std::uint64_t sent_before,
                                       const Sink& sink) {
  for (bool enough = false;;) {
    const Progress sending = sender.progress();
    const bool receiving = connection_.IsReceiving();
    Note(sending, sent_before);
    enough = Take(sink, MayEnd(sending), enough);
    const auto ending = EndingOf(sending, receiving, enough, sink);
    if (ending &&
        (sending.status != Status::kWaitingForInput || sender.StopWaiting())) {
      sender.Stop();
      Note(sender.progress(), sent_before);
      if (ending->end == ExchangeEnd::kPeerReset) connection_.NoteReset();
      return End(ending->end, ending->phase, ending->error);
    }
    connection_.buffer().Wait(
        Earlier(end_of_time_, IdleDeadline(sending, receiving)), [&](bool any) {
          return (any && sink) || sender.HasChanged(sending) ||
                 connection_.IsReceiving() != receiving;
        });
  }
}

// The time for which the input had nothing to send is nobody's silence.
void ExchangeState::Note(const Progress& sending, std::uint64_t sent_before) {
  const bool input_waits = sending.status == Status::kWaitingForInput;
  if (std::exchange(input_waits_, input_waits) && !input_waits)
    last_ = steady_clock::now();
  const std::uint64_t sent = sent_before + sending.sent;
  if (sent == result_.sent) return;
  result_.sent = sent;
  last_ = steady_clock::now();
  Tell({.kind = Kind::kSent, .sent = sent});
}

// Gives what was received to the sink, up to about kMaxTaken bytes; returns
// whether it has enough. Then the rest stays, if the exchange may end now. No
// sink has enough at once. A sink may take long, so it is not called again once
// the time is over.
bool ExchangeState::Take(const Sink& sink, bool may_end, bool enough) {
  if (!sink) return true;
  bool over = false;
  std::size_t taken = 0;
  while (taken < kMaxTaken && !over) {
    if (enough && may_end) break;
    const auto piece = connection_.buffer().Next();
    if (!piece) break;
    taken += piece->bytes.size();
    result_.received += piece->bytes.size();
    enough = sink(piece->bytes, piece->time) || enough;
    last_ = steady_clock::now();
    over = end_of_time_ && last_ >= *end_of_time_;
  }
  if (taken > 0 && options_.on_taken) options_.on_taken();
  return enough;
}

std::optional<Ending> ExchangeState::EndingOf(const Progress& sending,
                                              bool receiving, bool enough,
                                              const Sink& sink) {
  if (enough && MayEnd(sending))
    return Ending{ExchangeEnd::kDone, PhaseOf(sending)};
  if (HasFailedForGood(sending)) return FailureOf(sending);
  if (sink && connection_.buffer().HasPieces())
    return EndOfTime(sending, receiving);
  if (!receiving) return EndOfReceiving(sending, sink);
  return EndOfTime(sending, receiving);
}

// A reset that the sender meets first looks like an orderly end to the receive
// thread.
std::optional<Ending> ExchangeState::EndOfReceiving(const Progress& sending,
                                                    const Sink& sink) {
  if (const int error = connection_.ReceiveError(); error != 0)
    return Failure(ExchangePhase::kReceiving, error);
  if (HasFailed(sending)) return FailureOf(sending);
  if (sending.status == Status::kDone) return EndOfBoth();
  if (!std::exchange(close_told_, true)) {
    Tell({.kind = Kind::kPeerClosed});
    ends_with_peer_ = sink && sink({}, TheTime());
  }
  if (ends_with_peer_ && sending.status == Status::kWaitingForInput)
    return Ending{ExchangeEnd::kPeerClosed, ExchangePhase::kSending};
  return EndOfTime(sending, false);
}

// A peer that has closed resets the connection when more arrives: its end is
// orderly once it has acknowledged everything.
Ending ExchangeState::EndOfBoth() {
  const Deadline idle =
      DeadlineAfter(steady_clock::now(), options_.limits.idle);
  const int error =
      connection_.AwaitAcknowledgement(Earlier(end_of_time_, idle));
  if (error != 0) return Failure(ExchangePhase::kReceiving, error);
  return {ExchangeEnd::kPeerClosed, ExchangePhase::kReceiving};
}

// A peer that has closed its sending direction and does not read either is
// silent: not all was sent.
std::optional<Ending> ExchangeState::EndOfTime(const Progress& sending,
                                               bool receiving) const {
  const ExchangePhase phase = PhaseOf(sending);
  if (HasPassed(end_of_time_)) return Ending{ExchangeEnd::kTimeOver, phase};
  if (!HasPassed(IdleDeadline(sending, receiving))) return std::nullopt;
  if (HasFailed(sending)) return FailureOf(sending);
  const bool only_input_waits =
      !receiving && sending.status == Status::kWaitingForInput;
  return Ending{
      only_input_waits ? ExchangeEnd::kPeerClosed : ExchangeEnd::kSilence,
      phase};
}

// Once sending has failed, only what the peer sent before is awaited.
Deadline ExchangeState::IdleDeadline(const Progress& sending,
                                     bool receiving) const {
  if (HasFailed(sending)) return DeadlineAfter(last_, kMaxDrainAfterError);
  if (sending.status == Status::kWaitingForInput && receiving)
    return std::nullopt;
  return DeadlineAfter(last_, options_.limits.idle);
}

}  // namespace internal

Exchange::Exchange(ExchangeOptions options)
    : state_(std::make_unique<internal::ExchangeState>(std::move(options))) {}

Exchange::~Exchange() = default;
Exchange::Exchange(Exchange&& other) noexcept = default;
Exchange& Exchange::operator=(Exchange&& other) noexcept = default;

ExchangeResult Exchange::Connect(const std::string& host, std::uint16_t port) {
  return state_->Connect(host, port);
}

ExchangeResult Exchange::Converse(std::string_view body, const Sink& sink) {
  return state_->Converse(body, sink);
}

ExchangeResult Exchange::Converse(const ExchangeInput& input,
                                  const Sink& sink) {
  return state_->Converse(input, sink);
}

void Exchange::Close() { state_->Close(); }

ExchangeResult Exchange::Run(const std::string& host, std::uint16_t port,
                             std::string_view body, const Sink& sink) {
  ExchangeResult result = Connect(host, port);
  if (result) result = Converse(body, sink);
  Close();
  return result;
}

}  // namespace fairlead
