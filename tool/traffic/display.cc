// Shows what is received, and the steps of an exchange.

#include "tool/traffic/display.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/traffic/events.h"
#include "tool/traffic/view.h"

namespace fairlead::tool {

namespace {

// An event is up to eight times as long as its bytes.
constexpr std::size_t kMaxInEvent = std::size_t{64} << 10;

constexpr std::size_t kMaxGathered = std::size_t{64} << 10;

}  // namespace

OutFile OutFileOf(const Arguments<kOutUses>& arguments) {
  return {.path = arguments.Text(kOut), .append = arguments.Has(kAppend)};
}

Display::Display(const Output& output, View view, OutFile file)
    : view_(view), destination_(output, std::move(file)) {}

void Display::LogData(ExchangeLog& log, DataForm form) {
  sent_.emplace(log, form, "sent");
  received_.emplace(log, form, "received");
}

Display::~Display() {
  queues_ = false;
  limit_ = nullptr;
  try {
    Flush();
  } catch (const Failure&) {  // Reported before, or less than what is.
  }
}

void Display::Write(std::string_view text) {
  const std::lock_guard lock(mutex_);
  EndCharacter();
  destination_.Add(text);
  FlushLocked();
}

void Display::Flush() {
  const std::lock_guard lock(mutex_);
  FlushLocked();
}

void Display::FlushLocked() {
  if (queues_) return destination_.FlushAtOnce();
  if (destination_.waiting() == 0) return;
  const TimeLimit::Writing writing(limit_, destination_.stage());
  destination_.Flush();
}

std::size_t Display::waiting() const {
  const std::lock_guard lock(mutex_);
  return destination_.waiting();
}

std::uint64_t Display::shown() const {
  const std::lock_guard lock(mutex_);
  return destination_.added();
}

int Display::Outlet() const {
  return waiting() == 0 ? -1 : destination_.outlet();
}

// While this waits, FailedAtOnce() can show what ends the process.
bool Display::Drain(int stop) {
  for (Flush(); waiting() > 0; Flush())
    if (!destination_.AwaitOutlet(stop)) return false;
  return true;
}

void Display::Close() {
  queues_ = false;
  const std::lock_guard lock(mutex_);
  FlushLocked();
  destination_.Close();
}

void Display::SetPeer(const std::string& peer) {
  const std::lock_guard lock(mutex_);
  if (peer != peer_) EndCharacter();
  peer_ = peer;
}

void Display::Resolved(std::string_view host, std::string_view address) {
  if (HasEvents()) Write(event::Resolved(TheTime(), host, address));
}

void Display::Connected(const std::string& peer,
                        std::optional<std::chrono::nanoseconds> took) {
  SetPeer(peer);
  {
    const std::lock_guard lock(mutex_);
    destination_.Open();
  }
  if (changes_) changes_->Begin();
  if (HasEvents()) Write(event::Connected(TheTime(), peer, took));
}

void Display::Sent(std::string_view piece, bool ends_message) {
  if (sent_) sent_->Add(piece, ends_message);
  if (!HasEvents()) return;
  const TheTime now;
  do {
    Write(event::Sent(now, peer_, piece.substr(0, kMaxInEvent)));
    piece.remove_prefix(std::min(piece.size(), kMaxInEvent));
  } while (!piece.empty());
}

void Display::Received(std::string_view bytes, const TheTime& time,
                       bool ends_message) {
  if (changes_)
    changes_->Add({.bytes = bytes, .time = time, .ends_message = ends_message},
                  ShowPiece());
  else
    Show(bytes, time, ends_message);
}

bool Display::EndAnswer() { return !changes_ || changes_->End(ShowPiece()); }

bool Display::CutAnswer() {
  bool is_shown = true;
  try {
    if (changes_) is_shown = changes_->Cut(ShowPiece());
  } catch (const Failure&) {  // The one that cut it is the one to report.
    is_shown = false;
  }
  FlushData();
  return is_shown;
}

AnswerChanges::Show Display::ShowPiece() {
  return [this](const AnswerChanges::Piece& piece) {
    Show(piece.bytes, piece.time, piece.ends_message);
  };
}

void Display::Result(std::string_view line) {
  if (!HasEvents()) Write(line);
}

void Display::Show(std::string_view bytes, const TheTime& time,
                   bool ends_message) {
  if (received_) received_->Add(bytes, ends_message);
  const std::lock_guard lock(mutex_);
  const Screen screen = destination_.screen();
  if (!IsRaw())
    destination_.Add(
        Rendered({.bytes = bytes, .time = time, .peer = peer_}, view_, screen));
  else if (screen.terminal)
    AddCharacters(bytes);
  else
    destination_.Add(bytes);
  if (destination_.waiting() >= kMaxGathered) FlushLocked();
}

// A character that a message cuts waits for its rest, as long as nothing else
// is shown.
void Display::AddCharacters(std::string_view bytes) {
  cut_ += bytes;
  const std::size_t whole = WholeCharacters(cut_);
  destination_.Add(Visible(std::string_view(cut_).substr(0, whole)));
  cut_.erase(0, whole);
}

void Display::EndCharacter() {
  destination_.Add(Visible(std::exchange(cut_, {})));
}

void Display::PeerEnded() {
  if (HasEvents() || more_peers_) return;
  const std::lock_guard lock(mutex_);
  EndCharacter();
  FlushLocked();
  destination_.End();
}

void Display::Closed(std::uint64_t sent, std::uint64_t received,
                     std::string_view reason) {
  FlushData();
  Write(HasEvents() ? event::Closed(TheTime(), peer_, sent, received, reason)
                    : "");
}

void Display::FlushData() {
  if (sent_) sent_->Flush();
  if (received_) received_->Flush();
}

void Display::LogRestAtOnce() {
  if (sent_) sent_->FlushAtOnce();
  if (received_) received_->FlushAtOnce();
}

void Display::Failed(ExitStatus status, std::string_view message) {
  FlushData();
  try {
    Write(HasEvents() ? event::Error(TheTime(), status, message) : "");
    Drain(-1);
  } catch (const Failure&) {  // The first failure is the one to report.
  }
}

void Display::FailedAtOnce(ExitStatus status, std::string_view message) {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (!lock) return;
  try {
    EndCharacter();
    if (HasEvents()) destination_.Add(event::Error(TheTime(), status, message));
    destination_.FlushAtOnce();
  } catch (const Failure&) {
  }
}

}  // namespace fairlead::tool
