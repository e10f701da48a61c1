// Decrypts, counts and shows what is received.

#include "tool/exchange/reception.h"

#include <unistd.h>

#include <utility>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kMaxFrameShown = std::size_t{256} << 10;

// A message that AES encrypts is padded, so each frame begins a block.
std::size_t BlockOf(const ReceptionSettings& settings) {
  return settings.cipher && settings.cipher->cipher == Cipher::kAesEcb
             ? CipherStream::kBlock
             : 1;
}

std::string NotCome(const Parameter& parameter, std::string_view text) {
  return Concat("the text of -", parameter.name,
                " did not come: ", Quoted(text));
}

std::string CutMessages(std::size_t count) {
  return Concat(count, count == 1 ? " message was" : " messages were",
                " cut when the peer left");
}

}  // namespace

Reception::Reception(const ReceptionSettings& settings, Display& display)
    : display_(display),
      settings_(settings),
      rules_(settings.stop),
      watch_(settings.expected, settings.rejected) {
  Begin();
}

void Reception::Begin() {
  if (settings_.cipher)
    decryption_.emplace(*settings_.cipher, Direction::kDecrypt);
  if (settings_.prefix) frames_.emplace(*settings_.prefix, BlockOf(settings_));
  rules_.BeginConnection();
  if (!IsDecided()) watch_ = TextWatch(settings_.expected, settings_.rejected);
  frame_.clear();
  waiting_.clear();
}

bool Reception::Take(std::string_view bytes, const TheTime& time) {
  has_taken_ = true;
  if (decryption_) bytes = decryption_->Take(bytes);
  if (bytes.empty()) return false;
  if (!frames_) return TakeMessage(bytes, time);
  if (waiting_.empty()) return TakeFrames(bytes, time);
  const std::string all = std::exchange(waiting_, {}).append(bytes);
  return TakeFrames(all, time);
}

bool Reception::TakeMessage(std::string_view message, const TheTime& time) {
  display_.Received(message, time);
  watch_.Take(message);
  return rules_.Take(message) || IsDecided();
}

std::string_view Reception::Show(std::string_view bytes, const TheTime& time) {
  has_taken_ = true;
  if (decryption_) bytes = decryption_->Take(bytes);
  if (!bytes.empty()) display_.Received(bytes, time);
  return bytes;
}

void Reception::CheckRejected() const {
  if (IsRejected())
    throw Failure(kAnswerIsNo,
                  Concat("the text of -reject came: ", Quoted(DecidingLine())));
}

// A rule that was met before holds nothing back: there is more to send, and
// the exchange goes on.
bool Reception::TakeFrames(std::string_view bytes, const TheTime& time) {
  const bool was_met = is_met_;
  while (const auto piece = frames_->Take(bytes)) {
    if (!TakePiece(*piece, time) || was_met) continue;
    waiting_ = bytes;
    return is_met_ = true;
  }
  CheckFrame();
  return was_met;
}

// Returns whether a rule is met, at the end of a message, or a text has
// decided.
bool Reception::TakePiece(const FrameReader::Piece& piece,
                          const TheTime& time) {
  if (display_.IsRaw()) {
    display_.Received(piece.bytes, time, piece.ends_message);
    watch_.Take(piece.bytes);
    if (piece.ends_message) return rules_.Take(piece.bytes) || IsDecided();
    rules_.TakePart(piece.bytes);
    return IsDecided();
  }
  frame_ += piece.bytes;
  return piece.ends_message && TakeMessage(std::exchange(frame_, {}), time);
}

void Reception::CheckFrame() const {
  if (frames_->IsMalformed())
    throw Failure(kReceivingFailed,
                  Concat("receiving failed: the prefix of a frame is ",
                         frames_->number(), ", which is less than -prefixadd"));
  if (!display_.IsRaw() && frames_->length() > kMaxFrameShown)
    throw Failure(
        kReceivingFailed,
        Concat("receiving failed: a frame has ", frames_->length(),
               " bytes; only -view raw shows more than ", kMaxFrameShown));
}

// The reader of our output sees the end, though there is input left to send. At
// a terminal nobody would know that there is nobody to type for.
bool Reception::TakeEnd() {
  display_.PeerEnded();
  return isatty(STDIN_FILENO) == 1;
}

std::size_t Reception::Undecrypted() const {
  return decryption_ ? decryption_->waiting() : 0;
}

std::optional<Failure> Reception::NoteCut() {
  std::optional<Failure> cut = Cut();
  if (cut) {
    ++cuts_;
    cut_status_ = cut->status();
  }
  return cut;
}

// Returns what the end of the connection has cut, if anything.
std::optional<Failure> Reception::Cut() const {
  if (const std::size_t left = Undecrypted(); left > 0)
    return Failure(
        kReceivingFailed,
        Concat("receiving failed: the last ", BytesText(left),
               left == 1 ? " is" : " are", " an incomplete block of ",
               CipherStream::kBlock, ", which AES cannot decrypt"));
  const std::string frame = frames_ ? frames_->Missing() : "";
  if (frame.empty()) return std::nullopt;
  return Failure(kCutShort, Concat("cut short: ", frame));
}

void Reception::Check(bool is_over, std::string_view ending) const {
  const std::optional<Failure> cut = is_over ? Cut() : std::nullopt;
  const auto fail = [ending](ExitStatus status, std::string_view text) {
    throw Failure(status, Concat(text, "; ", ending));
  };
  if (cut && cut->status() == kReceivingFailed)
    fail(cut->status(), cut->what());
  if (IsExpected()) return;
  if (cut) fail(cut->status(), cut->what());
  if (cuts_ > 0) fail(cut_status_, CutMessages(cuts_));
  if (watch_.ExpectedIsMissing())
    fail(kAnswerIsNo, NotCome(kExpect, settings_.expected));
  if (rules_.UntilIsMissing())
    fail(kAnswerIsNo, NotCome(kUntil, settings_.stop.until));
  if (const std::string missing = rules_.Missing(); !missing.empty())
    fail(kCutShort, Concat("cut short: ", missing));
}

}  // namespace fairlead::tool
