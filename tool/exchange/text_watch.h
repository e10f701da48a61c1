// Decides by which of two texts comes first: -expect and -reject.

#ifndef FAIRLEAD_TOOL_EXCHANGE_TEXT_WATCH_H_
#define FAIRLEAD_TOOL_EXCHANGE_TEXT_WATCH_H_

#include <optional>
#include <string>
#include <string_view>

#include "tool/exchange/received_line.h"
#include "tool/exchange/text_search.h"

namespace fairlead::tool {

enum class Verdict { kUndecided, kExpected, kRejected };

/// Watches what is received for two texts. The one that ends first decides; if
/// both end at the same byte, the rejected one does. However the bytes are cut,
/// the verdict is the same.
///
/// Keeps fewer bytes than the texts have, and the start of a line.
class TextWatch {
 public:
  /// @param expected "" for none
  /// @param rejected "" for none
  TextWatch(const std::string& expected, const std::string& rejected);

  /// Returns the verdict. Once there is one, it stays.
  Verdict Take(std::string_view piece);

  Verdict verdict() const { return verdict_; }

  /// Returns whether there is a text to expect, and no verdict.
  bool ExpectedIsMissing() const {
    return expected_ && verdict_ == Verdict::kUndecided;
  }

  /// Returns the start of the line that decided, as far as it came with the
  /// piece; "" if there is no verdict.
  std::string_view line() const {
    return verdict_ == Verdict::kUndecided ? std::string_view() : line_.Text();
  }

 private:
  void Decide(Verdict verdict, std::string_view until_text,
              std::string_view after);
  void NoteLines(std::string_view bytes);

  std::optional<TextSearch> expected_;
  std::optional<TextSearch> rejected_;
  ReceivedLine line_;
  Verdict verdict_ = Verdict::kUndecided;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_TEXT_WATCH_H_
