// Converses with a server and prints what is received.

#include "tool/exchange/conversation.h"

#include <netdb.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command.h"
#include "tool/command/duration.h"

namespace fairlead::tool {
namespace {

using Step = ExchangeEvent::Kind;

// A body that is longer has a progress bar.
constexpr std::uint64_t kLongBody = 10'000;

std::string Bytes(std::uint64_t count) {
  return Concat(count, count == 1 ? " byte" : " bytes");
}

ExchangeLimits LimitsOf(const Arguments<kExchangeUses>& arguments) {
  return {.total = std::nullopt,
          .connect = arguments.Duration(kConnecttimeout),
          .idle = arguments.Duration(kIdle)};
}

StopLimits StopLimitsOf(const Arguments<kExchangeUses>& arguments) {
  return {.messages = arguments.Number(kMessages),
          .bytes = arguments.Number(kBytes),
          .lines = arguments.Number(kLines),
          .until = Unescaped(arguments.Text(kUntil), kUntil.name)};
}

}  // namespace

std::string NotResolved(std::string_view host, int error, int system_error) {
  const std::string why = error == 0            ? "it has none"
                          : error == EAI_SYSTEM ? ErrorText(system_error)
                                                : gai_strerror(error);
  return Concat("no IPv4 address is known for ", Quoted(host), ": ", why);
}

ConversationSettings ReadSettings(const Arguments<kExchangeUses>& arguments) {
  return {.command = std::string(TopName(arguments.parsed().command())),
          .host = {},
          .timeout = arguments.Duration(kTimeout),
          .limits = LimitsOf(arguments),
          .quiet = arguments.Has(kQuiet),
          .verbose = arguments.Has(kVerbose),
          .reception = {.stop = StopLimitsOf(arguments),
                        .expected =
                            Unescaped(arguments.Text(kExpect), kExpect.name),
                        .rejected =
                            Unescaped(arguments.Text(kReject), kReject.name)},
          .view = arguments.Chosen<View>(kView),
          .out = OutFileOf(arguments)};
}

Conversation::Conversation(const ConversationSettings& settings,
                           TimeLimit& limit, Display& display,
                           Reception& reception, ExchangeLog* log)
    : settings_(settings),
      limit_(limit),
      display_(display),
      log_(log),
      reception_(reception) {}

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
      refused_ += Concat(refused_.empty() ? "" : "; ", Place(event.address),
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
  result_.sent = sent;
  if (sent < total_)
    limit_.Enter(Concat("sending: ", sent, " of ", Bytes(total_)));
  else if (source_.empty())
    limit_.Enter(Concat("waiting for the peer", place_));
  else
    limit_.Enter(Concat("waiting for ", source_, " or the peer"));
  if (progress_) progress_->Show(sent);
  if (sent < total_ || !source_.empty()) return;
  Log(Concat("sent ", Bytes(sent)));
  if (sent > 0) display_.Sent(message_);
}

void Conversation::Connect() {
  limit_.Enter(Concat("resolving ", Quoted(settings_.host)));
  Log(Concat("resolving ", Shown(settings_.host)));
  exchange_ = Exchange(Options());
  result_ = InExchange([this] {
    return exchange_.Connect(settings_.host,
                             static_cast<std::uint16_t>(settings_.port));
  });
  if (!result_) FailToConnect();
  reception_.Begin();
  if (!settings_.out.path.empty())
    limit_.Enter(Concat("opening ", Quoted(settings_.out.path)));
  display_.Connected(Concat(result_.address, ":", settings_.port),
                     connect_time_);
}

ExchangeOptions Conversation::Options() {
  ExchangeOptions options = {.limits = settings_.limits,
                             .half_close = settings_.half_close};
  options.limits.total = limit_.Remaining();
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
ExchangeResult Conversation::InExchange(
    const std::function<ExchangeResult()>& step) {
  limit_.Delegate(true);
  ExchangeResult result = step();
  if (result.end == ExchangeEnd::kTimeOver)
    timeout_ = limit_.Message();
  else
    limit_.Delegate(false);
  return result;
}

void Conversation::FailToConnect() const {
  CheckTime();
  if (result_.phase == ExchangePhase::kResolving)
    throw Failure(kNotResolved, NotResolved(settings_.host, result_.error,
                                            result_.system_error));
  throw Failure(kNotConnected, Concat("cannot connect to ", refused_));
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
  if (total_ > kLongBody) progress_.emplace(total_);
  OnSent(0);
  try {
    const Exchange::Sink sink =
        WatchedSink([this](std::string_view bytes, const TheTime& time) {
          return Take(bytes, time);
        });
    result_ = InExchange([&] { return exchange_.Converse(source, sink); });
    if (has_enough_) ForgetReset();
  } catch (const Decided&) {
    result_.phase = ExchangePhase::kReceiving;
  }
  progress_.reset();
}

// What was awaited came before.
void Conversation::ForgetReset() {
  if (result_.end != ExchangeEnd::kPeerReset) return;
  result_.end = ExchangeEnd::kDone;
  result_.error = 0;
  reset_late_ = true;
}

void Conversation::Converse(std::string_view body, std::string_view message) {
  total_ = body.size();
  message_ = message;
  Run(body);
}

void Conversation::Converse(const ExchangeInput& input, std::string_view source,
                            std::uint64_t size) {
  total_ = size;
  source_ = source;
  Run(input);
  Log(Concat("sent ", Bytes(result_.sent)));
}

// A bar would be drawn over what is printed.
bool Conversation::Take(std::string_view bytes, const TheTime& time) {
  if (bytes.empty()) return reception_.TakeEnd();
  progress_.reset();
  LogReceived(bytes.size());
  silent_since_ = TimeLimit::Clock::now();
  result_.received += bytes.size();
  has_enough_ = reception_.Take(bytes, time) || has_enough_;
  if (reception_.IsDecided()) throw Decided();
  return has_enough_;
}

// What may not be shown is not logged yet either.
void Conversation::LogReceived(std::size_t count) {
  if (display_.KeepsAnswers())
    kept_ += count;
  else if (log_ != nullptr)
    Log(Concat("received ", Bytes(count)));
}

void Conversation::EndAnswer() {
  if (display_.EndAnswer() && kept_ > 0) Log(Concat("received ", Bytes(kept_)));
  kept_ = 0;
}

std::string Conversation::HowMuch() const {
  return total_ == 0 ? Bytes(result_.sent)
                     : Concat(result_.sent, " of ", Bytes(total_));
}

std::string_view Conversation::WhatWasDone() const {
  if (result_.phase == ExchangePhase::kConnecting) return "only connected";
  if (reception_.IsRejected()) return "a rejected text was received";
  if (script_.empty()) return "enough was received";
  return problem_ ? "another line was received than the script expects"
                  : "the script was done";
}

std::string Conversation::Success() const {
  if (reception_.IsExpected())
    return Concat("the text of -expect came: ",
                  Quoted(reception_.DecidingLine()));
  return Concat(WhatWasDone(),
                reset_late_ ? "; then the peer reset the connection" : "");
}

std::string Conversation::Ending() const {
  if (!failure_.empty()) return failure_;
  switch (result_.end) {
    case ExchangeEnd::kDone:
      return Success();
    case ExchangeEnd::kSilence:
      return Concat(result_.Text(), " for ",
                    DurationText(*settings_.limits.idle));
    default:
      return result_.Text();
  }
}

void Conversation::Close(std::string_view failure) {
  failure_ = failure;
  exchange_.Close();
  EndAnswer();
  display_.Closed(result_.sent, result_.received, Ending());
  Log(Ending());
  Log(Concat("closed: ", result_.sent, " bytes sent, ", result_.received,
             " received"));
}

void Conversation::CheckOutcome() const {
  reception_.CheckRejected();
  CheckExchange();
  if (script_.empty())
    CheckReceived();
  else
    CheckDialogue();
  if (settings_.verbose) TellSuccess();
}

void Conversation::ReportCut() {
  const std::optional<Failure> cut = reception_.NoteCut();
  if (!cut) return;
  const std::string text = Concat(cut->what(), "; ", Ending());
  Log(Failed(text));
  display_.Failed(cut->status(), text);
  PrintError(settings_.command, text);
}

void Conversation::EndInSilence() {
  reception_.Begin();
  result_.end = ExchangeEnd::kSilence;
  result_.phase = ExchangePhase::kReceiving;
  result_.error = 0;
  Log(Ending());
  CheckOutcome();
}

void Conversation::TellSuccess() const {
  const std::string sent =
      result_.sent < total_ ? HowMuch() : Bytes(result_.sent);
  PrintNote(settings_.command,
            Concat(sent, " sent, ", result_.received, " received; ", Ending()));
  if (reception_.Undecrypted() > 0)
    PrintNote(settings_.command,
              Concat("discarded ", reception_.Undecrypted(),
                     " trailing bytes of an incomplete cipher block"));
}

bool Conversation::MayRetry(ExitStatus status) const {
  if (status == kNotResolved || status == kNotConnected) return true;
  const bool has_begun = result_.phase != ExchangePhase::kResolving &&
                         result_.phase != ExchangePhase::kConnecting;
  return status == kTimeIsOver && !reception_.HasTaken() &&
         !(has_begun && settings_.input_is_unique);
}

bool Conversation::PeerHasLeft() const {
  return result_.end == ExchangeEnd::kPeerClosed ||
         result_.end == ExchangeEnd::kPeerReset ||
         (result_.end == ExchangeEnd::kFailed && result_.error == ETIMEDOUT &&
          result_.phase == ExchangePhase::kReceiving);
}

void Conversation::CheckTime() const {
  if (result_.end == ExchangeEnd::kTimeOver)
    throw Failure(kTimeIsOver, timeout_);
}

void Conversation::CheckExchange() const {
  CheckTime();
  const bool sending = result_.phase == ExchangePhase::kSending;
  if (result_.end == ExchangeEnd::kPeerReset)
    throw Failure(kReceivingFailed,
                  Concat("the peer reset the connection: ", HowMuch(),
                         " sent, ", Bytes(result_.received), " received"));
  if (result_.end == ExchangeEnd::kFailed &&
      result_.phase == ExchangePhase::kReading)
    throw Failure(kCannotRead, Concat("cannot read ", source_, ": ",
                                      ErrorText(result_.error)));
  if (sending && (result_.end == ExchangeEnd::kFailed ||
                  result_.end == ExchangeEnd::kSilence))
    throw Failure(
        kSendingFailed,
        Concat("sending failed after ", HowMuch(), ": ",
               result_.error != 0 ? ErrorText(result_.error) : Ending()));
  if (result_.end == ExchangeEnd::kFailed)
    throw Failure(kReceivingFailed, result_.Text());
}

void Conversation::CheckReceived() const {
  if (!reception_.HasTaken())
    throw Failure(kNothingAnswered, Concat("nothing was answered: ", Ending()));
  reception_.Check(!result_, Ending());
}

}  // namespace fairlead::tool
