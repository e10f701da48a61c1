// What a dialogue sends and awaits, however its server's bytes are cut.

#include "tool/exchange/dialogue.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/exchange/dialogue_testing.h"

namespace fairlead::tool::dialogue_test {
namespace {

using Pieces = std::vector<std::string_view>;

// What came of a dialogue: "done", or the line of the script and "cut" or the
// line that was received instead; then "|" and what was sent.
std::string Result(const std::string& script_text, const Pieces& pieces) {
  const DialogueScript script = ParseDialogue(script_text, "script", "\n");
  PieceByPiece peer(pieces);
  const std::optional<DialogueProblem> problem = RunDialogue(script, peer);
  std::string result = "done";
  if (problem)
    result = std::to_string(problem->statement->line) +
             (problem->refused ? " got " : " cut ") + problem->line;
  return result + "|" + peer.sent;
}

struct DialogueCase {
  const char* script;
  const char* received;
  const char* result;
};

constexpr DialogueCase kDialogueCases[] = {
    {"send a\nsend b", "", "done|a\nb\n"},
    {"send a", "whatever", "done|a\n"},
    {"expect 220\nsend a\nexpect 250\nsend b", "220 hi\r\n250 ok\r\n",
     "done|a\nb\n"},
    // The line must begin with the prefix, and must be complete.
    {"expect ok\nsend a", "ok\n", "done|a\n"},
    {"expect ok\nsend a", "okay\n", "done|a\n"},
    {"expect ok\nsend a", "ok", "1 cut ok|"},
    {"expect ok\nsend a", "", "1 cut |"},
    {"expect ok\nsend a", " ok\n", "1 got  ok|"},
    {"expect ok\nsend a", "\nok\n", "1 got |"},
    {"expect ok\nsend a", "550 no\r\nok\n", "1 got 550 no|"},
    {"send a\n\n# why\nexpect 250", "250-x\n550 no\n", "4 cut |a\n"},
    // Sent although the wrong answer was there before.
    {"expect a\nsend b\nexpect c", "a\nd\n", "3 got d|b\n"},
    // A reply of several lines.
    {"expect 250\nexpect 354", "250-a\r\n250-b\r\n250 c\r\n354 d\r\n", "done|"},
    {"expect 250\nexpect 354", "250-a\nfree text\n250\n354\n", "done|"},
    {"expect 250\nexpect 354", "250-a\n251 x\n250 c\n355 d\n", "2 got 355 d|"},
    {"expect 250\nexpect x", "250x\nx\n", "done|"},
    {"expect 250-\nexpect 250", "250-a\n250 b\n", "done|"},
    {"expect 25\nexpect 250", "250-a\n250 b\n", "done|"},
    {"expect 25\nexpect x", "25-a\nx\n", "done|"},
    {"expect 2500\nexpect x", "2500-a\nx\n", "done|"},
    {"expect SSH\nexpect x", "SSH-2.0-y\nx\n", "done|"},
    {"expect a-\\r\nexpect x", "a-\r\nx\n", "done|"},
    // Text after a match stays.
    {"until login: \nsend me\nuntil word: \nsend it\nexpect ok",
     "hello\nlogin: password: ok\n", "done|me\nit\n"},
    {"until b\nexpect c", "a\nbc\n", "done|"},
    {"until b\nexpect c", "a\nb\nc\n", "2 got |"},
    {"until aab\nexpect c", "aaabc\n", "done|"},
    {"until aa\nuntil aa\nuntil b", "aaab", "2 cut |"},
    {"until \\x00\\r\\n", "a\r\nb", "1 cut |"},
};

TEST(DialogueTest, RunsItsScript) {
  for (const DialogueCase& c : kDialogueCases) {
    SCOPED_TRACE(c.script);
    EXPECT_EQ(Result(c.script, {c.received}), c.result);
  }
}

TEST(DialogueTest, TheCutsDoNotMatter) {
  for (const DialogueCase& c : kDialogueCases) {
    const std::string_view received = c.received;
    for (std::size_t first = 0; first <= received.size(); ++first)
      for (std::size_t second = first; second <= received.size(); ++second) {
        SCOPED_TRACE(testing::Message()
                     << c.script << ", cut at " << first << ", " << second);
        EXPECT_EQ(Result(c.script, {received.substr(0, first),
                                    received.substr(first, second - first),
                                    received.substr(second)}),
                  c.result);
      }
    Pieces bytes;
    for (const char& byte : received) bytes.emplace_back(&byte, 1);
    EXPECT_EQ(Result(c.script, bytes), c.result) << c.script;
  }
}

std::string Steps(const std::string& script_text, const Pieces& pieces) {
  const DialogueScript script = ParseDialogue(script_text, "script", "\n");
  PieceByPiece peer(pieces);
  EXPECT_FALSE(RunDialogue(script, peer));
  return peer.steps;
}

TEST(DialogueTest, SendsTogetherWhatNothingParts) {
  EXPECT_EQ(Steps("send a\nsendhex 62 0a\nexpect x\nsend c", {"x\n"}),
            "<a\nb\n><c\n>[0]");
}

TEST(DialogueTest, APauseComesAfterWhatIsSent) {
  EXPECT_EQ(Steps("send a\nwait 0.5\nsend b", {}), "<a\n>[500]<b\n>[0]");
}

TEST(DialogueTest, WhatComesInAPauseCounts) {
  EXPECT_EQ(Steps("wait 1\nexpect x\nsend a", {"x\n"}), "[1000]<a\n>[0]");
}

// An answer that came early does not hold back what is sent before it.
TEST(DialogueTest, SendsBeforeAnAnswerThatHasCome) {
  EXPECT_EQ(Steps("expect x\nsend a\nexpect y\nsend b", {"x\ny\n"}),
            "<a\n>[0]<b\n>[0]");
}

// Unless it fails when nothing is left to do.
TEST(DialogueTest, AFailedExchangeEndsIt) {
  for (const auto& [text, line] : {std::pair{"wait 1\nsend a", 1U},
                                   {"send a\nsend b", 2U},
                                   {"expect x\nsend a\nexpect y", 3U}}) {
    SCOPED_TRACE(text);
    const DialogueScript script = ParseDialogue(text, "script", "\n");
    PieceByPiece peer({"x\ny\n"});
    peer.fails_in_pause = true;
    const std::optional<DialogueProblem> problem = RunDialogue(script, peer);
    ASSERT_TRUE(problem);
    EXPECT_EQ(problem->statement->line, line);
    EXPECT_FALSE(problem->refused);
  }
  const DialogueScript script = ParseDialogue("expect x", "script", "\n");
  PieceByPiece peer({"x\n"});
  peer.fails_in_pause = true;
  EXPECT_FALSE(RunDialogue(script, peer));
}

TEST(DialogueTest, OnlyTheStartOfALongLineIsKept) {
  const std::string piece(100'000, 'x');
  const std::string shown(200, 'x');
  EXPECT_EQ(Result("expect x", Pieces(100, piece)), "1 cut " + shown + "|");
  // Refused without its end.
  EXPECT_EQ(Result("expect y", {shown.substr(1), "x", "\n"}),
            "1 got " + shown + "|");
  EXPECT_EQ(Result("expect y", {shown.substr(1)}),
            "1 cut " + shown.substr(1) + "|");
  EXPECT_EQ(Result("expect " + piece, {piece, "\n"}), "done|");
  EXPECT_EQ(Result("expect 250", {"250-\n", piece, "\n250 \n"}), "done|");
}

}  // namespace
}  // namespace fairlead::tool::dialogue_test
