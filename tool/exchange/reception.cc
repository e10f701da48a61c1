// Decrypts, counts and shows what is received.

#include "tool/exchange/reception.h"

#include <unistd.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

Reception::Reception(const ReceptionSettings& settings, Display& display)
    : display_(display), key_(settings.cipher), rules_(settings.stop) {
  Begin();
}

void Reception::Begin() {
  if (key_) decryption_.emplace(*key_, Direction::kDecrypt);
}

bool Reception::Take(std::string_view bytes, const TheTime& time) {
  has_taken_ = true;
  if (decryption_) bytes = decryption_->Take(bytes);
  if (bytes.empty()) return false;
  display_.Received(bytes, time);
  return rules_.Take(bytes);
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
  if (rules_.UntilIsMissing())
    throw Failure(kAnswerIsNo,
                  Concat("the text of -until did not come: ", ending));
  if (const std::string missing = rules_.Missing(); !missing.empty())
    throw Failure(kCutShort, Concat("cut short: ", missing, "; ", ending));
}

}  // namespace fairlead::tool
