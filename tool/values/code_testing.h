// For tests of the command `code`: runs it.

#ifndef FAIRLEAD_TOOL_VALUES_CODE_TESTING_H_
#define FAIRLEAD_TOOL_VALUES_CODE_TESTING_H_

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tool/testing.h"

namespace fairlead::tool::code_testing {

inline constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789abcdefghijklmnopqrstuvwxyz0@#";

// Runs the command, which must succeed without messages. Returns its output.
inline std::string Answer(const Words& words) {
  const Outcome outcome = Fairlead(Words{"code"} + words);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  return outcome.output;
}

// Runs the command, which must end with the status and print nothing. Returns
// its message.
inline std::string Refusal(int status, const Words& words) {
  const Outcome outcome = Fairlead(Words{"code"} + words);
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.output, "");
  return outcome.error;
}

}  // namespace fairlead::tool::code_testing

#endif  // FAIRLEAD_TOOL_VALUES_CODE_TESTING_H_
