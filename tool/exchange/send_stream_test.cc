// `send` while standard input, the server and standard output each go at their
// own pace.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/testing.h"

extern char** environ;  // NOLINT: of POSIX.

namespace fairlead::tool::send_stream_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};

// A running `send -stdin` with a pipe for standard input and one for output.
class Streams {
 public:
  explicit Streams(const ScriptedServer& server, const Words& more = {}) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (pipe2(input.data(), O_CLOEXEC) != 0 ||
        pipe2(output.data(), O_CLOEXEC) != 0)
      std::abort();
    input_ = input[1];
    output_ = output[0];
    Words words = Words{Program()} + server.Arguments("send") +
                  Words{"-stdin"} + more + kForever;
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    EXPECT_EQ(posix_spawn(&pid_, Program(), &actions, nullptr, arguments.data(),
                          environ),
              0);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
  }
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;
  ~Streams() {
    CloseInput();
    close(output_);
    if (pid_ != -1) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }

  void Write(std::string_view text) const {
    EXPECT_EQ(write(input_, text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
  }

  // Writes until the pipe has been full for a while.
  void FillInput() const {
    fcntl(input_, F_SETFL, O_NONBLOCK);
    const std::string piece(65536, 'x');
    for (int full = 0; full < 20;) {
      const ssize_t written = write(input_, piece.data(), piece.size());
      full = written > 0 ? 0 : full + 1;
      if (full > 0) usleep(10'000);
    }
  }

  void CloseInput() {
    if (input_ != -1) close(std::exchange(input_, -1));
  }

  std::string Read(std::size_t count) const {
    std::string text(count, '\0');
    std::size_t have = 0;
    while (have < count) {
      const ssize_t got = read(output_, text.data() + have, count - have);
      if (got <= 0) break;
      have += static_cast<std::size_t>(got);
    }
    text.resize(have);
    return text;
  }

  // Whether the reader of the output sees its end, with nothing before.
  bool SeesEnd() const { return Read(1).empty(); }

  int MostMemory() const { return MostMemoryOf(pid_); }

  // Waits for the process; returns its exit status.
  int Wait() {
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
};

// What the other direction does while one is tested: nothing, more than its
// reader takes, or it has ended.
TEST(SendStreamTest, InputReachesAServerThatIsQuiet) {
  std::promise<void> got;
  ScriptedServer server([&](int connection) {
    EXPECT_EQ(Receive(connection, 5), "first");
    got.set_value();
    EXPECT_EQ(ReceiveAll(connection), "second");
  });
  Streams streams(server);
  streams.Write("first");
  got.get_future().wait();  // Before the input ends.
  streams.Write("second");
  streams.CloseInput();
  EXPECT_EQ(streams.Wait(), 52);
}

TEST(SendStreamTest, InputReachesAServerThatFloodsAReaderWhoSleeps) {
  std::promise<void> got;
  ScriptedServer server([&](int connection) {
    const std::string piece(1 << 20, 'x');
    fcntl(connection, F_SETFL, O_NONBLOCK);
    for (int full = 0; full < 20;) {
      full = send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) > 0
                 ? 0
                 : full + 1;
      if (full > 0) usleep(10'000);
    }
    fcntl(connection, F_SETFL, 0);
    EXPECT_EQ(Receive(connection, 5), "first");
    EXPECT_EQ(ReceiveAll(connection), "second");
    got.set_value();
  });
  Streams streams(server);
  streams.Write("first");
  streams.Write("second");
  streams.CloseInput();
  got.get_future().wait();
}

TEST(SendStreamTest, InputReachesAServerThatSendsNoMore) {
  std::promise<void> ended;
  ScriptedServer server([&](int connection) {
    shutdown(connection, SHUT_WR);
    ended.set_value();
    EXPECT_EQ(Receive(connection, 5), "first");
    EXPECT_EQ(ReceiveAll(connection), "second");
  });
  Streams streams(server);
  ended.get_future().wait();
  EXPECT_TRUE(streams.SeesEnd());
  streams.Write("first");
  streams.Write("second");
  streams.CloseInput();
  EXPECT_EQ(streams.Wait(), 52);
}

TEST(SendStreamTest, AnswersComeWhileTheInputIsQuiet) {
  ScriptedServer server([&](int connection) {
    SendAll(connection, "first");
    SendAll(connection, "second");
    shutdown(connection, SHUT_WR);
    ReceiveAll(connection);
  });
  Streams streams(server);
  EXPECT_EQ(streams.Read(11), "firstsecond");
  EXPECT_TRUE(streams.SeesEnd());
  streams.CloseInput();
  EXPECT_EQ(streams.Wait(), 0);
}

TEST(SendStreamTest, AnswersComeWhileTheServerDoesNotRead) {
  std::promise<void> filled;
  std::promise<void> done;
  ScriptedServer server([&](int connection) {
    filled.get_future().wait();
    SendAll(connection, "first");
    SendAll(connection, "second");
    shutdown(connection, SHUT_WR);
    done.get_future().wait();
  });
  Streams streams(server);
  streams.FillInput();
  filled.set_value();
  EXPECT_EQ(streams.Read(11), "firstsecond");
  EXPECT_TRUE(streams.SeesEnd());
  done.set_value();
}

TEST(SendStreamTest, AnswersComeAfterTheInputHasEnded) {
  ScriptedServer server([&](int connection) {
    EXPECT_EQ(ReceiveAll(connection), "all");
    SendAll(connection, "first");
    SendAll(connection, "second");
  });
  Streams streams(server);
  streams.Write("all");
  streams.CloseInput();
  EXPECT_EQ(streams.Read(100), "firstsecond");
  EXPECT_EQ(streams.Wait(), 0);
}

TEST(SendStreamTest, WithoutAHalfCloseTheServerSeesNoEnd) {
  ScriptedServer server([](int connection) { ReceiveAll(connection); });
  const Outcome outcome = RunProgram(
      {.arguments = server.Arguments("send") +
                    Words{"-stdin", "-halfclose", "off", "-idle", "500ms"},
       .input = "all"});
  EXPECT_EQ(outcome.error,
            "fairlead send: nothing was answered: the peer was silent for 500 "
            "ms\n");
  EXPECT_EQ(outcome.status, 52);
}

// The rule is met while the input has nothing to send.
TEST(SendStreamTest, ARuleThatIsMetAwaitsTheEndOfTheInput) {
  std::promise<std::string> received;
  ScriptedServer server([&](int connection) {
    SendAll(connection, "220 hi\n");
    received.set_value(ReceiveAll(connection));
  });
  Streams streams(server, {"-lines", "1"});
  EXPECT_EQ(streams.Read(7), "220 hi\n");
  usleep(100'000);
  streams.Write("DA");
  usleep(100'000);
  streams.Write("TA");
  streams.CloseInput();
  EXPECT_EQ(streams.Wait(), 0);
  EXPECT_EQ(received.get_future().get(), "DATA");
}

TEST(SendStreamTest, TheTimeoutEndsTheWaitForTheEndOfTheInput) {
  ScriptedServer server([](int connection) {
    SendAll(connection, "220 hi\n");
    ReceiveAll(connection);
  });
  const Outcome outcome = RunProgram(
      {.arguments = server.Arguments("send") +
                    Words{"-stdin", "-lines", "1", "-timeout", "500ms"},
       .input_stays_open = true});
  EXPECT_EQ(outcome.output, "220 hi\n");
  EXPECT_EQ(outcome.status, 28);
}

// Neither a large body nor a flood is kept. The last byte of the answer waits
// until the memory is measured.
TEST(SendStreamTest, MemoryIsBounded) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more memory";
  constexpr std::size_t kPiece = 1'000'000;
  constexpr std::size_t kPieces = 100;
  const TempFolder folder;
  const std::string path = folder.File("body", "");
  std::filesystem::resize_file(path, kPieces * kPiece);
  std::promise<void> received;
  std::promise<void> measured;
  ScriptedServer server([&](int connection) {
    const std::string piece(kPiece, 'y');
    for (std::size_t i = 0; i < kPieces; ++i) {
      EXPECT_EQ(Receive(connection, kPiece).size(), kPiece);
      SendAll(connection, i == 0 ? piece.substr(1) : piece);
    }
    received.set_value();
    measured.get_future().wait();
    SendAll(connection, "z");
  });
  Process process({.arguments = server.Arguments("send") +
                                Words{"-file", path, "-bytes", "100000000"} +
                                kForever,
                   .output_path = "/dev/null"});
  received.get_future().wait();
  const int kilobytes = MostMemoryOf(process.pid());
  measured.set_value();
  EXPECT_GT(kilobytes, 0);
  EXPECT_LT(kilobytes, 20'000);
  EXPECT_EQ(process.Wait().status, 0);
}

TEST(SendStreamTest, ResidentMemoryStaysBelow20Megabytes) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more memory";
  ScriptedServer server([&](int connection) {
    const std::string piece(1'000'000, 'y');
    for (int i = 0; i < 100; ++i) SendAll(connection, piece);
  });
  Streams streams(server);
  usleep(300'000);  // The reader sleeps while the flood comes.
  while (streams.Read(1'000'000).size() == 1'000'000) {
  }
  const int kilobytes = streams.MostMemory();
  EXPECT_GT(kilobytes, 0);
  EXPECT_LT(kilobytes, 20'000);
  streams.CloseInput();
  EXPECT_EQ(streams.Wait(), 0);
}

TEST(SendStreamTest, EachLineIsAMessage) {
  const auto send = [](const Words& more, const std::string& input) {
    std::promise<std::string> received;
    ScriptedServer server([&](int connection) {
      received.set_value(ReceiveAll(connection));
      SendAll(connection, "a block of bytes");
    });
    const Outcome outcome =
        RunProgram({.arguments = server.Arguments("send") +
                                 Words{"-stdin", "-perline"} + more + kForever,
                    .input = input});
    EXPECT_EQ(outcome.output.size(), 16U);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    return received.get_future().get();
  };
  EXPECT_EQ(send({"-eol", "crlf"}, "a\nbc\n"), "a\r\nbc\r\n");
  EXPECT_EQ(send({"-eol", "lf"}, "a\n\nlast"), "a\n\nlast\n");
  EXPECT_EQ(send({"-pascal"}, "a\nbcd\n"), "\1a\3bcd");
  EXPECT_EQ(send({"-aes", "0123456789abcdef"}, "a\nb\n").size(), 32U);
  EXPECT_EQ(send({"-sum", "5"}, "a\nb\n").size(), 18U);
}

TEST(SendStreamTest, ALineThatIsTooLongForPascalEndsIt) {
  ScriptedServer server([](int connection) { ReceiveAll(connection); });
  const Outcome outcome = RunProgram(
      {.arguments = server.Arguments("send") +
                    Words{"-stdin", "-perline", "-pascal"} + kForever,
       .input = "short\n" + std::string(256, 'x') + "\n",
       .input_stays_open = true});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.error, HasSubstr("256 bytes; -pascal accepts at most"));
}

TEST(SendStreamTest, NonePrintsHowLongConnectingTook) {
  ScriptedServer server(
      [](int connection) { EXPECT_EQ(ReceiveAll(connection), ""); });
  const Outcome open =
      Fairlead(server.Arguments("send") + Words{"-none"} + kForever);
  EXPECT_EQ(open.status, 0);
  EXPECT_THAT(open.output,
              MatchesRegex("connected in [0-9]+\\.[0-9][0-9] ms\n"));
  EXPECT_EQ(open.error, "");
  const Outcome closed = Fairlead({"send", "-none", "-host", "127.0.0.1",
                                   "-port", std::to_string(ClosedPort())});
  EXPECT_EQ(closed.status, 7);
  EXPECT_EQ(closed.output, "");
  EXPECT_THAT(closed.error, HasSubstr("Connection refused"));
}

TEST(SendStreamTest, NoneIsSilentWithQuiet) {
  const Outcome outcome =
      Fairlead(Words{"send", "-demo", "-none", "-quiet"} + kForever);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output + outcome.error, "");
}

TEST(SendStreamTest, AConnectTimeoutIsForEachAddress) {
  const int listener = ListenOnLoopback(0);
  const int port = PortOf(listener);
  const int only = ConnectToPort(port);
  const Outcome outcome =
      Fairlead({"send", "-none", "-host", "127.0.0.1", "-port",
                std::to_string(port), "-connecttimeout", "1"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_EQ(outcome.error, "fairlead send: cannot connect to 127.0.0.1 port " +
                               std::to_string(port) +
                               ": Connection timed out\n");
  close(only);
  close(listener);
}

}  // namespace
}  // namespace fairlead::tool::send_stream_test
