// Durations as users write them: 30, 0.5, 500ms, 2m.

#ifndef FAIRLEAD_TOOL_COMMAND_DURATION_H_
#define FAIRLEAD_TOOL_COMMAND_DURATION_H_

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace fairlead::tool {

/// What a user writes instead of a duration, for no limit.
inline constexpr std::string_view kNoLimit = "none";

/// The forms of a duration, for the help.
inline constexpr std::string_view kDurationForms =
    "TIME is a number of seconds, such as 30 or 0.5, or has a unit: 500ms, "
    "30s, "
    "2m, 1h, 1d.";

/// Why a text is no duration.
enum class DurationError {
  kMalformed,  ///< No number, or an unknown unit.
  kTooFine,    ///< It has a fraction of a millisecond.
  kTooLong,    ///< `std::chrono::milliseconds` cannot hold it.
};

/// Returns the duration in the text: a decimal number, which may have a
/// fraction, and one of the units ms, s, m, h and d; without one, of seconds.
/// Of 0.5 and 5.0, the zero may be missing. The result is exact.
std::variant<std::chrono::milliseconds, DurationError> ReadDuration(
    std::string_view text);

/// Returns the duration in a text that CheckValue() accepts; nothing for
/// kNoLimit and for an empty text.
std::optional<std::chrono::milliseconds> DurationIn(std::string_view text);

/// Returns the duration as an argument, in the largest unit of which it is a
/// whole number: "1d", "90s", "1500ms", "0".
std::string DurationArgument(std::chrono::milliseconds duration);

/// Returns the duration for a message, in milliseconds below one second, else
/// in seconds: "500 ms", "1 s", "1.5 s", "120 s".
std::string DurationText(std::chrono::milliseconds duration);

/// Returns the milliseconds of a duration that is not negative, rounded down to
/// hundredths: "0.41".
std::string MillisecondsText(std::chrono::nanoseconds duration);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_DURATION_H_
