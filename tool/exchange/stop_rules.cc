// Counts received messages, bytes and lines against their limits.

#include "tool/exchange/stop_rules.h"

#include <algorithm>
#include <utility>

namespace fairlead::tool {
namespace {

bool Reached(std::int64_t count, int limit) {
  return limit > 0 && count >= limit;
}

}  // namespace

StopRules::StopRules(Limits limits) : limits_(std::move(limits)) {}

bool StopRules::Take(std::string_view message) {
  ++messages_;
  bytes_ += static_cast<std::int64_t>(message.size());
  lines_ += std::ranges::count(message, '\n');
  seen_ = seen_ || Completes(message);
  return seen_ || Reached(messages_, limits_.messages) ||
         Reached(bytes_, limits_.bytes) || Reached(lines_, limits_.lines);
}

// Returns whether the text is in the bytes so far; it may span messages.
bool StopRules::Completes(std::string_view message) {
  const std::string& until = limits_.until;
  if (until.empty()) return false;
  tail_ += message;
  if (tail_.find(until) != std::string::npos) return true;
  tail_.erase(0, tail_.size() - std::min(tail_.size(), until.size() - 1));
  return false;
}

}  // namespace fairlead::tool
