// Decrypts, counts and shows what is received.

#include "tool/exchange/reception.h"

#include <unistd.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

Reception::Reception(const ReceptionSettings& settings, Display& display)
    : display_(display),
      rules_(settings.stop),
      watch_(settings.expected, settings.rejected) {
  if (settings.cipher)
    decryption_.emplace(*settings.cipher, Direction::kDecrypt);
}

bool Reception::Take(std::string_view bytes, const TheTime& time) {
  bytes = Show(bytes, time);
  if (bytes.empty()) return false;
  const Verdict verdict = watch_.Take(bytes);
  if (verdict == Verdict::kRejected)
    throw Failure(kAnswerIsNo,
                  Concat("the text of -reject came: ", Quoted(watch_.line())));
  return rules_.Take(bytes) || verdict == Verdict::kExpected;
}

std::string_view Reception::Show(std::string_view bytes, const TheTime& time) {
  if (decryption_) bytes = decryption_->Take(bytes);
  if (!bytes.empty()) display_.Received(bytes, time);
  return bytes;
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

void Reception::Check(bool is_over, std::string_view ending) const {
  if (is_over && Undecrypted() > 0)
    throw Failure(
        kReceivingFailed,
        Concat("receiving failed: the last ", Undecrypted(),
               " bytes are an incomplete block of ", CipherStream::kBlock,
               ", which AES cannot decrypt; ", ending));
  if (watch_.verdict() == Verdict::kExpected) return;
  if (watch_.ExpectedIsMissing())
    throw Failure(kAnswerIsNo,
                  Concat("the text of -expect did not come: ", ending));
  if (rules_.UntilIsMissing())
    throw Failure(kAnswerIsNo,
                  Concat("the text of -until did not come: ", ending));
  if (const std::string missing = rules_.Missing(); !missing.empty())
    throw Failure(kCutShort, Concat("cut short: ", missing, "; ", ending));
}

}  // namespace fairlead::tool
