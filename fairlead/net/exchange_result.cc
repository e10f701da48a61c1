// The result of an exchange as text.

#include <string>
#include <string_view>
#include <system_error>

#include "fairlead/net/exchange.h"
#include "fairlead/net/name_lookup.h"

namespace fairlead {
namespace {

std::string SystemText(int error) {
  return std::error_code(error, std::generic_category()).message();
}

std::string_view Doing(ExchangePhase phase) {
  switch (phase) {
    case ExchangePhase::kResolving:
      return "resolving the name";
    case ExchangePhase::kConnecting:
      return "connecting";
    case ExchangePhase::kReading:
      return "reading what is to be sent";
    case ExchangePhase::kSending:
      return "sending";
    case ExchangePhase::kReceiving:
      break;
  }
  return "receiving";
}

std::string FailureText(const ExchangeResult& result) {
  switch (result.phase) {
    case ExchangePhase::kResolving:
      return "the name was not resolved: " +
             internal::LookupErrorText(result.error, result.system_error);
    case ExchangePhase::kConnecting:
      return "not connected: " + SystemText(result.error);
    default:
      return std::string(Doing(result.phase)) +
             " failed: " + SystemText(result.error);
  }
}

}  // namespace

std::string ExchangeResult::Text() const {
  switch (end) {
    case ExchangeEnd::kDone:
      return "done";
    case ExchangeEnd::kPeerClosed:
      return "the peer closed";
    case ExchangeEnd::kPeerReset:
      return "the peer reset the connection";
    case ExchangeEnd::kSilence:
      return phase == ExchangePhase::kSending ? "the peer did not read"
                                              : "the peer was silent";
    case ExchangeEnd::kTimeOver:
      return "the time is over while " + std::string(Doing(phase));
    case ExchangeEnd::kFailed:
      break;
  }
  return FailureText(*this);
}

}  // namespace fairlead
