// For tests of what `send` sends.

#ifndef FAIRLEAD_TOOL_EXCHANGE_SEND_TESTING_H_
#define FAIRLEAD_TOOL_EXCHANGE_SEND_TESTING_H_

#include <gtest/gtest.h>

#include <string>

#include "tool/testing.h"

namespace fairlead::tool {

// Returns what a server receives from a `send` with these arguments.
inline std::string SentBySend(const Words& arguments,
                              const std::string& input = "") {
  std::string sent;
  {
    ScriptedServer server(
        [&sent](int connection) { sent = ReceiveAll(connection); });
    const Outcome outcome =
        RunProgram({.arguments = server.Arguments("send") + arguments +
                                 Words{"-halfclose", "on", "-idle", "86400",
                                       "-timeout", "86400"},
                    .input = input});
    EXPECT_EQ(outcome.status, 52) << outcome.error;
  }
  return sent;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_SEND_TESTING_H_
