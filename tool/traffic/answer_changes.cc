// Compares each answer with the last one that was shown.

#include "tool/traffic/answer_changes.h"

#include <utility>

namespace fairlead::tool {

void AnswerChanges::Begin() {
  answer_.clear();
  pieces_.clear();
  is_too_long_ = false;
}

void AnswerChanges::Add(const Piece& piece, const Show& show) {
  const bool fits = piece.bytes.size() <= kMaxBytes - answer_.size() &&
                    pieces_.size() < kMaxPieces;
  if (!fits && !is_too_long_) {
    ShowKept(show);
    Begin();
    is_too_long_ = true;
    shown_.reset();
  }
  if (is_too_long_) return show(piece);
  answer_ += piece.bytes;
  pieces_.push_back({piece.bytes.size(), piece.time, piece.ends_message});
}

bool AnswerChanges::End(const Show& show) {
  const bool differs = !answer_.empty() && answer_ != shown_;
  if (differs) {
    ShowKept(show);
    shown_ = std::move(answer_);
  }
  const bool is_shown = differs || is_too_long_;
  Begin();
  return is_shown;
}

bool AnswerChanges::Cut(const Show& show) {
  const bool has_bytes = !answer_.empty() || is_too_long_;
  if (has_bytes) {
    ShowKept(show);
    shown_.reset();
  }
  Begin();
  return has_bytes;
}

void AnswerChanges::ShowKept(const Show& show) const {
  std::string_view rest = answer_;
  for (const Kept& kept : pieces_) {
    show({rest.substr(0, kept.size), kept.time, kept.ends_message});
    rest.remove_prefix(kept.size);
  }
}

}  // namespace fairlead::tool
