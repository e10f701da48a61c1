// For tests of the command `time`: runs it in a given time zone.

#ifndef FAIRLEAD_TOOL_VALUES_TIME_TESTING_H_
#define FAIRLEAD_TOOL_VALUES_TIME_TESTING_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <sstream>
#include <string>

#include "tool/base/concat.h"
#include "tool/testing.h"

namespace fairlead::tool::time_testing {

inline constexpr char kGreenwich[] = "UTC0";
inline constexpr char kEast[] = "EAST-2";
inline constexpr char kSummer[] =
    "CET-1CEST,M3.5.0,M10.5.0/3";  // Changes clocks.
inline constexpr char kMidnight[] =
    "STD3DST,M11.1.0/0,M2.3.0/0";  // At midnight.

inline Outcome RunIn(const char* zone, const Words& words) {
  return RunProgram({.arguments = Words{"time"} + words,
                     .environment = {Concat("TZ=", zone)}});
}

// Runs the command, which must succeed without messages. Returns its output.
inline std::string AnswerIn(const char* zone, const Words& words) {
  const Outcome outcome = RunIn(zone, words);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  return outcome.output;
}

inline std::string Answer(const Words& words) {
  return AnswerIn(kGreenwich, words);
}

// Runs the command, which must end with the status and print nothing. Returns
// its message.
inline std::string RefusalIn(const char* zone, int status, const Words& words) {
  const Outcome outcome = RunIn(zone, words);
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.output, "");
  return outcome.error;
}

inline std::string Refusal(int status, const Words& words) {
  return RefusalIn(kGreenwich, status, words);
}

// Parses the lines "name text" of -form all.
inline std::map<std::string, std::string> FormsIn(const std::string& lines) {
  std::map<std::string, std::string> forms;
  std::istringstream in(lines);
  std::string line;
  while (std::getline(in, line)) {
    const std::size_t space = line.find(' ');
    EXPECT_TRUE(
        forms.emplace(line.substr(0, space), line.substr(space + 1)).second);
  }
  return forms;
}

}  // namespace fairlead::tool::time_testing

#endif  // FAIRLEAD_TOOL_VALUES_TIME_TESTING_H_
