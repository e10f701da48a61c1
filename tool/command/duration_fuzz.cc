// Reads any bytes as a duration and compares with exact decimal arithmetic;
// what is read can be written and read again.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "fairlead/testing/fuzzing.h"
#include "tool/command/duration.h"

namespace {

using fairlead::internal::RequireLaw;
using fairlead::tool::DurationError;
using fairlead::tool::ReadDuration;
using std::chrono::milliseconds;

__extension__ using Wide = unsigned __int128;

constexpr Wide kMaxMilliseconds = std::numeric_limits<std::int64_t>::max();

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Returns the milliseconds of a unit, or 0 if there is no such unit.
std::uint64_t UnitOf(std::string_view name) {
  if (name == "ms") return 1;
  if (name.empty() || name == "s") return 1000;
  if (name == "m") return 60'000;
  if (name == "h") return 3'600'000;
  return name == "d" ? 86'400'000 : 0;
}

// Takes the digits at the start of the text.
std::string_view TakeDigits(std::string_view& text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  const std::string_view digits = text.substr(0, count);
  text.remove_prefix(count);
  return digits;
}

// Returns the milliseconds of the digits after the point, or nothing if they
// are not whole. A day is 2^10 times an odd number of them, and any unit less:
// more than 13 digits without zeros at the end are too fine.
std::optional<Wide> Fraction(std::string_view digits, std::uint64_t unit) {
  while (!digits.empty() && digits.back() == '0') digits.remove_suffix(1);
  if (digits.size() > 13) return std::nullopt;
  Wide total = 0;
  Wide divisor = 1;
  for (const char c : digits) {
    total = total * 10 + static_cast<unsigned>(c - '0');
    divisor *= 10;
  }
  if (total * unit % divisor != 0) return std::nullopt;
  return total * unit / divisor;
}

std::variant<milliseconds, DurationError> Expected(std::string_view text) {
  const std::string_view whole = TakeDigits(text);
  std::string_view fraction;
  if (text.starts_with('.')) {
    text.remove_prefix(1);
    fraction = TakeDigits(text);
  }
  const std::uint64_t unit = UnitOf(text);
  if ((whole.empty() && fraction.empty()) || unit == 0)
    return DurationError::kMalformed;
  const auto part = Fraction(fraction, unit);
  if (!part) return DurationError::kTooFine;
  Wide total = 0;
  for (const char c : whole) {
    total = total * 10 + static_cast<unsigned>(c - '0');
    if (total > kMaxMilliseconds) return DurationError::kTooLong;
  }
  total = total * unit + *part;
  if (total > kMaxMilliseconds) return DurationError::kTooLong;
  return milliseconds(static_cast<std::int64_t>(total));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string_view text = fairlead::internal::InputText(data, size);
  const auto read = ReadDuration(text);
  RequireLaw(read == Expected(text));
  if (const auto* const duration = std::get_if<milliseconds>(&read)) {
    RequireLaw(ReadDuration(fairlead::tool::DurationArgument(*duration)) ==
               read);
    RequireLaw(!fairlead::tool::DurationText(*duration).empty());
    RequireLaw(fairlead::tool::DurationIn(text) == *duration);
  } else {
    RequireLaw(!fairlead::tool::DurationIn(text));
  }
  return 0;
}
