// Parses and formats the times of the command `time`.

#include "tool/values/time_values.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "tool/base/concat.h"
#include "tool/base/digits.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool::time_command {
namespace {

constexpr std::size_t kDateLength = 8;
constexpr std::size_t kStampLength = 15;
constexpr std::size_t kMaxDigits = 10;  // Digits of INT_MAX.

bool IsStamp(std::string_view text) {
  if (!IsDigits(text.substr(0, kDateLength))) return false;
  if (text.size() == kDateLength) return true;
  return text.size() == kStampLength && text[kDateLength] == 'x' &&
         IsDigits(text.substr(kDateLength + 1));
}

[[noreturn]] void Fail(const Parameter& parameter, std::string_view value,
                       std::string_view fault) {
  throw Failure(kMalformedInput,
                Concat("-", parameter.name, " ", Quoted(value), fault));
}

// Returns the seconds, or -1 if the text is not a time of day. Wide, so that
// too large a value can be detected.
std::int64_t SecondsIn(std::string_view text) {
  std::int64_t total = 0;
  for (int count = 1;; ++count) {
    const std::size_t length = std::min(text.find(':'), text.size());
    const std::string_view digits = text.substr(0, length);
    if (!IsDigits(digits) || digits.size() > kMaxDigits) return -1;
    const std::int64_t number = std::stoll(std::string(digits));
    if (count > 1 && (length > 2 || number > 59)) return -1;
    total = total * 60 + number;
    if (length == text.size()) return total;
    if (count == 3) return -1;
    text.remove_prefix(length + 1);
  }
}

}  // namespace

bool LooksLikeStamp(std::string_view text) {
  return text.find(':') == std::string_view::npos && text.size() >= kDateLength;
}

TheTime StampIn(const Parameter& parameter, const std::string& text) {
  if (!IsStamp(text))
    Fail(parameter, text,
         " is not a stamp; write 20261114x205754, or 20261114 for midnight");

  TheTime moment;
  moment.ts = {};
  moment.LoadFromString(text);
  const std::string whole =
      text.size() == kDateLength ? Concat(text, "x000000") : text;
  const std::string read = moment.SaveToString();
  if (read != whole)
    Fail(parameter, text,
         Concat(" is not a valid local time (it would normalise to ", read,
                ")"));
  return moment;
}

CTimeOfDay TimeOfDayIn(const Parameter& parameter, const std::string& text) {
  const std::int64_t seconds = SecondsIn(text);
  if (seconds < 0)
    Fail(parameter, text,
         " is not a time of day; write 1:02:03, 2:03 (minutes and seconds) or "
         "45, where only the first number may be above 59");
  if (seconds > INT_MAX)
    Fail(parameter, text, Concat(" is more than ", INT_MAX, " seconds"));

  CTimeOfDay time;
  time.LoadFromString(text);
  return time;
}

void CheckYear(const TheTime& moment) {
  std::tm local{};
  const bool has_calendar = localtime_r(&moment.ts.tv_sec, &local) != nullptr;
  if (!has_calendar || local.tm_year < -1900 || local.tm_year > 9999 - 1900)
    throw Failure(kWrongUsage,
                  "the moment is outside the years 0 to 9999, so it has no "
                  "stamp");
}

}  // namespace fairlead::tool::time_command
