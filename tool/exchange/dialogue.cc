// Runs the statements of a script.

#include "tool/exchange/dialogue.h"

#include <algorithm>

namespace fairlead::tool {
namespace {

using What = Statement::Kind;
using std::chrono::milliseconds;

// A reply of SMTP, FTP or NNTP begins with its code.
constexpr std::size_t kCodeSize = 3;

bool IsCode(std::string_view prefix) {
  return prefix.size() == kCodeSize && std::ranges::all_of(prefix, [](char c) {
           return c >= '0' && c <= '9';
         });
}

bool IsFollowedByDash(std::string_view line, std::string_view prefix) {
  return line.substr(prefix.size()).starts_with('-');
}

}  // namespace

DialogueMatcher::DialogueMatcher(const DialogueScript& script) {
  std::size_t longest = ReceivedLine::kDefaultSize;
  for (const Statement& statement : script) {
    if (statement.kind != What::kExpectPrefix &&
        statement.kind != What::kSkipUntil)
      continue;
    awaiting_.push_back(&statement);
    longest = std::max(longest, statement.text.size());
  }
  line_ = ReceivedLine(longest);
  awaiting_.push_back(nullptr);  // After the last one, nothing is matched.
  Begin();
}

void DialogueMatcher::Take(std::string_view bytes) {
  while (!bytes.empty() && !refused_ && awaiting_[met_] != nullptr)
    bytes.remove_prefix(search_ ? TakeText(bytes) : TakeLine(bytes));
}

void DialogueMatcher::Meet() {
  ++met_;
  Begin();
}

void DialogueMatcher::Begin() {
  line_.Clear();
  continued_ = false;
  search_.reset();
  if (awaiting_[met_] != nullptr && next().kind == What::kSkipUntil)
    search_.emplace(next().text);
}

std::size_t DialogueMatcher::TakeText(std::string_view bytes) {
  const std::optional<std::size_t> end = search_->Take(bytes);
  if (end) Meet();
  return end.value_or(bytes.size());
}

// A line without an end is refused once it cannot be shown any further.
std::size_t DialogueMatcher::TakeLine(std::string_view bytes) {
  const std::size_t size = std::min(bytes.find('\n'), bytes.size());
  line_.Add(bytes.substr(0, size));
  if (size < bytes.size()) {
    EndLine();
    return size + 1;
  }
  refused_ =
      line_.IsFull() && !continued_ && !line_.bytes().starts_with(next().text);
  return size;
}

void DialogueMatcher::EndLine() {
  const std::string& line = line_.bytes();
  const bool fits = line.starts_with(next().text);
  refused_ = !fits && !continued_;
  if (refused_) return;
  const bool last =
      fits && !(IsCode(next().text) && IsFollowedByDash(line, next().text));
  if (last) return Meet();
  continued_ = true;
  line_.Clear();
}

namespace {

class Runner {
 public:
  Runner(const DialogueScript& script, DialoguePeer& peer)
      : script_(script), peer_(peer), matcher_(script) {}

  std::optional<DialogueProblem> Run() {
    for (const Statement& statement : script_)
      if (!Do(statement))
        return DialogueProblem{&statement, matcher_.IsRefused(),
                               std::string(matcher_.line())};
    const bool was_all_sent = all_sent_;
    if (!Pause(script_.back(), milliseconds(0)) && !was_all_sent)
      return DialogueProblem{&script_.back()};
    return std::nullopt;
  }

 private:
  bool Do(const Statement& statement) {
    switch (statement.kind) {
      case What::kSend:
        peer_.Send(statement.text);
        all_sent_ = false;
        return true;
      case What::kWait:
        return Pause(statement, statement.pause);
      default:
        ++awaited_;
        return Await(statement);
    }
  }

  // What came before may decide; what is to be sent is sent all the same.
  bool Await(const Statement& statement) {
    if (IsDecided())
      return (all_sent_ || Pause(statement, milliseconds(0))) && IsMet();
    all_sent_ = true;
    peer_.Receive(statement, [this](std::string_view bytes) {
      matcher_.Take(bytes);
      return IsDecided();
    });
    return IsMet();
  }

  bool Pause(const Statement& statement, milliseconds time) {
    all_sent_ = true;
    return peer_.Pause(statement, time, [this](std::string_view bytes) {
      matcher_.Take(bytes);
      return false;
    });
  }

  bool IsMet() const { return matcher_.met() >= awaited_; }
  bool IsDecided() const { return IsMet() || matcher_.IsRefused(); }

  const DialogueScript& script_;
  DialoguePeer& peer_;
  DialogueMatcher matcher_;
  std::size_t awaited_ = 0;  // Statements that awaited something so far.
  bool all_sent_ = true;
};

}  // namespace

std::optional<DialogueProblem> RunDialogue(const DialogueScript& script,
                                           DialoguePeer& peer) {
  return Runner(script, peer).Run();
}

}  // namespace fairlead::tool
