// The command `time` as a process: `shift`, `day` and `diff`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "fairlead/time/time_of_day.h"
#include "tool/base/concat.h"
#include "tool/testing.h"
#include "tool/values/time_testing.h"

namespace fairlead::tool::time_arithmetic_test {
namespace {

using namespace time_testing;
using testing::HasSubstr;

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

TEST(TimeShiftTest, ATimeWithoutAStampIsRefused) {
  EXPECT_THAT(Refusal(2, {"shift", "-stamp", "99991231x235959", "-by", "1"}),
              HasSubstr("outside the years 0 to 9999"));
  EXPECT_THAT(Refusal(2, {"shift", "-stamp", "00000101", "-back", "1"}),
              HasSubstr("outside the years 0 to 9999"));
}

TEST(TimeShiftTest, AnInvalidNumberIsRefused) {
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
            "fairlead time: -form number: 00:00:-1 is out of range (expected 0 "
            "to 429496:59:59)\n");
}

TEST(TimeDayTest, ANumberHasUpTo429496Hours) {
  EXPECT_EQ(Answer({"day", "-seconds", "1546189199", "-form", "number"}),
            "4294965959\n");
  EXPECT_EQ(Refusal(2, {"day", "-seconds", "1546189200", "-form", "number"}),
            "fairlead time: -form number: 429497:00:00 is out of range "
            "(expected 0 to 429496:59:59)\n");
  EXPECT_EQ(Refusal(2, {"diff", "-from", "19000101", "-to", "20990101", "-form",
                        "number"}),
            "fairlead time: -form number: 1744416:00:00 is out of range "
            "(expected 0 to 429496:59:59)\n");
}

TEST(TimeDayTest, AnInvalidTimeIsMalformed) {
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

TEST(TimeDayTest, AnInvalidNumberOfSecondsIsRefused) {
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

TEST(TimeDiffTest, BothAreOfTheSameKind) {
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

}  // namespace
}  // namespace fairlead::tool::time_arithmetic_test
