// How a conversation ended.

#ifndef FAIRLEAD_TOOL_EXCHANGE_OUTCOME_H_
#define FAIRLEAD_TOOL_EXCHANGE_OUTCOME_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/net/exchange.h"
#include "tool/base/exit_status.h"
#include "tool/exchange/conversation_settings.h"
#include "tool/exchange/dialogue.h"
#include "tool/exchange/reception.h"

namespace fairlead::tool {

/// Returns the message for a name that was not resolved.
///
/// @param error a result of getaddrinfo
/// @param system_error the POSIX `errno` of EAI_SYSTEM
std::string NotResolved(std::string_view host, int error, int system_error);

/// What a conversation notes while it runs, and what follows from it at its
/// end: the status, and what users read about it.
///
/// What was awaited decides, whatever the peer does afterwards: the system
/// keeps what came before a reset, so that the outcome depends on the peer's
/// bytes alone. Whether the last bytes sent met the reset or were sent just
/// before it is chance.
class Outcome {
 public:
  /// @param reception of the conversation; both outlive the object
  Outcome(const ConversationSettings& settings, const Reception& reception)
      : settings_(settings), reception_(reception) {}

  /// Drops a reset that came after what was awaited.
  void ForgetReset();

  /// Throws if no connection was made.
  ///
  /// @throws Failure with kNotResolved, kNotConnected or kTimeIsOver
  void CheckConnected() const;

  /// Throws if not everything was sent or received.
  ///
  /// @throws Failure with a status of its own for each way to end
  void Check() const;

  /// Returns whether trying again may help after a failure with that status,
  /// and repeats nothing that was received or taken from an input.
  bool MayRetry(ExitStatus status) const;

  /// Returns whether the peer closed or reset the connection, or vanished.
  bool PeerHasLeft() const;

  /// Returns why the exchange ended.
  std::string Ending() const;

  /// Returns "5 bytes sent, 7 received; " and why the exchange ended.
  std::string Summary() const;

  ExchangeResult result;    ///< Of the last step.
  std::uint64_t total = 0;  ///< Bytes to send; 0 if unknown.
  std::string source;       ///< Its name, if they are read meanwhile.
  std::string script;       ///< Its name, for a dialogue.
  std::optional<DialogueProblem> problem;
  std::string refused;  ///< The addresses that failed, and why.
  std::string failure;  ///< Of what is sent.
  std::string timeout;  ///< The message, if the time is over.

 private:
  std::string HowMuch() const;
  std::string Success() const;
  std::string_view WhatWasDone() const;
  void CheckTime() const;
  void CheckExchange() const;
  void CheckReceived() const;
  void CheckDialogue() const;

  const ConversationSettings& settings_;
  const Reception& reception_;
  bool reset_late_ = false;  // After what was awaited.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_OUTCOME_H_
