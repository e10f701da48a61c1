// For tests: a server whose bytes come in given pieces.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_TESTING_H_
#define FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_TESTING_H_

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/exchange/dialogue.h"

namespace fairlead::tool {

/// Gives one piece after the other, and then closes.
class PieceByPiece : public DialoguePeer {
 public:
  explicit PieceByPiece(std::vector<std::string_view> pieces)
      : pieces_(std::move(pieces)) {}

  void Send(std::string_view bytes) override { unsent_ += bytes; }

  void Receive(const Statement& /*statement*/, const Take& take) override {
    SendAll();
    while (next_ < pieces_.size())
      if (take(pieces_[next_++])) return;
  }

  // One piece comes in each pause.
  bool Pause(const Statement& /*statement*/, std::chrono::milliseconds time,
             const Take& take) override {
    SendAll();
    steps += "[" + std::to_string(time.count()) + "]";
    if (next_ < pieces_.size()) take(pieces_[next_++]);
    return !fails_in_pause;
  }

  bool fails_in_pause = false;
  std::string sent;   // All of it.
  std::string steps;  // "<sent together>" and "[milliseconds of a pause]".

 private:
  void SendAll() {
    sent += unsent_;
    if (!unsent_.empty()) steps += "<" + unsent_ + ">";
    unsent_.clear();
  }

  std::string unsent_;
  std::vector<std::string_view> pieces_;
  std::size_t next_ = 0;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_TESTING_H_
