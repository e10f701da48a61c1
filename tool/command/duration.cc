// Reads and writes durations.

#include "tool/command/duration.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <system_error>

#include "tool/base/concat.h"
#include "tool/base/digits.h"

namespace fairlead::tool {
namespace {

using std::chrono::milliseconds;

struct Unit {
  std::string_view name;
  std::int64_t milliseconds;
};

// From the largest to the smallest.
constexpr auto kUnits = std::to_array<Unit>({
    {"d", 86'400'000},
    {"h", 3'600'000},
    {"m", 60'000},
    {"s", 1000},
    {"ms", 1},
});

// A fraction of a unit is a whole number of milliseconds only if it has so many
// digits at most: 1/1024 of a day, which is 0.0009765625d, is 84375 ms.
constexpr std::size_t kMaxFractionDigits = 10;

struct Parts {
  std::string_view whole;
  std::string_view fraction;  // The digits after the point.
  std::int64_t unit;          // In milliseconds.
};

std::optional<Parts> Split(std::string_view text) {
  const std::size_t end =
      std::min(text.find_first_not_of("0123456789."), text.size());
  const std::string_view number = text.substr(0, end);
  const std::string_view name = end == text.size() ? "s" : text.substr(end);
  const auto* const unit = std::ranges::find(kUnits, name, &Unit::name);
  const std::size_t point = number.find('.');
  const std::string_view fraction =
      point == std::string_view::npos ? "" : number.substr(point + 1);
  const std::string_view whole = number.substr(0, point);
  if (unit == kUnits.end() || !IsDigits(Concat(whole, fraction)))
    return std::nullopt;
  return Parts{whole, fraction, unit->milliseconds};
}

// Returns the number in decimal digits, or nothing if it is too large; 0 for no
// digits.
std::optional<std::int64_t> Number(std::string_view digits) {
  std::int64_t number = 0;
  const std::errc error =
      std::from_chars(digits.data(), digits.data() + digits.size(), number).ec;
  if (error == std::errc::result_out_of_range) return std::nullopt;
  return number;
}

// Returns the fraction of the unit in milliseconds, or nothing if they are not
// whole.
std::optional<std::int64_t> FractionOf(std::int64_t unit,
                                       std::string_view digits) {
  digits = digits.substr(0, digits.find_last_not_of('0') + 1);
  if (digits.size() > kMaxFractionDigits) return std::nullopt;
  std::int64_t divisor = 1;
  for (std::size_t i = 0; i < digits.size(); ++i) divisor *= 10;
  const std::int64_t dividend = *Number(digits) * unit;  // Below 10^18.
  if (dividend % divisor != 0) return std::nullopt;
  return dividend / divisor;
}

}  // namespace

std::variant<milliseconds, DurationError> ReadDuration(std::string_view text) {
  const std::optional<Parts> parts = Split(text);
  if (!parts) return DurationError::kMalformed;
  const auto fraction = FractionOf(parts->unit, parts->fraction);
  if (!fraction) return DurationError::kTooFine;
  const auto whole = Number(parts->whole);
  constexpr std::int64_t kMaxCount = std::numeric_limits<std::int64_t>::max();
  if (!whole || *whole > (kMaxCount - *fraction) / parts->unit)
    return DurationError::kTooLong;
  return milliseconds(*whole * parts->unit + *fraction);
}

std::optional<milliseconds> DurationIn(std::string_view text) {
  const auto read = ReadDuration(text);
  const auto* const duration = std::get_if<milliseconds>(&read);
  return duration == nullptr ? std::nullopt : std::optional(*duration);
}

std::string DurationArgument(milliseconds duration) {
  if (duration == milliseconds::zero()) return "0";
  const auto* const unit = std::ranges::find_if(kUnits, [&](const Unit& u) {
    return duration.count() % u.milliseconds == 0;
  });
  return Concat(duration.count() / unit->milliseconds, unit->name);
}

std::string DurationText(milliseconds duration) {
  const std::int64_t count = duration.count();
  if (count < 1000) return Concat(count, " ms");
  std::string fraction = Concat(1000 + count % 1000);
  fraction.front() = '.';
  fraction.erase(fraction.find_last_not_of('0') + 1);
  return Concat(count / 1000, fraction == "." ? "" : fraction, " s");
}

std::string MillisecondsText(std::chrono::nanoseconds duration) {
  constexpr std::int64_t kHundredth = 10'000;  // In nanoseconds.
  const std::int64_t hundredths = duration.count() / kHundredth;
  const std::string digits = Concat(100 + hundredths % 100);
  return Concat(hundredths / 100, ".", digits.substr(1));
}

}  // namespace fairlead::tool
