// When enough has been received.

#ifndef FAIRLEAD_TOOL_EXCHANGE_STOP_RULES_H_
#define FAIRLEAD_TOOL_EXCHANGE_STOP_RULES_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// Counts what is received for -messages, -bytes, -lines and -until.
///
/// A rule ends the exchange after a whole message, so nothing received is lost.
class StopRules {
 public:
  /// What to stop at; 0 and "" mean no such rule.
  struct Limits {
    int messages = 0;
    int bytes = 0;
    int lines = 0;
    std::string until = {};
  };

  explicit StopRules(Limits limits);

  /// Counts one message; returns whether a rule is met.
  bool Take(std::string_view message);

  std::int64_t messages() const { return messages_; }
  std::int64_t bytes() const { return bytes_; }

  /// Returns whether -until was given and its text has not come.
  bool UntilIsMissing() const { return !limits_.until.empty() && !seen_; }

 private:
  bool Completes(std::string_view message);

  const Limits limits_;
  std::int64_t messages_ = 0;
  std::int64_t bytes_ = 0;
  std::int64_t lines_ = 0;
  bool seen_ = false;
  std::string tail_;  // The last bytes, where -until's text may have begun.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_STOP_RULES_H_
