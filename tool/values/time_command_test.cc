// The command `time` as a process, in time zones of the test's own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <map>
#include <sstream>
#include <string>

#include "fairlead/time/time_of_day.h"
#include "tool/base/concat.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr char kGreenwich[] = "UTC0";
constexpr char kEast[] = "EAST-2";
constexpr char kSummer[] = "CET-1CEST,M3.5.0,M10.5.0/3";    // Changes clocks.
constexpr char kMidnight[] = "STD3DST,M11.1.0/0,M2.3.0/0";  // At midnight.

Outcome RunIn(const char* zone, const Words& words) {
  return RunProgram({.arguments = Words{"time"} + words,
                     .environment = {Concat("TZ=", zone)}});
}

// Runs; the command is to succeed and to say nothing to the person.
std::string AnswerIn(const char* zone, const Words& words) {
  const Outcome outcome = RunIn(zone, words);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  return outcome.output;
}

std::string Answer(const Words& words) { return AnswerIn(kGreenwich, words); }

// Runs; the command is to end so and to print nothing.
std::string RefusalIn(const char* zone, int status, const Words& words) {
  const Outcome outcome = RunIn(zone, words);
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.output, "");
  return outcome.error;
}

std::string Refusal(int status, const Words& words) {
  return RefusalIn(kGreenwich, status, words);
}

// The lines "name text" of -form all.
std::map<std::string, std::string> FormsIn(const std::string& lines) {
  std::map<std::string, std::string> forms;
  std::istringstream in(lines);
  std::string line;
  while (std::getline(in, line)) {
    const std::size_t blank = line.find(' ');
    EXPECT_TRUE(
        forms.emplace(line.substr(0, blank), line.substr(blank + 1)).second);
  }
  return forms;
}

// The test's own way to the texts.
std::string Greenwich(std::time_t seconds, const char* format) {
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  std::array<char, 100> text{};
  return {text.data(),
          std::strftime(text.data(), text.size(), format, &fields)};
}

TEST(TimeNowTest, AllFormsTellTheSameMoment) {
  const std::time_t before = std::time(nullptr);
  const std::string lines = Answer({"now", "-form", "all"});
  std::map<std::string, std::string> forms = FormsIn(lines);
  ASSERT_EQ(forms.size(), 15U);
  const std::time_t now = std::stoll(forms["seconds"]);
  EXPECT_GE(now, before);
  EXPECT_LE(now, std::time(nullptr) + 1);  // The coarse clock lags.

  const auto expect = [&](const char* name, const char* format) {
    EXPECT_EQ(forms[name], Greenwich(now, format)) << name;
  };
  expect("plain", "%Y.%m.%d %H:%M:%S");
  expect("log", "[%Y.%m.%d %H:%M:%S] ");
  expect("phrase", "on %Y.%m.%d at %H:%M:%S");
  expect("stamp", "%Y%m%dx%H%M%S");
  expect("ymd", "%Y%m%d");
  expect("dmy", "%d%m%Y");
  expect("clock", "%H:%M:%S");
  expect("strtime", "[%Y:%m:%d %H:%M:%S] ");
  expect("strtimeonly", "%H%M%S");
  expect("strdateonly", "%Y%m%d");
  const int day = std::stoi(Greenwich(now, "%d"));
  EXPECT_EQ(forms["day"], std::to_string(day));
  EXPECT_EQ(forms["intdayonly"], std::to_string(day));
  EXPECT_EQ(forms["daysecond"], std::to_string(now % 86400));
  EXPECT_THAT(forms["exact"],
              testing::MatchesRegex(forms["seconds"] + "\\.[0-9]{9}"));
}

TEST(TimeNowTest, OneFormIsALineOfItsOwn) {
  EXPECT_THAT(
      Answer({"now"}),
      testing::MatchesRegex("[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9:]{8}\n"));
  EXPECT_THAT(Answer({"now", "-form", "strtime"}),
              testing::MatchesRegex("\\[[0-9:]{10} [0-9:]{8}\\] \n"));
  EXPECT_THAT(Answer({"now", "-form", "clock", "-separator", ""}),
              testing::MatchesRegex("[0-9]{6}\n"));
}

TEST(TimeShowTest, EveryFormOfAStamp) {
  constexpr char kAll[] =
      "plain 2026.11.14 20:57:54\n"
      "log [2026.11.14 20:57:54] \n"
      "phrase on 2026.11.14 at 20:57:54\n"
      "stamp 20261114x205754\n"
      "ymd 20261114\n"
      "dmy 14112026\n"
      "clock 20:57:54\n"
      "day 14\n"
      "daysecond 75474\n"
      "seconds 1794689874\n"
      "exact 1794689874.000000000\n";
  const Words show = {"show", "-stamp", "20261114x205754"};
  EXPECT_EQ(Answer(show), "2026.11.14 20:57:54\n");
  EXPECT_EQ(Answer(show + Words{"-form", "all"}), kAll);
  EXPECT_EQ(Answer({"show", "-seconds", "1794689874", "-form", "all"}), kAll);
  for (const auto& [name, text] : FormsIn(kAll))
    EXPECT_EQ(Answer(show + Words{"-form", name}), text + "\n");
}

TEST(TimeShowTest, AStampIsLocalTime) {
  const auto seconds = [](const char* zone, const char* stamp) {
    return AnswerIn(zone, {"show", "-stamp", stamp, "-form", "seconds"});
  };
  EXPECT_EQ(seconds(kGreenwich, "20261114x205754"), "1794689874\n");
  EXPECT_EQ(seconds(kEast, "20261114x205754"), "1794682674\n");
  EXPECT_EQ(seconds(kSummer, "20260714x120000"), "1784023200\n");
  EXPECT_EQ(AnswerIn(kEast, {"show", "-seconds", "0"}),
            "1970.01.01 02:00:00\n");
  EXPECT_EQ(AnswerIn(kEast, {"show", "-seconds", "0", "-form", "daysecond"}),
            "7200\n");
}

TEST(TimeShowTest, ADateMeansMidnight) {
  EXPECT_EQ(Answer({"show", "-stamp", "20261114"}), "2026.11.14 00:00:00\n");
  EXPECT_EQ(AnswerIn(kEast, {"show", "-stamp", "20261114"}),
            "2026.11.14 00:00:00\n");
}

TEST(TimeShowTest, TheEndsOfTheCalendar) {
  EXPECT_EQ(Answer({"show", "-seconds", "0"}), "1970.01.01 00:00:00\n");
  EXPECT_EQ(Answer({"show", "-back", "0"}), "1970.01.01 00:00:00\n");
  EXPECT_EQ(Answer({"show", "-back", "1"}), "1969.12.31 23:59:59\n");
  EXPECT_EQ(Answer({"show", "-back", "1", "-form", "exact"}), "-1.000000000\n");
  EXPECT_EQ(Answer({"show", "-back", "2147483647"}), "1901.12.13 20:45:53\n");
  EXPECT_EQ(Answer({"show", "-seconds", "4294967296"}),
            "2106.02.07 06:28:16\n");
  EXPECT_EQ(Answer({"show", "-seconds", "253402300799"}),
            "9999.12.31 23:59:59\n");
  EXPECT_EQ(Answer({"show", "-stamp", "99991231x235959", "-form", "seconds"}),
            "253402300799\n");
  EXPECT_EQ(Answer({"show", "-stamp", "00000101", "-form", "seconds"}),
            "-62167219200\n");
  EXPECT_EQ(Answer({"show", "-stamp", "19691231x235959", "-form", "seconds"}),
            "-1\n");
  EXPECT_EQ(RefusalIn(kEast, 2, {"show", "-seconds", "253402300799"}),
            "fairlead time: the moment is outside the years 0 to 9999, so it "
            "has no stamp\n");
}

TEST(TimeShowTest, Separators) {
  const auto clock = [](const char* separator) {
    return Answer({"show", "-stamp", "20261114x205754", "-form", "clock",
                   "-separator", separator});
  };
  EXPECT_EQ(clock(""), "205754\n");
  EXPECT_EQ(clock("\\x2d"), "20-57-54\n");
  EXPECT_EQ(clock(" and "), "20 and 57 and 54\n");
  EXPECT_EQ(clock("\\t"), "20\t57\t54\n");
  EXPECT_THAT(Refusal(2, {"now", "-form", "clock", "-separator", "\\q"}),
              HasSubstr("-separator"));
  EXPECT_EQ(Refusal(2, {"now", "-separator", "."}),
            "fairlead time: -separator needs -form clock or -form all; see "
            "'fairlead help time now'\n");
  EXPECT_THAT(
      Answer({"show", "-seconds", "0", "-separator", ".", "-form", "all"}),
      HasSubstr("\nclock 00.00.00\n"));
  for (const char* const text : {"-", "-."})
    EXPECT_THAT(Refusal(2, {"now", "-separator", text}),
                EndsWith("cannot begin with '-'; write \\x2d for it\n"));
}

TEST(TimeShowTest, WhatIsNoStampIsMalformed) {
  for (const char* const text :
       {"2026", "2026111", "202611141", "20261114x", "20261114x205",
        "20261114x20575", "20261114x2057541", "20261114T205754",
        "20261114 205754", "2026111a", "20261114x20575a", " 20261114",
        "20261114 ", "2026 1 1", "abc", "12:34", "+2026111"})
    EXPECT_EQ(Refusal(3, {"show", "-stamp", text}),
              Concat("fairlead time: -stamp '", text,
                     "' is not a stamp; write 20261114x205754, or 20261114 for "
                     "midnight\n"));
  EXPECT_EQ(Refusal(2, {"show", "-stamp", ""}),
            "fairlead time: -stamp STAMP must not be empty\n");
}

TEST(TimeShowTest, WhatNoClockShowsIsMalformed) {
  const auto refusal = [](const char* zone, const char* stamp) {
    return RefusalIn(zone, 3, {"show", "-stamp", stamp});
  };
  EXPECT_EQ(refusal(kGreenwich, "20260631"),
            "fairlead time: -stamp '20260631' is not a valid local time (it "
            "would normalise to 20260701x000000)\n");
  for (const auto& [stamp, read] : {std::pair{"20260229", "20260301x000000"},
                                    {"20261301", "20270101x000000"},
                                    {"20260001", "20251201x000000"},
                                    {"20260100", "20251231x000000"},
                                    {"20261114x240000", "20261115x000000"},
                                    {"20261114x206000", "20261114x210000"},
                                    {"20261114x205760", "20261114x205800"}})
    EXPECT_THAT(refusal(kGreenwich, stamp), HasSubstr(read));
  EXPECT_THAT(refusal(kSummer, "20260329x023000"),
              HasSubstr("is not a valid local time"));
  EXPECT_THAT(refusal(kMidnight, "20261101"),
              HasSubstr("is not a valid local time"));
  EXPECT_EQ(Answer({"show", "-stamp", "20240229"}), "2024.02.29 00:00:00\n");
}

TEST(TimeShowTest, WhatIsNoNumberOfSecondsIsRefused) {
  const auto refusal = [](const char* seconds) {
    return Refusal(2, {"show", "-seconds", seconds});
  };
  EXPECT_EQ(refusal("12x"),
            "fairlead time: -seconds: '12x' is not an integer (expected 0 to "
            "253402300799)\n");
  EXPECT_EQ(refusal("253402300800"),
            "fairlead time: -seconds: 253402300800 is out of range (expected 0 "
            "to 253402300799)\n");
  EXPECT_THAT(refusal("18446744073709551616"), HasSubstr("is out of range"));
  EXPECT_THAT(refusal(" 1"), HasSubstr("is not an integer"));
  EXPECT_THAT(refusal("1.5"), HasSubstr("is not an integer"));
  EXPECT_THAT(refusal(""), HasSubstr("-seconds: '' is not an integer"));
  EXPECT_EQ(refusal("-5"),
            "fairlead time: -seconds: a value cannot begin with '-'; write "
            "-back and the number without '-'\n");
  EXPECT_THAT(Refusal(2, {"show", "-back", "2147483648"}),
              HasSubstr("-back: 2147483648 is out of range (expected 0 to "
                        "2147483647)"));
}

TEST(TimeShowTest, FormsOfThePresentAreNotAvailable) {
  for (const char* const form :
       {"strtime", "strtimeonly", "strdateonly", "intdayonly", "number"})
    EXPECT_EQ(Refusal(2, {"show", "-seconds", "0", "-form", form}),
              Concat("fairlead time: -form: '", form,
                     "' is not valid; choose plain, log, phrase, stamp, ymd, "
                     "dmy, clock, day, daysecond, seconds, exact or all\n"));
  EXPECT_THAT(Refusal(2, {"now", "-form", "number"}),
              HasSubstr("intdayonly or all\n"));
  EXPECT_THAT(Refusal(2, {"now", "-form", "stmap"}),
              HasSubstr("-form: 'stmap' is not valid; choose plain, log, "));
}

TEST(TimeShiftTest, MovesAStamp) {
  const auto shifted = [](const Words& words) {
    return Answer(
        Words{"shift", "-stamp", "20261231x235959", "-form", "stamp"} + words);
  };
  EXPECT_EQ(shifted({"-by", "0"}), "20261231x235959\n");
  EXPECT_EQ(shifted({"-by", "1"}), "20270101x000000\n");
  EXPECT_EQ(shifted({"-back", "0"}), "20261231x235959\n");
  EXPECT_EQ(shifted({"-back", "86400"}), "20261230x235959\n");
  EXPECT_EQ(shifted({"-by", "2147483647"}), "20950119x031406\n");
  EXPECT_EQ(shifted({"-back", "2147483647"}), "19581213x204552\n");
  EXPECT_EQ(Answer({"shift", "-stamp", "20261114", "-by", "5"}),
            "2026.11.14 00:00:05\n");
  EXPECT_EQ(
      AnswerIn(kSummer, {"shift", "-stamp", "20260329x015959", "-by", "1"}),
      "2026.03.29 03:00:00\n");
}

TEST(TimeShiftTest, AMomentWithoutAStampIsRefused) {
  EXPECT_THAT(Refusal(2, {"shift", "-stamp", "99991231x235959", "-by", "1"}),
              HasSubstr("outside the years 0 to 9999"));
  EXPECT_THAT(Refusal(2, {"shift", "-stamp", "00000101", "-back", "1"}),
              HasSubstr("outside the years 0 to 9999"));
}

TEST(TimeShiftTest, WhatIsNoNumberIsRefused) {
  const Words shift = {"shift", "-stamp", "20261114"};
  EXPECT_EQ(Refusal(2, shift + Words{"-by", "2147483648"}),
            "fairlead time: -by: 2147483648 is out of range (expected 0 to "
            "2147483647)\n");
  EXPECT_THAT(Refusal(2, shift + Words{"-by", "1h"}),
              HasSubstr("-by: '1h' is not an integer"));
  EXPECT_EQ(Refusal(2, shift + Words{"-by", "-5"}),
            "fairlead time: -by: a value cannot begin with '-'; write -back "
            "and the number without '-'\n");
  EXPECT_THAT(Refusal(2, shift + Words{"-back", "-5"}),
              HasSubstr("-back: -5 is out of range (expected 0 to "));
  EXPECT_THAT(Refusal(3, {"shift", "-stamp", "x", "-by", "1"}),
              HasSubstr("-stamp 'x' is not a stamp"));
}

struct DayCase {
  const char* text;
  int seconds;
  const char* clock;
  const char* number;
};

constexpr DayCase kDays[] = {
    {"45", 45, "00:00:45", "45"},
    {"0", 0, "00:00:00", "0"},
    {"12:34", 754, "00:12:34", "1234"},
    {"1:02:03", 3723, "01:02:03", "10203"},
    {"1:2:3", 3723, "01:02:03", "10203"},
    {"13:05:09", 47109, "13:05:09", "130509"},
    {"23:59:59", 86399, "23:59:59", "235959"},
    {"24:00:01", 86401, "24:00:01", "240001"},
    {"90000", 90000, "25:00:00", "250000"},
    {"90:00", 5400, "01:30:00", "13000"},
    {"0:0:0", 0, "00:00:00", "0"},
    {"100:00:59", 360059, "100:00:59", "1000059"},
    {"429496:59:59", 1546189199, "429496:59:59", "4294965959"},
    {"429497:00:00", 1546189200, "429497:00:00", nullptr},
    {"596523:14:07", 2147483647, "596523:14:07", nullptr},
    {"2147483647", 2147483647, "596523:14:07", nullptr},
};

TEST(TimeDayTest, EveryForm) {
  for (const DayCase& c : kDays) {
    SCOPED_TRACE(c.text);
    std::string all = Concat("clock ", c.clock, "\nseconds ", c.seconds, "\n");
    if (c.number != nullptr) all += Concat("number ", c.number, "\n");
    EXPECT_EQ(Answer({"day", "-text", c.text}), all);
    EXPECT_EQ(Answer({"day", "-seconds", std::to_string(c.seconds)}), all);
    EXPECT_EQ(Answer({"day", "-text", c.text, "-form", "clock"}),
              Concat(c.clock, "\n"));
    EXPECT_EQ(Answer({"day", "-text", c.text, "-form", "seconds"}),
              Concat(c.seconds, "\n"));
    CTimeOfDay loaded;
    EXPECT_TRUE(loaded.LoadFromString(c.text));
    EXPECT_EQ(loaded.GetSeconds(), c.seconds);
  }
  EXPECT_EQ(Answer({"day", "-text", "1:02:03", "-form", "number"}), "10203\n");
}

TEST(TimeDayTest, BelowZero) {
  EXPECT_EQ(Answer({"day", "-back", "3723"}),
            "clock -1:-2:-3\nseconds -3723\n");
  EXPECT_EQ(Answer({"day", "-back", "0"}),
            "clock 00:00:00\nseconds 0\nnumber 0\n");
  EXPECT_EQ(Answer({"day", "-back", "1"}), "clock 00:00:-1\nseconds -1\n");
  EXPECT_EQ(Answer({"day", "-back", "2147483647"}),
            "clock -596523:-14:-7\nseconds -2147483647\n");
  EXPECT_EQ(Refusal(2, {"day", "-back", "1", "-form", "number"}),
            "fairlead time: -form number is not available here; choose clock, "
            "seconds or all\n");
}

TEST(TimeDayTest, WhatIsNoCleanTimeIsMalformed) {
  for (const char* const text :
       {"abc", ":",      "1:x:3",       "1:02:03:04",   "1:005",  "1:",
        ":1",  "1::2",   "1:60",        "1:60:0",       "1:2:60", "1: 2",
        " 1",  "1 ",     "45 or so",    "+1",           "1:-2",   "1:+2",
        "1.5", "1:2:3:", "12345678901", "0:12345678901"})
    EXPECT_EQ(Refusal(3, {"day", "-text", text}),
              Concat("fairlead time: -text '", text,
                     "' is not a time of day; write 1:02:03, 2:03 (minutes and "
                     "seconds) or 45, where only the first number may be above "
                     "59\n"));
  for (const char* const text : {"2147483648", "9999999999", "596523:14:08",
                                 "9999999999:59:59", "35791394:08"})
    EXPECT_EQ(Refusal(3, {"day", "-text", text}),
              Concat("fairlead time: -text '", text,
                     "' is more than 2147483647 seconds\n"));
  EXPECT_EQ(Refusal(2, {"day", "-text", ""}),
            "fairlead time: -text TIME must not be empty\n");
  EXPECT_EQ(Refusal(2, {"day", "-text", "-1:-2:-3"}),
            "fairlead time: -text: a value cannot begin with '-'; write -back "
            "and the seconds for one below zero\n");
}

TEST(TimeDayTest, WhatIsNoNumberOfSecondsIsRefused) {
  EXPECT_EQ(Refusal(2, {"day", "-seconds", "2147483648"}),
            "fairlead time: -seconds: 2147483648 is out of range (expected 0 "
            "to 2147483647)\n");
  EXPECT_THAT(Refusal(2, {"day", "-seconds", "1:00"}),
              HasSubstr("-seconds: '1:00' is not an integer"));
  EXPECT_THAT(Refusal(2, {"day", "-seconds", "1", "-form", "stamp"}),
              HasSubstr("choose clock, seconds, number or all"));
}

struct DiffCase {
  const char* from;
  const char* to;
  const char* lines;
};

constexpr DiffCase kDiffs[] = {
    {"20261114", "20261114", "clock 00:00:00\nseconds 0\nnumber 0\n"},
    {"20261114", "20261116x010203",
     "clock 49:02:03\nseconds 176523\nnumber 490203\n"},
    {"20261114x000001", "20261114", "clock 00:00:-1\nseconds -1\n"},
    // 2147483647 seconds, one more, and the same backwards.
    {"19700101", "20380119x031407", "clock 596523:14:07\nseconds 2147483647\n"},
    {"19700101", "20380119x031408", "clock 596523:14:08\nseconds 2147483648\n"},
    {"20380119x031408", "19700101",
     "clock -596523:-14:-8\nseconds -2147483648\n"},
    {"20380119x031409", "19700101",
     "clock -596523:-14:-9\nseconds -2147483649\n"},
    {"00000101", "99991231x235959",
     "clock 87658199:59:59\nseconds 315569519999\n"},
    {"1:02:03", "12:34", "clock 00:-49:-29\nseconds -2969\n"},
    {"12:34", "1:02:03", "clock 00:49:29\nseconds 2969\nnumber 4929\n"},
    {"0", "24:00:01", "clock 24:00:01\nseconds 86401\nnumber 240001\n"},
    {"2147483647", "0", nullptr},
    {"0", "596523:14:07", "clock 596523:14:07\nseconds 2147483647\n"},
    {"596523:14:07", "0", "clock -596523:-14:-7\nseconds -2147483647\n"},
};

TEST(TimeDiffTest, FromOneToTheOther) {
  for (const DiffCase& c : kDiffs) {
    SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
    const Words words = {"diff", "-from", c.from, "-to", c.to};
    if (c.lines == nullptr)
      EXPECT_THAT(Refusal(3, words), HasSubstr("is not a stamp"));
    else
      EXPECT_EQ(Answer(words), c.lines);
  }
  EXPECT_EQ(Answer({"diff", "-from", "20261114", "-to", "20261115", "-form",
                    "seconds"}),
            "86400\n");
  EXPECT_EQ(
      Answer({"diff", "-from", "1:00:00", "-to", "2:00:00", "-form", "clock"}),
      "01:00:00\n");
}

TEST(TimeDiffTest, ADayOfChangedClocksIsShorter) {
  EXPECT_EQ(AnswerIn(kSummer, {"diff", "-from", "20260329", "-to", "20260330",
                               "-form", "clock"}),
            "23:00:00\n");
}

TEST(TimeDiffTest, BothAreOfOneKind) {
  EXPECT_THAT(Refusal(3, {"diff", "-from", "20261114", "-to", "1:00:00"}),
              HasSubstr("-to '1:00:00' is not a stamp"));
  EXPECT_THAT(Refusal(3, {"diff", "-from", "1:00:00", "-to", "20261114"}),
              HasSubstr("-from '1:00:00' is not a stamp"));
  EXPECT_THAT(Refusal(3, {"diff", "-from", "1:x", "-to", "1:00"}),
              HasSubstr("-from '1:x' is not a time of day"));
  EXPECT_THAT(Refusal(3, {"diff", "-from", "1:00", "-to", "now"}),
              HasSubstr("-to 'now' is not a time of day"));
  EXPECT_THAT(Refusal(3, {"diff", "-from", "20261114T205754", "-to", "0"}),
              HasSubstr("-from '20261114T205754' is not a stamp"));
  EXPECT_THAT(Refusal(3, {"diff", "-from", "20260631", "-to", "20260701"}),
              HasSubstr("-from '20260631' is not a valid local time"));
}

TEST(TimeCommandTest, EverySubcommandHasItsParameters) {
  const auto usage = [](const Words& words) { return Refusal(2, words); };
  EXPECT_EQ(usage({}),
            "fairlead time: missing subcommand; see 'fairlead help time'\n");
  EXPECT_THAT(usage({"nwo"}), HasSubstr("did you mean 'now'?"));
  EXPECT_THAT(usage({"now", "-stamp", "20261114"}),
              HasSubstr("-stamp does not go with 'time now'; see"));
  EXPECT_EQ(usage({"show"}),
            "fairlead time: missing -stamp STAMP, -seconds N or -back N; see "
            "'fairlead help time show'\n");
  EXPECT_THAT(usage({"show", "-stamp", "20261114", "-seconds", "1"}),
              HasSubstr("-stamp and -seconds cannot be combined; see"));
  EXPECT_THAT(usage({"show", "-back", "1", "-seconds", "1"}),
              HasSubstr("-seconds and -back cannot be combined; see"));
  EXPECT_THAT(
      usage({"shift", "-by", "1"}),
      HasSubstr("missing -stamp STAMP; see 'fairlead help time shift'"));
  EXPECT_THAT(usage({"shift", "-stamp", "20261114"}),
              HasSubstr("missing -by N or -back N; see"));
  EXPECT_THAT(usage({"shift", "-stamp", "20261114", "-by", "1", "-back", "1"}),
              HasSubstr("-by and -back cannot be combined; see"));
  EXPECT_THAT(usage({"day"}),
              HasSubstr("missing -text TIME, -seconds N or -back N"));
  EXPECT_THAT(usage({"day", "-text", "1", "-seconds", "1"}),
              HasSubstr("-text and -seconds cannot be combined; see"));
  EXPECT_THAT(usage({"day", "-text", "1", "-separator", "."}),
              HasSubstr("-separator does not go with 'time day'"));
  EXPECT_THAT(usage({"diff", "-to", "1"}), HasSubstr("missing -from A"));
  EXPECT_THAT(usage({"diff", "-from", "1"}), HasSubstr("missing -to B"));
  EXPECT_THAT(usage({"diff", "-from", "1", "-to", "2", "-by", "3"}),
              HasSubstr("-by does not go with 'time diff'"));
}

TEST(TimeCommandTest, AFullOutputIsAnError) {
  const Outcome outcome =
      RunProgram({.arguments = {"time", "now"}, .output_path = "/dev/full"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("cannot write standard output"));
}

TEST(TimeCommandTest, HelpListsEveryForm) {
  const std::string help = Fairlead({"help", "time", "now"}).output;
  for (const auto& [name, text] : FormsIn(Answer({"now", "-form", "all"})))
    EXPECT_THAT(help, HasSubstr(Concat("\n    ", name, " ")));
  EXPECT_THAT(Fairlead({"help", "time", "day"}).output,
              HasSubstr("\n    number "));
}

}  // namespace
}  // namespace fairlead::tool
