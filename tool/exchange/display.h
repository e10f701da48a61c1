// What `send` and `recv` show of an exchange.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DISPLAY_H_
#define FAIRLEAD_TOOL_EXCHANGE_DISPLAY_H_

#include <optional>
#include <string_view>

#include "fairlead/time/the_time.h"
#include "tool/command/arguments.h"
#include "tool/exchange/answer_changes.h"
#include "tool/exchange/destination.h"
#include "tool/exchange/parameters.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// What OutFileOf() reads.
inline constexpr auto kOutUses = Uses(Optional(kOut, Optional(kAppend)));

OutFile OutFileOf(const Arguments<kOutUses>& arguments);

/// Shows what is received in a view, on standard output or in a file.
///
/// One display serves all exchanges of a command.
class Display {
 public:
  /// @param output outlives the object
  Display(const Output& output, View view, OutFile file);

  /// From now on, keeps what is received until EndAnswer(), and shows it only
  /// if it has changed.
  void ShowOnlyChanges() { changes_.emplace(); }

  bool KeepsAnswers() const { return changes_.has_value(); }

  /// From now on, leaves standard output open when the peer sends no more:
  /// another one follows.
  void ExpectMorePeers() { more_peers_ = true; }

  /// Begins an answer.
  ///
  /// @throws Failure with kCannotWrite if the file cannot be opened
  void Connected();

  /// Shows a message received at that time, or keeps it.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone; with kReceivingFailed if
  ///     it cannot be kept
  void Received(std::string_view message, const TheTime& time);

  /// Returns whether the messages since Connected() are shown: all of them, but
  /// for those that ShowOnlyChanges() drops.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  bool EndAnswer();

  /// Shows a line that is the result of an exchange without messages.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  void Result(std::string_view line) { destination_.Write(line); }

  /// The peer sends no more, though there is input left to send.
  void PeerEnded() const {
    if (!more_peers_) destination_.End();
  }

  /// Closes the file.
  ///
  /// @throws Failure with kCannotWrite
  void Close() { destination_.Close(); }

 private:
  void Show(std::string_view message, const TheTime& time);

  const View view_;
  bool more_peers_ = false;
  std::optional<AnswerChanges> changes_;
  Destination destination_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DISPLAY_H_
