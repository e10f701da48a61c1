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
#include "tool/command/command_list.h"
#include "tool/command/forms.h"
#include "tool/command/parameters.h"
#include "tool/command/usage.h"
#include "tool/command/whole_number.h"
#include "tool/io/output.h"
#include "tool/values/time_values.h"

namespace fairlead::tool {
namespace {

constexpr std::uint64_t kEndOf9999 = 253402300799;  // In seconds, at Greenwich.
constexpr int kMostNumberedHours = 429496;          // See GetStamp().

constexpr auto kForms = std::to_array<Verb>({
    {"plain", "", "2026.11.14 20:57:54", nullptr},
    {"log", "", "[2026.11.14 20:57:54] with a blank at the end", nullptr},
    {"phrase", "", "on 2026.11.14 at 20:57:54", nullptr},
    {"stamp", "", "20261114x205754", nullptr},
    {"ymd", "", "20261114", nullptr},
    {"dmy", "", "14112026", nullptr},
    {"clock", "", "20:57:54, of a time of day the hours above 24 too", nullptr},
    {"day", "", "14, the day of the month", nullptr},
    {"daysecond", "", "75474, the seconds since local midnight", nullptr},
    {"seconds", "",
     "1794689874, since the epoch; of a time of day since midnight", nullptr},
    {"exact", "", "1794689874.123456789", nullptr},
    {"strtime", "", "[2026:11:14 20:57:54] with a blank at the end; with 'now'",
     nullptr},
    {"strtimeonly", "", "205754; with 'now'", nullptr},
    {"strdateonly", "", "20261114; with 'now'", nullptr},
    {"intdayonly", "", "14; with 'now'", nullptr},
    {"number", "", "205754, of a time of day up to 429496:59:59", nullptr},
    {"all", "", "every form that there is, a line each: its name, a blank, it",
     nullptr},
});

constexpr Parameter kStamp = {
    .name = "stamp",
    .word = "STAMP",
    .kind = Kind::kWord,
    .group = "What",
    .help = "a local time as 20261114x205754, or 20261114 for midnight"};
constexpr Parameter kText = {
    .name = "text",
    .word = "TIME",
    .kind = Kind::kWord,
    .group = "What",
    .help =
        "a time of day as 1:02:03, 2:03 (minutes and seconds) or 45; -back for "
        "one below zero"};
constexpr Parameter kSeconds = {
    .name = "seconds",
    .word = "N",
    .kind = Kind::kWord,
    .group = "What",
    .help =
        "N seconds after the epoch, 0 to 253402300799, or after midnight, 0 to "
        "2147483647; -back for before"};
constexpr Parameter kFrom = {.name = "from",
                             .word = "A",
                             .kind = Kind::kWord,
                             .group = "What",
                             .help = "the first stamp, or time of day"};
constexpr Parameter kTo = {.name = "to",
                           .word = "B",
                           .kind = Kind::kWord,
                           .group = "What",
                           .help = "the second one, of the same kind"};
constexpr Parameter kBy = {.name = "by",
                           .word = "N",
                           .kind = Kind::kNumber,
                           .group = "What",
                           .help = "N seconds later; -back for earlier",
                           .least = 0,
                           .most = INT_MAX};
constexpr Parameter kBack = {
    .name = "back",
    .word = "N",
    .kind = Kind::kNumber,
    .group = "What",
    .help = "N seconds earlier, before the epoch or before midnight",
    .least = 0,
    .most = INT_MAX};

constexpr Parameter kForm = {
    .name = "form",
    .word = "FORM",
    .kind = Kind::kChoice,
    .group = "Output",
    .help =
        "how to print it; a moment as plain if nothing else is said, a "
        "time of day or a difference in all forms",
    .verbs = kForms};
constexpr Parameter kSeparator = {.name = "separator",
                                  .word = "TEXT",
                                  .kind = Kind::kText,
                                  .group = "Output",
                                  .help =
                                      "what stands between the numbers of a "
                                      "moment's form clock (\\r \\n \\t \\\\ "
                                      "\\xHH)",
                                  .fallback = ":"};

std::string SeparatorOf(const Arguments& arguments) {
  const std::string form = arguments.Text(kForm);
  if (arguments.Has(kSeparator) && form != "clock" && form != "all")
    throw Failure(kWrongUsage, "-separator goes with -form clock or all");
  return Unescaped(arguments.Text(kSeparator), kSeparator.name);
}

std::string NineDigits(std::int64_t number) {
  const std::string digits = inttostr(number);
  return Concat(std::string(9 - digits.size(), '0'), digits);
}

std::vector<Form> FormsOf(const TheTime& moment, const Arguments& arguments) {
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
      {"clock", moment.GetTimeStr(SeparatorOf(arguments))},
      {"day", inttostr(day)},
      {"daysecond", inttostr(day_second)},
      {"seconds", seconds},
      {"exact", Concat(seconds, ".", NineDigits(moment.ts.tv_nsec))},
  };
}

std::vector<Form> FormsOf(const CTimeOfDay& time) {
  std::vector<Form> forms = {{"clock", time.GetStampString()},
                             {"seconds", time.GetSecondsString()}};
  if (time.seconds >= 0 && time.seconds / 3600 <= kMostNumberedHours)
    forms.push_back({"number", inttostr(time.GetStamp())});
  return forms;
}

ExitStatus PrintMoment(const TheTime& moment, const Arguments& arguments,
                       const Output& output) {
  CheckYear(moment);
  output.Write(
      FormLines(FormsOf(moment, arguments), arguments, kForm, "plain"));
  return kDone;
}

// Some of the forms read the clock for themselves. So that all tell the same
// second, they are made again if another began meanwhile.
ExitStatus Now(const Arguments& arguments, const Output& output) {
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
  output.Write(FormLines(forms, arguments, kForm, "plain"));
  return kDone;
}

ExitStatus Show(const Arguments& arguments, const Output& output) {
  if (arguments.Has(kStamp))
    return PrintMoment(StampIn(arguments, kStamp), arguments, output);
  TheTime moment;
  moment.ts = {};
  if (arguments.Has(kBack))
    moment.SetToPast(arguments.Number(kBack));
  else
    moment.ts.tv_sec =
        static_cast<std::time_t>(WholeNumber(arguments, kSeconds, kEndOf9999));
  return PrintMoment(moment, arguments, output);
}

ExitStatus Shift(const Arguments& arguments, const Output& output) {
  TheTime moment = StampIn(arguments, kStamp);
  moment.SetToPast(arguments.Has(kBack) ? arguments.Number(kBack)
                                        : -arguments.Number(kBy));
  return PrintMoment(moment, arguments, output);
}

CTimeOfDay DayTimeGiven(const Arguments& arguments) {
  if (arguments.Has(kText)) return TimeOfDayIn(arguments, kText);
  if (arguments.Has(kBack)) return {-arguments.Number(kBack)};
  return {static_cast<int>(WholeNumber(arguments, kSeconds, INT_MAX))};
}

ExitStatus Day(const Arguments& arguments, const Output& output) {
  output.Write(
      FormLines(FormsOf(DayTimeGiven(arguments)), arguments, kForm, "all"));
  return kDone;
}

// Stamps may be further apart than a time of day can count. Its own hours are
// then 0, and stand in the place of the true ones.
std::vector<Form> FormsOfSpan(std::int64_t seconds) {
  if (seconds >= INT_MIN && seconds <= INT_MAX)
    return FormsOf(CTimeOfDay{static_cast<int>(seconds)});
  const CTimeOfDay rest{static_cast<int>(seconds % 3600)};
  return {{"clock", Concat(seconds / 3600, rest.GetStampString().substr(2))},
          {"seconds", inttostr(seconds)}};
}

ExitStatus Diff(const Arguments& arguments, const Output& output) {
  std::vector<Form> forms;
  if (LooksLikeStamp(arguments.Text(kFrom)) ||
      LooksLikeStamp(arguments.Text(kTo))) {
    const TheTime from = StampIn(arguments, kFrom);
    const TheTime to = StampIn(arguments, kTo);
    forms = FormsOfSpan(static_cast<std::int64_t>(to.DifferenceFloat(from)));
  } else {
    const CTimeOfDay from = TimeOfDayIn(arguments, kFrom);
    forms = FormsOf(TimeOfDayIn(arguments, kTo) - from);
  }
  output.Write(FormLines(forms, arguments, kForm, "all"));
  return kDone;
}

constexpr auto kVerbs = std::to_array<Verb>({
    {"now", "[-form FORM] [-separator TEXT]", "print the present moment", Now},
    {"show",
     "(-stamp STAMP | -seconds N | -back N) [-form FORM] [-separator TEXT]",
     "print the moment of a stamp, or so many seconds from the epoch", Show},
    {"shift", "-stamp STAMP (-by N | -back N) [-form FORM] [-separator TEXT]",
     "print the moment so many seconds after a stamp, or before it", Shift},
    {"day", "(-text TIME | -seconds N | -back N) [-form FORM]",
     "print a time of day, or a duration", Day},
    {"diff", "-from A -to B [-form FORM]",
     "print the time from one stamp, or time of day, to another", Diff},
});

constexpr Parameter kVerb = WordOf(kVerbs);

constexpr std::array kParameters = {
    kStamp, kText, kSeconds, kFrom, kTo, kBy, kBack, kForm, kSeparator, kHelp,
};

ExitStatus Time(const Arguments& arguments, const Output& output) {
  return RunVerb(arguments, output);
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead time now -form stamp",
     "Prints the present as 20261114x205754, for a file name or for 'diff'."},
    {"fairlead time show -stamp 20261114x205754 -form phrase",
     "Prints on 2026.11.14 at 20:57:54."},
    {"fairlead time shift -stamp 20261231x235959 -by 1 -form ymd",
     "Prints 20270101."},
    {"fairlead time day -text 1:02:03",
     "Prints clock 01:02:03, seconds 3723 and number 10203, a line each."},
    {"fairlead time diff -from 20261114 -to 20261116x010203 -form clock",
     "Prints 49:02:03."},
});

constexpr std::array kStatuses = {
    kDone,
    kWrongUsage,
    kMalformedInput,
    kCannotWrite,
};

}  // namespace

constinit const Command kTimeCommand = {
    .name = "time",
    .usage = "WORD [-name value]...",
    .summary = "print and reckon moments and times of day",
    .story =
        "A moment is local time, as the variable TZ has it; a stamp spells it "
        "to the second. A time of day is a number of seconds, of a duration "
        "too: its hours go on above 24, and each part of one below zero has a "
        "sign (-1:-2:-3). What is no clean text is malformed input: a letter "
        "where a digit belongs, a fourth number, a number above 59 that is not "
        "the first, a stamp that no local clock shows, such as the 31st of "
        "June. With 'diff', what has no colon and eight letters or more is a "
        "stamp.",
    .operand = &kVerb,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Time,
};

}  // namespace fairlead::tool
