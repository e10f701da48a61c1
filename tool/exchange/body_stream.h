// A body that is sent while it is read.

#ifndef FAIRLEAD_TOOL_EXCHANGE_BODY_STREAM_H_
#define FAIRLEAD_TOOL_EXCHANGE_BODY_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/bits/crc.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/body.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {

/// Turns the bytes of an input into those that are sent: with a checksum, a
/// line end and a length, for the whole or for each line, and encrypted.
///
/// The whole has a prefix only if its source is of known size. If the source
/// then turns out to be of another size, the frame stays incomplete.
class BodyStream {
 public:
  /// Receives a message, or the next piece of it, before it is encrypted and
  /// sent. Called in Take().
  using OnMessage =
      std::function<void(std::string_view piece, bool ends_message)>;

  /// @param plan IsStreamed(); it outlives the object, as `source` does
  /// @throws Failure with kWrongUsage if a prefix cannot hold the length of the
  ///     source
  BodyStream(const BodyPlan& plan, const Input& source,
             const std::optional<CipherKey>& key, OnMessage on_message);

  /// Returns what is sent for the bytes, or nothing if that cannot be: see
  /// Check(). Valid until the next call, and as long as `bytes`.
  std::optional<std::string_view> Take(std::string_view bytes,
                                       bool at_end) noexcept;

  /// Returns how many bytes are sent in all; 0 if that is unknown.
  std::uint64_t sent_size() const { return sent_size_; }

  /// Returns how many zero bytes padded the last message.
  std::size_t padding() const { return padding_; }

  /// Throws what Take() met when it returned nothing.
  ///
  /// @throws Failure with kWrongUsage for a line that is too long for -pascal
  ///     or -prefix; with kCannotRead for a source of another size than it had;
  ///     what the callback threw
  void Check() const {
    if (problem_) std::rethrow_exception(problem_);
  }

 private:
  // Returns whether the bytes need no copy, but for what their end adds.
  bool IsSentAsRead() const {
    return !plan_.per_line && !left_ && !encryption_;
  }
  void TakeWhole(std::string_view bytes, bool at_end);
  void TakeLines(std::string_view bytes, bool at_end);
  void TakeCounted(std::string_view bytes, bool at_end);
  void AddToLine(std::string_view bytes);
  void SendPiece(std::string_view piece, bool ends_message);
  void Note(std::string_view piece, bool ends_message);
  void EndMessage();
  void Append(std::string_view bytes);

  const BodyPlan& plan_;
  const Input& source_;
  const OnMessage on_message_;
  std::optional<CipherStream> encryption_;
  CCRC sum_;  // Of what is sent of the message.
  std::uint64_t sent_size_ = 0;
  std::string lead_;                   // A prefix that is not sent yet.
  std::optional<std::uint64_t> left_;  // Bytes to read, if it has counted them.
  std::string held_;                   // The end of the message, not sent yet.
  bool has_begun_ = false;             // Some of the line is sent.
  std::size_t padding_ = 0;
  std::string sent_;  // What Take() returns.
  std::exception_ptr problem_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_BODY_STREAM_H_
