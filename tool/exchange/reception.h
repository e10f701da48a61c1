// What is done with the bytes that a server sends.

#ifndef FAIRLEAD_TOOL_EXCHANGE_RECEPTION_H_
#define FAIRLEAD_TOOL_EXCHANGE_RECEPTION_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/net/stop_rules.h"
#include "fairlead/time/the_time.h"
#include "tool/base/exit_status.h"
#include "tool/base/failure.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/frames.h"
#include "tool/exchange/text_watch.h"
#include "tool/traffic/display.h"

namespace fairlead::tool {

/// How to read what is received, and when it is enough.
struct ReceptionSettings {
  StopLimits stop = {};
  std::string expected = {};             ///< A text that decides; "" for none.
  std::string rejected = {};             ///< The other one.
  std::optional<CipherKey> cipher = {};  ///< That decrypts it.
  std::optional<FramePrefix> prefix =
      {};  ///< Of every message, if frames come.

  /// Returns whether something that comes can be enough.
  bool HasRules() const {
    return stop.messages > 0 || stop.bytes > 0 || stop.lines > 0 ||
           !stop.until.empty() || !expected.empty() || !rejected.empty();
  }
};

/// Decrypts, counts and shows what is received.
///
/// Without frames, a message is what the system received at once. With frames,
/// the raw view shows a message as it comes, whatever its length; the others
/// keep it until it is whole, up to 256 KiB.
class Reception {
 public:
  /// @param settings outlives the object, as `display` does
  Reception(const ReceptionSettings& settings, Display& display);

  /// Begins a connection. What was counted before still counts. What of it is
  /// incomplete is dropped: no text, frame or block spans two connections.
  void Begin();

  /// Takes bytes received at that time: shows and counts their messages,
  /// decrypted as far as there are whole blocks. Frames after the one that
  /// meets a rule wait for the next call.
  ///
  /// @return whether a stop rule is met, or a text has decided
  /// @throws Failure if they cannot be shown; with kReceivingFailed for a frame
  ///     that is malformed, or too long for the view
  bool Take(std::string_view bytes, const TheTime& time);

  /// Shows bytes of a dialogue, decrypted, and does not count them.
  ///
  /// @return the bytes that were shown; valid until the next call
  /// @throws Failure if they cannot be shown
  std::string_view Show(std::string_view bytes, const TheTime& time);

  bool IsExpected() const { return watch_.verdict() == Verdict::kExpected; }
  bool IsRejected() const { return watch_.verdict() == Verdict::kRejected; }

  /// Returns whether one of the two texts has come.
  bool IsDecided() const { return IsExpected() || IsRejected(); }

  /// Returns the start of the line with that text; "" if none has come.
  std::string_view DecidingLine() const { return watch_.line(); }

  /// Throws if the rejected text has come.
  ///
  /// @throws Failure with kAnswerIsNo
  void CheckRejected() const;

  /// Takes the end of what the peer sends, where there is input left to send.
  ///
  /// @return whether that ends the exchange
  bool TakeEnd();

  /// Returns whether anything was received.
  bool HasTaken() const { return has_taken_; }

  /// Returns how many bytes wait for the rest of their cipher block.
  std::size_t Undecrypted() const;

  /// Returns what the end of the connection has cut, if anything, and notes it
  /// for Check().
  std::optional<Failure> NoteCut();

  /// Throws if what was received is not what was asked for, or a connection
  /// from before has cut a message.
  ///
  /// @param is_over whether the exchange ended before a rule was met
  /// @param ending why it ended, for the message
  /// @throws Failure with kReceivingFailed, kAnswerIsNo or kCutShort
  void Check(bool is_over, std::string_view ending) const;

 private:
  bool TakeMessage(std::string_view message, const TheTime& time);
  bool TakeFrames(std::string_view bytes, const TheTime& time);
  bool TakePiece(const FrameReader::Piece& piece, const TheTime& time);
  void CheckFrame() const;
  std::optional<Failure> Cut() const;

  Display& display_;
  const ReceptionSettings& settings_;
  bool has_taken_ = false;
  StopRules rules_;
  TextWatch watch_;
  std::optional<CipherStream> decryption_;
  std::optional<FrameReader> frames_;
  std::size_t cuts_ = 0;           // That NoteCut() has noted,
  ExitStatus cut_status_ = kDone;  // and the status of the last.
  bool is_met_ = false;            // A rule, by a whole frame.
  std::string frame_;              // Begun, for a view that shows whole ones.
  std::string waiting_;            // Bytes after the frame that met a rule.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_RECEPTION_H_
