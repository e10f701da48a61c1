// The command `listen` as a process, with peers in the test.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tool/listen/listen_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::listen_command_test {
namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

using Server = ListenProcess;
using Peer = ListenPeer;

const Words kForever = {"-timeout", "86400"};

TEST(ListenCommandTest, PrintsWhatOnePeerSends) {
  Server server(kForever);
  EXPECT_THAT(server.first_line(),
              MatchesRegex("fairlead listen: listening on 127\\.0\\.0\\.1 port "
                           "[1-9][0-9]{3,4}"));
  Peer peer(server);
  peer.Send("a\0\xff\r\n"s);
  peer.EndSending();
  EXPECT_EQ(peer.GetAll(), "");
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.output, "a\0\xff\r\n"s);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(ListenCommandTest, QuietPrintsTheFreePortAlone) {
  Server server(Words{"-quiet"} + kForever);
  EXPECT_THAT(server.first_line(),
              StartsWith("fairlead listen: listening on 127.0.0.1 port "));
  Peer peer(server);
  Reset(peer.socket());
  peer.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// Returns a connection to the port on which the process begins to listen, or -1
// if it ends instead.
int ConnectWhenItListens(const Process& process, int port) {
  siginfo_t end{};
  while (end.si_pid == 0) {
    if (const int connection = ConnectToPort(port); connection != -1)
      return connection;
    std::this_thread::yield();
    waitid(P_PID, static_cast<id_t>(process.pid()), &end,
           WEXITED | WNOHANG | WNOWAIT);
  }
  return -1;
}

TEST(ListenCommandTest, AGivenPortIsNotPrinted) {
  const int port = ClosedPort();
  Process process(
      {.arguments = Words{"listen", "-port", std::to_string(port)} + kForever});
  const int connection = ConnectWhenItListens(process, port);
  SendAll(connection, "hello");
  close(connection);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.output, "hello");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(ListenCommandTest, APortInUseIsAStatusOfItsOwn) {
  const int listener = ListenOnLoopback(1);
  const std::string port = std::to_string(PortOf(listener));
  const Outcome outcome = Fairlead({"listen", "-port", port});
  EXPECT_EQ(outcome.status, 48);
  EXPECT_EQ(outcome.error,
            "fairlead listen: cannot listen on 127.0.0.1 port " + port +
                ": Address already in use; choose another port, or 0 for a "
                "free one\n");
  EXPECT_EQ(Fairlead({"listen", "-port", port, "-address", "0.0.0.0"}).status,
            48);
  close(listener);
}

// The connection of the first server outlives it.
TEST(ListenCommandTest, APortCanBeUsedAgainAtOnce) {
  const std::string port = std::to_string(ClosedPort());
  const Words words = Words{"listen", "-port", port, "-echo"} + kForever;
  Process first({.arguments = words});
  const int open = ConnectWhenItListens(first, std::stoi(port));
  SendAll(open, "x");
  EXPECT_EQ(Receive(open, 1), "x");
  kill(first.pid(), SIGINT);
  EXPECT_EQ(first.Wait().signal, SIGINT);
  Process second({.arguments = words});
  close(ConnectWhenItListens(second, std::stoi(port)));
  EXPECT_EQ(second.Wait().status, 0);
  close(open);
}

TEST(ListenCommandTest, AnAddressOfAnotherMachineIsRefused) {
  const Outcome outcome =
      Fairlead({"listen", "-port", "0", "-address", "192.0.2.1"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_EQ(outcome.error,
            "fairlead listen: cannot listen on 192.0.2.1 port 0: Cannot assign "
            "requested address; choose an address of this machine, or 0.0.0.0 "
            "for all of them\n");
}

TEST(ListenCommandTest, AMalformedAddressIsAWrongUsage) {
  for (const char* const address :
       {"localhost", "127.0.0", "1.2.3.4.5", "::1"}) {
    const Outcome outcome =
        Fairlead({"listen", "-port", "0", "-address", address});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.error, "fairlead listen: -address: '"s + address +
                                 "' is not a dotted IPv4 address, such as "
                                 "127.0.0.1\n");
  }
}

TEST(ListenCommandTest, AllAddressesIncludeLoopback) {
  Server server(Words{"-address", "0.0.0.0"} + kForever);
  EXPECT_THAT(server.first_line(), HasSubstr("listening on 0.0.0.0 port "));
  Peer(server).Send("x");
  EXPECT_EQ(server.Wait().output, "x");
}

TEST(ListenCommandTest, AReplyIsSentToEachPeer) {
  Server server(Words{"-reply", R"(220 \x41\\\r\n)", "-count", "2"} + kForever);
  for (int i = 0; i < 2; ++i) {
    Peer peer(server);
    EXPECT_EQ(peer.Get(8), "220 A\\\r\n");
    peer.EndSending();
    EXPECT_EQ(peer.GetAll(), "");
  }
  EXPECT_EQ(server.Wait().status, 0);
}

TEST(ListenCommandTest, AReplyFileIsSentUnchanged) {
  const TempFolder folder;
  const std::string bytes = RandomBytes(3'000'000);
  Server server(Words{"-replyfile", folder.File("a b", bytes)} + kForever);
  const Peer peer(server);
  peer.EndSending();
  EXPECT_TRUE(peer.GetAll() == bytes);
  EXPECT_EQ(server.Wait().status, 0);
}

// A peer may send all it has before it reads: the reply does not hold it up.
TEST(ListenCommandTest, AReplyDoesNotHoldUpAPeerThatSendsFirst) {
  const TempFolder folder;
  const std::string reply = RandomBytes(30'000'000);
  const std::string bytes = RandomBytes(30'000'001);
  Server server(Words{"-replyfile", folder.File("reply", reply)} + kForever);
  std::thread client([&] {
    const Peer peer(server);
    peer.Send(bytes);
    peer.EndSending();
    EXPECT_TRUE(peer.GetAll() == reply);
  });
  const Outcome outcome = server.Wait();
  client.join();
  EXPECT_TRUE(outcome.output == bytes);
  EXPECT_EQ(outcome.error, "");
}

// The system buffers less than the whole reply.
TEST(ListenCommandTest, AReplyFileThatShrinksEndsItAndResetsThePeer) {
  const TempFolder folder;
  const std::string path = folder.File("reply", std::string(30'000'000, 'x'));
  Server server(Words{"-replyfile", path} + kForever);
  const Peer peer(server);
  EXPECT_EQ(peer.Get(1), "x");
  std::filesystem::resize_file(path, 1000);
  EXPECT_LT(peer.GetAll().size(), 30'000'000U);
  char byte = 0;
  EXPECT_EQ(send(peer.socket(), &byte, 1, MSG_NOSIGNAL), -1);
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.error, "fairlead listen: cannot read '" + path +
                               "': it had 30000000 bytes at first, and now has "
                               "fewer\n");
  EXPECT_EQ(outcome.status, 26);
}

TEST(ListenCommandTest, OfAReplyFileThatGrowsTheFirstBytesAreSent) {
  const TempFolder folder;
  const std::string bytes = RandomBytes(30'000'000);
  const std::string path = folder.File("reply", bytes);
  Server server(Words{"-replyfile", path} + kForever);
  const Peer peer(server);
  const std::string first = peer.Get(1);
  std::ofstream(path, std::ios::app) << "more";
  EXPECT_TRUE(first + peer.Get(bytes.size() - 1) == bytes);
  EXPECT_TRUE(IsSanitized() || MostMemoryOf(server.pid()) < 20'000);
  peer.EndSending();
  EXPECT_EQ(peer.GetAll(), "");
  EXPECT_EQ(server.Wait().status, 0);
}

TEST(ListenCommandTest, AMalformedReplyCreatesNoLog) {
  const TempFolder folder;
  const std::string log = folder.path() + "/box.log";
  const Outcome outcome =
      Fairlead({"listen", "-port", "0", "-reply", "\\q", "-log", log});
  EXPECT_THAT(outcome.error, HasSubstr("-reply: "));
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(access(log.c_str(), F_OK), 0);
}

TEST(ListenCommandTest, AMissingReplyFileEndsItBeforeItListens) {
  const Outcome outcome =
      Fairlead({"listen", "-port", "0", "-replyfile", "/nosuch"});
  EXPECT_EQ(outcome.status, 26);
  EXPECT_EQ(outcome.error,
            "fairlead listen: cannot open '/nosuch': No such file or "
            "directory\n");
}

TEST(ListenCommandTest, AReplyWithoutAnEndIsRefused) {
  const Outcome outcome =
      Fairlead({"listen", "-port", "0", "-replyfile", "/dev/zero"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error,
            "fairlead listen: '/dev/zero' has more than 8388608 bytes; a "
            "longer reply must be a regular file\n");
}

TEST(ListenCommandTest, KeepopenServesUntilAnInterrupt) {
  Server server({"-echo", "-keepopen"});
  for (const char* const text : {"one", "two", "three"})
    EXPECT_EQ(Peer(server).Echoed(text), text);
  const Peer open(server);
  EXPECT_EQ(open.Echoed("four"), "four");
  kill(server.pid(), SIGINT);
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.signal, SIGINT);  // 130 in a shell.
  EXPECT_EQ(outcome.output, "onetwothreefour");
  EXPECT_EQ(outcome.error, "");
}

TEST(ListenCommandTest, TheTimeLimitEndsItWithoutAPeer) {
  Server server({"-timeout", "1"});
  const std::string port = std::to_string(server.port());
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.error,
            "fairlead listen: timed out after 1 s while waiting for a peer on "
            "127.0.0.1 port " +
                port + "; increase -timeout\n");
}

TEST(ListenCommandTest, TheTimeLimitEndsItWithAPeerAlsoWithKeepopen) {
  Server server({"-timeout", "2", "-keepopen"});
  const Peer peer(server);
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.error,
            "fairlead listen: timed out after 2 s while serving 1 peer; "
            "increase -timeout\n");
}

TEST(ListenCommandTest, TheTimeLimitEndsItWhileTheOutputBlocks) {
  Server server({"-timeout", "2", "-echo"}, "", {.output_is_stuck = true});
  const Peer peer(server);
  peer.Send("x");
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.status, 28);
  EXPECT_THAT(outcome.error, HasSubstr("while serving 1 peer"));
}

TEST(ListenCommandTest, TheTimeLimitEndsItWhileTheReplyBlocks) {
  const TempFolder folder;
  const std::string pipe = folder.path() + "/pipe";
  const std::string log = folder.path() + "/log";
  EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const Outcome outcome = RunProgram(
      {.arguments = {"listen", "-port", "0", "-replyfile", pipe, "-timeout",
                     "0.1", "-log", log, "-view", "json"}});
  const std::string text =
      "timed out after 100 ms while reading the reply; increase -timeout";
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.error, "fairlead listen: " + text + "\n");
  EXPECT_THAT(outcome.output, HasSubstr("\"message\":\"" + text + "\"}\n"));
  EXPECT_THAT(internal::ReadFile(log), HasSubstr("] failed: " + text + "\n"));
}

TEST(ListenCommandTest, AClosedStandardInputIsHarmless) {
  Server server(Words{"-echo"} + kForever, "", {.closed = {0}});
  Peer peer(server);
  EXPECT_EQ(peer.Echoed("x"), "x");
  peer.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.output, "x");
  EXPECT_EQ(outcome.status, 0);
}

TEST(ListenCommandTest, AFailedStandardOutputEndsIt) {
  Server server(kForever, "", {.output_path = "/dev/full"});
  Peer(server).Send("x");
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("cannot write standard output: "));
}

TEST(ListenCommandTest, ViewsShowOneEntryPerPiece) {
  Server server(Words{"-echo", "-view", "hex"} + kForever);
  Peer peer(server);
  EXPECT_EQ(peer.Echoed("\0A"s), "\0A"s);
  EXPECT_EQ(peer.Echoed("\n"), "\n");
  peer.Close();
  const std::string stamp = R"(\[[0-9.]{10} [0-9:]{8}\] )";
  EXPECT_THAT(server.Wait().output,
              MatchesRegex(stamp + "00 41\n" + stamp + "0a\n"));
}

TEST(ListenCommandTest, TheViewJsonShowsEachConnectionAndItsEnd) {
  Server server(Words{"-echo", "-view", "json"} + kForever);
  Peer peer(server);
  EXPECT_EQ(peer.Echoed("a"), "a");
  peer.Close();
  EXPECT_THAT(server.Wait().output,
              MatchesRegex("\\{\"event\":\"connected\",.*\n"
                           "\\{\"event\":\"received\",.*\n"
                           "\\{\"event\":\"sent\",.*\n"
                           "\\{\"event\":\"closed\",.*\n"));
}

// Returns the lines of the log without their timestamps; N is for a port.
std::string Events(const std::string& path) {
  std::ifstream file(path);
  std::string events;
  for (std::string line; std::getline(file, line);) {
    line.erase(0, line.find("] ") + 2);
    events += line + '\n';
  }
  return events;
}

TEST(ListenCommandTest, LogsEveryEvent) {
  const TempFolder folder;
  const std::string path = folder.path() + "/box.log";
  Server server(Words{"-echo", "-log", path} + kForever);
  Peer peer(server);
  EXPECT_EQ(peer.Echoed("hello"), "hello");
  peer.Close();
  EXPECT_EQ(server.Wait().status, 0);
  EXPECT_THAT(Events(path),
              MatchesRegex("listening on 127\\.0\\.0\\.1 port [0-9]+\n"
                           "connected 127\\.0\\.0\\.1:[0-9]+\n"
                           "received 5 bytes from 127\\.0\\.0\\.1:[0-9]+\n"
                           "closed 127\\.0\\.0\\.1:[0-9]+: 5 bytes received, 5 "
                           "sent\n"));
}

TEST(ListenCommandTest, LogsAReset) {
  const TempFolder folder;
  const std::string path = folder.path() + "/box.log";
  Server server(Words{"-log", path} + kForever);
  Peer peer(server);
  Reset(peer.socket());
  peer.Close();
  EXPECT_EQ(server.Wait().status, 0);
  EXPECT_THAT(Events(path), HasSubstr(": 0 bytes received, 0 sent, Connection "
                                      "reset by peer\n"));
}

TEST(ListenCommandTest, LogsAFailure) {
  const TempFolder folder;
  const std::string path = folder.path() + "/box.log";
  EXPECT_EQ(
      Fairlead({"listen", "-port", "0", "-log", path, "-timeout", "1"}).status,
      28);
  EXPECT_THAT(Events(path), HasSubstr("\nfailed: timed out after 1 s while "
                                      "waiting for a peer on 127.0.0.1 port "));
}

TEST(ListenCommandTest, RefusesWhatDoesNotGoTogether) {
  const auto refused = [](const Words& arguments) {
    const Outcome outcome = Fairlead(Words{"listen"} + arguments);
    EXPECT_EQ(outcome.status, 2);
    return outcome.error;
  };
  const TempFolder folder;
  const std::string file = folder.File("f", "x");
  EXPECT_THAT(refused({}), HasSubstr("missing -port N"));
  EXPECT_THAT(refused({"-port", "65536"}), HasSubstr("(expected 0 to 65535)"));
  EXPECT_THAT(refused({"-port", "0", "-echo", "-reply", "x"}),
              HasSubstr("-reply and -echo cannot be combined"));
  EXPECT_THAT(refused({"-port", "0", "-count", "2", "-keepopen"}),
              HasSubstr("-count and -keepopen cannot be combined"));
  EXPECT_THAT(refused({"-port", "0", "-count", "0"}),
              HasSubstr("(expected 1 to "));
  EXPECT_THAT(refused({"-port", "0", "-reply", "\\q"}),
              HasSubstr("-reply: '\\q' is not one of"));
  EXPECT_THAT(refused({"-port", "0", "-replyfile", file, "-log", file}),
              HasSubstr("-log"));
}

TEST(ListenCommandTest, ServesTheCommandSend) {
  Server server(Words{"-reply", "hello\\n"} + kForever);
  const Outcome client =
      Fairlead({"send", "-host", "127.0.0.1", "-port",
                std::to_string(server.port()), "-text", "ping", "-lines", "1"});
  EXPECT_EQ(client.output, "hello\n");
  EXPECT_EQ(client.status, 0);
  EXPECT_EQ(server.Wait().output, "ping");
}

}  // namespace
}  // namespace fairlead::tool::listen_command_test
