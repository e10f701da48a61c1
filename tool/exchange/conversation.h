// A conversation with a server, as `send` and `recv` show it: with a log, stop
// rules, views and exit statuses.

#ifndef FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_H_
#define FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/net/exchange.h"
#include "tool/base/exit_status.h"
#include "tool/command/arguments.h"
#include "tool/exchange/dialogue.h"
#include "tool/exchange/dialogue_script.h"
#include "tool/exchange/display.h"
#include "tool/exchange/exchange_log.h"
#include "tool/exchange/parameters.h"
#include "tool/exchange/reception.h"
#include "tool/exchange/time_limit.h"
#include "tool/io/progress.h"

namespace fairlead::tool {

/// With which server to converse, for how long, and how to show what comes.
struct ConversationSettings {
  std::string command;  ///< For messages.
  std::string host;
  int port = 0;  ///< Still 0 with -demo.
  ExchangeLimits::Limit timeout;
  ExchangeLimits limits;  ///< Without the total, which the TimeLimit has.
  bool half_close = false;
  bool quiet = false;
  bool verbose = false;
  ReceptionSettings reception;
  bool input_is_unique = false;  ///< What is sent cannot be read again.
  View view = View::kRaw;
  OutFile out;
};

/// Returns the message for a name that was not resolved.
///
/// @param error a result of getaddrinfo
/// @param system_error the POSIX `errno` of EAI_SYSTEM
std::string NotResolved(std::string_view host, int error, int system_error);

/// Returns the settings that the arguments give, without a server.
///
/// @throws Failure with kWrongUsage for a malformed -until
ConversationSettings ReadSettings(const Arguments<kExchangeUses>& arguments);

/// The steps of a conversation. Call each once, in this order. Each throws a
/// Failure with its own status.
///
/// What was awaited decides, whatever the peer does afterwards: the system
/// keeps what came before a reset, so that the outcome depends on the peer's
/// bytes alone. Whether the last bytes sent met the reset or were sent just
/// before it is chance.
class Conversation {
 public:
  /// @param log null for none; all five outlive the object
  Conversation(const ConversationSettings& settings, TimeLimit& limit,
               Display& display, Reception& reception, ExchangeLog* log);

  void Connect();

  /// Shows how long connecting took, unless the tool is quiet.
  void ShowConnectTime();

  /// Sends the body, or what is read from the source, and prints what is
  /// received, until a text of -expect or -reject decides, a stop rule is met
  /// and all is sent, the peer closes, or nothing passes for the idle time. If
  /// the peer resets the connection after a rule was met, the rule counts.
  ///
  /// @param message what the body says, before encryption and without a prefix
  /// @param size how many bytes are sent; 0 if that is unknown
  void Converse(std::string_view body, std::string_view message);
  void Converse(const ExchangeInput& input, std::string_view source,
                std::uint64_t size);

  /// Runs the script of that name, and prints what is received. If the peer
  /// resets the connection after the last statement that waits, the script is
  /// done.
  void Converse(const DialogueScript& script, const std::string& name);

  /// Shows a message of what is sent, or the next piece of it. Any thread may
  /// call it.
  void ShowSent(std::string_view piece, bool ends_message) {
    display_.Sent(piece, ends_message);
  }

  /// @param failure of what is sent, which ended the exchange; "" for none
  void Close(std::string_view failure = {});

  /// Reports the message that the end of the connection has cut, if there is
  /// one. CheckOutcome() of a later connection then throws.
  void ReportCut();

  /// Ends a conversation that the peer has left, or that was not made, as if
  /// the peer had been silent for the idle time.
  void EndInSilence();

  /// Throws if not everything was sent or received.
  void CheckOutcome() const;

  /// Returns whether trying again may help after a failure with that status,
  /// and repeats nothing that was received or taken from an input.
  bool MayRetry(ExitStatus status) const;

  /// Returns whether the peer closed or reset the connection, or vanished.
  bool PeerHasLeft() const;

  /// Returns whether Converse() with a body has received anything, and when the
  /// last of it; before that, when the connection was made.
  bool HasReceived() const { return result_.received > 0; }
  TimeLimit::Clock::time_point silent_since() const { return silent_since_; }

  /// Returns why the exchange ended.
  std::string Ending() const;

  /// Logs a step, and prints it with -verbose.
  void Tell(std::string_view event);

 private:
  class Server;     // As the dialogue sees it.
  struct Decided {  // Ends an exchange at once.
  };

  void OnEvent(const ExchangeEvent& event);
  void OnSent(std::uint64_t sent);
  ExchangeOptions Options();
  ExchangeResult InExchange(const std::function<ExchangeResult()>& step);
  Exchange::Sink WatchedSink(Exchange::Sink take);
  template <typename Source>
  void Run(const Source& source);
  bool Take(std::string_view bytes, const TheTime& time);
  void ForgetReset();
  std::string Place(std::string_view address) const;
  std::string HowMuch() const;
  std::string Success() const;
  std::string_view WhatWasDone() const;
  [[noreturn]] void FailToConnect() const;
  void CheckExchange() const;
  void CheckReceived() const;
  void CheckDialogue() const;
  void TellSuccess() const;
  void Log(std::string_view event);
  void LogReceived(std::size_t count);
  void EndAnswer();
  void CheckTime() const;

  const ConversationSettings& settings_;
  TimeLimit& limit_;
  Display& display_;
  ExchangeLog* const log_;
  Reception& reception_;
  std::uint64_t kept_ = 0;  // Bytes that wait for EndAnswer().
  TimeLimit::Clock::time_point connecting_since_;
  TimeLimit::Clock::duration connect_time_{};
  TimeLimit::Clock::time_point silent_since_;
  std::string refused_;       // The addresses that failed, and why.
  std::string_view message_;  // What they say.
  std::uint64_t total_ = 0;   // Bytes to send; 0 if unknown.
  std::string source_;        // Its name, if they are read meanwhile.
  std::string script_;        // Its name, for a dialogue.
  std::string place_;         // " at FILE:LINE", where the dialogue is.
  std::optional<DialogueProblem> problem_;
  std::optional<Progress> progress_;  // Of a long body.
  bool has_enough_ = false;           // A rule was met.
  bool reset_late_ = false;           // After what was awaited.
  std::string failure_;               // Of what is sent.
  ExchangeResult result_;
  std::string timeout_;  // The message, if the time is over.
  Exchange exchange_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_H_
