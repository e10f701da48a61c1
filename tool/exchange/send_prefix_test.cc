// Frames on the wire: -prefix of `send` and `recv`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tool/exchange/send_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::send_prefix_test {
namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::MatchesRegex;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};
constexpr const char* kStamp = R"(\[[0-9.]{10} [0-9:]{8}\] )";

// Runs `recv` while a server sends the bytes and closes.
Outcome Receives(const std::string& bytes, const Words& arguments) {
  ScriptedServer server(
      [&bytes](int connection) { SendAll(connection, bytes); });
  return Fairlead(server.Arguments("recv") + arguments + kForever);
}

TEST(SendPrefixTest, WhatIsSentIsAFrame) {
  EXPECT_EQ(SentBySend({"-text", "hello", "-prefix", "u8"}), "\5hello");
  EXPECT_EQ(SentBySend({"-text", "hello", "-prefix", "u16be"}), "\0\5hello"s);
  EXPECT_EQ(SentBySend({"-text", "hello", "-prefix", "u16le"}), "\5\0hello"s);
  EXPECT_EQ(SentBySend({"-text", "hello", "-prefix", "u32be"}),
            "\0\0\0\5hello"s);
  EXPECT_EQ(SentBySend({"-text", "hello", "-prefix", "u32le"}),
            "\5\0\0\0hello"s);
  EXPECT_EQ(SentBySend({"-text", "", "-prefix", "u8"}), "\0"s);
}

TEST(SendPrefixTest, TheNumberMayCountMoreOrLess) {
  EXPECT_EQ(SentBySend({"-text", "abc", "-prefix", "u16be", "-prefixadd", "2"}),
            "\0\5abc"s);
  EXPECT_EQ(SentBySend({"-text", "abc", "-prefix", "u8", "-prefixadd", " -3"}),
            "\0abc"s);
}

TEST(SendPrefixTest, ItCountsWhatIsAppended) {
  EXPECT_EQ(
      SentBySend({"-text", "abc", "-prefix", "u8", "-eol", "crlf", "-sum", "5"})
          .substr(0, 4),
      "\x0d"
      "abc");
}

TEST(SendPrefixTest, AFileIsOneFrame) {
  const TempFolder folder;
  const std::string bytes = RandomBytes(100'000);
  EXPECT_EQ(
      SentBySend({"-file", folder.File("body", bytes), "-prefix", "u32be"}),
      "\0\1\x86\xa0"s + bytes);
  EXPECT_EQ(SentBySend({"-stdin", "-prefix", "u16le"}, "one\ntwo"),
            "\7\0one\ntwo"s);
}

TEST(SendPrefixTest, WithPerlineEachLineIsAFrame) {
  EXPECT_EQ(SentBySend({"-stdin", "-perline", "-prefix", "u8"}, "one\n\nthree"),
            "\3one\0\5three"s);
}

TEST(SendPrefixTest, ABodyThatIsTooLongIsRefused) {
  const Outcome outcome = Fairlead(
      {"send", "-demo", "-text", std::string(256, 'x'), "-prefix", "u8"});
  EXPECT_EQ(outcome.error,
            "fairlead send: a message of 256 bytes: its prefix would be 256; "
            "-prefix u8 holds 0 to 255\n");
  EXPECT_EQ(outcome.status, 2);
  const Outcome line =
      RunProgram({.arguments = Words{"send", "-demo", "-stdin", "-perline",
                                     "-prefix", "u8"} +
                               kForever,
                  .input = "short\n" + std::string(256, 'x') + "\n"});
  EXPECT_THAT(line.error, HasSubstr("a message of 256 bytes"));
  EXPECT_EQ(line.status, 2);
}

struct UsageCase {
  Words arguments;
  const char* error;
};

TEST(SendPrefixTest, AnEventReportsWhyALineIsTooLong) {
  const Outcome outcome =
      RunProgram({.arguments = Words{"send", "-demo", "-stdin", "-perline",
                                     "-prefix", "u8", "-view", "json"} +
                               kForever,
                  .input = std::string(256, 'x') + "\n"});
  EXPECT_THAT(outcome.output,
              HasSubstr(R"("reason":"a message of 256 bytes: its prefix would )"
                        R"(be 256; -prefix u8 holds 0 to 255")"));
  EXPECT_EQ(outcome.status, 2);
}

TEST(SendPrefixTest, WrongUsageIsReported) {
  const std::vector<UsageCase> cases = {
      {{"-prefix", "u8", "-pascal"}, "-pascal and -prefix cannot be combined"},
      {{"-prefixadd", "1"}, "-prefixadd needs -prefix"},
      {{"-prefix", "u24"}, "choose u8, u16be, u16le, u32be or u32le"},
      {{"-prefix", "u8", "-prefixadd", "x"},
       "-prefixadd: 'x' is not an integer (expected -65535 to 65535)"},
      {{"-prefix", "u8", "-prefixadd", "65536"},
       "-prefixadd: 65536 is out of range (expected -65535 to 65535)"},
      {{"-prefix", "u8", "-prefixadd", " -65536"},
       "-prefixadd: -65536 is out of range (expected -65535 to 65535)"},
      {{"-prefix", "u8", "-prefixadd", "1 "}, "'1 ' is not an integer"},
      {{"-prefix", "u8", "-prefixadd", " "}, "' ' is not an integer"},
      {{"-prefix", "u8", "-prefixadd", "-1"}, "write a space before it"},
  };
  for (const UsageCase& c : cases) {
    SCOPED_TRACE(c.error);
    const Outcome outcome =
        Fairlead(Words{"send", "-demo", "-text", "x"} + c.arguments);
    EXPECT_THAT(outcome.error, HasSubstr(c.error));
    EXPECT_EQ(outcome.status, 2);
  }
}

TEST(SendPrefixTest, EachFrameIsAMessage) {
  const std::string frames = "\3one\0\5three"s;
  EXPECT_EQ(Receives(frames, {"-prefix", "u8"}).output, "onethree");
  EXPECT_THAT(
      Receives(frames, {"-prefix", "u8", "-view", "text"}).output,
      MatchesRegex(kStamp + "one\n"s + kStamp + "\n" + kStamp + "three\n"));
  EXPECT_THAT(Receives(frames, {"-prefix", "u8", "-view", "hex"}).output,
              MatchesRegex(kStamp + "6f 6e 65\n"s + kStamp + "\n" + kStamp +
                           "74 68 72 65 65\n"));
}

TEST(SendPrefixTest, MessagesCountsFrames) {
  const std::string frames = "\3one\0\5three\4four"s;
  const auto shown = [&](const Words& rule) {
    const Outcome outcome = Receives(frames, Words{"-prefix", "u8"} + rule);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    return outcome.output;
  };
  EXPECT_EQ(shown({"-messages", "1"}), "one");
  EXPECT_EQ(shown({"-messages", "2"}), "one");
  EXPECT_EQ(shown({"-messages", "3"}), "onethree");
  EXPECT_EQ(shown({"-bytes", "4"}), "onethree");
  EXPECT_EQ(shown({"-until", "et"}), "onethree");
}

TEST(SendPrefixTest, TooFewFramesAreReported) {
  const Outcome outcome =
      Receives("\3one", {"-prefix", "u8", "-messages", "2"});
  EXPECT_EQ(outcome.output, "one");
  EXPECT_EQ(outcome.error,
            "fairlead recv: cut short: 1 of 2 messages; the peer closed\n");
  EXPECT_EQ(outcome.status, 18);
}

TEST(SendPrefixTest, AFrameThatIsCutIsReported) {
  const Outcome close = Receives("\3one\0\5thr"s, {"-prefix", "u8"});
  EXPECT_EQ(close.output, "onethr");
  EXPECT_EQ(close.error,
            "fairlead recv: cut short: 3 of 5 bytes of a frame; the peer "
            "closed\n");
  EXPECT_EQ(close.status, 18);
  const Outcome prefix =
      Receives("\0\0\0"s, {"-prefix", "u16be", "-view", "hex"});
  EXPECT_EQ(prefix.error,
            "fairlead recv: cut short: 1 of 2 bytes of a frame's prefix; the "
            "peer closed\n");
  EXPECT_EQ(prefix.status, 18);
}

TEST(SendPrefixTest, AFrameThatIsCutComesBeforeAMissingText) {
  for (const std::string rule : {"-until", "-expect"}) {
    const Outcome outcome = Receives("\5thr", {"-prefix", "u8", rule, "three"});
    EXPECT_THAT(outcome.error, HasSubstr("3 of 5 bytes of a frame")) << rule;
    EXPECT_EQ(outcome.status, 18);
  }
}

TEST(SendPrefixTest, SilenceWithinAFrameCutsIt) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "\5thr");
    ReceiveAll(connection);
  });
  const Outcome outcome = Fairlead(server.Arguments("recv") +
                                   Words{"-prefix", "u8", "-idle", "100ms"});
  EXPECT_THAT(outcome.error,
              HasSubstr("3 of 5 bytes of a frame; the peer was silent"));
  EXPECT_EQ(outcome.status, 18);
}

TEST(SendPrefixTest, AReplyOfOneEmptyFrameIsAnAnswer) {
  const Outcome outcome =
      Receives("\0"s, {"-prefix", "u8", "-messages", "1", "-view", "text"});
  EXPECT_THAT(outcome.output, MatchesRegex(kStamp + "\n"s));
  EXPECT_EQ(outcome.status, 0);
}

TEST(SendPrefixTest, ANumberBelowPrefixaddIsMalformed) {
  const Outcome outcome =
      Receives("\0\4\0\3rest"s, {"-prefix", "u16be", "-prefixadd", "4"});
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error,
            "fairlead recv: receiving failed: the prefix of a frame is 3, "
            "which is less than -prefixadd\n");
  EXPECT_EQ(outcome.status, 56);
}

// Only the raw view shows a frame before it is whole.
TEST(SendPrefixTest, AFrameOfAnyLengthIsShownRaw) {
  const std::string begun = "\xff\xff\xff\xffHTTP/1.1";
  const Outcome raw = Receives(begun, {"-prefix", "u32be"});
  EXPECT_EQ(raw.output, "HTTP/1.1");
  EXPECT_EQ(raw.status, 18);
  const Outcome hex = Receives(begun, {"-prefix", "u32be", "-view", "hex"});
  EXPECT_EQ(hex.output, "");
  EXPECT_EQ(hex.error,
            "fairlead recv: receiving failed: a frame has 4294967295 bytes; "
            "only -view raw shows more than 262144\n");
  EXPECT_EQ(hex.status, 56);
}

TEST(SendPrefixTest, AViewShowsUpTo256KiBAtOnce) {
  const auto status = [](const std::string& prefix, std::size_t size) {
    return Receives(prefix + std::string(size, 'x'),
                    {"-prefix", "u32be", "-view", "text"})
        .status;
  };
  EXPECT_EQ(status("\0\4\0\0"s, 262'144), 0);
  EXPECT_EQ(status("\0\4\0\1"s, 262'145), 56);
}

// What an exchange with these arguments prints, echoed by the demo server.
std::string Echoed(const Words& arguments, const std::string& lines) {
  const Outcome outcome = RunProgram(
      {.arguments = Words{"send", "-demo", "-stdin"} + arguments + kForever,
       .input = lines});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  return outcome.output;
}

// AES pads each frame to whole blocks; the padding is not shown.
TEST(SendPrefixTest, FramesAreEncrypted) {
  const std::string lines = "one\n\nand a line of more than a block\nlast\n";
  for (const char* cipher : {"-aes", "-rc4"})
    for (const char* form : {"u8", "u16le", "u32be"}) {
      SCOPED_TRACE(std::string(cipher) + " " + form);
      const Words framed = {"-prefix", form, cipher, "sixteen letters!"};
      EXPECT_EQ(Echoed(framed + Words{"-perline"}, lines),
                "oneand a line of more than a blocklast");
      EXPECT_EQ(Echoed(framed, lines), lines);
    }
  EXPECT_EQ(
      SentBySend({"-text", "abc", "-prefix", "u8", "-aes", "0123456789abcdef"})
          .size(),
      16U);
}

TEST(SendPrefixTest, TheLogHasTheMessages) {
  const TempFolder folder;
  const std::string path = folder.path() + "/log";
  const Outcome outcome =
      RunProgram({.arguments = Words{"send", "-demo", "-stdin", "-perline",
                                     "-aes", "0123456789abcdef", "-log", path,
                                     "-logdata", "text", "-prefix", "u16be"} +
                               kForever,
                  .input = "one\n\xff\n"});
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  const std::string log = internal::ReadFile(path);
  for (const char* line :
       {"] sent data: one\n", "] sent data: \\xff\n", "] received data: one\n",
        "] received data: \\xff\n"})
    EXPECT_THAT(log, HasSubstr(line));
}

TEST(SendPrefixTest, TheLogHasAFrameThatIsCut) {
  const TempFolder folder;
  const std::string path = folder.path() + "/log";
  EXPECT_EQ(
      Receives("\5thr", {"-prefix", "u8", "-log", path, "-logdata", "text"})
          .status,
      18);
  EXPECT_THAT(internal::ReadFile(path), HasSubstr("] received data: thr\n"));
}

TEST(SendPrefixTest, LogdataNeedsALog) {
  const Outcome outcome =
      Fairlead({"send", "-demo", "-text", "x", "-logdata", "hex"});
  EXPECT_THAT(outcome.error, HasSubstr("-log"));
  EXPECT_EQ(outcome.status, 2);
}

TEST(SendPrefixTest, ABodyIsLoggedOnceItIsSent) {
  const TempFolder folder;
  const std::string path = folder.path() + "/log";
  EXPECT_EQ(Fairlead(Words{"send", "-demo", "-hex", "00ff", "-eol", "lf",
                           "-pascal", "-log", path, "-logdata", "hex"} +
                     kForever)
                .status,
            0);
  EXPECT_THAT(internal::ReadFile(path),
              HasSubstr("] sent data: 03 00 ff 0a\n"));
}

// The peer resets once it has all: with checksum, line end and prefix, or
// padding.
TEST(SendPrefixTest, AllThatIsSentOfAFileIsCounted) {
  const TempFolder folder;
  const std::string file = folder.File("body", "abc");
  const auto error_of = [&](int sent, const Words& more) {
    ScriptedServer server([=](int connection) {
      Receive(connection, static_cast<std::size_t>(sent));
      Reset(connection);
    });
    return Fairlead(server.Arguments("send") + Words{"-file", file} + more)
        .error;
  };
  EXPECT_EQ(
      error_of(17, {"-prefix", "u32be", "-sum", "3", "-eol", "crlf"}),
      "fairlead send: the peer reset the connection: 17 of 17 bytes sent, "
      "0 bytes received\n");
  EXPECT_EQ(
      error_of(16, {"-aes", "key"}),
      "fairlead send: the peer reset the connection: 16 of 16 bytes sent, "
      "0 bytes received\n");
}

}  // namespace
}  // namespace fairlead::tool::send_prefix_test
