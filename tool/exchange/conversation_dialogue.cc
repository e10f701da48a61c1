// Holds the dialogue of a script.

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"
#include "tool/exchange/conversation.h"

namespace fairlead::tool {
namespace {

using std::chrono::milliseconds;

timespec TimeOf(milliseconds time) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(time);
  return {.tv_sec = whole.count(),
          .tv_nsec = std::chrono::nanoseconds(time - whole).count()};
}

// A descriptor that becomes readable after the time; with `twice`, at once, and
// after the time again.
class Timer {
 public:
  Timer(milliseconds time, bool twice)
      : file_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    constexpr timespec kAtOnce = {.tv_sec = 0, .tv_nsec = 1};
    const timespec end = time.count() == 0 ? kAtOnce : TimeOf(time);
    const itimerspec times = {.it_interval = end,
                              .it_value = twice ? kAtOnce : end};
    if (!file_.IsOpen() ||
        timerfd_settime(file_.number(), 0, &times, nullptr) != 0)
      throw Failure(kSendingFailed,
                    Concat("cannot set a timer: ", Reason(errno)));
    while (twice && !Await(std::nullopt)) {
    }
  }

  int number() const { return file_.number(); }

  // Waits until it is readable, for at most that time. Returns false if it is
  // not, which a signal may cause, too.
  bool Await(ExchangeLimits::Limit limit) const {
    pollfd timer = {.fd = file_.number(), .events = POLLIN, .revents = 0};
    const auto most =
        std::min<milliseconds::rep>(limit ? limit->count() : -1, INT_MAX);
    const int ready = poll(&timer, 1, static_cast<int>(most));
    return ready == 1 || (ready == -1 && errno != EINTR);
  }

 private:
  const Descriptor file_;
};

}  // namespace

class Conversation::Server final : public DialoguePeer {
 public:
  explicit Server(Conversation& conversation) : conversation_(conversation) {
    if (const auto& key = conversation.settings_.reception.cipher)
      encryption_.emplace(*key, Direction::kEncrypt);
  }

  void Send(std::string_view bytes) override {
    message_ += bytes;
    if (!encryption_) {
      unsent_ += bytes;
      return;
    }
    unsent_ += encryption_->Take(bytes);
    unsent_ += encryption_->Fill();
  }

  void Receive(const Statement& statement, const Take& take) override {
    Begin(statement);
    const Exchange::Sink sink = conversation_.WatchedSink(
        [&](std::string_view bytes, const TheTime& time) {
          return !bytes.empty() && Show(bytes, time, take);
        });
    conversation_.InExchange(
        [&] { return conversation_.exchange_.Converse(unsent_, sink); });
    End();
  }

  // The end of what the peer sends ends the exchange, too. A pause of no length
  // does not wait, so that a reset may come during it or after it.
  bool Pause(const Statement& statement, milliseconds time,
             const Take& take) override {
    Begin(statement);
    const Timer timer(time, !unsent_.empty());
    const Exchange::Sink sink = conversation_.WatchedSink(
        [&](std::string_view bytes, const TheTime& received) {
          return bytes.empty() || Show(bytes, received, take);
        });
    ConverseUntil(timer, sink);
    End();
    const ExchangeResult& result = conversation_.outcome_.result;
    if (time.count() == 0)
      return result || conversation_.outcome_.PeerHasLeft();
    if (result.end == ExchangeEnd::kPeerClosed) SitOut(timer, sink);
    return result || result.end == ExchangeEnd::kPeerClosed;
  }

 private:
  void Begin(const Statement& statement) {
    conversation_.place_ = Concat(
        " at ", StatementPlace(conversation_.outcome_.script, statement));
    const std::uint64_t sent = conversation_.outcome_.result.sent;
    conversation_.outcome_.total = sent + unsent_.size();
    conversation_.message_ = message_;
    if (unsent_.empty())
      conversation_.limit_.Enter(
          Concat("waiting for the peer", conversation_.place_));
    else
      conversation_.OnSent(sent);
  }

  void End() {
    unsent_.clear();
    message_.clear();
  }

  // The timer is an input: first it lets go what is to be sent, and then it
  // cancels the exchange.
  void ConverseUntil(const Timer& timer, const Exchange::Sink& sink) {
    bool sent = unsent_.empty();
    const ExchangeInput input = {
        .descriptor = timer.number(),
        .filter = [&](std::string_view /*expirations*/,
                      bool /*at_end*/) -> std::optional<std::string_view> {
          if (std::exchange(sent, true)) return std::nullopt;
          return unsent_;
        }};
    conversation_.InExchange(
        [&] { return conversation_.exchange_.Converse(input, sink); });
    ExchangeResult& result = conversation_.outcome_.result;
    if (result.error != ECANCELED) return;
    result.end = ExchangeEnd::kDone;
    result.error = 0;
  }

  // Waits for the rest of a pause in which the peer has closed. That it has
  // closed without reading, which resets the connection, is seen at the end.
  void SitOut(const Timer& timer, const Exchange::Sink& sink) {
    TimeLimit& limit = conversation_.limit_;
    limit.Delegate(true);
    for (auto left = limit.Remaining(); !timer.Await(left);
         left = limit.Remaining())
      if (left && left->count() == 0) return Expire();
    conversation_.InExchange(
        [&] { return conversation_.exchange_.Converse("", sink); });
  }

  void Expire() {
    conversation_.outcome_.result.end = ExchangeEnd::kTimeOver;
    conversation_.outcome_.timeout = conversation_.limit_.Message();
  }

  bool Show(std::string_view bytes, const TheTime& time, const Take& take) {
    conversation_.LogReceived(bytes.size());
    return take(conversation_.reception_.Show(bytes, time));
  }

  Conversation& conversation_;
  std::optional<CipherStream> encryption_;
  std::string message_;  // Is to be sent.
  std::string unsent_;   // It, encrypted.
};

// How the connection ends is of no interest once the script is done, and a
// reset is of none once a line was refused.
void Conversation::Converse(const DialogueScript& script,
                            const std::string& name) {
  outcome_.script = name;
  Server server(*this);
  outcome_.problem = RunDialogue(script, server);
  if (!outcome_.problem || outcome_.problem->refused) outcome_.ForgetReset();
  if (outcome_.problem) return;
  outcome_.result.end = ExchangeEnd::kDone;
  outcome_.result.error = 0;
  has_enough_ = true;
  exchange_.Converse("", {});  // Closing is to wait for what was sent last.
}

}  // namespace fairlead::tool
