// The peers of the command `listen`: several at once, slow ones, resets.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tool/listen/listen_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::listen_peers_test {
namespace {

using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

using Server = ListenProcess;
using Peer = ListenPeer;

const Words kForever = {"-timeout", "86400"};

TEST(ListenPeersTest, TwoPeersAreServedInTurns) {
  Server server(Words{"-echo", "-count", "2"} + kForever);
  Peer a(server);
  EXPECT_EQ(a.Echoed("a1 "), "a1 ");
  Peer b(server);
  EXPECT_EQ(b.Echoed("b1 "), "b1 ");
  EXPECT_EQ(a.Echoed("a2 "), "a2 ");
  EXPECT_EQ(b.Echoed("b2 "), "b2 ");
  a.Close();
  EXPECT_EQ(b.Echoed("b3"), "b3");
  b.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.output, "a1 b1 a2 b2 b3");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST(ListenPeersTest, ConnectionsAfterTheLastAreRefused) {
  Server server(Words{"-echo", "-count", "1"} + kForever);
  Peer only(server);
  EXPECT_EQ(only.Echoed("x"), "x");
  EXPECT_EQ(ConnectToPort(server.port()), -1);
  only.Close();
  EXPECT_EQ(server.Wait().status, 0);
}

TEST(ListenPeersTest, FiveMegabytesComeBackByteForByte) {
  const std::string bytes = RandomBytes(5'000'000);
  Server server(Words{"-echo"} + kForever);
  std::thread client([&] {
    const Peer peer(server);
    std::thread sender([&] {
      peer.Send(bytes);
      peer.EndSending();
    });
    EXPECT_TRUE(peer.GetAll() == bytes);
    sender.join();
  });
  const Outcome outcome = server.Wait();
  client.join();
  EXPECT_TRUE(outcome.output == bytes);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// Sends without waiting until the server has read nothing more in twenty of its
// rounds; `other` takes part in each. Returns how many bytes were sent, at most
// `limit` and a few more.
std::size_t SentUntilHeldBack(const Peer& peer, const Peer& other,
                              std::size_t limit) {
  const std::string bytes(65536, 'x');
  std::size_t sent = 0;
  for (int idle = 0; idle < 20 && sent < limit;) {
    const ssize_t now = send(peer.socket(), bytes.data(), bytes.size(),
                             MSG_DONTWAIT | MSG_NOSIGNAL);
    if (now > 0) {
      sent += static_cast<std::size_t>(now);
      idle = 0;
      continue;
    }
    EXPECT_EQ(other.Echoed("o"), "o");
    ++idle;
  }
  return sent;
}

// The buffers of the system hold about 10 MB.
TEST(ListenPeersTest, APeerThatDoesNotReadIsHeldBackAndDelaysNobody) {
  constexpr std::size_t kLimit = 100'000'000;
  Server server(Words{"-echo", "-count", "2"} + kForever, "",
                {.output_path = "/dev/null"});
  Peer slow(server);
  Peer other(server);
  const std::size_t sent = SentUntilHeldBack(slow, other, kLimit);
  EXPECT_GT(sent, 0U);
  EXPECT_LT(sent, kLimit);
  EXPECT_TRUE(slow.Get(sent) == std::string(sent, 'x'));
  slow.Close();
  other.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// Each has all it can have before the next connects, which leaves less for
// that. Their windows are small, so that little waits in the system.
TEST(ListenPeersTest, ManyPeersThatDoNotReadNeedLittleMemory) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more memory";
  Server server(Words{"-echo", "-keepopen"} + kForever, "",
                {.output_path = "/dev/null"});
  const Peer other(server);
  std::vector<std::unique_ptr<Peer>> peers(300);
  for (auto& peer : peers) {
    peer = std::make_unique<Peer>(server);
    const int small = 4096;
    for (const int buffer : {SO_RCVBUF, SO_SNDBUF})
      ASSERT_EQ(
          setsockopt(peer->socket(), SOL_SOCKET, buffer, &small, sizeof small),
          0);
    SentUntilHeldBack(*peer, other, 3'000'000);
  }
  const std::string bytes = RandomBytes(100'000);
  std::thread sender([&] { other.Send(bytes); });
  EXPECT_TRUE(other.Get(bytes.size()) == bytes);
  sender.join();
  EXPECT_LT(MostMemoryOf(server.pid()), 12'000);
}

// A pipe that is read once everything else is done.
class LateReader {
 public:
  LateReader() {
    EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
    pipe_.emplace(OpenUninterrupted(path_.c_str(), O_RDONLY | O_NONBLOCK));
  }

  const std::string& path() const { return path_; }

  std::string ReadAll() const {
    fcntl(pipe_->number(), F_SETFL, 0);
    std::string all;
    std::string piece(1 << 20, '\0');
    for (ssize_t got = 0;
         (got = read(pipe_->number(), piece.data(), piece.size())) > 0;)
      all.append(piece, 0, static_cast<std::size_t>(got));
    return all;
  }

 private:
  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/output";
  std::optional<Descriptor> pipe_;
};

TEST(ListenPeersTest, AReaderThatSleepsHoldsUpOnlyThePeerThatFloods) {
  constexpr std::size_t kLimit = 100'000'000;
  for (const char* const view : {"raw", "json"}) {
    SCOPED_TRACE(view);
    const LateReader reader;
    Server server(Words{"-echo", "-count", "3", "-view", view} + kForever, "",
                  {.output_path = reader.path()});
    Peer flood(server);
    Peer other(server);
    const std::size_t sent = SentUntilHeldBack(flood, other, kLimit);
    EXPECT_LT(sent, kLimit);
    Peer late(server);
    EXPECT_EQ(late.Echoed("late"), "late");
    EXPECT_TRUE(IsSanitized() || MostMemoryOf(server.pid()) < 20'000);
    late.Close();
    std::thread rest([&] {
      EXPECT_TRUE(flood.Get(sent) == std::string(sent, 'x'));
      flood.Close();
      other.Close();
    });
    const std::string output = reader.ReadAll();
    rest.join();
    const Outcome outcome = server.Wait();
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, 0);
    if (view == std::string("json")) {
      EXPECT_THAT(output, EndsWith("\"reason\":\"the peer closed\"}\n"));
    } else {
      const auto count = std::count(output.begin(), output.end(), 'x');
      EXPECT_EQ(static_cast<std::size_t>(count), sent);
    }
  }
}

// Returns the last line.
std::string LastLine(const std::string& text) {
  const std::size_t before = text.rfind('\n', text.size() - 2);
  return text.substr(before + 1);
}

constexpr char kTimedOut[] =
    R"(\{"event":"error","time":"[^"]*","status":28,"message":"timed out .*"\})"
    "\n";

// Sends until the server ends.
void Flood(const Peer& peer) {
  const std::string bytes(30'000, 'x');
  while (send(peer.socket(), bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) {
  }
}

TEST(ListenPeersTest, TheTimeLimitIsTheLastEventOfAFlood) {
  const TempFolder folder;
  const std::string path = folder.File("output", "");
  Server server({"-view", "json", "-timeout", "500ms"}, "",
                {.output_path = path});
  const Peer peer(server);
  Flood(peer);
  EXPECT_EQ(server.Wait().status, 28);
  EXPECT_THAT(LastLine(internal::ReadFile(path)), MatchesRegex(kTimedOut));
}

// Its reader begins once the failure is logged.
TEST(ListenPeersTest, TheTimeLimitIsTheLastEventForAReaderThatIsLate) {
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  const LateReader reader;
  Server server({"-view", "json", "-timeout", "500ms", "-log", log}, "",
                {.output_path = reader.path()});
  const Peer peer(server);
  std::thread flood([&] { Flood(peer); });
  while (internal::ReadFile(log).find("] failed: ") == std::string::npos)
    std::this_thread::yield();
  EXPECT_THAT(LastLine(reader.ReadAll()), MatchesRegex(kTimedOut));
  EXPECT_EQ(server.Wait().status, 28);
  flood.join();
}

TEST(ListenPeersTest, AtItsEndItWaitsForTheReader) {
  Server server(Words{"-timeout", "2"}, "", {.output_is_stuck = true});
  Peer peer(server);
  peer.Send("x");
  peer.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.status, 28);
  EXPECT_EQ(outcome.error,
            "fairlead listen: timed out after 2 s while writing standard "
            "output; increase -timeout\n");
}

TEST(ListenPeersTest, AResetCountsAsAnEnd) {
  Server server(Words{"-echo", "-count", "2", "-verbose"} + kForever);
  Peer first(server);
  EXPECT_EQ(first.Echoed("a"), "a");
  Reset(first.socket());
  first.Close();
  Peer second(server);
  EXPECT_EQ(second.Echoed("b"), "b");
  second.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.output, "ab");
  for (const char* const line :
       {"fairlead listen: connected 127\\.0\\.0\\.1:[0-9]+\n",
        ": 1 byte received, 1 sent, Connection reset by peer\n",
        "fairlead listen: closed 127\\.0\\.0\\.1:[0-9]+: 1 byte received, 1 "
        "sent\n"})
    EXPECT_THAT(outcome.error, ContainsRegex(line));
  EXPECT_EQ(outcome.status, 0);
}

// The echo breaks first, with bytes of the peer still unread.
TEST(ListenPeersTest, AResetWhileTheEchoWaitsEndsNobodyElse) {
  Server server(Words{"-echo", "-count", "2"} + kForever, "",
                {.output_path = "/dev/null"});
  Peer slow(server);
  Peer other(server);
  SentUntilHeldBack(slow, other, 100'000'000);
  Reset(slow.socket());
  slow.Close();
  EXPECT_EQ(other.Echoed("still here"), "still here");
  other.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// Descriptors suffice for one connection: 0 to 3 are the streams, 4 listens,
// and 5 is the timer.
TEST(ListenPeersTest, WithoutADescriptorAPeerWaitsForAnotherToEnd) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more descriptors";
  Server server(Words{"-echo", "-count", "3"} + kForever, "ulimit -n 7; ");
  Peer first(server);
  EXPECT_EQ(first.Echoed("1"), "1");
  Peer second(server);
  EXPECT_EQ(first.Echoed("1"), "1");
  first.Close();
  EXPECT_EQ(second.Echoed("2"), "2");
  Peer third(server);
  EXPECT_EQ(second.Echoed("2"), "2");
  second.Close();
  EXPECT_EQ(third.Echoed("3"), "3");
  third.Close();
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.output, "11223");
  EXPECT_EQ(outcome.error,
            "fairlead listen: a peer has to wait until another connection "
            "ends: Too many open files (raise 'ulimit -n')\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST(ListenPeersTest, WithoutADescriptorForTheOnlyPeerItFails) {
  if (IsSanitized()) GTEST_SKIP() << "a sanitizer needs more descriptors";
  Server server(kForever, "ulimit -n 6; ");
  const Peer peer(server);
  const Outcome outcome = server.Wait();
  EXPECT_EQ(outcome.status, 56);
  EXPECT_EQ(outcome.error,
            "fairlead listen: cannot serve peers: Too many open files (raise "
            "'ulimit -n')\n");
}

// Injects a fault into a server without a peer.
Outcome WithFaultIn(const std::string& fault) {
  return RunProgram(
      {.arguments = WithFault(fault) + Words{Program(), "listen", "-port", "0"},
       .environment = {"ASAN_OPTIONS=detect_leaks=0"},
       .program = "strace"});
}

TEST(ListenPeersTest, AFailedCallIsReported) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  const Outcome polled = WithFaultIn("poll:error=ENOMEM");
  EXPECT_EQ(polled.status, 56);
  EXPECT_THAT(polled.error,
              HasSubstr("fairlead listen: cannot serve peers: Cannot allocate "
                        "memory\n"));
  for (const char* const call : {"bind", "listen", "getsockname"}) {
    const Outcome opened = WithFaultIn(call + std::string(":error=EACCES"));
    EXPECT_EQ(opened.status, 7);
    EXPECT_EQ(opened.error,
              "fairlead listen: cannot listen on 127.0.0.1 port 0: Permission "
              "denied; choose a port above 1023\n");
  }
}

}  // namespace
}  // namespace fairlead::tool::listen_peers_test
