// The command `recv` as a process.

#include <gtest/gtest.h>

#include <string>

#include "tool/testing.h"

namespace fairlead::tool::recv_command_test {
namespace {

TEST(RecvCommandTest, PrintsTheGreetingOfTheBuiltInServer) {
  const Outcome outcome = Fairlead({"recv", "-demo", "-idle", "86400"});
  EXPECT_EQ(outcome.output, "fairlead at your service\r\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvCommandTest, PrintsABannerAndSendsNothing) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "220 ready\r\n");
    EXPECT_EQ(ReceiveAll(connection), "");
  });
  const Outcome outcome =
      Fairlead(server.Arguments("recv") +
               Words{"-lines", "1", "-quiet", "-idle", "86400"});
  EXPECT_EQ(outcome.output, "220 ready\r\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(RecvCommandTest, NeedsAServer) {
  EXPECT_EQ(Fairlead({"recv"}).error,
            "fairlead recv: missing -host NAME -port N or -demo; see "
            "'fairlead help recv'\n");
  EXPECT_EQ(Fairlead({"recv", "-port", "1"}).error,
            "fairlead recv: -port needs -host NAME; see 'fairlead help "
            "recv'\n");
  EXPECT_EQ(Fairlead({"recv", "-demo", "-host", "x"}).error,
            "fairlead recv: -host and -demo cannot be combined; see 'fairlead "
            "help recv'\n");
}

}  // namespace
}  // namespace fairlead::tool::recv_command_test
