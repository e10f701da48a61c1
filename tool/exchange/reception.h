// What is done with the bytes that a server sends.

#ifndef FAIRLEAD_TOOL_EXCHANGE_RECEPTION_H_
#define FAIRLEAD_TOOL_EXCHANGE_RECEPTION_H_

#include <cstddef>
#include <optional>
#include <string_view>

#include "fairlead/net/stop_rules.h"
#include "fairlead/time/the_time.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/display.h"

namespace fairlead::tool {

/// How to read what is received, and when it is enough.
struct ReceptionSettings {
  StopLimits stop = {};
  std::optional<CipherKey> cipher = {};  ///< That decrypts it.
};

/// Decrypts, counts and shows what is received.
class Reception {
 public:
  /// @param display outlives the object
  Reception(const ReceptionSettings& settings, Display& display);

  /// Begins a connection. What was counted before still counts; what of it is
  /// not decrypted is dropped.
  void Begin();

  /// Takes bytes received at that time, as the system cut them: shows and
  /// counts them, decrypted as far as there are whole blocks.
  ///
  /// @return whether a stop rule is met
  /// @throws Failure if they cannot be shown
  bool Take(std::string_view bytes, const TheTime& time);

  /// Takes the end of what the peer sends, where there is input left to send.
  ///
  /// @return whether that ends the exchange
  bool TakeEnd();

  /// Returns whether anything was received.
  bool HasTaken() const { return has_taken_; }

  /// Returns how many bytes wait for the rest of their cipher block.
  std::size_t Undecrypted() const;

  /// Throws if what was received is not what was asked for.
  ///
  /// @param is_over whether the exchange ended before a rule was met
  /// @param ending why it ended, for the message
  /// @throws Failure with kReceivingFailed, kAnswerIsNo or kCutShort
  void Check(bool is_over, std::string_view ending) const;

 private:
  Display& display_;
  const std::optional<CipherKey> key_;
  bool has_taken_ = false;
  StopRules rules_;
  std::optional<CipherStream> decryption_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_RECEPTION_H_
