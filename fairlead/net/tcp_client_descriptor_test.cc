// The number of the client's socket, in a program that runs without some of its
// standard streams.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <utility>
#include <vector>

#include "fairlead/base/descriptor.h"
#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/resolve.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead::tcp_client_descriptor_test {
namespace {

using internal::CountDescriptors;
using internal::Descriptor;
using internal::Exchanges;
using internal::Listener;
using internal::Pair;
using internal::Socket;
using internal::WaitForMessages;

using Streams = std::vector<int>;

const Streams kStreamCases[] = {
    {STDIN_FILENO},
    {STDOUT_FILENO},
    {STDERR_FILENO},
    {STDIN_FILENO, STDOUT_FILENO},
    {STDIN_FILENO, STDERR_FILENO},
    {STDOUT_FILENO, STDERR_FILENO},
    {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO},
};

bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

Streams OpenOnes(const Streams& streams) {
  Streams open;
  for (const int stream : streams)
    if (IsOpen(stream)) open.push_back(stream);
  return open;
}

// Closes standard streams for as long as it lives; one that was closed before
// stays so.
class WithoutStreams {
 public:
  explicit WithoutStreams(const Streams& streams) {
    std::fflush(stdout);
    for (const int stream : streams)
      kept_[Index(stream)] = Descriptor(fcntl(stream, F_DUPFD_CLOEXEC, 3));
    for (const int stream : streams) close(stream);
  }
  ~WithoutStreams() {
    std::fflush(stdout);
    std::clearerr(stdout);  // What was printed meanwhile has failed.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      const Descriptor& kept = kept_[Index(stream)];
      if (kept.IsOpen()) dup2(kept.number(), stream);
    }
  }
  WithoutStreams(const WithoutStreams&) = delete;
  WithoutStreams& operator=(const WithoutStreams&) = delete;

 private:
  static std::size_t Index(int stream) {
    return static_cast<std::size_t>(stream);
  }

  std::array<Descriptor, 3> kept_;
};

// What a program prints into streams that are closed is lost.
void PrintInto(const Streams& streams) {
  for (const int stream : streams) {
    internal::WriteAll(stream, "a private line\n");
    if (stream != STDOUT_FILENO) continue;
    std::puts("another private line");
    resolveDnsFull("127.0.0.1");
    std::fflush(stdout);
  }
}

TEST(TcpClientDescriptorTest, IsNeverThatOfAStandardStream) {
  const int descriptors = CountDescriptors();
  for (const Streams& streams : kStreamCases) {
    SCOPED_TRACE(testing::PrintToString(streams));
    const Listener listener = std::move(Listener().Listen());
    CTCPClient client;
    bool connected = false;
    Streams taken;
    {
      const WithoutStreams closed(streams);
      connected = client.ConnectTo(&listener.endpoint());
      taken = OpenOnes(streams);
      PrintInto(streams);
    }
    ASSERT_TRUE(connected);
    EXPECT_EQ(taken, Streams());
    const Socket peer = listener.Accept();
    EXPECT_TRUE(Exchanges(client, peer));
    client.Close();
    EXPECT_TRUE(peer.ReceiveEnd());  // Nothing private came before it.
  }
  EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST(TcpClientDescriptorTest, LeavesAFileThatTakesTheNumberZeroAlone) {
  const Listener listener = std::move(Listener().Listen());
  const WithoutStreams closed({STDIN_FILENO});
  CTCPClient client;
  ASSERT_TRUE(client.ConnectTo(&listener.endpoint()));
  const Socket peer = listener.Accept();
  const Descriptor file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(file.number(), 0);
  EXPECT_TRUE(Exchanges(client, peer));
  client.Close();
  client.Close();
  EXPECT_TRUE(IsOpen(0));
}

TEST(TcpClientDescriptorTest, IsNoneWhereOnlyNumbersOfStreamsAreLeft) {
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few = {3, before.rlim_max};
  for (const Streams& streams : kStreamCases) {
    SCOPED_TRACE(testing::PrintToString(streams));
    CTCPClient client;
    bool made = true;
    Streams taken;
    {
      const WithoutStreams closed(streams);
      setrlimit(RLIMIT_NOFILE, &few);
      made = client.CreateMainSock();
      taken = OpenOnes(streams);
      setrlimit(RLIMIT_NOFILE, &before);
    }
    EXPECT_FALSE(made);
    EXPECT_EQ(taken, Streams());
    const CTCPMessage nothing;
    EXPECT_FALSE(client.SendMsg(&nothing));
  }
}

TEST(TcpClientDescriptorTest, IsClosedOnExec) {
  for (const Streams& streams : {Streams(), kStreamCases[0]}) {
    const Listener listener = std::move(Listener().Listen());
    CTCPClient client;
    {
      const WithoutStreams closed(streams);
      EXPECT_TRUE(client.ConnectTo(&listener.endpoint()));
    }
    const Socket peer = listener.Accept();
    ASSERT_TRUE(peer.Send("x"));
    ASSERT_TRUE(WaitForMessages(client, 1));
    EXPECT_EQ(fcntl(client.PopMessage().sock, F_GETFD), FD_CLOEXEC);
  }
}

}  // namespace
}  // namespace fairlead::tcp_client_descriptor_test
