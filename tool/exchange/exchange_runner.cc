// Runs the exchange of a command, and waits between attempts and runs.

#include "tool/exchange/exchange_runner.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/command/duration.h"
#include "tool/command/same_file.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/demo_server.h"
#include "tool/exchange/reception.h"
#include "tool/exchange/schedule.h"
#include "tool/listen/listener.h"
#include "tool/traffic/display.h"
#include "tool/traffic/exchange_log.h"

namespace fairlead::tool {
namespace {

using Clock = TimeLimit::Clock;

// Returns whether the failure is one of the server or of the network, so that
// the next run may go well.
bool MayPass(ExitStatus status) {
  constexpr std::array kStatuses = {
      kAnswerIsNo, kNotResolved,     kNotConnected,  kCutShort,
      kTimeIsOver, kNothingAnswered, kSendingFailed, kReceivingFailed};
  return std::ranges::find(kStatuses, status) != kStatuses.end();
}

bool IsUnreachable(ExitStatus status) {
  return status == kNotResolved || status == kNotConnected;
}

class ExchangeRunner {
 public:
  ExchangeRunner(ExchangePlan& plan, const Output& output, const Talk& talk);

  ExitStatus Run(const DemoService& service);

 private:
  void Prepare(const DemoService& service);
  void OpenLog();
  void ReportTimeoutTo(ExchangeLog* log);
  void ReadKey();
  void StartDemo(const DemoService& service);
  ExitStatus RunRepeatedly();
  ExitStatus RunAndReport();
  void Logged(const std::function<void()>& step);
  void RunOnceAndCheckLog();
  void RunOnce();
  std::optional<std::string> TryOnce(Conversation& conversation);
  std::string Announcement(const Failure& failure,
                           const Conversation& conversation);
  std::optional<Clock::time_point> EndOfSilence() const;
  void AwaitNextAttempt();

  ExchangePlan& plan_;
  const Talk& talk_;
  Display display_;
  std::unique_ptr<ExchangeLog> log_;  // Outlives the timer that writes to it.
  std::optional<TimeLimit> limit_;    // Since Prepare().
  std::optional<DemoServer> demo_;
  int failed_attempts_ = 0;  // Of this run.
  bool has_talked_ = false;  // A connection of this run has ended.

  // When this run received its last byte, or was first connected.
  Clock::time_point silent_since_;
};

ExchangeRunner::ExchangeRunner(ExchangePlan& plan, const Output& output,
                               const Talk& talk)
    : plan_(plan),
      talk_(talk),
      display_(output, plan.settings.view, plan.settings.out) {
  if (plan.changes) display_.ShowOnlyChanges();
  if (plan.MayReconnect()) display_.ExpectMorePeers();
}

// A file that is both shown and logged to must get neither an event nor a line.
void ExchangeRunner::Prepare(const DemoService& service) {
  Logged([this] {
    limit_.emplace(plan_.settings.command, plan_.settings.timeout);
    if (plan_.repeats) limit_->BePatient();
    display_.WriteWithin(*limit_);
    OpenLog();
  });
  CheckDistinct(kOut, plan_.settings.out.path, kLog, plan_.log);
  Logged([&] {
    ReadKey();
    StartDemo(service);
  });
}

void ExchangeRunner::OpenLog() {
  ReportTimeoutTo(nullptr);
  if (plan_.log.empty()) return;
  limit_->Enter("opening the log");
  log_ = std::make_unique<ExchangeLog>(plan_.log, plan_.crlf);
  if (plan_.log_data) display_.LogData(*log_, *plan_.log_data);
  ReportTimeoutTo(log_.get());
}

// The timer thread must not read what is being set.
void ExchangeRunner::ReportTimeoutTo(ExchangeLog* log) {
  limit_->OnTimeout([this, log](std::string_view text) {
    if (log != nullptr) {
      display_.LogRestAtOnce();
      log->AddAtOnce(Failed(text));
    }
    display_.FailedAtOnce(kTimeIsOver, text);
  });
}

void ExchangeRunner::ReadKey() {
  limit_->Enter("reading the key");
  const std::optional<CipherKey> key = ReadCipherKey(plan_.cipher);
  plan_.settings.reception.cipher = key;
  if (!key || !plan_.settings.verbose) return;
  const std::string note = KeyPaddingNote(*key);
  if (!note.empty()) PrintNote(plan_.settings.command, note);
}

void ExchangeRunner::StartDemo(const DemoService& service) {
  if (!plan_.demo) return;
  demo_.emplace(service.greeting, service.echoed,
                plan_.MayReconnect() ? ListenerSettings::kUnlimited : 1);
  plan_.settings.port = demo_->port();
}

ExitStatus ExchangeRunner::Run(const DemoService& service) {
  Prepare(service);
  ExitStatus status = kDone;
  if (plan_.repeats)
    status = RunRepeatedly();
  else
    Logged([this] { RunOnceAndCheckLog(); });
  Logged([this] { display_.Close(); });
  return status;
}

ExitStatus ExchangeRunner::RunRepeatedly() {
  limit_->Restart();
  Schedule schedule(Clock::now(), plan_.interval);
  ExitStatus status = kDone;
  for (std::int64_t run = 1;; ++run) {
    if (const ExitStatus failed = RunAndReport(); failed != kDone)
      status = failed;
    if (run == plan_.runs) return status;
    limit_->Pause();
    std::this_thread::sleep_until(schedule.Next(Clock::now()));
    limit_->Restart();
  }
}

ExitStatus ExchangeRunner::RunAndReport() {
  try {
    Logged([this] { RunOnceAndCheckLog(); });
    return kDone;
  } catch (const Failure& failure) {
    if (!MayPass(failure.status())) throw;
    PrintError(plan_.settings.command, failure.what());
    return failure.status();
  }
}

void ExchangeRunner::Logged(const std::function<void()>& step) {
  try {
    step();
  } catch (const std::exception&) {
    const Failure failure = CaughtFailure();
    if (log_) log_->Add(Failed(failure.what()));
    display_.Failed(failure.status(), failure.what());
    throw Failure(failure);
  }
}

void ExchangeRunner::RunOnceAndCheckLog() {
  RunOnce();
  if (log_) log_->Check();
}

// All connections of a run have one reception, whose rules count what is
// received over all of them.
void ExchangeRunner::RunOnce() {
  failed_attempts_ = 0;
  has_talked_ = false;
  Reception reception(plan_.settings.reception, display_);
  for (;;) {
    Conversation conversation(plan_.settings, *limit_, display_, reception,
                              log_.get());
    if (const auto end = EndOfSilence()) conversation.ExpectByteUntil(*end);
    const std::optional<std::string> next = TryOnce(conversation);
    if (!next) return;
    conversation.Tell(*next);
    AwaitNextAttempt();
    if (const auto end = EndOfSilence(); end && Clock::now() >= *end)
      return conversation.EndInSilence();
  }
}

// Returns the announcement of the next attempt, or nothing if there is none.
std::optional<std::string> ExchangeRunner::TryOnce(Conversation& conversation) {
  try {
    if (!talk_(conversation, *limit_)) return std::nullopt;
    if (!has_talked_ || conversation.HasReceived())
      silent_since_ = conversation.silent_since();
    has_talked_ = true;
    return Concat("connecting again in ", DurationText(plan_.retry_delay), ": ",
                  conversation.outcome().Ending());
  } catch (const Failure& failure) {
    return Announcement(failure, conversation);
  }
}

// Throws the failure again if it is final.
std::string ExchangeRunner::Announcement(const Failure& failure,
                                         const Conversation& conversation) {
  const std::string when =
      Concat(" in ", DurationText(plan_.retry_delay), ": ", failure.what());
  if (has_talked_ && IsUnreachable(failure.status()))
    return Concat("connecting again", when);
  if (failed_attempts_ == plan_.retries ||
      !conversation.outcome().MayRetry(failure.status()) ||
      (plan_.reconnects && !IsUnreachable(failure.status())))
    throw failure;
  ++failed_attempts_;
  return Concat("attempt ", failed_attempts_ + 1, " of ", plan_.retries + 1,
                when);
}

// Returns when -reconnect ends because no connection has received anything for
// the idle time, which also limits the next one until it receives. Before the
// first connection there is no such time.
std::optional<Clock::time_point> ExchangeRunner::EndOfSilence() const {
  const auto& idle = plan_.settings.limits.idle;
  if (!plan_.reconnects || !has_talked_ || !idle) return std::nullopt;
  return silent_since_ + *idle;
}

// With -reconnect, the time limit is for all connections together.
void ExchangeRunner::AwaitNextAttempt() {
  if (plan_.reconnects)
    limit_->Enter("waiting to connect again");
  else
    limit_->Pause();
  const Clock::time_point next = Clock::now() + plan_.retry_delay;
  std::this_thread::sleep_until(std::min(next, EndOfSilence().value_or(next)));
  if (!plan_.reconnects) limit_->Restart();
}

}  // namespace

ExitStatus RunExchange(ExchangePlan& plan, const Output& output,
                       const DemoService& service, const Talk& talk) {
  SetQuiet(plan.settings.quiet);
  plan.profile.Save();
  return ExchangeRunner(plan, output, talk).Run(service);
}

}  // namespace fairlead::tool
