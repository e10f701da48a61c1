// The statements of scripts, and the errors in them.

#include "tool/exchange/dialogue_script.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>

#include "tool/base/failure.h"

namespace fairlead::tool::dialogue_script_test {
namespace {

using std::chrono::milliseconds;
using std::string_literals::operator""s;
using What = Statement::Kind;

DialogueScript Parsed(std::string_view text) {
  return ParseDialogue(text, "a script", "\n");
}

TEST(DialogueScriptTest, ReadsEveryStatement) {
  const DialogueScript script = Parsed(
      "# A dialogue.\n"
      "send HELO x\n"
      "\n"
      "  \t# indented\n"
      "\tsendhex 00 fF\n"
      "expect 250\n"
      "until \\r\\nlogin: \n"
      "wait 1.5");
  const DialogueScript expected = {
      {.kind = What::kSend, .text = "HELO x\n", .line = 2},
      {.kind = What::kSend, .text = "\0\xff"s, .line = 5},
      {.kind = What::kExpectPrefix, .text = "250", .line = 6},
      {.kind = What::kSkipUntil, .text = "\r\nlogin: ", .line = 7},
      {.kind = What::kWait, .pause = milliseconds(1500), .line = 8},
  };
  EXPECT_EQ(script, expected);
}

struct SendCase {
  const char* line;
  std::string_view sent;
};

TEST(DialogueScriptTest, TheOperandIsAllAfterOneSpace) {
  const SendCase cases[] = {
      {"send a", "a\n"},     {"send  a ", " a \n"}, {"send\ta", "a\n"},
      {"send", "\n"},        {"send ", "\n"},       {"send a # b", "a # b\n"},
      {"  send a", "a\n"},   {"send a\r", "a\n"},   {"send a\\r\\n", "a\r\n\n"},
      {"send \\x41", "A\n"}, {"send .", ".\n"},     {"send send", "send\n"},
  };
  for (const SendCase& c : cases) {
    SCOPED_TRACE(c.line);
    const DialogueScript script = Parsed(c.line);
    ASSERT_EQ(script.size(), 1U);
    EXPECT_EQ(script[0].text, c.sent);
  }
}

TEST(DialogueScriptTest, TheLineEndChanges) {
  const DialogueScript script = ParseDialogue(
      "send a\neol crlf\nsend b\nsendhex 63\neol none\nsend d\neol lf\nsend e",
      "script", "first");
  std::string sent;
  for (const Statement& statement : script) sent += statement.text + "|";
  EXPECT_EQ(sent, "afirst|b\r\n|c|d|e\n|");
}

struct ErrorCase {
  const char* script;
  const char* error;
};

TEST(DialogueScriptTest, NamesTheLineOfAnError) {
  const ErrorCase cases[] = {
      {"send a\n\nfoo b\n",
       "a script:3: 'foo' is no statement; expected send, sendhex, expect, "
       "until, wait, eol"},
      {"SEND a",
       "a script:1: 'SEND' is no statement; expected send, sendhex, expect, "
       "until, wait, eol"},
      {"expect", "a script:1: expected expect PREFIX"},
      {"until ", "a script:1: expected until TEXT"},
      {"sendhex", "a script:1: expected sendhex DIGITS"},
      {"wait", "a script:1: expected wait TIME"},
      {"eol", "a script:1: expected eol none|lf|crlf"},
      {"eol cr", "a script:1: 'cr' is not one of none|lf|crlf"},
      {"send a\\q", "a script:1: '\\q' is not one of \\r \\n \\t \\\\ \\xHH"},
      {"until \\x4", "a script:1: '\\x' is not one of \\r \\n \\t \\\\ \\xHH"},
      {"sendhex 4g", "a script:1: '4g' is not a pair of hexadecimal digits"},
      {"wait soon",
       "a script:1: 'soon' is not a time such as 2, 0.5 or 500ms, of at most "
       "365d"},
      {"wait 366d",
       "a script:1: '366d' is not a time such as 2, 0.5 or 500ms, of at most "
       "365d"},
      {"", "a script has no statement; expected send, expect, until or wait"},
      {"# a\n\neol lf\n",
       "a script has no statement; expected send, expect, until or wait"},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.script);
    try {
      Parsed(c.script);
      ADD_FAILURE() << "no error";
    } catch (const Failure& failure) {
      EXPECT_STREQ(failure.what(), c.error);
      EXPECT_EQ(failure.status(), kMalformedInput);
    }
  }
}

TEST(DialogueScriptTest, PausesHaveTheirLimits) {
  EXPECT_EQ(Parsed("wait 0")[0].pause, milliseconds(0));
  EXPECT_EQ(Parsed("wait 365d")[0].pause, milliseconds(31'536'000'000));
}

}  // namespace
}  // namespace fairlead::tool::dialogue_script_test
