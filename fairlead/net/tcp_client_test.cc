// The client against a peer in the same process: connecting, what comes back,
// and the values themselves.

#include "fairlead/net/tcp_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/peer_label.h"
#include "fairlead/testing/captured_output.h"
#include "fairlead/text/strings.h"

namespace fairlead::tcp_client_test {
namespace {

using internal::BodyOf;
using internal::CountDescriptors;
using internal::Exchanges;
using internal::Listener;
using internal::MessageOf;
using internal::Pair;
using internal::PrintedBy;
using internal::Socket;
using internal::WaitForEnd;
using internal::WaitForMessages;

static_assert(sizeof(NetClient) == 16);
static_assert(sizeof(CTCPMessage::data) == 1800);
static_assert(std::is_base_of_v<NetClient, CTCPMessage>);
static_assert(std::is_trivially_copyable_v<CTCPMessage>);
static_assert(!std::is_polymorphic_v<CTCPMessage>);
static_assert(!std::is_copy_constructible_v<CTCPClient>);
static_assert(!std::is_copy_assignable_v<CTCPClient>);

// An instant as a number that can be compared.
std::int64_t Nanoseconds(const TheTime& time) {
  return std::int64_t{time.ts.tv_sec} * 1000000000 + time.ts.tv_nsec;
}

std::string PatternOf(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t i = 0; i < count; ++i)
    bytes[i] = static_cast<char>((i * 31 + i / 251) & 0xFF);
  return bytes;
}

// Pops messages, each of a length that one receive can have, until `count`
// bytes have come.
std::string PopBytes(CTCPClient& client, std::size_t count) {
  std::string bytes;
  while (bytes.size() < count && WaitForMessages(client, 1)) {
    const CTCPMessage message = client.PopMessage();
    EXPECT_GE(message.len, 1);
    EXPECT_LE(message.len, 1796);
    bytes += BodyOf(message);
  }
  return bytes;
}

TEST(NetClientTest, StartsAsNoAddressAtAll) {
  const NetClient endpoint;
  EXPECT_EQ(endpoint.addr.sin_family, AF_INET);
  EXPECT_EQ(endpoint.addr.sin_port, 0);
  EXPECT_EQ(endpoint.addr.sin_addr.s_addr, 0U);
  for (const unsigned char zero : endpoint.addr.sin_zero) EXPECT_EQ(zero, 0);
}

TEST(TcpMessageTest, StartsEmptyAndWithoutSocket) {
  const TheTime before;
  const CTCPMessage message;
  EXPECT_EQ(message.len, 0);
  EXPECT_EQ(message.sock, 0);
  EXPECT_EQ(message.addr.sin_family, AF_INET);
  EXPECT_GE(Nanoseconds(message.time), Nanoseconds(before));
}

TEST(TcpMessageTest, HoldsItsFieldsInOrder) {
  const CTCPMessage message;
  const auto at = [&](const auto& field) {
    return reinterpret_cast<const char*>(&field) -
           reinterpret_cast<const char*>(&message);
  };
  EXPECT_EQ(at(message.addr), 0);
  EXPECT_EQ(at(message.data), 16);
  EXPECT_EQ(at(message.len), 1816);
  EXPECT_GT(at(message.time), at(message.len));
  EXPECT_GT(at(message.sock), at(message.time));
}

struct LabelCase {
  const char* address;
  std::uint16_t port;
  const char* label;
};

constexpr LabelCase kLabelCases[] = {
    {"10.0.0.5", 8080, "10.0.0.5:8080"},
    {"0.0.0.0", 7000, "unicast:7000"},
    {"0.0.0.0", 0, "NONE"},
    {"10.0.0.5", 0, "NONE"},  // the port decides first
    {"1.2.3.4", 1, "1.2.3.4:1"},
    {"255.254.253.252", 65535, "255.254.253.252:65535"},
    {"0.0.0.1", 256, "0.0.0.1:256"},
};

TEST(PeerLabelTest, NamesEveryKindOfPeer) {
  for (const LabelCase& c : kLabelCases) {
    NetClient peer;
    peer.addr.sin_addr.s_addr = inet_addr(c.address);
    peer.addr.sin_port = htons(c.port);
    EXPECT_EQ(internal::PeerLabel(peer), c.label);
  }
}

TEST(TcpClientTest, StartsIdle) {
  CTCPClient client;
  EXPECT_TRUE(client.IsNotTerminated());
  EXPECT_EQ(client.MessagesCount(), 0);
  const CTCPMessage nothing;
  EXPECT_FALSE(client.SendMsg(&nothing));  // There is no socket.
}

// The order of calls that the header shows, with a peer that answers.
TEST(TcpClientTest, ExchangesAsItsDocumentationShows) {
  Listener listener = std::move(Listener().Listen());
  std::thread server([&listener] {
    const Socket peer = listener.Accept();
    peer.Send(peer.Receive(6));
    EXPECT_TRUE(peer.ReceiveEnd());
  });

  CTCPMessage request;
  request.addr = listener.endpoint().addr;
  request.len = WritePascalString(request.data, "hello");
  CTCPClient client;
  ASSERT_TRUE(client.ConnectTo(&request));
  ASSERT_TRUE(client.SendMsg(&request));
  std::string reply;
  for (int waits = 0; client.IsNotTerminated() && waits < 500; ++waits) {
    while (client.MessagesCount() > 0) reply += BodyOf(client.PopMessage());
    if (reply.size() >= 6) break;
    std::unique_lock<std::mutex> lock(client.queueMutex);
    client.messageCv.wait_for(lock, std::chrono::milliseconds(100));
  }
  client.Close();
  server.join();
  EXPECT_EQ(reply, "\5hello");
}

TEST(TcpClientTest, FillsEveryFieldOfAReceivedMessage) {
  Pair pair;
  ASSERT_TRUE(pair.connected);
  ASSERT_TRUE(Exchanges(pair.client, pair.peer));
  const TheTime before;  // After the first message: each has its own time.
  ASSERT_TRUE(pair.peer.Send("one"));
  ASSERT_TRUE(WaitForMessages(pair.client, 1));
  const TheTime after;

  const CTCPMessage message = pair.client.PopMessage();
  EXPECT_EQ(BodyOf(message), "one");
  EXPECT_EQ(message.len, 3);
  EXPECT_GE(Nanoseconds(message.time), Nanoseconds(before));
  EXPECT_LE(Nanoseconds(message.time), Nanoseconds(after));
  const sockaddr_in& server = pair.listener.endpoint().addr;
  EXPECT_EQ(message.addr.sin_family, AF_INET);
  EXPECT_EQ(message.addr.sin_port, server.sin_port);
  EXPECT_EQ(message.addr.sin_addr.s_addr, server.sin_addr.s_addr);
  EXPECT_EQ(pair.client.MessagesCount(), 0);

  // The descriptor is the client's: what is sent on it reaches the peer.
  CTCPMessage answer = MessageOf("two");
  answer.sock = message.sock;
  EXPECT_TRUE(pair.client.SendMsg(&answer));
  EXPECT_EQ(pair.peer.Receive(3), "two");
}

TEST(TcpClientTest, GivesItsSocketTwoSecondsEitherWay) {
  Pair pair;
  pair.peer.Send("x");
  ASSERT_TRUE(WaitForMessages(pair.client, 1));
  const int sock = pair.client.PopMessage().sock;
  for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
    timeval limit = {};
    socklen_t size = sizeof(limit);
    ASSERT_EQ(getsockopt(sock, SOL_SOCKET, option, &limit, &size), 0);
    EXPECT_EQ(limit.tv_sec, 2);
    EXPECT_EQ(limit.tv_usec, 0);
  }
}

TEST(TcpClientTest, PopsInTheOrderOfReceipt) {
  Pair pair;
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(pair.peer.Send(inttostr(i)));
    ASSERT_TRUE(WaitForMessages(pair.client, i + 1));
  }
  std::int64_t last = 0;
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(pair.client.MessagesCount(), 200 - i);
    const CTCPMessage message = pair.client.PopMessage();
    EXPECT_EQ(BodyOf(message), inttostr(i));
    EXPECT_GE(Nanoseconds(message.time), last);
    last = Nanoseconds(message.time);
  }
}

TEST(TcpClientTest, CutsWhatComesAtOnceIntoMessages) {
  for (const std::size_t count :
       {1U, 1795U, 1796U, 1797U, 1800U, 3000U, 3592U, 3593U, 20000U}) {
    SCOPED_TRACE(testing::Message() << count << " bytes");
    Pair pair;
    const std::string sent = PatternOf(count);
    ASSERT_TRUE(pair.peer.Send(sent));
    pair.peer.Close();
    ASSERT_TRUE(WaitForEnd(pair.client));
    EXPECT_GE(pair.client.MessagesCount(),
              static_cast<int>((count + 1795) / 1796));
    EXPECT_EQ(PopBytes(pair.client, count), sent);
    EXPECT_EQ(pair.client.MessagesCount(), 0);
  }
}

TEST(TcpClientTest, QueuesThreeThousandBytesAsTwoMessagesOrMore) {
  Pair pair;
  ASSERT_TRUE(pair.peer.Send(PatternOf(3000)));
  ASSERT_TRUE(WaitForMessages(pair.client, 2));
  const CTCPMessage first = pair.client.PopMessage();
  EXPECT_LE(first.len, 1796);
  EXPECT_EQ(BodyOf(first) + PopBytes(pair.client, 3000 - BodyOf(first).size()),
            PatternOf(3000));
}

TEST(TcpClientTest, LosesNothingInAFlood) {
  constexpr std::size_t kFlood = 20000000;
  Pair pair;
  const std::string sent = PatternOf(kFlood);
  std::thread server([&] {
    EXPECT_TRUE(pair.peer.Send(sent));
    pair.peer.Close();
  });
  EXPECT_TRUE(PopBytes(pair.client, kFlood) == sent);
  server.join();
  ASSERT_TRUE(WaitForEnd(pair.client));
  EXPECT_EQ(pair.client.MessagesCount(), 0);
}

TEST(TcpClientTest, KeepsAFloodThatNobodyReads) {
  constexpr std::size_t kFlood = 2000000;
  Pair pair;
  ASSERT_TRUE(pair.peer.Send(PatternOf(kFlood)));
  pair.peer.Close();
  ASSERT_TRUE(WaitForEnd(pair.client));
  pair.client.Terminate();
  EXPECT_TRUE(PopBytes(pair.client, kFlood) == PatternOf(kFlood));
}

TEST(TcpClientTest, CarriesRandomPiecesBothWays) {
  constexpr unsigned kSeed = 8101;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  Pair pair;
  for (int round = 0; round < 300; ++round) {
    std::string body = PatternOf(random() % 1801);
    std::shuffle(body.begin(), body.end(), random);
    const CTCPMessage message = MessageOf(body);
    ASSERT_TRUE(pair.client.SendMsg(&message));
    ASSERT_EQ(pair.peer.Receive(body.size()), body);
    ASSERT_TRUE(pair.peer.Send(body));
    ASSERT_EQ(PopBytes(pair.client, body.size()), body);
  }
}

// Without a wait in short pieces: the lock is held from before the request.
TEST(TcpClientTest, AnswersAConsumerThatLocksBeforeItSends) {
  Pair pair;
  std::thread server([&] {
    for (int i = 0; i < 200; ++i) pair.peer.Send(pair.peer.Receive(1));
  });
  const CTCPMessage request = MessageOf("?");
  for (int i = 0; i < 200; ++i) {
    {
      std::unique_lock<std::mutex> lock(pair.client.queueMutex);
      ASSERT_TRUE(pair.client.SendMsg(&request));
      pair.client.messageCv.wait_for(lock, std::chrono::minutes(1));
    }
    ASSERT_TRUE(WaitForMessages(pair.client, 1));  // The wake may be spurious.
    EXPECT_EQ(BodyOf(pair.client.PopMessage()), "?");
  }
  server.join();
}

TEST(TcpClientTest, TellsTheNumberOfAFailedConnection) {
  const Listener refusing;
  const int descriptors = CountDescriptors();
  CTCPClient client;
  EXPECT_EQ(
      PrintedBy([&] { EXPECT_FALSE(client.ConnectTo(&refusing.endpoint())); }),
      "err=111\n");
  EXPECT_EQ(CountDescriptors(), descriptors + 1);  // The socket is kept,
  EXPECT_TRUE(client.IsNotTerminated());
  client.Close();  // until now.
  EXPECT_EQ(CountDescriptors(), descriptors);
  EXPECT_FALSE(client.IsNotTerminated());
}

TEST(TcpClientTest, ClosesTheSocketOfAFailedConnectionWithItself) {
  const Listener refusing;
  const int descriptors = CountDescriptors();
  EXPECT_EQ(PrintedBy([&] {
              CTCPClient client;
              EXPECT_FALSE(client.ConnectTo(&refusing.endpoint()));
            }),
            "err=111\n");
  EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST(TcpClientTest, PrintsNothingOnSuccess) {
  EXPECT_EQ(PrintedBy([] {
              Pair pair;
              EXPECT_TRUE(pair.connected);
              pair.client.Close();
            }),
            "");
}

TEST(TcpClientTest, ConnectsToTheEndpointOfAMessage) {
  Listener listener = std::move(Listener().Listen());
  CTCPMessage request = MessageOf("both in one");
  request.addr = listener.endpoint().addr;
  CTCPClient client;
  ASSERT_TRUE(client.ConnectTo(&request));
  const Socket peer = listener.Accept();
  ASSERT_TRUE(client.SendMsg(&request));
  EXPECT_EQ(peer.Receive(11), "both in one");
}

TEST(TcpClientTest, ForgetsTheSocketThatItHadWithoutClosingIt) {
  const int descriptors = CountDescriptors();
  CTCPClient client;
  EXPECT_TRUE(client.CreateMainSock());
  EXPECT_TRUE(client.CreateMainSock());
  EXPECT_EQ(CountDescriptors(), descriptors + 2);
  client.Close();
  EXPECT_EQ(CountDescriptors(), descriptors + 1);
}

TEST(TcpClientTest, MakesASocketWithoutConnecting) {
  const int descriptors = CountDescriptors();
  {
    CTCPClient client;
    client.Terminate();
    EXPECT_TRUE(client.CreateMainSock());
    EXPECT_TRUE(client.IsNotTerminated());  // A new socket, a new start.
    EXPECT_EQ(CountDescriptors(), descriptors + 1);
  }
  EXPECT_EQ(CountDescriptors(), descriptors);
}

}  // namespace
}  // namespace fairlead::tcp_client_test
