// A conversation with a server, as `send` and `recv` show it: with a log, stop
// rules, views and exit statuses.

#ifndef FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_H_
#define FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/net/exchange.h"
#include "tool/exchange/conversation_settings.h"
#include "tool/exchange/dialogue_script.h"
#include "tool/exchange/outcome.h"
#include "tool/exchange/reception.h"
#include "tool/io/progress.h"
#include "tool/traffic/display.h"
#include "tool/traffic/exchange_log.h"
#include "tool/traffic/time_limit.h"

namespace fairlead::tool {

/// The steps of a conversation. Call each once, in this order. Each throws a
/// Failure with its own status.
class Conversation {
 public:
  /// @param log null for none; all five outlive the object
  Conversation(const ConversationSettings& settings, TimeLimit& limit,
               Display& display, Reception& reception, ExchangeLog* log);

  /// Gives the conversation until then to connect and to receive a byte. Call
  /// it before Connect().
  void ExpectByteUntil(TimeLimit::Clock::time_point end) {
    end_of_silence_ = end;
  }

  /// @throws Failure if the name is not resolved or no connection is made
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

  /// Closes the connection; if enough was received, once the peer has
  /// acknowledged what was sent. A reset then changes nothing.
  ///
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

  /// Returns whether Converse() with a body has received anything, and when the
  /// last of it; before that, when the connection was made.
  bool HasReceived() const { return outcome_.result.received > 0; }
  TimeLimit::Clock::time_point silent_since() const { return silent_since_; }

  /// Returns how it ended. Until then, what of that is known.
  const Outcome& outcome() const { return outcome_; }

  /// Logs a step, and prints it with -verbose.
  void Tell(std::string_view event);

 private:
  class Server;     // As the dialogue sees it.
  struct Decided {  // Ends an exchange at once.
  };

  void OnEvent(const ExchangeEvent& event);
  void OnSent(std::uint64_t sent);
  ExchangeOptions Options();
  bool TakesStream() const;
  void InExchange(const std::function<ExchangeResult()>& step);
  Exchange::Sink WatchedSink(Exchange::Sink take);
  template <typename Source>
  void Run(const Source& source);
  bool Take(std::string_view bytes, const TheTime& time);
  void CloseExchange();
  std::string Place(std::string_view address) const;
  void Log(std::string_view event);
  void LogReceived(std::size_t count);
  void EndAnswer(bool is_shown);

  const ConversationSettings& settings_;
  TimeLimit& limit_;
  Display& display_;
  ExchangeLog* const log_;
  Reception& reception_;
  std::uint64_t kept_ = 0;  // Bytes that wait for EndAnswer().
  TimeLimit::Clock::time_point connecting_since_;
  TimeLimit::Clock::duration connect_time_{};
  TimeLimit::Clock::time_point silent_since_;
  std::optional<TimeLimit::Clock::time_point> end_of_silence_;
  std::string_view message_;          // What the body says.
  std::string place_;                 // " at FILE:LINE", where the dialogue is.
  std::optional<Progress> progress_;  // Of a long body.
  bool has_enough_ = false;           // A rule was met, or the script done.
  Outcome outcome_;
  Exchange exchange_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_H_
