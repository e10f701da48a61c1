// Bodies that are too large to be kept in memory, and lines that are.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/bits/crc.h"
#include "tool/exchange/send_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::send_large_test {
namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};
constexpr std::size_t kHeld = 1'048'576;
// Whole pieces as they are read, and more than the buffers of a socket.
constexpr std::size_t kManyPieces = 610 * 65'536;

// Returns a file of so many zero bytes, which takes no space on the disk.
std::string SparseFile(const TempFolder& folder, std::size_t size) {
  std::string path = folder.File("body", "");
  std::filesystem::resize_file(path, size);
  return path;
}

struct Received {
  std::size_t count = 0;
  std::string start = {};  // The first bytes.
};

Received ReceiveWhole(int connection) {
  Received received;
  std::string piece(65536, '\0');
  for (ssize_t got = 0;
       (got = recv(connection, piece.data(), piece.size(), 0)) > 0;) {
    const auto size = static_cast<std::size_t>(got);
    if (received.count < 16) received.start += piece.substr(0, size);
    received.count += size;
  }
  received.start.resize(std::min<std::size_t>(received.start.size(), 16));
  return received;
}

struct MemoryCase {
  Words arguments;
  std::size_t size;   // Of the file.
  std::size_t count;  // Of the bytes that are sent.
  std::string start;  // The first of them.
};

// The server answers nothing until the memory is measured.
void ExpectLittleMemory(const MemoryCase& c) {
  const TempFolder folder;
  std::promise<Received> received;
  std::promise<void> measured;
  ScriptedServer server([&](int connection) {
    received.set_value(ReceiveWhole(connection));
    measured.get_future().wait();
  });
  Process process({.arguments = server.Arguments("send") +
                                Words{"-file", SparseFile(folder, c.size),
                                      "-halfclose", "on"} +
                                c.arguments + kForever});
  const Received all = received.get_future().get();
  const int kilobytes = MostMemoryOf(process.pid());
  measured.set_value();
  EXPECT_EQ(process.Wait().status, 52);
  EXPECT_EQ(all.count, c.count);
  EXPECT_EQ(all.start.substr(0, c.start.size()), c.start);
  EXPECT_GT(kilobytes, 0);
  EXPECT_LT(kilobytes, 20'000);
}

TEST(SendLargeTest, ResidentMemoryStaysBelow20Megabytes) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more memory";
  const std::vector<MemoryCase> cases = {
      {{}, 100'000'000, 100'000'000, ""},
      {{"-prefix", "u32be"}, 100'000'000, 100'000'004, "\5\xf5\xe1\0\0"s},
      {{"-prefix", "u32le", "-sum", "5", "-eol", "crlf"},
       100'000'000,
       100'000'014,
       "\x0a\xe1\xf5\5\0"s},
      {{"-prefix", "u32be", "-aes", "sixteen letters!"},
       100'000'000,
       100'000'016,
       ""},
      {{"-perline"}, 100'000'000, 100'000'000, ""},
      {{"-perline", "-sum", "5", "-rc4", "k"}, 100'000'000, 100'000'008, ""},
      {{"-perline", "-view", "json", "-out", "/dev/null"},
       10'000'000,
       10'000'000,
       ""},
      {{"-prefix", "u32be", "-view", "json", "-out", "/dev/null"},
       10'000'000,
       10'000'004,
       ""},
  };
  for (const MemoryCase& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    ExpectLittleMemory(c);
  }
}

// Greets, and sends lines for a while before it receives.
Received TalkFirst(int connection, std::string_view greeting) {
  SendAll(connection, greeting);
  for (int i = 0; i < 15; ++i) {
    send(connection, "a line\n", 7, MSG_NOSIGNAL);
    usleep(20'000);
  }
  return ReceiveWhole(connection);
}

// The rule is met before the body has gone out, and what comes after a close
// resets the connection.
TEST(SendLargeTest, ABodyArrivesThoughTheServerGoesOnTalking) {
  const TempFolder folder;
  Received received;
  ScriptedServer server(
      [&](int connection) { received = TalkFirst(connection, "ok\n"); });
  const Outcome outcome = Fairlead(
      server.Arguments("send") +
      Words{"-file", SparseFile(folder, 1'000'000), "-lines", "1"} + kForever);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(received.count, 1'000'000U);
}

// Likewise what a script sends last.
TEST(SendLargeTest, TheEndOfAScriptArrivesThoughTheServerGoesOnTalking) {
  const TempFolder folder;
  Received received;
  ScriptedServer server(
      [&](int connection) { received = TalkFirst(connection, "220 hi\n"); });
  const std::string script =
      folder.File("script", "expect 220\nsend " + std::string(999'999, 'x'));
  const Outcome outcome =
      Fairlead(server.Arguments("send") + Words{"-script", script} + kForever);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(received.count, 1'000'000U);
}

TEST(SendLargeTest, ABodyThatTheServerDoesNotReadIsAFailureThoughARuleIsMet) {
  const TempFolder folder;
  std::promise<void> ended;
  ScriptedServer server([&](int connection) {
    SendAll(connection, "ok\n");
    ended.get_future().wait();
  });
  const Words send =
      server.Arguments("send") + Words{"-file",  SparseFile(folder, 1'000'000),
                                       "-lines", "1",
                                       "-idle",  "500ms",
                                       "-view",  "json"};
  const Outcome outcome = Fairlead(send);
  ended.set_value();
  EXPECT_EQ(outcome.status, 55);
  EXPECT_THAT(outcome.error,
              testing::MatchesRegex(
                  "fairlead send: sending failed after [0-9]{1,6} of 1000000 "
                  "bytes: the peer did not read for 500 ms\n"));
  EXPECT_THAT(outcome.output, HasSubstr("\"closed\""));
}

// Has `change` change the file while it is sent as one frame. Returns how many
// bytes the server received.
std::size_t SentWhileChanged(
    const std::function<void(const std::string& path)>& change,
    const std::string& error) {
  const TempFolder folder;
  const std::string path = SparseFile(folder, kManyPieces);
  std::size_t sent = 0;
  {
    ScriptedServer server([&](int connection) {
      sent = Receive(connection, 4).size();
      change(path);
      sent += ReceiveWhole(connection).count;
    });
    const Outcome outcome =
        Fairlead(server.Arguments("send") +
                 Words{"-file", path, "-prefix", "u32be"} + kForever);
    EXPECT_EQ(outcome.error, "fairlead send: cannot read '" + path +
                                 "': it had 39976960 bytes at first, and now "
                                 "has " +
                                 error + "\n");
    EXPECT_EQ(outcome.status, 26);
  }
  return sent;
}

TEST(SendLargeTest, AFileThatShrinksMakesNoWholeFrame) {
  const std::size_t sent = SentWhileChanged(
      [](const std::string& path) { std::filesystem::resize_file(path, 1); },
      "fewer");
  EXPECT_LT(sent, kManyPieces + 4);
}

TEST(SendLargeTest, AFileThatGrowsMakesNoWholeFrame) {
  const std::size_t sent = SentWhileChanged(
      [](const std::string& path) {
        std::filesystem::resize_file(path, kManyPieces + 1);
      },
      "more");
  EXPECT_LT(sent, kManyPieces + 4);
}

TEST(SendLargeTest, AnEmptyFileIsAnEmptyFrame) {
  const TempFolder folder;
  EXPECT_EQ(SentBySend({"-file", folder.File("body", ""), "-prefix", "u16be"}),
            "\0\0"s);
}

// Its status says that it has 0 bytes.
TEST(SendLargeTest, AFileOfUnknownSizeIsOneFrame) {
  const std::string text = internal::ReadFile("/proc/version");
  ASSERT_FALSE(text.empty());
  const std::string frame =
      SentBySend({"-file", "/proc/version", "-prefix", "u16be"});
  EXPECT_EQ(frame.substr(2), text);
}

TEST(SendLargeTest, AFileThatThePrefixCannotCountIsRefusedAtOnce) {
  const TempFolder folder;
  const Outcome outcome = Fairlead(
      {"send", "-host", "127.0.0.1", "-port", std::to_string(ClosedPort()),
       "-file", SparseFile(folder, 65'535), "-prefix", "u16be", "-eol", "lf"});
  EXPECT_EQ(outcome.error,
            "fairlead send: a message of 65536 bytes: its prefix would be "
            "65536; -prefix u16be holds 0 to 65535\n");
  EXPECT_EQ(outcome.status, 2);
}

TEST(SendLargeTest, AFrameFromAPipeHasUpTo1MiB) {
  const Words framed = {"-stdin", "-prefix", "u32be"};
  EXPECT_EQ(SentBySend(framed, std::string(kHeld, 'x')),
            "\0\x10\0\0"s + std::string(kHeld, 'x'));
  const Outcome outcome =
      RunProgram({.arguments = Words{"send", "-demo"} + framed + kForever,
                  .input = std::string(kHeld + 1, 'x')});
  EXPECT_EQ(outcome.error,
            "fairlead send: standard input has more than 1048576 bytes; "
            "-prefix has to count them before they are sent, unless -file is a "
            "regular file\n");
  EXPECT_EQ(outcome.status, 2);
}

TEST(SendLargeTest, ALineWithAPrefixHasUpTo1MiB) {
  const Words framed = {"-stdin", "-perline", "-prefix", "u32be"};
  EXPECT_EQ(SentBySend(framed, std::string(kHeld, 'x') + "\ny"),
            "\0\x10\0\0"s + std::string(kHeld, 'x') + "\0\0\0\1y"s);
  const Outcome outcome =
      RunProgram({.arguments = Words{"send", "-demo"} + framed + kForever,
                  .input = std::string(kHeld + 1, 'x')});
  EXPECT_EQ(outcome.error,
            "fairlead send: a line of standard input has more than 1048576 "
            "bytes; -prefix has to count them before they are sent\n");
  EXPECT_EQ(outcome.status, 2);
}

TEST(SendLargeTest, ABodyForPascalIsNotReadToItsEnd) {
  const Outcome outcome = Fairlead(
      Words{"send", "-demo", "-file", "/dev/zero", "-pascal"} + kForever);
  EXPECT_EQ(outcome.error,
            "fairlead send: '/dev/zero' has more than 1048576 bytes; -pascal "
            "accepts at most 255\n");
  EXPECT_EQ(outcome.status, 2);
}

std::string WithSum(const std::string& line) {
  CCRC sum{.rotation = 5};
  sum.AddArr(reinterpret_cast<const unsigned char*>(line.data()),
             static_cast<int>(line.size()));
  const std::uint64_t value = sum.ReadCRC();
  std::string text = line;
  for (int shift = 56; shift >= 0; shift -= 8)
    text += static_cast<char>(value >> shift);
  return text;
}

TEST(SendLargeTest, ALongLineInPiecesIsOneMessage) {
  const std::string line(2 * kHeld + 12'345, 'x');
  const std::string both = WithSum(line) + "\n" + WithSum("short") + "\n";
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  const Words arguments = {"-stdin", "-perline", "-sum", "5",        "-eol",
                           "lf",     "-log",     log,    "-logdata", "hex"};
  EXPECT_TRUE(SentBySend(arguments, line + "\nshort") == both);
  const std::string text = internal::ReadFile(log);
  EXPECT_THAT(text, HasSubstr("] sent data from byte 2109440: 78 78"));
  EXPECT_THAT(text, HasSubstr("] sent data: 73 68 6f 72 74 "));
}

TEST(SendLargeTest, AnEndOfInputEndsALineInPieces) {
  const std::string line(kHeld + 65'536, 'x');
  EXPECT_TRUE(SentBySend({"-stdin", "-perline", "-eol", "lf"}, line) ==
              line + "\n");
}

}  // namespace
}  // namespace fairlead::tool::send_large_test
