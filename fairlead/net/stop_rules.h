// When enough has been received.

#ifndef FAIRLEAD_NET_STOP_RULES_H_
#define FAIRLEAD_NET_STOP_RULES_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// What to stop at; 0 and "" mean no such rule.
struct StopLimits {
  std::int64_t messages = 0;  ///< Pieces received, as the system cut them.
  std::int64_t bytes = 0;
  std::int64_t lines = 0;  ///< Newlines.
  std::string until = {};  ///< A text.
};

/// Counts what is received, for the sink of an Exchange. The first rule that is
/// met is enough; without a rule, nothing is.
/// @code
/// fairlead::StopRules rules({.lines = 1});
/// std::string reply;
/// fairlead::Exchange().Run("localhost", 6379, "PING\r\n",
///                          [&](std::string_view bytes, auto) {
///                            reply += bytes;
///                            return rules.Take(bytes);
///                          });
/// @endcode
/// @par Cost
/// Keeps fewer bytes than the text of `until` has.
class FAIRLEAD_EXPORT StopRules {
 public:
  explicit StopRules(StopLimits limits);

  /// Counts one piece; returns whether a rule is met, now or before.
  bool Take(std::string_view piece);

  /// Counts the bytes of a piece that is not complete: Take() counts the rest
  /// of it, and the piece. Returns whether a rule is met, now or before.
  bool TakePart(std::string_view part);

  /// Begins another connection: a text of `until` that was cut by the end of
  /// the last one has not come. The counts go on.
  void BeginConnection() { tail_.clear(); }

  /// Returns whether a rule is met.
  bool IsMet() const;

  /// Returns whether `until` was given and its text has not come. It may span
  /// pieces.
  bool UntilIsMissing() const { return !limits_.until.empty() && !seen_; }

  /// Returns how far each count has come: "1 of 3 lines, 20 of 100 bytes"; ""
  /// if a rule is met, or none of the counts is limited.
  std::string Missing() const;

  std::int64_t messages() const { return messages_; }
  std::int64_t bytes() const { return bytes_; }

 private:
  FAIRLEAD_PRIVATE bool Completes(std::string_view piece);

  StopLimits limits_;
  std::int64_t messages_ = 0;
  std::int64_t bytes_ = 0;
  std::int64_t lines_ = 0;  // Counted only if they are limited.
  bool seen_ = false;
  std::string tail_;  // The last bytes, where the text may have begun.
};

}  // namespace fairlead

#endif  // FAIRLEAD_NET_STOP_RULES_H_
