// The command `time`: moments, times of day and what lies between them.

#include <array>
#include <climits>
#include <cstdint>
#include <ctime>
#include <string>

#include "fairlead/text/strings.h"
#include "fairlead/time/the_time.h"
#include "fairlead/time/time_of_day.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/command/forms.h"
#include "tool/io/output.h"
#include "tool/values/time_parameters.h"
#include "tool/values/time_values.h"

namespace fairlead::tool::time_command {
namespace {

constexpr int kMaxNumberedHours = 429496;  // See GetStamp().

// -form, and -separator with the forms that it changes.
template <const Parameter& kForm>
constexpr auto kFormUses = Uses(Optional(kForm),
                                OnlyWith(kSeparator,
                                         When(kForm, MomentForm::kAsClock),
                                         When(kForm, EveryForm::kAll)));

constexpr auto kSeparatorUses = Uses(Optional(kSeparator));
constexpr auto kPrintUses = kFormUses<kMomentForm>;
constexpr auto kNowUses = kFormUses<kNowForm>;
constexpr auto kShowUses =
    Uses(OneOf(kStamp, kEpochSeconds, kBeforeEpoch), kPrintUses);
constexpr auto kShiftUses = Uses(kStamp, OneOf(kBy, kBackBy), kPrintUses);
constexpr auto kDayFormUses = Uses(Optional(kDayForm));
constexpr auto kDayUses =
    Uses(OneOf(kText, kDaySeconds, kBeforeMidnight), kDayFormUses);
constexpr auto kDiffUses = Uses(kFrom, kTo, kDayFormUses);

std::string NineDigits(std::int64_t number) {
  const std::string digits = inttostr(number);
  return Concat(std::string(9 - digits.size(), '0'), digits);
}

std::string TextOf(MomentForm form, const TheTime& moment,
                   const Arguments<kSeparatorUses>& arguments) {
  unsigned int day_second = 0;
  switch (form) {
    case MomentForm::kAsPlain:
      return moment.GetStr(false);
    case MomentForm::kAsLog:
      return moment.GetStr(true);
    case MomentForm::kAsPhrase:
      return moment.GetHumanStr();
    case MomentForm::kAsStamp:
      return moment.SaveToString();
    case MomentForm::kAsYmd:
      return moment.GetDateStr();
    case MomentForm::kAsDmy:
      return moment.GetDateStr2();
    case MomentForm::kAsClock:
      return moment.GetTimeStr(
          Unescaped(arguments.Text(kSeparator), kSeparator.name));
    case MomentForm::kAsDay:
      return inttostr(moment.GetDaySec(day_second));
    case MomentForm::kAsDaySecond:
      moment.GetDaySec(day_second);
      return inttostr(day_second);
    case MomentForm::kAsSeconds:
      return inttostr(moment.ts.tv_sec);
    case MomentForm::kAsExact:
      return Concat(inttostr(moment.ts.tv_sec), ".",
                    NineDigits(moment.ts.tv_nsec));
    case MomentForm::kAsStrtime:
      return strtime();
    case MomentForm::kAsStrtimeonly:
      return strtimeonly();
    case MomentForm::kAsStrdateonly:
      return strdateonly();
    case MomentForm::kAsIntdayonly:
      return inttostr(intdayonly());
  }
  return {};
}

// Stamps may be further apart than a time of day can count. Its hours are then
// 0, and the true ones replace them.
std::string ClockText(std::int64_t seconds) {
  if (seconds >= INT_MIN && seconds <= INT_MAX)
    return CTimeOfDay{static_cast<int>(seconds)}.GetStampString();
  const CTimeOfDay rest{static_cast<int>(seconds % 3600)};
  return Concat(seconds / 3600, rest.GetStampString().substr(2));
}

FormText NumberText(std::int64_t seconds) {
  if (seconds >= 0 && seconds / 3600 <= kMaxNumberedHours)
    return inttostr(CTimeOfDay{static_cast<int>(seconds)}.GetStamp());
  return Unavailable{Concat(": ", ClockText(seconds),
                            " is out of range (expected 0 to ",
                            kMaxNumberedHours, ":59:59)")};
}

FormText TextOf(DayForm form, std::int64_t seconds) {
  switch (form) {
    case DayForm::kAsClock:
      return ClockText(seconds);
    case DayForm::kAsSeconds:
      return inttostr(seconds);
    case DayForm::kAsNumber:
      return NumberText(seconds);
  }
  return {};
}

ExitStatus PrintMoment(const TheTime& moment,
                       const Arguments<kPrintUses>& arguments,
                       const Output& output) {
  CheckYear(moment);
  output.Write(FormLines<MomentForm>(
      kMomentForm, arguments.Text(kMomentForm),
      [&](MomentForm form) { return TextOf(form, moment, arguments); }));
  return kDone;
}

ExitStatus PrintSeconds(std::int64_t seconds,
                        const Arguments<kDayFormUses>& arguments,
                        const Output& output) {
  output.Write(FormLines<DayForm>(
      kDayForm, arguments.Text(kDayForm),
      [seconds](DayForm form) { return TextOf(form, seconds); }));
  return kDone;
}

// Some of the forms read the clock themselves. They are made again if a second
// ends in between, so that all show the same second.
ExitStatus Now(const Arguments<kNowUses>& arguments, const Output& output) {
  std::string lines;
  std::time_t second = 0;
  TheTime moment;
  do {
    second = time(nullptr);
    moment.Update();
    lines = FormLines<MomentForm>(
        kNowForm, arguments.Text(kNowForm),
        [&](MomentForm form) { return TextOf(form, moment, arguments); });
  } while (moment.ts.tv_sec != second || time(nullptr) != second);
  output.Write(lines);
  return kDone;
}

ExitStatus Show(const Arguments<kShowUses>& arguments, const Output& output) {
  if (arguments.Has(kStamp))
    return PrintMoment(StampIn(kStamp, arguments.Text(kStamp)), arguments,
                       output);
  TheTime moment;
  moment.ts = {};
  if (arguments.Has(kBeforeEpoch))
    moment.SetToPast(arguments.Number(kBeforeEpoch));
  else
    moment.ts.tv_sec =
        static_cast<std::time_t>(arguments.WideNumber(kEpochSeconds));
  return PrintMoment(moment, arguments, output);
}

ExitStatus Shift(const Arguments<kShiftUses>& arguments, const Output& output) {
  TheTime moment = StampIn(kStamp, arguments.Text(kStamp));
  moment.SetToPast(arguments.Has(kBackBy) ? arguments.Number(kBackBy)
                                          : -arguments.Number(kBy));
  return PrintMoment(moment, arguments, output);
}

CTimeOfDay DayTimeGiven(const Arguments<kDayUses>& arguments) {
  if (arguments.Has(kText)) return TimeOfDayIn(kText, arguments.Text(kText));
  if (arguments.Has(kBeforeMidnight))
    return {-arguments.Number(kBeforeMidnight)};
  return {arguments.Number(kDaySeconds)};
}

ExitStatus Day(const Arguments<kDayUses>& arguments, const Output& output) {
  return PrintSeconds(DayTimeGiven(arguments).seconds, arguments, output);
}

std::int64_t Difference(const std::string& from, const std::string& to) {
  if (!LooksLikeStamp(from) && !LooksLikeStamp(to)) {
    const CTimeOfDay start = TimeOfDayIn(kFrom, from);
    return (TimeOfDayIn(kTo, to) - start).seconds;
  }
  const TheTime start = StampIn(kFrom, from);
  const TheTime end = StampIn(kTo, to);
  return static_cast<std::int64_t>(end.DifferenceFloat(start));
}

ExitStatus Diff(const Arguments<kDiffUses>& arguments, const Output& output) {
  return PrintSeconds(Difference(arguments.Text(kFrom), arguments.Text(kTo)),
                      arguments, output);
}

constexpr auto kNowExamples = std::to_array<Example>({
    {"fairlead time now -form stamp",
     "Prints the present as 20261114x205754, for a file name or for 'diff'."},
});
constexpr auto kShowExamples = std::to_array<Example>({
    {"fairlead time show -stamp 20261114x205754 -form phrase",
     "Prints on 2026.11.14 at 20:57:54."},
});
constexpr auto kShiftExamples = std::to_array<Example>({
    {"fairlead time shift -stamp 20261231x235959 -by 1 -form ymd",
     "Prints 20270101."},
});
constexpr auto kDayExamples = std::to_array<Example>({
    {"fairlead time day -text 1:02:03",
     "Prints clock 01:02:03, seconds 3723 and number 10203, one per line."},
});
constexpr auto kDiffExamples = std::to_array<Example>({
    {"fairlead time diff -from 20261114 -to 20261116x010203 -form clock",
     "Prints 49:02:03."},
});
constexpr auto kExamples = std::to_array<Example>(
    {kNowExamples[0], kShowExamples[0], kShiftExamples[0], kDayExamples[0],
     kDiffExamples[0]});

constexpr auto kNowStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kCannotWrite, "standard output cannot be written"},
});
constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kMalformedInput, "a stamp or a time of day is malformed"},
    {kCannotWrite, "standard output cannot be written"},
});

constexpr Command kNowCommand = {
    .name = "now",
    .parent = &kTimeCommand,
    .summary = "print the present moment",
    .description = "Prints local time, as the variable TZ defines it.",
    .action = ActionOf<kNowUses, Now>(),
    .examples = kNowExamples,
    .statuses = kNowStatuses,
};
constexpr Command kShowCommand = {
    .name = "show",
    .parent = &kTimeCommand,
    .summary = "print the moment of a stamp, or of seconds from the epoch",
    .description = "Prints local time, as the variable TZ defines it.",
    .action = ActionOf<kShowUses, Show>(),
    .examples = kShowExamples,
    .statuses = kStatuses,
};
constexpr Command kShiftCommand = {
    .name = "shift",
    .parent = &kTimeCommand,
    .summary = "add seconds to a stamp, or subtract them",
    .description = "Prints local time, as the variable TZ defines it.",
    .action = ActionOf<kShiftUses, Shift>(),
    .examples = kShiftExamples,
    .statuses = kStatuses,
};
constexpr Command kDayCommand = {
    .name = "day",
    .parent = &kTimeCommand,
    .summary = "print a time of day, or a duration",
    .description =
        "The hours of a duration continue above 24. Each part of a "
        "negative one has a sign (-1:-2:-3).",
    .action = ActionOf<kDayUses, Day>(),
    .examples = kDayExamples,
    .statuses = kStatuses,
};
constexpr Command kDiffCommand = {
    .name = "diff",
    .parent = &kTimeCommand,
    .summary = "print the time from one stamp, or time of day, to another",
    .description =
        "A text of eight or more characters without a colon is a timestamp.",
    .action = ActionOf<kDiffUses, Diff>(),
    .examples = kDiffExamples,
    .statuses = kStatuses,
};

constexpr std::array kSubcommands = {
    &kNowCommand, &kShowCommand, &kShiftCommand, &kDayCommand, &kDiffCommand,
};

}  // namespace
}  // namespace fairlead::tool::time_command

namespace fairlead::tool {

constinit const Command kTimeCommand = {
    .name = "time",
    .summary = "print, convert and calculate times",
    .description =
        "A moment is local time, as the variable TZ defines it; a stamp is a "
        "moment to the second. A time of day is a number of seconds, which may "
        "also be a duration. Anything else is malformed input: a letter "
        "instead of a digit, a fourth number, a number above 59 that is not "
        "the first, or a nonexistent date such as 31 June.",
    .examples = time_command::kExamples,
    .statuses = time_command::kStatuses,
    .subcommands = time_command::kSubcommands,
};

}  // namespace fairlead::tool
