// The command `time` as a process: `now`, `show` and the usage.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <ctime>
#include <map>
#include <string>
#include <utility>

#include "tool/base/concat.h"
#include "tool/testing.h"
#include "tool/values/time_testing.h"

namespace fairlead::tool::time_command_test {
namespace {

using namespace time_testing;
using testing::EndsWith;
using testing::HasSubstr;

// Formats a time in UTC, independently of the library.
std::string Greenwich(std::time_t seconds, const char* format) {
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  std::array<char, 100> text{};
  return {text.data(),
          std::strftime(text.data(), text.size(), format, &fields)};
}

TEST(TimeNowTest, AllFormsShowTheSameTime) {
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

TEST(TimeNowTest, OneFormIsPrintedAlone) {
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

TEST(TimeShowTest, AnInvalidStampIsMalformed) {
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

TEST(TimeShowTest, ANonexistentTimeIsMalformed) {
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

TEST(TimeShowTest, AnInvalidNumberOfSecondsIsRefused) {
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

TEST(TimeShowTest, FormsOfTheCurrentTimeAreNotAvailable) {
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
}  // namespace fairlead::tool::time_command_test
