// A dialogue with a server: what its script sends and awaits.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_H_
#define FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/exchange/dialogue_script.h"
#include "tool/exchange/received_line.h"
#include "tool/exchange/text_search.h"

namespace fairlead::tool {

/// Matches what is received with the statements of a script that await it, in
/// their order.
///
/// What a statement leaves is matched with the next one at once, whether or not
/// the dialogue has come there: nothing is kept but the start of a line.
class DialogueMatcher {
 public:
  /// @param script outlives the object
  explicit DialogueMatcher(const DialogueScript& script);

  void Take(std::string_view bytes);

  /// Returns how many of the statements are met.
  std::size_t met() const { return met_; }

  /// Returns whether the next one, an `expect`, got another line.
  bool IsRefused() const { return refused_; }

  /// Returns the start of that line, or of the one that has begun.
  std::string_view line() const { return line_.Text(); }

 private:
  const Statement& next() const { return *awaiting_[met_]; }
  std::size_t TakeText(std::string_view bytes);
  std::size_t TakeLine(std::string_view bytes);
  void EndLine();
  void Meet();
  void Begin();

  std::vector<const Statement*> awaiting_;
  std::size_t met_ = 0;
  bool refused_ = false;
  bool continued_ = false;            // The reply has further lines.
  std::optional<TextSearch> search_;  // If the next one is an `until`.
  ReceivedLine line_;                 // If it is an `expect`.
};

/// The server, as a dialogue sees it.
class DialoguePeer {
 public:
  DialoguePeer() = default;
  DialoguePeer(const DialoguePeer&) = delete;
  DialoguePeer& operator=(const DialoguePeer&) = delete;
  virtual ~DialoguePeer() = default;

  /// Takes what is received; returns whether that is enough.
  using Take = std::function<bool(std::string_view bytes)>;

  /// Takes what is to be sent before the next wait: what nothing parts is sent
  /// together.
  virtual void Send(std::string_view bytes) = 0;

  /// Sends, and receives until that is enough, or until the exchange ends
  /// otherwise.
  virtual void Receive(const Statement& statement, const Take& take) = 0;

  /// Sends, and receives for so long a time, or what has come if it is zero.
  ///
  /// @return false if the exchange has failed, which a reset is only in a pause
  ///     longer than zero
  virtual bool Pause(const Statement& statement, std::chrono::milliseconds time,
                     const Take& take) = 0;
};

/// Why a dialogue ended before the end of its script.
struct DialogueProblem {
  const Statement* statement = nullptr;  ///< That was not met, or not done.
  bool refused = false;                  ///< An `expect` got another line.
  std::string line = {};                 ///< The start of that line, or of one
                                         ///< that had begun.
};

/// Runs the script; returns nothing if all of it was done.
std::optional<DialogueProblem> RunDialogue(const DialogueScript& script,
                                           DialoguePeer& peer);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_H_
