// Exchanges: the connection, and the loop that sends, receives and watches the
// time.

#include "fairlead/net/exchange.h"

#include <netinet/in.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

#include "fairlead/net/deadline.h"
#include "fairlead/net/exchange_connection.h"
#include "fairlead/net/exchange_ending.h"
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

}  // namespace

namespace internal {

class ExchangeState {
 public:
  using Sink = Exchange::Sink;

  explicit ExchangeState(ExchangeOptions options)
      : options_(std::move(options)) {}

  ExchangeResult Connect(const std::string& host, std::uint16_t port);
  ExchangeResult Close();

  template <typename Source>
  ExchangeResult Converse(const Source& source, const Sink& sink) {
    if (!connection_.IsOpen())
      return End({ExchangeEnd::kFailed, ExchangePhase::kSending, ENOTCONN});
    if (connection_.HasFinishedSending() && HasBytes(source))
      return End({ExchangeEnd::kFailed, ExchangePhase::kSending, EPIPE});
    last_ = steady_clock::now();
    close_told_ = false;
    ends_with_peer_ = false;
    awaits_end_ = AwaitsEnd(source);
    is_done_ = false;
    result_.sent = taken_;
    ExchangeSender sender(connection_, source, options_.half_close);
    return Converse(sender, result_.sent, sink);
  }

 private:
  ExchangeResult ConnectToAny(const std::vector<in_addr>& addresses,
                              std::uint16_t port);
  Deadline ConnectDeadline(std::size_t addresses_left) const;
  Deadline EndOfConnecting() const {
    return Earlier(end_of_time_, first_byte_);
  }
  ExchangeEnd Overdue() const {
    return HasPassed(end_of_time_) ? ExchangeEnd::kTimeOver
                                   : ExchangeEnd::kSilence;
  }
  ExchangeResult Converse(ExchangeSender& sender, std::uint64_t sent_before,
                          const Sink& sink);
  bool MayEnd(const Progress& sending) const;
  bool Note(const Progress& sending, std::uint64_t sent_before);
  void Look(const Progress& sending, std::uint64_t sent_before);
  bool Take(const Sink& sink, bool may_end, bool enough);
  std::optional<Ending> EndingOf(const Progress& sending, bool receiving,
                                 bool enough, const Sink& sink);
  std::optional<Ending> EndOfReceiving(const Progress& sending,
                                       const Sink& sink);
  std::optional<Ending> EndOfBoth(const Progress& sending, const Sink& sink);
  std::optional<Ending> EndOfTime(const Progress& sending, bool receiving,
                                  const Sink& sink);
  bool IsBehind(const Progress& sending, bool receiving, bool awaits_first,
                const Sink& sink);
  Deadline IdleDeadline(const Progress& sending) const;
  Deadline NextPass(const Progress& sending) const;
  void Deliver();
  ExchangeResult End(const Ending& ending);
  ExchangeResult EndInSilence(ExchangePhase phase);
  void Tell(const ExchangeEvent& event) const {
    if (options_.on_event) options_.on_event(event);
  }

  ExchangeOptions options_;
  ExchangeConnection connection_;
  Deadline end_of_time_;
  Deadline first_byte_;            // None once it has come.
  steady_clock::time_point last_;  // When a byte last went or came.
  LookPause pause_;                // Until the next look at what was sent.
  bool input_waits_ = false;       // Whether the input had nothing to send.
  bool close_told_ = false;        // To the sink,
  bool ends_with_peer_ = false;    // which ends a quiet input then.
  bool awaits_end_ = false;        // Of the input.
  bool is_done_ = false;           // The last Converse().
  std::uint64_t taken_ = 0;        // Bytes, by the system.
  ExchangeResult result_;
};

ExchangeResult ExchangeState::End(const Ending& ending) {
  result_.end = ending.end;
  result_.phase = ending.phase;
  result_.error = ending.error;
  return result_;
}

ExchangeResult ExchangeState::Connect(const std::string& host,
                                      std::uint16_t port) {
  is_done_ = false;
  connection_.Close();
  result_ = {};
  taken_ = 0;
  const auto now = steady_clock::now();
  end_of_time_ = DeadlineAfter(now, options_.limits.total);
  first_byte_ = DeadlineAfter(now, options_.limits.first_byte);
  const auto found = LookUpName(host, EndOfConnecting());
  if (!found) return End({Overdue(), ExchangePhase::kResolving});
  result_.system_error = found->system_error;
  if (found->addresses.empty())
    return End({ExchangeEnd::kFailed, ExchangePhase::kResolving, found->error});
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
    error = connection_.Open(address, port, ConnectDeadline(left--));
    if (error == 0) {
      Tell({.kind = Kind::kConnected, .address = result_.address});
      return End({ExchangeEnd::kDone, ExchangePhase::kConnecting});
    }
    Tell({.kind = Kind::kNotConnected,
          .address = result_.address,
          .error = error});
    if (HasPassed(EndOfConnecting()))
      return End({Overdue(), ExchangePhase::kConnecting});
  }
  return End({ExchangeEnd::kFailed, ExchangePhase::kConnecting, error});
}

// An address that does not answer leaves time for those after it.
Deadline ExchangeState::ConnectDeadline(std::size_t addresses_left) const {
  const auto now = steady_clock::now();
  const Deadline end = EndOfConnecting();
  if (options_.limits.connect)
    return Earlier(end, DeadlineAfter(now, options_.limits.connect));
  if (!end) return std::nullopt;
  const auto share = (*end - now) / static_cast<std::int64_t>(addresses_left);
  return now + share;
}

ExchangeResult ExchangeState::Close() {
  End({ExchangeEnd::kDone, ExchangePhase::kReceiving});
  if (std::exchange(is_done_, false) && taken_ > 0) Deliver();
  connection_.Close();
  return result_;
}

// If more comes after a close, the system resets the connection and drops what
// the peer has not acknowledged.
void ExchangeState::Deliver() {
  const auto [error, missing] =
      connection_.Deliver(end_of_time_, options_.limits.idle);
  if (error == 0 && missing == 0) return;
  result_.sent -= std::min(result_.sent, missing);
  End(error != 0 ? Failure(ExchangePhase::kSending, error)
                 : Ending{Overdue(), ExchangePhase::kSending});
}

// Each pass looks at the states before it takes what they announce: bytes that
// came before the end are in the buffer once the end is seen.
ExchangeResult ExchangeState::Converse(ExchangeSender& sender,
                                       std::uint64_t sent_before,
                                       const Sink& sink) try {
  for (bool enough = false;;) {
    const Progress sending = sender.progress();
    const bool receiving = connection_.IsReceiving();
    Look(sending, sent_before);
    enough = Take(sink, MayEnd(sending), enough);
    const auto ending = EndingOf(sending, receiving, enough, sink);
    if (ending &&
        (sending.status != Status::kWaitingForInput || sender.StopWaiting())) {
      sender.Stop();
      Note(sender.progress(), sent_before);
      if (ending->end == ExchangeEnd::kPeerReset) connection_.NoteReset();
      is_done_ = ending->end == ExchangeEnd::kDone;
      if (ending->end == ExchangeEnd::kSilence)
        return EndInSilence(ending->phase);
      return End(*ending);
    }
    connection_.buffer().Wait(NextPass(sending), [&](bool any) {
      return (any && sink) || sender.HasChanged(sending) ||
             connection_.IsReceiving() != receiving;
    });
  }
} catch (...) {  // What was sent is reported, also if a callback throws.
  sender.Stop();
  Note(sender.progress(), sent_before);
  throw;
}

// Returns whether the exchange may end if the sink has enough.
bool ExchangeState::MayEnd(const Progress& sending) const {
  return sending.status == Status::kDone ||
         (sending.status == Status::kWaitingForInput && !awaits_end_);
}

// Returns whether more was sent.
bool ExchangeState::Note(const Progress& sending, std::uint64_t sent_before) {
  const std::uint64_t sent = sent_before + sending.sent;
  if (sent == std::exchange(taken_, sent)) return false;
  result_.sent = sent;
  Tell({.kind = Kind::kSent, .sent = sent});
  return true;
}

// The time for which the input had nothing to send is nobody's silence.
void ExchangeState::Look(const Progress& sending, std::uint64_t sent_before) {
  const bool waited =
      std::exchange(input_waits_, sending.status == Status::kWaitingForInput);
  const bool sent = Note(sending, sent_before);
  const bool has_sent = taken_ > 0 || connection_.HasFinishedSending();
  const bool acknowledged = has_sent && connection_.HasAcknowledgedMore();
  pause_.Note(sent || acknowledged);
  if (sent || acknowledged || (waited && !input_waits_))
    last_ = steady_clock::now();
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
    const auto piece =
        connection_.buffer().Next(std::max<std::size_t>(options_.max_piece, 1));
    if (!piece) break;
    first_byte_.reset();
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
    return EndOfTime(sending, receiving, sink);
  if (!receiving) return EndOfReceiving(sending, sink);
  return EndOfTime(sending, receiving, sink);
}

// A reset that the sender meets first looks like an orderly end to the receive
// thread.
std::optional<Ending> ExchangeState::EndOfReceiving(const Progress& sending,
                                                    const Sink& sink) {
  if (const int error = connection_.ReceiveError(); error != 0)
    return Failure(PhaseOfWait(sending), error);
  if (HasFailed(sending)) return FailureOf(sending);
  if (sending.status == Status::kDone) return EndOfBoth(sending, sink);
  if (!std::exchange(close_told_, true)) {
    Tell({.kind = Kind::kPeerClosed});
    ends_with_peer_ = sink && sink({}, TheTime());
  }
  if (ends_with_peer_ && sending.status == Status::kWaitingForInput)
    return Ending{ExchangeEnd::kPeerClosed, ExchangePhase::kSending};
  return EndOfTime(sending, false, sink);
}

// A peer that has closed without reading all resets the connection: that is
// known once it has acknowledged everything.
std::optional<Ending> ExchangeState::EndOfBoth(const Progress& sending,
                                               const Sink& sink) {
  const int left = connection_.Unacknowledged();
  const int error = left == -1 ? errno : connection_.TakeError();
  if (error != 0) return Failure(ExchangePhase::kReceiving, error);
  if (left == 0)
    return Ending{ExchangeEnd::kPeerClosed, ExchangePhase::kReceiving};
  return EndOfTime(sending, false, sink);
}

// A peer that has closed its sending direction and does not read either is
// silent: not all was sent.
std::optional<Ending> ExchangeState::EndOfTime(const Progress& sending,
                                               bool receiving,
                                               const Sink& sink) {
  if (HasPassed(end_of_time_))
    return Ending{ExchangeEnd::kTimeOver, PhaseOf(sending)};
  if (!HasPassed(IdleDeadline(sending))) return std::nullopt;
  const bool awaits_first = HasPassed(first_byte_);
  if (IsBehind(sending, receiving, awaits_first, sink)) {
    if (awaits_first) first_byte_.reset();
    last_ = steady_clock::now();
    return std::nullopt;
  }
  if (HasFailed(sending)) return FailureOf(sending);
  return Ending{ExchangeEnd::kSilence, PhaseOfWait(sending)};
}

// Returns whether the silence is this side's: a thread has not come to what the
// peer sent or took, as when the process was stopped.
bool ExchangeState::IsBehind(const Progress& sending, bool receiving,
                             bool awaits_first, const Sink& sink) {
  const bool awaits_bytes = sink || awaits_first;
  if (awaits_bytes && connection_.buffer().HasPieces()) return true;
  short events = 0;
  if (awaits_bytes && receiving) events |= POLLIN;
  if (!awaits_first && sending.status == Status::kSending) events |= POLLOUT;
  return connection_.IsReady(events);
}

// Once sending has failed, only what the peer sent before is awaited. A quiet
// input is not the peer's silence, also after the peer's end.
Deadline ExchangeState::IdleDeadline(const Progress& sending) const {
  if (HasFailed(sending)) return DeadlineAfter(last_, kMaxDrainAfterError);
  if (sending.status == Status::kWaitingForInput) return first_byte_;
  const auto idle = connection_.Patience(options_.limits.idle);
  return Earlier(first_byte_, DeadlineAfter(last_, idle));
}

Deadline ExchangeState::NextPass(const Progress& sending) const {
  const Deadline end = Earlier(end_of_time_, IdleDeadline(sending));
  const bool looks = sending.status == Status::kSending ||
                     (sending.status != Status::kWaitingForInput &&
                      connection_.AwaitsAcknowledgement());
  return looks ? Earlier(end, pause_.End()) : end;
}

// What the system took may not have reached a silent peer.
ExchangeResult ExchangeState::EndInSilence(ExchangePhase phase) {
  const std::uint64_t missing = std::min(result_.sent, connection_.Missing());
  result_.sent -= missing;
  return End(
      {ExchangeEnd::kSilence, missing > 0 ? ExchangePhase::kSending : phase});
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

ExchangeResult Exchange::Close() { return state_->Close(); }

ExchangeResult Exchange::Run(const std::string& host, std::uint16_t port,
                             std::string_view body, const Sink& sink) {
  ExchangeResult result = Connect(host, port);
  if (result) result = Converse(body, sink);
  ExchangeResult closed = Close();
  if (!result || closed || closed.end == ExchangeEnd::kPeerReset) return result;
  return closed;
}

}  // namespace fairlead
