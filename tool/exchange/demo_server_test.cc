// The server of -demo: its end, and system calls that fail.

#include "tool/exchange/demo_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "tool/testing.h"

namespace fairlead::tool::demo_server_test {
namespace {

using testing::HasSubstr;

const Words kSend = {Program(), "send",  "-demo",    "-text", "x",
                     "-idle",   "86400", "-timeout", "50"};

TEST(DemoServerTest, EndsWithoutAClient) {
  const DemoServer server("hello", 5);
  EXPECT_GT(server.port(), 0);
}

TEST(DemoServerTest, EndsWhileItsClientIsConnected) {
  std::optional<DemoServer> server(std::in_place, "hello", 5);
  const int client = ConnectToPort(server->port());
  EXPECT_EQ(Receive(client, 5), "hello");
  SendAll(client, "echo");
  EXPECT_EQ(Receive(client, 4), "echo");
  server.reset();
  EXPECT_EQ(ReceiveAll(client), "");
  close(client);
}

TEST(DemoServerTest, ClosesAfterTheLastByteOfItsEcho) {
  const DemoServer server("", 3);
  const int client = ConnectToPort(server.port());
  SendAll(client, "abc");
  EXPECT_EQ(ReceiveAll(client), "abc");
  close(client);
}

// Allows the three standard streams and the duplicate of standard output.
TEST(DemoServerTest, WithoutADescriptorItCannotListen) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more descriptors";
  const Outcome outcome = RunProgram(
      {.arguments = Words{"-c", "ulimit -n 4; exec \"$0\" \"$@\""} + kSend,
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error,
            "fairlead send: the demo server cannot listen: Too many open "
            "files\n");
}

class DemoServerFaultTest : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (const std::string why = WhyNoFaults(); !why.empty())
      GTEST_SKIP() << why;
  }
};

TEST_P(DemoServerFaultTest, WithoutAnAddressItCannotListen) {
  const Outcome outcome = RunProgram(
      {.arguments =
           WithFault(GetParam() + std::string(":error=ENOMEM")) + kSend,
       .environment = {"ASAN_OPTIONS=detect_leaks=0"},
       .program = "strace"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_THAT(outcome.error, HasSubstr("the demo server cannot listen: Cannot "
                                       "allocate memory"));
}

INSTANTIATE_TEST_SUITE_P(Calls, DemoServerFaultTest,
                         testing::Values("bind", "listen", "getsockname"));

// The client must not wait for -idle. It is connected when accept() fails, and
// is reset.
TEST(DemoServerTest, AClientThatCannotBeServedDoesNotWait) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  const Outcome outcome =
      RunProgram({.arguments = WithFault("accept4:error=EMFILE") + kSend,
                  .environment = {"ASAN_OPTIONS=detect_leaks=0"},
                  .program = "strace"});
  EXPECT_EQ(outcome.status, 56);
  EXPECT_THAT(outcome.error, HasSubstr("the peer reset the connection: "));
  EXPECT_EQ(outcome.output, "");
}

}  // namespace
}  // namespace fairlead::tool::demo_server_test
