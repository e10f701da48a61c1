// Compares each answer with the last one that was shown.

#include "tool/exchange/answer_changes.h"

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

void AnswerChanges::Begin() {
  answer_.clear();
  messages_.clear();
}

void AnswerChanges::Add(std::string_view message, const TheTime& received) {
  if (message.size() > kMaxBytes - answer_.size() ||
      messages_.size() == kMaxMessages)
    throw Failure(kReceivingFailed,
                  Concat("the answer is too long for -changes, which keeps at "
                         "most ",
                         kMaxBytes, " bytes in ", kMaxMessages, " messages"));
  answer_ += message;
  messages_.push_back({message.size(), received});
}

bool AnswerChanges::End(const Show& show) {
  const bool differs = !answer_.empty() && answer_ != shown_;
  if (differs) {
    std::string_view rest = answer_;
    for (const Message& message : messages_) {
      show(rest.substr(0, message.size), message.received);
      rest.remove_prefix(message.size);
    }
    shown_ = answer_;
  }
  Begin();
  return differs;
}

}  // namespace fairlead::tool
