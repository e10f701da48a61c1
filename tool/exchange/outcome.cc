// Reports how a conversation ended.

#include "tool/exchange/outcome.h"

#include <netdb.h>

#include <cerrno>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/duration.h"

namespace fairlead::tool {

std::string NotResolved(std::string_view host, int error, int system_error) {
  const std::string why = error == 0            ? "it has none"
                          : error == EAI_SYSTEM ? ErrorText(system_error)
                                                : gai_strerror(error);
  return Concat("no IPv4 address is known for ", Quoted(host), ": ", why);
}

void Outcome::ForgetReset() {
  if (result.end != ExchangeEnd::kPeerReset) return;
  result.end = ExchangeEnd::kDone;
  result.error = 0;
  reset_late_ = true;
}

void Outcome::CheckConnected() const {
  if (result) return;
  CheckTime();
  if (result.phase == ExchangePhase::kResolving) {
    const bool is_late = result.end == ExchangeEnd::kSilence;
    throw Failure(
        kNotResolved,
        NotResolved(settings_.host, is_late ? EAI_SYSTEM : result.error,
                    is_late ? ETIMEDOUT : result.system_error));
  }
  throw Failure(kNotConnected, Concat("cannot connect to ", refused));
}

std::string Outcome::HowMuch() const {
  return total == 0 ? BytesText(result.sent)
                    : Concat(result.sent, " of ", BytesText(total));
}

std::string_view Outcome::WhatWasDone() const {
  if (result.phase == ExchangePhase::kConnecting) return "only connected";
  if (reception_.IsRejected()) return "a rejected text was received";
  if (script.empty()) return "enough was received";
  return problem ? "another line was received than the script expects"
                 : "the script was done";
}

std::string Outcome::Success() const {
  if (reception_.IsExpected())
    return Concat("the text of -expect came: ",
                  Quoted(reception_.DecidingLine()));
  return Concat(WhatWasDone(),
                reset_late_ ? "; then the peer reset the connection" : "");
}

std::string Outcome::Ending() const {
  if (!failure.empty()) return failure;
  switch (result.end) {
    case ExchangeEnd::kDone:
      return Success();
    case ExchangeEnd::kSilence:
      return Concat(result.Text(), " for ",
                    DurationText(*settings_.limits.idle));
    default:
      return result.Text();
  }
}

std::string Outcome::Summary() const {
  const std::string sent =
      result.sent < total ? HowMuch() : BytesText(result.sent);
  return Concat(sent, " sent, ", result.received, " received; ", Ending());
}

bool Outcome::MayRetry(ExitStatus status) const {
  if (status == kNotResolved || status == kNotConnected) return true;
  const bool has_begun = result.phase != ExchangePhase::kResolving &&
                         result.phase != ExchangePhase::kConnecting;
  return status == kTimeIsOver && !reception_.HasTaken() &&
         !(has_begun && settings_.input_is_unique);
}

bool Outcome::PeerHasLeft() const {
  return result.end == ExchangeEnd::kPeerClosed ||
         result.end == ExchangeEnd::kPeerReset ||
         (result.end == ExchangeEnd::kFailed && result.error == ETIMEDOUT &&
          result.phase == ExchangePhase::kReceiving);
}

void Outcome::Check() const {
  reception_.CheckRejected();
  CheckExchange();
  if (script.empty())
    CheckReceived();
  else
    CheckDialogue();
}

void Outcome::CheckTime() const {
  if (result.end == ExchangeEnd::kTimeOver) throw Failure(kTimeIsOver, timeout);
}

void Outcome::CheckExchange() const {
  CheckTime();
  const bool sending = result.phase == ExchangePhase::kSending;
  if (result.end == ExchangeEnd::kPeerReset)
    throw Failure(kReceivingFailed,
                  Concat("the peer reset the connection: ", HowMuch(),
                         " sent, ", BytesText(result.received), " received"));
  if (result.end == ExchangeEnd::kFailed &&
      result.phase == ExchangePhase::kReading)
    throw Failure(kCannotRead, Concat("cannot read ", source, ": ",
                                      ErrorText(result.error)));
  if (sending && (result.end == ExchangeEnd::kFailed ||
                  result.end == ExchangeEnd::kSilence))
    throw Failure(
        kSendingFailed,
        Concat("sending failed after ", HowMuch(), ": ",
               result.error != 0 ? ErrorText(result.error) : Ending()));
  if (result.end == ExchangeEnd::kFailed)
    throw Failure(kReceivingFailed, result.Text());
}

void Outcome::CheckReceived() const {
  if (!reception_.HasTaken())
    throw Failure(kNothingAnswered, Concat("nothing was answered: ", Ending()));
  reception_.Check(!result, Ending());
}

void Outcome::CheckDialogue() const {
  reception_.Check(!result, Ending());
  if (!problem) return;
  const std::string expected =
      Concat(StatementPlace(script, *problem->statement), ": expected ",
             Quoted(problem->statement->text), ": ");
  const std::string got = problem->line.empty() && !problem->refused
                              ? ""
                              : Concat("got ", Quoted(problem->line));
  if (problem->refused) throw Failure(kAnswerIsNo, expected + got);
  throw Failure(
      result.end == ExchangeEnd::kPeerClosed ? kCutShort : kAnswerIsNo,
      Concat(expected, got, got.empty() ? "" : "; ", Ending()));
}

}  // namespace fairlead::tool
