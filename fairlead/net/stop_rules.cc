// Counts received messages, bytes and lines against their limits.

#include "fairlead/net/stop_rules.h"

#include <algorithm>
#include <utility>

#include "fairlead/base/count_byte.h"

namespace fairlead {
namespace {

bool Reached(std::int64_t count, std::int64_t limit) {
  return limit > 0 && count >= limit;
}

void AppendCount(std::string& text, std::int64_t count, std::int64_t limit,
                 const char* unit) {
  if (limit <= 0) return;
  if (!text.empty()) text += ", ";
  text += std::to_string(count) + " of " + std::to_string(limit) + " " + unit;
  if (limit != 1) text += "s";
}

}  // namespace

StopRules::StopRules(StopLimits limits) : limits_(std::move(limits)) {}

bool StopRules::Take(std::string_view piece) {
  ++messages_;
  return TakePart(piece);
}

bool StopRules::TakePart(std::string_view part) {
  bytes_ += static_cast<std::int64_t>(part.size());
  if (limits_.lines > 0)
    lines_ += static_cast<std::int64_t>(internal::CountByte(part, '\n'));
  seen_ = seen_ || Completes(part);
  return IsMet();
}

bool StopRules::IsMet() const {
  return seen_ || Reached(messages_, limits_.messages) ||
         Reached(bytes_, limits_.bytes) || Reached(lines_, limits_.lines);
}

bool StopRules::Completes(std::string_view piece) {
  const std::string& until = limits_.until;
  if (until.empty()) return false;
  tail_ += piece;
  if (tail_.find(until) != std::string::npos) return true;
  tail_.erase(0, tail_.size() - std::min(tail_.size(), until.size() - 1));
  return false;
}

std::string StopRules::Missing() const {
  std::string text;
  if (IsMet()) return text;
  AppendCount(text, messages_, limits_.messages, "message");
  AppendCount(text, bytes_, limits_.bytes, "byte");
  AppendCount(text, lines_, limits_.lines, "line");
  return text;
}

}  // namespace fairlead
