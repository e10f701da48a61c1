// The parameters of the command `time`.

#ifndef FAIRLEAD_TOOL_VALUES_TIME_PARAMETERS_H_
#define FAIRLEAD_TOOL_VALUES_TIME_PARAMETERS_H_

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "tool/command/forms.h"
#include "tool/command/parameters.h"

namespace fairlead::tool::time_command {

inline constexpr std::uint64_t kEndOf9999 = 253402300799;  // In UTC seconds.

inline constexpr std::string_view kUseBack =
    "write -back and the number without '-'";

/// The forms of a moment. The last four read the clock themselves, so only
/// `now` offers them.
enum class MomentForm {
  kAsPlain,
  kAsLog,
  kAsPhrase,
  kAsStamp,
  kAsYmd,
  kAsDmy,
  kAsClock,
  kAsDay,
  kAsDaySecond,
  kAsSeconds,
  kAsExact,
  kAsStrtime,
  kAsStrtimeonly,
  kAsStrdateonly,
  kAsIntdayonly,
};

/// The forms of a time of day, or of a duration.
enum class DayForm { kAsClock, kAsSeconds, kAsNumber };

inline constexpr Choice kPlain = {MomentForm::kAsPlain, "plain",
                                  "2026.11.14 20:57:54"};
inline constexpr Choice kLog = {MomentForm::kAsLog, "log",
                                "[2026.11.14 20:57:54] and a space"};
inline constexpr Choice kPhrase = {MomentForm::kAsPhrase, "phrase",
                                   "on 2026.11.14 at 20:57:54"};
inline constexpr Choice kStampForm = {MomentForm::kAsStamp, "stamp",
                                      "20261114x205754"};
inline constexpr Choice kYmd = {MomentForm::kAsYmd, "ymd", "20261114"};
inline constexpr Choice kDmy = {MomentForm::kAsDmy, "dmy", "14112026"};
inline constexpr Choice kMomentClock = {MomentForm::kAsClock, "clock",
                                        "20:57:54"};
inline constexpr Choice kDay = {MomentForm::kAsDay, "day",
                                "14, the day of the month"};
inline constexpr Choice kDaySecond = {
    MomentForm::kAsDaySecond, "daysecond",
    "75474, the seconds since local midnight"};
inline constexpr Choice kEpoch = {MomentForm::kAsSeconds, "seconds",
                                  "1794689874, since the epoch"};
inline constexpr Choice kExact = {MomentForm::kAsExact, "exact",
                                  "1794689874.123456789"};
inline constexpr Choice kAll = {EveryForm::kAll, kAllForms.name,
                                "all forms, one per line, as NAME VALUE"};

inline constexpr std::array kMomentForms = {
    kPlain,       kLog, kPhrase,    kStampForm, kYmd,   kDmy,
    kMomentClock, kDay, kDaySecond, kEpoch,     kExact, kAll,
};
inline constexpr std::array kNowForms = {
    kPlain,
    kLog,
    kPhrase,
    kStampForm,
    kYmd,
    kDmy,
    kMomentClock,
    kDay,
    kDaySecond,
    kEpoch,
    kExact,
    Choice{MomentForm::kAsStrtime, "strtime",
           "[2026:11:14 20:57:54] and a space"},
    Choice{MomentForm::kAsStrtimeonly, "strtimeonly", "205754"},
    Choice{MomentForm::kAsStrdateonly, "strdateonly", "20261114"},
    Choice{MomentForm::kAsIntdayonly, "intdayonly", "14"},
    kAll,
};
inline constexpr auto kDayForms = std::to_array<Choice>({
    {DayForm::kAsClock, "clock", "20:57:54; the hours continue above 24"},
    {DayForm::kAsSeconds, "seconds", "75474"},
    {DayForm::kAsNumber, "number", "205754; up to 429496:59:59"},
    kAll,
});

inline constexpr Parameter kStamp = {
    .name = "stamp",
    .placeholder = "STAMP",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhat,
    .help = "a local time as 20261114x205754, or 20261114 for midnight"};
inline constexpr Parameter kText = {
    .name = "text",
    .placeholder = "TIME",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhat,
    .help = "a time of day as 1:02:03, 2:03 (minutes and seconds) or 45",
    .remedy = "write -back and the seconds for one below zero"};
inline constexpr Parameter kEpochSeconds = {
    .name = "seconds",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kWhat,
    .help = "N seconds after the epoch",
    .range = {.least = 0, .most = kEndOf9999},
    .remedy = kUseBack};
inline constexpr Parameter kDaySeconds = {.name = "seconds",
                                          .placeholder = "N",
                                          .kind = Kind::kNumber,
                                          .group = Group::kWhat,
                                          .help = "N seconds after midnight",
                                          .range = kNaturalInt,
                                          .remedy = kUseBack};
inline constexpr Parameter kFrom = {.name = "from",
                                    .placeholder = "A",
                                    .kind = Kind::kNonEmptyText,
                                    .group = Group::kWhat,
                                    .help = "the first stamp, or time of day"};
inline constexpr Parameter kTo = {.name = "to",
                                  .placeholder = "B",
                                  .kind = Kind::kNonEmptyText,
                                  .group = Group::kWhat,
                                  .help = "the second one, of the same kind"};
inline constexpr Parameter kBy = {.name = "by",
                                  .placeholder = "N",
                                  .kind = Kind::kNumber,
                                  .group = Group::kWhat,
                                  .help = "seconds to add",
                                  .range = kNaturalInt,
                                  .remedy = kUseBack};
inline constexpr Parameter kBackBy = {.name = "back",
                                      .placeholder = "N",
                                      .kind = Kind::kNumber,
                                      .group = Group::kWhat,
                                      .help = "seconds to subtract",
                                      .range = kNaturalInt};
inline constexpr Parameter kBeforeEpoch = {.name = "back",
                                           .placeholder = "N",
                                           .kind = Kind::kNumber,
                                           .group = Group::kWhat,
                                           .help = "N seconds before the epoch",
                                           .range = kNaturalInt};
inline constexpr Parameter kBeforeMidnight = {
    .name = "back",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kWhat,
    .help = "N seconds before midnight",
    .range = kNaturalInt};

/// Returns the parameter -form with these choices.
constexpr Parameter FormParameter(std::span<const Choice> choices,
                                  std::string_view fallback) {
  return {.name = "form",
          .placeholder = "FORM",
          .kind = Kind::kChoice,
          .group = Group::kOutput,
          .help = "output format",
          .choices = choices,
          .fallback = fallback};
}

inline constexpr Parameter kMomentForm =
    FormParameter(kMomentForms, kPlain.name);
inline constexpr Parameter kNowForm = FormParameter(kNowForms, kPlain.name);
inline constexpr Parameter kDayForm = FormParameter(kDayForms, kAll.name);
inline constexpr Parameter kSeparator = {
    .name = "separator",
    .placeholder = "TEXT",
    .kind = Kind::kText,
    .group = Group::kOutput,
    .help =
        "what separates the numbers of the form 'clock', with the escapes \\r "
        "\\n \\t \\\\ \\xHH",
    .fallback = ":",
    .remedy = kEscapeDash};

}  // namespace fairlead::tool::time_command

#endif  // FAIRLEAD_TOOL_VALUES_TIME_PARAMETERS_H_
