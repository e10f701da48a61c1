// Compares each answer with the last one that was shown.

#include "tool/exchange/answer_changes.h"

#include <utility>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

void AnswerChanges::Begin() {
  answer_.clear();
  pieces_.clear();
}

void AnswerChanges::Add(const Piece& piece) {
  if (piece.bytes.size() > kMaxBytes - answer_.size() ||
      pieces_.size() == kMaxPieces)
    throw Failure(kReceivingFailed,
                  Concat("the answer is too long for -changes, which keeps at "
                         "most ",
                         kMaxBytes, " bytes in ", kMaxPieces, " messages"));
  answer_ += piece.bytes;
  pieces_.push_back({piece.bytes.size(), piece.time, piece.ends_message});
}

bool AnswerChanges::End(const Show& show) {
  const bool differs = !answer_.empty() && answer_ != shown_;
  if (differs) {
    std::string_view rest = answer_;
    for (const Kept& kept : pieces_) {
      show({rest.substr(0, kept.size), kept.time, kept.ends_message});
      rest.remove_prefix(kept.size);
    }
    shown_ = std::move(answer_);
  }
  Begin();
  return differs;
}

}  // namespace fairlead::tool
