// A body that is sent while it is read.

#ifndef FAIRLEAD_TOOL_EXCHANGE_BODY_STREAM_H_
#define FAIRLEAD_TOOL_EXCHANGE_BODY_STREAM_H_

#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/bits/crc.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/body.h"

namespace fairlead::tool {

/// Turns the bytes of an input into those that are sent: with a checksum, a
/// line end and a length, for the whole or for each line, and encrypted.
class BodyStream {
 public:
  /// Receives a message before it is encrypted and sent. Called in Take().
  using OnMessage = std::function<void(std::string_view message)>;

  /// @param plan without -pascal and -prefix, unless it is per line
  BodyStream(const BodyPlan& plan, const std::optional<CipherKey>& key,
             OnMessage on_message);

  /// Returns what is sent for the bytes, or nothing if that cannot be: see
  /// Check(). Valid until the next call.
  std::optional<std::string_view> Take(std::string_view bytes,
                                       bool at_end) noexcept;

  /// Returns how many zero bytes padded the last message.
  std::size_t padding() const { return padding_; }

  /// Throws what Take() met when it returned nothing.
  ///
  /// @throws Failure with kWrongUsage for a line that is too long for -pascal
  ///     or -prefix; what the callback threw
  void Check() const {
    if (problem_) std::rethrow_exception(problem_);
  }

 private:
  void TakeWhole(std::string_view bytes, bool at_end);
  void TakeLines(std::string_view bytes, bool at_end);
  void SendLine();
  void Send(std::string_view message);
  void Append(std::string_view bytes);
  void EndMessage();

  const BodyPlan& plan_;
  const OnMessage on_message_;
  std::optional<CipherStream> encryption_;
  CCRC sum_;          // Of the whole body.
  std::string line_;  // Begun.
  std::size_t padding_ = 0;
  std::string sent_;  // What Take() returns.
  std::exception_ptr problem_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_BODY_STREAM_H_
