// Reads any bytes as a stamp and as a time of day, in several time zones, and
// compares with the calendar of the system library.
//
// The first byte selects the zone.

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/testing/fuzzing.h"
#include "tool/base/failure.h"
#include "tool/values/time_values.h"

namespace {

using fairlead::internal::RequireLaw;
using fairlead::tool::Failure;
using fairlead::tool::Group;
using fairlead::tool::Kind;
using fairlead::tool::Parameter;

constexpr Parameter kStamp = {.name = "stamp",
                              .kind = Kind::kNonEmptyText,
                              .group = Group::kWhat,
                              .help = ""};

// With rules instead of names, so that no data of zones is needed.
constexpr std::array<const char*, 4> kZones = {
    "UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "LHST-10:30LHDT-11,M10.1.0,M4.1.0",
    "NST3:30NDT,M3.2.0,M11.1.0"};

void UseZone(unsigned char choice) {
  static std::size_t used = kZones.size();
  const std::size_t zone = choice % kZones.size();
  if (zone == used) return;
  used = zone;
  RequireLaw(setenv("TZ", kZones[zone], 1) == 0);
  tzset();
}

// Returns the number of so many digits, or nothing for another character.
std::optional<int> TakeNumber(std::string_view& text, std::size_t count) {
  int number = 0;
  if (text.size() < count) return std::nullopt;
  for (const char c : text.substr(0, count)) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  text.remove_prefix(count);
  return number;
}

// Returns the moment whose local calendar is the one that the stamp spells.
std::optional<std::time_t> ExpectedMoment(std::string_view text) {
  const auto year = TakeNumber(text, 4);
  const auto month = year ? TakeNumber(text, 2) : std::nullopt;
  const auto day = month ? TakeNumber(text, 2) : std::nullopt;
  if (!day) return std::nullopt;
  std::tm wanted{};
  wanted.tm_year = *year - 1900;
  wanted.tm_mon = *month - 1;
  wanted.tm_mday = *day;
  wanted.tm_isdst = -1;
  if (!text.empty()) {
    if (text[0] != 'x') return std::nullopt;
    text.remove_prefix(1);
    const auto hour = TakeNumber(text, 2);
    const auto minute = hour ? TakeNumber(text, 2) : std::nullopt;
    const auto second = minute ? TakeNumber(text, 2) : std::nullopt;
    if (!second || !text.empty()) return std::nullopt;
    wanted.tm_hour = *hour;
    wanted.tm_min = *minute;
    wanted.tm_sec = *second;
  }
  std::tm made = wanted;
  const std::time_t moment = std::mktime(&made);
  const bool same =
      made.tm_year == wanted.tm_year && made.tm_mon == wanted.tm_mon &&
      made.tm_mday == wanted.tm_mday && made.tm_hour == wanted.tm_hour &&
      made.tm_min == wanted.tm_min && made.tm_sec == wanted.tm_sec;
  return same ? std::optional(moment) : std::nullopt;
}

// Returns the seconds that "h:mm:ss", "m:ss" or "s" spells.
std::optional<std::int64_t> ExpectedSeconds(std::string_view text) {
  std::int64_t total = 0;
  for (int part = 0; part < 3; ++part) {
    std::size_t digits = 0;
    std::int64_t number = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9';
         ++digits) {
      if (digits == 10) return std::nullopt;
      number = number * 10 + (text[digits] - '0');
    }
    const bool too_large = part > 0 && (digits > 2 || number > 59);
    if (digits == 0 || too_large) return std::nullopt;
    total = total * 60 + number;
    text.remove_prefix(digits);
    if (text.empty())
      return total <= INT_MAX ? std::optional(total) : std::nullopt;
    if (text[0] != ':') return std::nullopt;
    text.remove_prefix(1);
  }
  return std::nullopt;
}

std::optional<std::time_t> ReadStamp(const std::string& text) {
  try {
    return fairlead::tool::time_command::StampIn(kStamp, text).ts.tv_sec;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

std::optional<std::int64_t> ReadTimeOfDay(const std::string& text) {
  try {
    return fairlead::tool::time_command::TimeOfDayIn(kStamp, text).seconds;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  UseZone(data[0]);
  const std::string text(fairlead::internal::InputText(data, size).substr(1));
  RequireLaw(ReadStamp(text) == ExpectedMoment(text));
  RequireLaw(ReadTimeOfDay(text) == ExpectedSeconds(text));
  return 0;
}
