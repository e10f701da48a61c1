// What is received goes to a file: -out of `send` and `recv`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "tool/testing.h"

namespace fairlead::tool::send_out_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

class SendOutTest : public testing::Test {
 protected:
  std::string File(std::string_view bytes) const {
    return folder_.File("reply", bytes);
  }
  std::string Content() const { return internal::ReadFile(path_); }
  bool Exists() const { return access(path_.c_str(), F_OK) == 0; }

  // The demo server sends the text back.
  Outcome Send(const std::string& text, const Words& more = {}) const {
    return Fairlead(Words{"send", "-demo", "-text", text, "-out", path_} +
                    kForever + more);
  }

  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/reply";
};

TEST_F(SendOutTest, TheFileIsInTheStandardOutputsPlace) {
  const Outcome outcome = Send("hello");
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Content(), "hello");
}

TEST_F(SendOutTest, RecvHasIt) {
  const Outcome outcome =
      Fairlead(Words{"recv", "-demo", "-out", path_} + kForever);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Content(), "fairlead at your service\r\n");
}

TEST_F(SendOutTest, AFileIsTruncatedOrAppendedTo) {
  File("something long from before\n");
  EXPECT_EQ(Send("one").status, 0);
  EXPECT_EQ(Content(), "one");
  EXPECT_EQ(Send("two", {"-append"}).status, 0);
  EXPECT_EQ(Content(), "onetwo");
  EXPECT_EQ(Send("3", {"-append", "off"}).status, 0);
  EXPECT_EQ(Content(), "3");
}

TEST_F(SendOutTest, AViewIsWrittenToTheFile) {
  EXPECT_EQ(Send("AB", {"-view", "hex"}).output, "");
  EXPECT_THAT(Content(), MatchesRegex(R"(\[[0-9.]{10} [0-9:]{8}\] 41 42)"
                                      "\n"));
}

TEST_F(SendOutTest, WithoutAConnectionTheFileStaysAsItWas) {
  File("kept");
  const std::string port = std::to_string(ClosedPort());
  const Words refused = {"recv", "-host", "127.0.0.1", "-port", port, "-out"};
  EXPECT_EQ(Fairlead(refused + Words{path_}).status, 7);
  EXPECT_EQ(Content(), "kept");
  const std::string other = folder_.path() + "/other";
  EXPECT_EQ(Fairlead(refused + Words{other}).status, 7);
  EXPECT_NE(access(other.c_str(), F_OK), 0);
}

TEST_F(SendOutTest, EventsAreWrittenWithoutAConnection) {
  const Words refused = {
      "recv",  "-host", "127.0.0.1", "-port", std::to_string(ClosedPort()),
      "-view", "json",  "-out",      path_};
  const std::string events =
      R"(\{"event":"resolved","time":"[^"]*","host":"127\.0\.0\.1",)"
      R"("address":"127\.0\.0\.1"\})"
      "\n"
      R"(\{"event":"error","time":"[^"]*","status":7,"message":"cannot )"
      R"(connect to [^"]*"\})"
      "\n";
  File("old\n");
  EXPECT_EQ(Fairlead(refused).status, 7);
  EXPECT_THAT(Content(), MatchesRegex(events));
  File("old\n");
  EXPECT_EQ(Fairlead(refused + Words{"-append"}).status, 7);
  EXPECT_THAT(Content(), MatchesRegex("old\n" + events));
}

TEST_F(SendOutTest, TheEventOfATimeoutBeforeTheConnectionIsWritten) {
  const Outcome outcome = RunProgram(
      {.arguments = {"send", "-demo", "-stdin", "-pascal", "-timeout", "1",
                     "-view", "json", "-out", path_},
       .input_stays_open = true});
  EXPECT_EQ(outcome.status, 28);
  EXPECT_THAT(
      Content(),
      MatchesRegex(R"(\{"event":"error","time":"[^"]*","status":28,)"
                   R"("message":"timed out after 1 s while reading the )"
                   R"(body; increase -timeout"\})"
                   "\n"));
}

TEST_F(SendOutTest, AConnectionCreatesTheFileThoughNothingComes) {
  ScriptedServer server([](int) {});
  EXPECT_EQ(Fairlead(server.Arguments("recv") + Words{"-out", path_} + kForever)
                .status,
            52);
  EXPECT_TRUE(Exists());
  EXPECT_EQ(Content(), "");
}

TEST_F(SendOutTest, WhatCameBeforeAResetIsInTheFile) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "half");
    Receive(connection, 4);
    Reset(connection);
  });
  const Outcome outcome = RunProgram(
      {.arguments = server.Arguments("send") +
                    Words{"-text", "ping", "-out", path_} + kForever});
  EXPECT_EQ(outcome.status, 56);
  EXPECT_EQ(Content(), "half");
}

// A pipe that nobody reads is opened once the connection is made.
TEST_F(SendOutTest, TheTimeLimitNamesAFileThatIsBeingOpened) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const Outcome outcome = Fairlead(
      {"send", "-demo", "-text", "x", "-out", path_, "-timeout", "200ms"});
  EXPECT_EQ(outcome.error,
            "fairlead send: timed out after 200 ms while opening '" + path_ +
                "'; increase -timeout\n");
  EXPECT_EQ(outcome.status, 28);
}

TEST_F(SendOutTest, TheTimeLimitNamesABodyThatIsBeingOpened) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const Outcome outcome =
      Fairlead({"send", "-demo", "-file", path_, "-timeout", "200ms"});
  EXPECT_EQ(outcome.error,
            "fairlead send: timed out after 200 ms while reading the body; "
            "increase -timeout\n");
  EXPECT_EQ(outcome.status, 28);
}

TEST_F(SendOutTest, AFileThatCannotBeWrittenIsReported) {
  const auto to = [](const std::string& path) {
    return Fairlead(Words{"send", "-demo", "-text", "x", "-out", path} +
                    kForever);
  };
  const Outcome full = to("/dev/full");
  EXPECT_EQ(full.error,
            "fairlead send: cannot write '/dev/full': No space left on device "
            "(free space on the disk)\n");
  EXPECT_EQ(full.status, 23);
  const Outcome missing = to(folder_.path() + "/none/reply");
  EXPECT_THAT(missing.error, HasSubstr("cannot open '"));
  EXPECT_THAT(missing.error, HasSubstr("': No such file or directory\n"));
  EXPECT_EQ(missing.status, 23);
  EXPECT_EQ(to(folder_.path()).status, 23);
}

TEST_F(SendOutTest, AnErrorOfTheCloseIsReported) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  const std::string log = folder_.path() + "/log";
  const Outcome outcome = RunProgram(
      {.arguments = Words{"-P", path_} + WithFault("close:error=EIO") +
                    Words{Program(), "send", "-demo", "-text", "x", "-view",
                          "json", "-out", path_, "-log", log} +
                    kForever,
       .environment = {"ASAN_OPTIONS=detect_leaks=0"},
       .program = "strace"});
  EXPECT_THAT(outcome.error, HasSubstr("': Input/output error\n"));
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(Content(), HasSubstr("\"event\":\"closed\""));
  EXPECT_THAT(Content(), HasSubstr("\"status\":23,\"message\":\"cannot write"));
  EXPECT_THAT(internal::ReadFile(log), HasSubstr("] failed: cannot write '"));
}

// The file is closed twice: what it met is reported by either, and a signal
// keeps neither from closing it.
TEST_F(SendOutTest, EachCloseCounts) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  const auto send = [&](const std::string& fault) {
    return RunProgram({.arguments = Words{"-P", path_} + WithFault(fault) +
                                    Words{Program(), "send", "-demo", "-text",
                                          "x", "-out", path_} +
                                    kForever,
                       .environment = {"ASAN_OPTIONS=detect_leaks=0"},
                       .program = "strace"});
  };
  for (const std::string close : {"1", "2"}) {
    SCOPED_TRACE(close);
    const Outcome failed = send("close:error=EIO:when=" + close);
    EXPECT_EQ(failed.error, "fairlead send: cannot write '" + path_ +
                                "': Input/output error\n");
    EXPECT_EQ(failed.status, 23);
    const Outcome interrupted = send("close:error=EINTR:when=" + close);
    EXPECT_EQ(interrupted.error, "");
    EXPECT_EQ(interrupted.status, 0);
    EXPECT_EQ(Content(), "x");
  }
}

TEST_F(SendOutTest, AnInputOfTheCommandIsNotOverwritten) {
  const std::string body = folder_.File("body", "precious");
  const Outcome same = Fairlead({"send", "-demo", "-file", body, "-out", body});
  EXPECT_THAT(same.error, HasSubstr("-out and -file name the same file"));
  EXPECT_EQ(same.status, 2);
  EXPECT_EQ(internal::ReadFile(body), "precious");

  const Words key = {"-cipher", "rc4", "-keyfile", body, "-out", body};
  EXPECT_EQ(Fairlead(Words{"send", "-demo", "-text", "x"} + key).status, 2);
  EXPECT_EQ(internal::ReadFile(body), "precious");

  const std::string settings = folder_.File("box.ini", "[p]\n");
  const Words profile = {"-settings", settings, "-profile",
                         "p",         "-out",   settings};
  EXPECT_EQ(Fairlead(Words{"send", "-demo", "-text", "x"} + profile).status, 2);
  EXPECT_EQ(internal::ReadFile(settings), "[p]\n");
}

TEST_F(SendOutTest, AFileThatIsStandardInputIsNotOverwritten) {
  const std::string body = folder_.File("body", "precious");
  for (const std::string written : {"-out", "-log"}) {
    const Outcome same = RunProgram(
        {.arguments = {"-c",
                       "exec \"$0\" send -demo -stdin \"$1\" \"$2\" <\"$2\"",
                       Program(), written, body},
         .program = "/bin/sh"});
    EXPECT_EQ(same.error, "fairlead send: " + written +
                              " names the file that -stdin reads, '" + body +
                              "'\n");
    EXPECT_EQ(same.status, 2);
    EXPECT_EQ(internal::ReadFile(body), "precious");
  }
}

TEST_F(SendOutTest, OtherFilesThatExistAreWritten) {
  File("old");
  const std::string log = folder_.File("log", "older\n");
  const std::string body = folder_.File("body", "new");
  for (const Words& files :
       {Words{"-out", path_, "-log", log}, Words{"-out", "/dev/null"},
        Words{"-log", "/dev/null"}}) {
    const Outcome outcome =
        RunProgram({.arguments = Words{"-c", "exec \"$@\" <\"$0\"", body,
                                       Program(), "send", "-demo", "-stdin"} +
                                 files + kForever,
                    .program = "/bin/sh"});
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, 0);
  }
  EXPECT_EQ(Content(), "new");
  EXPECT_THAT(internal::ReadFile(log), testing::StartsWith("older\n"));
}

// Neither exists before: the names differ.
TEST_F(SendOutTest, TheLogIsNotOverwritten) {
  const Outcome outcome = Send(
      "x", {"-log", folder_.path() + "/../" +
                        folder_.path().substr(folder_.path().rfind('/') + 1) +
                        "/reply"});
  EXPECT_THAT(outcome.error, HasSubstr("-out and -log name the same file"));
  EXPECT_EQ(outcome.status, 2);
}

TEST_F(SendOutTest, AppendNeedsOut) {
  const Outcome outcome = Fairlead({"recv", "-demo", "-append"});
  EXPECT_THAT(outcome.error, HasSubstr("-out"));
  EXPECT_EQ(outcome.status, 2);
}

}  // namespace
}  // namespace fairlead::tool::send_out_test
