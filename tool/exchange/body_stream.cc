// Turns the bytes of an input into those that are sent.

#include "tool/exchange/body_stream.h"

#include <utility>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

BodyStream::BodyStream(const BodyPlan& plan, const Input& source,
                       const std::optional<CipherKey>& key,
                       OnMessage on_message)
    : plan_(plan),
      source_(source),
      on_message_(std::move(on_message)),
      sum_(NewSum(plan)) {
  if (key) encryption_.emplace(*key, Direction::kEncrypt);
  if (plan.per_line || source.size() == 0) return;
  sent_size_ = plan.CompletedSize(source.size());
  if (plan.prefix) {
    lead_ = PrefixBefore(sent_size_, *plan.prefix);
    left_ = source.size();
  }
  sent_size_ += lead_.size();
  if (key && key->cipher == Cipher::kAesEcb)
    sent_size_ += (CipherStream::kBlock - sent_size_ % CipherStream::kBlock) %
                  CipherStream::kBlock;
}

std::optional<std::string_view> BodyStream::Take(std::string_view bytes,
                                                 bool at_end) noexcept try {
  sent_.clear();
  if (IsSentAsRead() && !at_end) {
    Note(bytes, true);
    return bytes;
  }
  if (plan_.per_line)
    TakeLines(bytes, at_end);
  else
    TakeWhole(bytes, at_end);
  return sent_;
} catch (...) {  // On the sending thread, which must not end the process.
  problem_ = std::current_exception();
  return std::nullopt;
}

void BodyStream::TakeWhole(std::string_view bytes, bool at_end) {
  if (left_)
    TakeCounted(bytes, at_end);
  else if (!bytes.empty())
    SendPiece(bytes, true);
  if (at_end) EndMessage();
}

// The last piece waits for the end of the source: if there is more, the frame
// must not become whole.
void BodyStream::TakeCounted(std::string_view bytes, bool at_end) {
  if (bytes.size() > *left_ || (at_end && *left_ > 0))
    throw Failure(kCannotRead,
                  Concat("cannot read ", source_.name(), ": it had ",
                         BytesText(source_.size()), " at first, and now has ",
                         at_end ? "fewer" : "more"));
  *left_ -= bytes.size();
  Append(std::exchange(lead_, {}));
  if (*left_ == 0)
    held_ += bytes;
  else
    SendPiece(bytes, true);
}

// A last line without its newline is one, too.
void BodyStream::TakeLines(std::string_view bytes, bool at_end) {
  for (std::size_t end; (end = bytes.find('\n')) != std::string_view::npos;) {
    AddToLine(bytes.substr(0, end));
    bytes.remove_prefix(end + 1);
    EndMessage();
  }
  AddToLine(bytes);
  if (at_end && (has_begun_ || !held_.empty())) EndMessage();
}

void BodyStream::AddToLine(std::string_view bytes) {
  held_ += bytes;
  if (held_.size() <= kMaxHeld) return;
  if (plan_.HasLength())
    CheckHeld(plan_, held_.size(), Concat("a line of ", source_.name()));
  SendPiece(held_, false);
  held_.clear();
  has_begun_ = true;
}

void BodyStream::SendPiece(std::string_view piece, bool ends_message) {
  Note(piece, ends_message);
  Append(piece);
}

void BodyStream::Note(std::string_view piece, bool ends_message) {
  if (plan_.rotation) AddTo(sum_, piece);
  on_message_(piece, ends_message);
}

void BodyStream::EndMessage() {
  const std::string end = Completed(plan_, std::exchange(held_, {}),
                                    std::exchange(sum_, NewSum(plan_)));
  if (plan_.per_line || !end.empty()) on_message_(end, true);
  if (plan_.per_line && plan_.prefix)
    Append(PrefixBefore(end.size(), *plan_.prefix));
  Append(end);
  has_begun_ = false;
  if (!encryption_) return;
  padding_ = encryption_->lacking();
  sent_ += encryption_->Fill();
}

void BodyStream::Append(std::string_view bytes) {
  sent_ += encryption_ ? encryption_->Take(bytes) : bytes;
}

}  // namespace fairlead::tool
