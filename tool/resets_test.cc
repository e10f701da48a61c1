// A peer that resets the connection: what was awaited decides, in every run.
//
// Each case is run a few times, several at once, and as often as
// FAIRLEAD_CYCLES says if that is set.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tool/testing.h"

namespace fairlead::tool::resets_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int kAtOnce = 8;

int Rounds() {
  int rounds = 2 * kAtOnce;
  if (const char* const text = std::getenv("FAIRLEAD_CYCLES"))
    std::from_chars(text, text + std::string_view(text).size(), rounds);
  return rounds;
}

using Serve = std::function<void(int connection)>;

// Receives so many bytes, sends an answer, and resets the connection.
Serve Resets(const std::string& answer, std::size_t received = 0) {
  return [=](int connection) {
    Receive(connection, received);
    SendAll(connection, answer);
    Reset(connection);
  };
}

// Sends an answer and closes. What it leaves unread resets the connection, and
// so does what comes afterwards.
Serve Refuses(const std::string& answer) {
  return [=](int connection) { SendAll(connection, answer); };
}

// The same, once something has come.
Serve LeavesUnread(const std::string& answer) {
  return [=](int connection) {
    char byte = 0;
    recv(connection, &byte, 1, MSG_PEEK);
    SendAll(connection, answer);
  };
}

struct ResetCase {
  const char* name;
  Words arguments;
  Serve serve;
  int status;
  std::string error = {};   // After "fairlead COMMAND: "; "" for none.
  std::string output = {};  // Its beginning.
  std::string input = {};
};

const std::string kReset = "the peer reset the connection: ";

class ResetsTest : public testing::Test {
 protected:
  static void Check(const ResetCase& c) {
    ScriptedServer server(c.serve);
    const Outcome outcome =
        RunProgram({.arguments = c.arguments +
                                 Words{"-host", "127.0.0.1", "-port",
                                       std::to_string(server.port()), "-idle",
                                       "86400", "-timeout", "86400"},
                    .input = c.input});
    EXPECT_EQ(outcome.status, c.status) << outcome.error;
    EXPECT_THAT(outcome.output, StartsWith(c.output));
    if (c.status == 0)
      EXPECT_EQ(outcome.error, "");
    else
      EXPECT_THAT(outcome.error, HasSubstr(": " + c.error));
  }

  // Runs the case by several threads, so that each process waits for others.
  static void CheckOften(const ResetCase& c) {
    std::atomic<int> left = Rounds();
    std::vector<std::thread> threads;
    threads.reserve(kAtOnce);
    for (int i = 0; i < kAtOnce; ++i)
      threads.emplace_back([&] {
        SCOPED_TRACE(c.name);
        while (left-- > 0) Check(c);
      });
    for (std::thread& thread : threads) thread.join();
  }

  static void CheckAll(const std::vector<ResetCase>& cases) {
    for (const ResetCase& c : cases) CheckOften(c);
  }

  // Returns the arguments that send a script.
  Words Script(std::string_view name, std::string_view text) const {
    return {"send", "-script", folder_.File(name, text)};
  }
  Words Body(std::size_t size, const Words& more) const {
    return Words{"send", "-file",
                 folder_.File(std::to_string(size), std::string(size, 'x'))} +
           more;
  }

  const TempFolder folder_;
};

// Whoever meets the reset first, in whichever call: the status is one.
TEST_F(ResetsTest, WithoutARuleAResetIsAFailure) {
  const std::string kBusy = "421 too busy\n";
  CheckAll({
      {"at once", {"recv"}, Resets(""), 56, kReset},
      {"in mid-answer", {"recv"}, Resets("half"), 56, kReset, "half"},
      {"unread",
       {"send", "-text", "hello"},
       LeavesUnread(kBusy),
       56,
       kReset,
       kBusy},
      {"50 kB",
       {"send", "-stdin"},
       Refuses(kBusy),
       56,
       kReset,
       "",
       std::string(50'000, 'x')},
      {"20 MB",
       {"send", "-stdin"},
       [=](int connection) {
         SendAll(connection, kBusy);
         Receive(connection, 1'000'000);
         Reset(connection);
       },
       56,
       kReset,
       kBusy,
       std::string(20'000'000, 'x')},
  });
}

TEST_F(ResetsTest, AnOrderlyCloseIsNone) {
  const auto answer = [](const std::string& text) {
    return [=](int connection) {
      ReceiveAll(connection);
      SendAll(connection, text);
    };
  };
  const auto send = [](int connection) { SendAll(connection, "all\n"); };
  const std::string large(1'000'000, 'x');
  CheckAll({
      {"recv", {"recv"}, send, 0, "", "all\n"},
      {"nothing", {"recv"}, [](int) {}, 52, "nothing was answered: the peer "},
      {"a rule", {"recv", "-lines", "2"}, send, 18, "cut short: 1 of 2 lines"},
      {"send",
       {"send", "-text", "x", "-halfclose", "on"},
       answer("all\n"),
       0,
       "",
       "all\n"},
      {"large", {"send", "-stdin"}, answer(large), 0, "", large, large},
  });
}

TEST_F(ResetsTest, AResetBeforeARuleIsMetIsAFailure) {
  const Words send = {"send", "-text", "x"};
  CheckAll({
      {"lines", {"recv", "-lines", "2"}, Resets("a\nb"), 56, kReset, "a\nb"},
      {"until", send + Words{"-until", "END"}, Resets("EN", 1), 56, kReset},
      {"expect", {"recv", "-expect", "END"}, Resets("EN"), 56, kReset, "EN"},
      {"frame", send + Words{"-prefix", "u8", "-messages", "1"},
       Resets("\2a", 2), 56, kReset, "a"},
  });
}

// Also if the reset keeps the rest of the body from being sent.
TEST_F(ResetsTest, ARuleThatIsMetCounts) {
  const Words send = {"send", "-text", "x"};
  CheckAll({
      {"recv", {"recv", "-lines", "1"}, Resets("a\n"), 0, "", "a\n"},
      {"send", send + Words{"-lines", "1"}, Resets("a\n", 1), 0, "", "a\n"},
      {"unread", send + Words{"-lines", "1"}, LeavesUnread("a\n"), 0},
      {"half-closed", send + Words{"-halfclose", "on", "-until", "OK"},
       Resets("OK", 1), 0, "", "OK"},
      {"frame", send + Words{"-prefix", "u8", "-messages", "1"},
       Resets("\1a", 2), 0, "", "a"},
      {"500 kB", Body(500'000, {"-lines", "1"}), Resets("a\n", 1000), 0},
      {"20 MB", Body(20'000'000, {"-lines", "1"}), Resets("a\n", 1000), 0},
      {"expect", Body(20'000'000, {"-expect", "a"}), Resets("a\n", 1000), 0},
      {"reject", Body(20'000'000, {"-reject", "a"}), Resets("a\n", 1000), 1,
       "the text of -reject came: 'a'\n", "a\n"},
  });
}

TEST_F(ResetsTest, AResetWhileAScriptWaitsIsAFailure) {
  const Words expect = Script("expect", "expect 220\nsend a\nexpect 250\n");
  CheckAll({
      {"expect", expect, Resets("220 hi\n"), 56, kReset, "220 hi\n"},
      {"refusal", expect, Refuses("220 hi\n"), 56, kReset, "220 hi\n"},
      {"wait", Script("wait", "expect 220\nwait 1d\n"), Resets("220 hi\n"), 56,
       kReset, "220 hi\n"},
      {"wait after a send", Script("sent", "expect 220\nsend a\nwait 300ms\n"),
       Refuses("220 hi\n"), 56, kReset, "220 hi\n"},
  });
}

TEST_F(ResetsTest, AResetAfterWhatAScriptAwaitsChangesNothing) {
  const Words two =
      Script("two", "expect 220\nsend a\nexpect 250\nsend b\nwait 0\n");
  CheckAll({
      {"nothing left", Script("last", "expect 220\n"), Resets("220 hi\n"), 0},
      {"a send left", Script("send", "expect 220\nsend QUIT\n"),
       Resets("220 hi\n"), 0, "", "220 hi\n"},
      {"a send left, refused", Script("quit", "expect 220\nsend QUIT\n"),
       Refuses("220 hi\n"), 0, "", "220 hi\n"},
      {"all awaited before", two, Resets("220 hi\n250 ok\n"), 0, "",
       "220 hi\n250 ok\n"},
      {"another line", two, Resets("220 hi\n550 no\n"), 1,
       folder_.Path("two") + ":3: expected '250': got '550 no'\n",
       "220 hi\n550 no\n"},
      {"nothing awaited", Script("sends", "send a\nsend b\n"), Resets(""), 0},
  });
}

}  // namespace
}  // namespace fairlead::tool::resets_test
