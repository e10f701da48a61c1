// The command `time`: moments, times of day and what lies between them.

#include <array>
#include <climits>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

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
                                OnlyWith(kSeparator, When(kForm, "clock"),
                                         When(kForm, kAllForms)));

constexpr auto kSeparatorUses = Uses(Optional(kSeparator));
constexpr auto kPrintUses = kFormUses<kMomentForm>;
constexpr auto kNowUses = kFormUses<kNowForm>;
constexpr auto kShowUses =
    Uses(OneOf(kStamp, kEpochSeconds, kBeforeEpoch), kPrintUses);
constexpr auto kShiftUses = Uses(kStamp, OneOf(kBy, kBackBy), kPrintUses);
constexpr auto kDayUses =
    Uses(OneOf(kText, kDaySeconds, kBeforeMidnight), Optional(kDayForm));
constexpr auto kDiffUses = Uses(kFrom, kTo, Optional(kDayForm));

std::string NineDigits(std::int64_t number) {
  const std::string digits = inttostr(number);
  return Concat(std::string(9 - digits.size(), '0'), digits);
}

std::vector<Form> FormsOf(const TheTime& moment,
                          const Arguments<kSeparatorUses>& arguments) {
  unsigned int day_second = 0;
  const int day = moment.GetDaySec(day_second);
  const std::string seconds = inttostr(moment.ts.tv_sec);
  return {
      {"plain", moment.GetStr(false)},
      {"log", moment.GetStr(true)},
      {"phrase", moment.GetHumanStr()},
      {"stamp", moment.SaveToString()},
      {"ymd", moment.GetDateStr()},
      {"dmy", moment.GetDateStr2()},
      {"clock", moment.GetTimeStr(
                    Unescaped(arguments.Text(kSeparator), kSeparator.name))},
      {"day", inttostr(day)},
      {"daysecond", inttostr(day_second)},
      {"seconds", seconds},
      {"exact", Concat(seconds, ".", NineDigits(moment.ts.tv_nsec))},
  };
}

std::vector<Form> FormsOf(const CTimeOfDay& time) {
  std::vector<Form> forms = {{"clock", time.GetStampString()},
                             {"seconds", time.GetSecondsString()}};
  if (time.seconds >= 0 && time.seconds / 3600 <= kMaxNumberedHours)
    forms.push_back({"number", inttostr(time.GetStamp())});
  return forms;
}

ExitStatus PrintMoment(const TheTime& moment,
                       const Arguments<kPrintUses>& arguments,
                       const Output& output) {
  CheckYear(moment);
  output.Write(FormLines(FormsOf(moment, arguments), kMomentForm,
                         arguments.Text(kMomentForm)));
  return kDone;
}

// Some of the forms read the clock themselves. They are made again if a second
// ends in between, so that all show the same second.
ExitStatus Now(const Arguments<kNowUses>& arguments, const Output& output) {
  std::vector<Form> forms;
  std::time_t second = 0;
  TheTime moment;
  do {
    second = time(nullptr);
    moment.Update();
    forms = FormsOf(moment, arguments);
    forms.insert(forms.end(), {{"strtime", strtime()},
                               {"strtimeonly", strtimeonly()},
                               {"strdateonly", strdateonly()},
                               {"intdayonly", inttostr(intdayonly())}});
  } while (moment.ts.tv_sec != second || time(nullptr) != second);
  output.Write(FormLines(forms, kNowForm, arguments.Text(kNowForm)));
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
  output.Write(FormLines(FormsOf(DayTimeGiven(arguments)), kDayForm,
                         arguments.Text(kDayForm)));
  return kDone;
}

// Stamps may be further apart than a time of day can count. Its hours are then
// 0, and the true ones replace them.
std::vector<Form> FormsOfSpan(std::int64_t seconds) {
  if (seconds >= INT_MIN && seconds <= INT_MAX)
    return FormsOf(CTimeOfDay{static_cast<int>(seconds)});
  const CTimeOfDay rest{static_cast<int>(seconds % 3600)};
  return {{"clock", Concat(seconds / 3600, rest.GetStampString().substr(2))},
          {"seconds", inttostr(seconds)}};
}

std::vector<Form> FormsOfDifference(const std::string& from,
                                    const std::string& to) {
  if (!LooksLikeStamp(from) && !LooksLikeStamp(to)) {
    const CTimeOfDay start = TimeOfDayIn(kFrom, from);
    return FormsOf(TimeOfDayIn(kTo, to) - start);
  }
  const TheTime start = StampIn(kFrom, from);
  const TheTime end = StampIn(kTo, to);
  return FormsOfSpan(static_cast<std::int64_t>(end.DifferenceFloat(start)));
}

ExitStatus Diff(const Arguments<kDiffUses>& arguments, const Output& output) {
  output.Write(
      FormLines(FormsOfDifference(arguments.Text(kFrom), arguments.Text(kTo)),
                kDayForm, arguments.Text(kDayForm)));
  return kDone;
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
