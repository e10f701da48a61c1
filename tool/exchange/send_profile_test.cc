// `send` with -settings, -profile and -saveprofile.

#include "tool/exchange/send_profile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::send_profile_test {
namespace {

using testing::HasSubstr;

class SendProfileTest : public testing::Test {
 protected:
  std::string Path() const { return folder_.path() + "/box.ini"; }
  void Write(const std::string& text) const { folder_.File("box.ini", text); }
  std::string Text() const { return ReadFile(Path()); }

  Outcome Send(const Words& words) const {
    return Fairlead(Words{"send", "-settings", Path(), "-profile", "server",
                          "-text", "hi", "-quiet"} +
                    words);
  }

  const TempFolder folder_;
};

// Replies with what it received.
void Echo(int connection) { SendAll(connection, Receive(connection, 4)); }

TEST_F(SendProfileTest, TakesEverySettingFromTheFile) {
  ScriptedServer server(Echo);
  Write(Concat("[server]\nhost=127.0.0.1\nport=", server.port(),
               "\neol=crlf\nview=json\nidle=86400\ntimeout=60\n"));
  const Outcome outcome = Send({});
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, HasSubstr(R"("text":"hi\u000d\u000a"})"));
}

TEST_F(SendProfileTest, TheCommandLineOverridesTheFile) {
  ScriptedServer server(Echo);
  Write("[server]\nhost=nowhere.invalid\nport=1\neol=crlf\nview=json\n");
  const Outcome outcome =
      Send({"-host", "127.0.0.1", "-port", std::to_string(server.port()),
            "-eol", "none", "-view", "raw", "-text", "four"});
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.output, "four");
  EXPECT_EQ(Text(),
            "[server]\nhost=nowhere.invalid\nport=1\neol=crlf\nview=json\n");
}

TEST_F(SendProfileTest, TimesInTheFileAreUsed) {
  ScriptedServer silent_server([](int connection) { ReceiveAll(connection); });
  Write(Concat("[server]\nhost=127.0.0.1\nport=", silent_server.port(),
               "\nidle=1\n"));
  EXPECT_EQ(Send({}).status, 52);
}

TEST_F(SendProfileTest, ADurationInTheFileHasItsUnit) {
  ScriptedServer server([](int connection) { ReceiveAll(connection); });
  Write(Concat("[server]\nhost=127.0.0.1\nport=", server.port(),
               "\nidle=none\ntimeout=40ms\n"));
  const Outcome outcome = Send({});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_THAT(outcome.error, HasSubstr("timed out after 40 ms while "));
}

TEST_F(SendProfileTest, ADemoNeedsNoServerInTheFile) {
  Write("[server]\nhost=nowhere.invalid\nport=1\neol=lf\n");
  const Outcome outcome = Send({"-demo"});
  EXPECT_EQ(outcome.output, "hi\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(SendProfileTest, AWrongValueIsNamed) {
  struct Case {
    const char* line;
    const char* error;
  };
  for (const Case& c : {
           Case{"port=70000",
                "-port: 70000 is out of range (expected 1 to 65535)"},
           {"port=x", "-port: 'x' is not an integer"},
           {"idle=0",
            "-idle: '0' is out of range (expected 1ms to 365d: 30 or 0.5 for "
            "seconds, 500ms, 2m, 1h, 1d, or none)"},
           {"timeout=-1", "-timeout: '-1' is out of range"},
           {"timeout=1x", "-timeout: '1x' is not a time"},
           {"eol=cr", "-eol: 'cr' is not valid; choose none, lf or crlf"},
           {"view=all",
            "-view: 'all' is not valid; choose raw, text, hex, dump or json"},
       }) {
    SCOPED_TRACE(c.line);
    const std::string host =
        std::string_view(c.line).starts_with("port") ? "" : "port=1\n";
    Write(Concat("[server]\nhost=127.0.0.1\n", host, c.line, "\n"));
    const Outcome outcome = Send({});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.error, HasSubstr(Concat("fairlead send: ", Path(),
                                                ": [server]: ", c.error)));
  }
}

TEST_F(SendProfileTest, WhatIsMissingIsNamed) {
  EXPECT_EQ(Send({}).status, 26);
  Write("[other]\n");
  EXPECT_EQ(Send({}).error, Concat("fairlead send: there is no section "
                                   "'server' in '",
                                   Path(), "'\n"));
  EXPECT_EQ(Send({}).status, 1);
  Write("[server]\nhost=localhost\nport=\n");
  EXPECT_EQ(Send({}).status, 2);
  EXPECT_THAT(Send({}).error, HasSubstr("missing -port N"));
  Write("[server]\n[open\n");
  EXPECT_EQ(Send({}).error,
            Concat("fairlead send: ", Path(), ":2: a header without ']'\n"));
  EXPECT_EQ(Send({}).status, 3);
  for (const Words& words :
       {Words{"-settings", "x"}, Words{"-profile", "x"}, Words{"-saveprofile"}})
    EXPECT_EQ(Fairlead(Words{"send", "-demo", "-text", "x"} + words).status, 2);
}

TEST_F(SendProfileTest, SavesTheGivenParameters) {
  const Outcome first = Send({"-saveprofile", "-demo", "-idle", "7"});
  EXPECT_EQ(first.error, "");
  EXPECT_EQ(first.output, "hi");
  EXPECT_EQ(Text(), "[server]\nidle=7\n");
  Send({"-saveprofile", "-demo", "-idle", "none", "-timeout", "1.5m"});
  EXPECT_EQ(Text(), "[server]\nidle=none\ntimeout=1.5m\n");

  Write("# mine\n[server]\n;eol=lf\n[other]\nport=1\n# the end\n");
  const std::string port = std::to_string(ClosedPort());
  const Outcome second =
      Send({"-saveprofile", "-host", "127.0.0.1", "-port", port, "-timeout",
            "8", "-eol", "crlf", "-view", "hex"});
  EXPECT_EQ(second.status, 7);  // Saved before the exchange fails.
  EXPECT_EQ(
      Text(),
      Concat("# mine\n[server]\n;eol=lf\neol=crlf\nhost=127.0.0.1\nport=", port,
             "\ntimeout=8\nview=hex\n[other]\nport=1\n# the end\n"));
  EXPECT_EQ(second.error.find('<'), std::string::npos) << second.error;
}

TEST_F(SendProfileTest, ANewProfileIsValidated) {
  Write("[junk\n[server]\n");
  EXPECT_EQ(Send({"-demo", "-saveprofile", "-idle", "7"}).status, 3);
  EXPECT_EQ(Text(), "[junk\n[server]\n");
  EXPECT_EQ(Fairlead({"send", "-demo", "-text", "x", "-settings",
                      folder_.path() + "/no/f", "-profile", "p", "-idle", "7",
                      "-saveprofile"})
                .status,
            23);
  EXPECT_EQ(Send({"-profile", "a]b", "-saveprofile", "-demo"}).status, 2);
}

}  // namespace
}  // namespace fairlead::tool::send_profile_test
