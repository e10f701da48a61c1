// What a body and an input ask for, and how the progress of an exchange becomes
// its end. Not installed.

#ifndef FAIRLEAD_NET_EXCHANGE_ENDING_H_
#define FAIRLEAD_NET_EXCHANGE_ENDING_H_

#include <cerrno>
#include <string_view>

#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_sender.h"

namespace fairlead::internal {

inline bool AwaitsEnd(std::string_view /*body*/) { return true; }
inline bool AwaitsEnd(const ExchangeInput& input) { return input.await_end; }

inline bool HasBytes(std::string_view body) { return !body.empty(); }
inline bool HasBytes(const ExchangeInput& /*input*/) { return true; }

inline bool IsReset(int error) {
  return error == ECONNRESET || error == EPIPE || error == ENOTCONN;
}

inline bool HasFailed(const ExchangeSender::Progress& sending) {
  return sending.status == ExchangeSender::Status::kSendFailed ||
         sending.status == ExchangeSender::Status::kInputFailed;
}

struct Ending {
  ExchangeEnd end;
  ExchangePhase phase;
  int error = 0;
};

// The system reports one reset as different errors, by who asks first.
inline Ending Failure(ExchangePhase phase, int error) {
  if (IsReset(error)) return {ExchangeEnd::kPeerReset, phase, ECONNRESET};
  return {ExchangeEnd::kFailed, phase, error};
}

// An input may be a socket too: its reset is not the peer's.
inline Ending FailureOf(const ExchangeSender::Progress& sending) {
  if (sending.status == ExchangeSender::Status::kInputFailed)
    return {ExchangeEnd::kFailed, ExchangePhase::kReading, sending.error};
  return Failure(ExchangePhase::kSending, sending.error);
}

// After a reset, what the peer sent before is still to be received.
inline bool HasFailedForGood(const ExchangeSender::Progress& sending) {
  return HasFailed(sending) &&
         (sending.status == ExchangeSender::Status::kInputFailed ||
          !IsReset(sending.error));
}

inline ExchangePhase PhaseOf(const ExchangeSender::Progress& sending) {
  return sending.status == ExchangeSender::Status::kDone
             ? ExchangePhase::kReceiving
             : ExchangePhase::kSending;
}

// What the peer is awaited for: while the input is quiet, all that there was is
// sent. A failure is of that, as it is chance which thread the system reports
// it to.
inline ExchangePhase PhaseOfWait(const ExchangeSender::Progress& sending) {
  return sending.status == ExchangeSender::Status::kWaitingForInput
             ? ExchangePhase::kReceiving
             : PhaseOf(sending);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_EXCHANGE_ENDING_H_
