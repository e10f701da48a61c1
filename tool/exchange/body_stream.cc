// Turns the bytes of an input into those that are sent.

#include "tool/exchange/body_stream.h"

#include <utility>

namespace fairlead::tool {

BodyStream::BodyStream(const BodyPlan& plan,
                       const std::optional<CipherKey>& key,
                       OnMessage on_message)
    : plan_(plan),
      on_message_(std::move(on_message)),
      sum_{.rotation = plan.rotation.value_or(0)} {
  if (key) encryption_.emplace(*key, Direction::kEncrypt);
}

std::optional<std::string_view> BodyStream::Take(std::string_view bytes,
                                                 bool at_end) noexcept try {
  sent_.clear();
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
  if (plan_.rotation) AddTo(sum_, bytes);
  Send(bytes);
  if (!at_end) return;
  if (plan_.rotation) Send(ChecksumOf(sum_));
  Send(plan_.line_end);
  EndMessage();
}

// A last line without its newline is one, too.
void BodyStream::TakeLines(std::string_view bytes, bool at_end) {
  for (std::size_t end; (end = bytes.find('\n')) != std::string_view::npos;) {
    line_ += bytes.substr(0, end);
    bytes.remove_prefix(end + 1);
    SendLine();
  }
  line_ += bytes;
  if (at_end && !line_.empty()) SendLine();
}

void BodyStream::SendLine() {
  const std::string message = Completed(plan_, std::move(line_));
  on_message_(message);
  Append(Prefixed(plan_, message));
  EndMessage();
  line_.clear();
}

void BodyStream::Send(std::string_view message) {
  if (message.empty()) return;
  on_message_(message);
  Append(message);
}

void BodyStream::Append(std::string_view bytes) {
  sent_ += encryption_ ? encryption_->Take(bytes) : bytes;
}

void BodyStream::EndMessage() {
  if (!encryption_) return;
  padding_ = encryption_->lacking();
  sent_ += encryption_->Fill();
}

}  // namespace fairlead::tool
