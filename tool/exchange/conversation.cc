// Converses with a server and prints what is received.

#include "tool/exchange/conversation.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/duration.h"

namespace fairlead::tool {
namespace {

using Step = ExchangeEvent::Kind;

// A body that is longer has a progress bar.
constexpr std::uint64_t kLongBody = 10'000;

// Of a stream: as much as is written at once.
constexpr std::size_t kMaxPiece = std::size_t{64} << 10;

}  // namespace

Conversation::Conversation(const ConversationSettings& settings,
                           TimeLimit& limit, Display& display,
                           Reception& reception, ExchangeLog* log)
    : settings_(settings),
      limit_(limit),
      display_(display),
      log_(log),
      reception_(reception),
      outcome_(settings, reception) {}

void Conversation::Log(std::string_view event) {
  if (log_ != nullptr) log_->Add(event);
}

void Conversation::Tell(std::string_view event) {
  Log(event);
  if (settings_.verbose) PrintNote(settings_.command, event);
}

std::string Conversation::Place(std::string_view address) const {
  return Concat(address, " port ", settings_.port);
}

void Conversation::OnEvent(const ExchangeEvent& event) {
  switch (event.kind) {
    case Step::kResolved:
      display_.Resolved(settings_.host, event.address);
      return Tell(
          Concat("resolved ", Shown(settings_.host), ": ", event.address));
    case Step::kConnecting:
      connecting_since_ = TimeLimit::Clock::now();
      return limit_.Enter(Concat("connecting to ", Place(event.address)));
    case Step::kNotConnected:
      outcome_.refused +=
          Concat(outcome_.refused.empty() ? "" : "; ", Place(event.address),
                 ": ", ErrorText(event.error));
      return Tell(Concat("no connection to ", Place(event.address), ": ",
                         ErrorText(event.error)));
    case Step::kConnected:
      silent_since_ = TimeLimit::Clock::now();
      connect_time_ = silent_since_ - connecting_since_;
      return Tell(Concat("connected to ", event.address, ":", settings_.port));
    case Step::kSent:
      return OnSent(event.sent);
    case Step::kPeerClosed:
      return Tell("the peer sends no more");
  }
}

void Conversation::OnSent(std::uint64_t sent) {
  outcome_.result.sent = sent;
  if (sent < outcome_.total)
    limit_.Enter(Concat("sending: ", sent, " of ", BytesText(outcome_.total)));
  else if (outcome_.source.empty())
    limit_.Enter(Concat("waiting for the peer", place_));
  else
    limit_.Enter(Concat("waiting for ", outcome_.source, " or the peer"));
  if (progress_) progress_->Show(sent);
  if (sent < outcome_.total || !outcome_.source.empty()) return;
  Log(Concat("sent ", BytesText(sent)));
  if (sent > 0) display_.Sent(message_);
}

void Conversation::Connect() {
  limit_.Enter(Concat("resolving ", Quoted(settings_.host)));
  Log(Concat("resolving ", Shown(settings_.host)));
  exchange_ = Exchange(Options());
  InExchange([this] {
    return exchange_.Connect(settings_.host,
                             static_cast<std::uint16_t>(settings_.port));
  });
  outcome_.CheckConnected();
  reception_.Begin();
  if (!settings_.out.path.empty())
    limit_.Enter(Concat("opening ", Quoted(settings_.out.path)));
  display_.Connected(Concat(outcome_.result.address, ":", settings_.port),
                     connect_time_);
}

// Returns whether nothing counts, logs or keeps what is received message by
// message.
bool Conversation::TakesStream() const {
  return settings_.view == View::kRaw && !settings_.reception.HasRules() &&
         log_ == nullptr && !display_.KeepsAnswers();
}

ExchangeOptions Conversation::Options() {
  ExchangeOptions options = {.limits = settings_.limits,
                             .half_close = settings_.half_close};
  options.limits.total = limit_.Remaining();
  if (TakesStream()) options.max_piece = kMaxPiece;
  if (end_of_silence_)
    options.limits.first_byte = std::chrono::ceil<std::chrono::milliseconds>(
        *end_of_silence_ - TimeLimit::Clock::now());
  options.on_event = [this](const ExchangeEvent& event) { OnEvent(event); };
  options.on_taken = [this] {
    limit_.Delegate(false);
    display_.Flush();
    limit_.Delegate(true);
  };
  return options;
}

// The exchange watches the time limit while it runs. If that is over, what is
// left to do must not take long either.
void Conversation::InExchange(const std::function<ExchangeResult()>& step) {
  limit_.Delegate(true);
  outcome_.result = step();
  if (outcome_.result.end == ExchangeEnd::kTimeOver)
    outcome_.timeout = limit_.Message();
  else
    limit_.Delegate(false);
}

// "connected in 0.41 ms"
void Conversation::ShowConnectTime() {
  if (settings_.quiet) return;
  display_.Result(
      Concat("connected in ", MillisecondsText(connect_time_), " ms\n"));
}

// What a sink does, such as writing to a slow reader, is outside the exchange.
Exchange::Sink Conversation::WatchedSink(Exchange::Sink take) {
  return [this, take = std::move(take)](std::string_view bytes,
                                        const TheTime& time) {
    limit_.Delegate(false);
    const bool enough = take(bytes, time);
    limit_.Delegate(true);
    return enough;
  };
}

template <typename Source>
void Conversation::Run(const Source& source) {
  if (outcome_.total > kLongBody) progress_.emplace(outcome_.total);
  OnSent(0);
  try {
    const Exchange::Sink sink =
        WatchedSink([this](std::string_view bytes, const TheTime& time) {
          return Take(bytes, time);
        });
    InExchange([&] { return exchange_.Converse(source, sink); });
    if (has_enough_) outcome_.ForgetReset();
  } catch (const Decided&) {
    outcome_.result.phase = ExchangePhase::kReceiving;
  } catch (const std::exception&) {
    EndAnswer(display_.CutAnswer());
    throw;
  }
  progress_.reset();
}

void Conversation::Converse(std::string_view body, std::string_view message) {
  outcome_.total = body.size();
  message_ = message;
  Run(body);
}

void Conversation::Converse(const ExchangeInput& input, std::string_view source,
                            std::uint64_t size) {
  outcome_.total = size;
  outcome_.source = source;
  Run(input);
  Log(Concat("sent ", BytesText(outcome_.result.sent)));
}

// A bar would be drawn over what is printed.
bool Conversation::Take(std::string_view bytes, const TheTime& time) {
  if (bytes.empty()) return reception_.TakeEnd();
  progress_.reset();
  LogReceived(bytes.size());
  silent_since_ = TimeLimit::Clock::now();
  outcome_.result.received += bytes.size();
  has_enough_ = reception_.Take(bytes, time) || has_enough_;
  if (reception_.IsDecided()) throw Decided();
  return has_enough_;
}

// What may not be shown is not logged yet either.
void Conversation::LogReceived(std::size_t count) {
  if (display_.KeepsAnswers())
    kept_ += count;
  else if (log_ != nullptr)
    Log(Concat("received ", BytesText(count)));
}

void Conversation::EndAnswer(bool is_shown) {
  if (is_shown && kept_ > 0) Log(Concat("received ", BytesText(kept_)));
  kept_ = 0;
}

// A peer that has said enough may still have to take what was sent. After a
// failure there is nothing to wait for, and maybe no time.
void Conversation::CloseExchange() {
  const ExchangeResult before = outcome_.result;
  if (!before) {
    exchange_.Close();
    return;
  }
  InExchange([this] { return exchange_.Close(); });
  if (outcome_.result)
    outcome_.result = before;
  else if (has_enough_)
    outcome_.ForgetReset();
}

void Conversation::Close(std::string_view failure) {
  outcome_.failure = failure;
  CloseExchange();
  EndAnswer(display_.EndAnswer());
  const std::uint64_t sent = outcome_.result.sent;
  const std::uint64_t received = outcome_.result.received;
  const std::string ending = outcome_.Ending();
  display_.Closed(sent, received, ending);
  Log(ending);
  Log(Concat("closed: ", BytesText(sent), " sent, ", received, " received"));
}

void Conversation::CheckOutcome() const {
  outcome_.Check();
  if (!settings_.verbose) return;
  PrintNote(settings_.command, outcome_.Summary());
  if (reception_.Undecrypted() > 0)
    PrintNote(settings_.command,
              Concat("discarded ", reception_.Undecrypted(), " trailing ",
                     reception_.Undecrypted() == 1 ? "byte" : "bytes",
                     " of an incomplete cipher block"));
}

void Conversation::ReportCut() {
  const std::optional<Failure> cut = reception_.NoteCut();
  if (!cut) return;
  const std::string text = Concat(cut->what(), "; ", outcome_.Ending());
  Log(Failed(text));
  display_.Failed(cut->status(), text);
  PrintError(settings_.command, text);
}

void Conversation::EndInSilence() {
  reception_.Begin();
  outcome_.result.end = ExchangeEnd::kSilence;
  outcome_.result.phase = ExchangePhase::kReceiving;
  outcome_.result.error = 0;
  Log(outcome_.Ending());
  CheckOutcome();
}

}  // namespace fairlead::tool
