// Exchanges while system calls fail, each one at each of its calls: the outcome
// is a value, nothing hangs or leaks, and the exchange can be used again.

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

#include "fairlead/export.h"
#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/loopback_testing.h"

namespace fairlead::internal::exchange_faults_test {
namespace {

enum class Call {
  kNone,
  kSocket,
  kConnect,
  kPoll,
  kSend,
  kShutdown,
  kFcntl,
  kEventfd,
  kRecv,
  kSetsockopt,
  kGetsockopt,
  kIoctl,
  kThread,
};

// What fails, in every thread but those of the peers.
struct Fault {
  std::atomic<Call> call = Call::kNone;
  std::atomic<int> before = 0;  // Calls that succeed first.
  bool for_ever = false;        // Not only once.
  int error = 0;
  std::atomic<int> hits = 0;
};
Fault fault;
std::atomic<int> ioctls = 0;
thread_local bool is_peer = false;

bool Fails(Call call) {
  if (is_peer || fault.call != call) return false;
  if (fault.before-- > 0) return false;
  if (fault.hits++ > 0 && !fault.for_ever) return false;
  errno = fault.error;
  return true;
}

template <typename Function>
Function* System(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define FAIRLEAD_SYSTEM(name) System<decltype(::name)>(#name)

}  // namespace
}  // namespace fairlead::internal::exchange_faults_test

using namespace fairlead::internal::exchange_faults_test;

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the
// system's headers have no names of use to a reader.
extern "C" {

FAIRLEAD_EXPORT int socket(int domain, int type, int protocol) noexcept {
  if (Fails(Call::kSocket)) return -1;
  return FAIRLEAD_SYSTEM(socket)(domain, type, protocol);
}

// An interrupted one goes on by itself.
FAIRLEAD_EXPORT int connect(int sock, const sockaddr* peer, socklen_t size) {
  const bool fails = Fails(Call::kConnect);
  if (fails && fault.error != EINTR) return -1;
  const int result = FAIRLEAD_SYSTEM(connect)(sock, peer, size);
  if (fails) errno = EINTR;
  return fails ? -1 : result;
}

FAIRLEAD_EXPORT int poll(pollfd* files, nfds_t count, int timeout) {
  if (Fails(Call::kPoll)) return -1;
  return FAIRLEAD_SYSTEM(poll)(files, count, timeout);
}

FAIRLEAD_EXPORT ssize_t send(int sock, const void* data, std::size_t size,
                             int flags) {
  if (Fails(Call::kSend)) return -1;
  return FAIRLEAD_SYSTEM(send)(sock, data, size, flags);
}

// Not the one that wakes the receive thread, which would wait for its 3
// seconds.
FAIRLEAD_EXPORT int shutdown(int sock, int how) noexcept {
  if (how == SHUT_WR && Fails(Call::kShutdown)) return -1;
  return FAIRLEAD_SYSTEM(shutdown)(sock, how);
}

FAIRLEAD_EXPORT int fcntl(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (Fails(Call::kFcntl)) return -1;
  return FAIRLEAD_SYSTEM(fcntl)(descriptor, command, argument);
}

FAIRLEAD_EXPORT int eventfd(unsigned int count, int flags) noexcept {
  if (Fails(Call::kEventfd)) return -1;
  return FAIRLEAD_SYSTEM(eventfd)(count, flags);
}

// By another name in here: the headers may hold a checked recv of their own.
FAIRLEAD_EXPORT ssize_t OwnRecv(int sock, void* data, std::size_t size,
                                int flags) __asm__("recv");

ssize_t OwnRecv(int sock, void* data, std::size_t size, int flags) {
  if (Fails(Call::kRecv)) return -1;
  return FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
}

FAIRLEAD_EXPORT int setsockopt(int sock, int level, int name, const void* value,
                               socklen_t size) noexcept {
  if (Fails(Call::kSetsockopt)) return -1;
  return FAIRLEAD_SYSTEM(setsockopt)(sock, level, name, value, size);
}

FAIRLEAD_EXPORT int getsockopt(int sock, int level, int name, void* value,
                               socklen_t* size) noexcept {
  if (Fails(Call::kGetsockopt)) return -1;
  return FAIRLEAD_SYSTEM(getsockopt)(sock, level, name, value, size);
}

FAIRLEAD_EXPORT int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  ++ioctls;
  if (Fails(Call::kIoctl)) return -1;
  return FAIRLEAD_SYSTEM(ioctl)(descriptor, request, argument);
}

FAIRLEAD_EXPORT int pthread_create(pthread_t* thread,
                                   const pthread_attr_t* attributes,
                                   void* (*start)(void*),
                                   void* argument) noexcept {
  if (Fails(Call::kThread)) return fault.error;
  return FAIRLEAD_SYSTEM(pthread_create)(thread, attributes, start, argument);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace fairlead::internal::exchange_faults_test {
namespace {

using namespace std::chrono_literals;

void Arm(Call call, int before, bool for_ever, int error) {
  fault.before = before;
  fault.for_ever = for_ever;
  fault.error = error;
  fault.hits = 0;
  fault.call = call;
}

// Returns whether a call has failed.
bool Disarm() {
  fault.call = Call::kNone;
  return fault.hits > 0;
}

// One kind of exchange; its reply is "ok\n".
struct Kind {
  const char* name;
  ExchangeEnd end;
  std::function<ExchangeResult(Exchange&, std::uint16_t port, Reply&)> run;
};

ExchangeResult RunBody(Exchange& exchange, std::uint16_t port,
                       std::string_view body, Reply& reply) {
  return exchange.Run("127.0.0.1", port, body, reply.Until(3));
}

ExchangeResult RunInput(Exchange& exchange, std::uint16_t port, Reply& reply) {
  Pipe input;
  input.Write("hello");
  input.CloseWriting();
  ExchangeResult result = exchange.Connect("127.0.0.1", port);
  if (result)
    result = exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                               reply.UntilTheEnd());
  exchange.Close();
  return result;
}

const std::string kLarge = std::string(1 << 20, 'x') + '\n';

const Kind kKinds[] = {
    {"a short body", ExchangeEnd::kDone,
     [](auto& exchange, auto port, auto& reply) {
       return RunBody(exchange, port, "hello\n", reply);
     }},
    {"a long body", ExchangeEnd::kDone,
     [](auto& exchange, auto port, auto& reply) {
       return RunBody(exchange, port, kLarge, reply);
     }},
    {"an input", ExchangeEnd::kPeerClosed, RunInput},
};

constexpr Call kCalls[] = {
    Call::kSocket, Call::kConnect, Call::kPoll,     Call::kSend,
    Call::kFcntl,  Call::kEventfd, Call::kRecv,     Call::kSetsockopt,
    Call::kIoctl,  Call::kThread,  Call::kShutdown, Call::kGetsockopt,
};

Exchange HalfClosing(bool half_close) {
  return Exchange({.limits = kPatient, .half_close = half_close});
}

// The peer closes its end in a moment.
bool WaitForDescriptors(int count) {
  const auto limit = std::chrono::steady_clock::now() + 1min;
  while (CountDescriptors() > count) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::yield();
  }
  return true;
}

class ExchangeFaultsTest : public testing::Test {
 protected:
  ~ExchangeFaultsTest() override { Disarm(); }

  void ExpectDone(const Kind& kind, Exchange& exchange) {
    Reply reply;
    const ExchangeResult result = kind.run(exchange, server_.port(), reply);
    EXPECT_EQ(result.end, kind.end) << result.Text();
    EXPECT_EQ(reply.text, "ok\n");
  }

  // Returns whether a call has failed.
  bool RunWithFault(const Kind& kind, Call call, int before, bool for_ever,
                    int error) {
    Exchange exchange = HalfClosing(kind.end == ExchangeEnd::kPeerClosed);
    Reply reply;
    Arm(call, before, for_ever, error);
    const ExchangeResult result = kind.run(exchange, server_.port(), reply);
    const bool hit = Disarm();
    const bool done = result.end == kind.end && reply.text == "ok\n";
    const bool failed = result.end == ExchangeEnd::kFailed &&
                        result.error == error && error != EINTR;
    EXPECT_TRUE(done || (hit && failed)) << result.Text() << reply.text;
    ExpectDone(kind, exchange);
    return hit;
  }

  SerialServer server_{[](Socket& peer) {
    is_peer = true;
    AnswerOk(peer);
  }};
};

TEST_F(ExchangeFaultsTest, EachFailureIsAValue) {
  const int descriptors = CountDescriptors();
  for (const Call call : kCalls) {
    int hits = 0;
    for (const Kind& kind : kKinds)
      for (const bool for_ever : {false, true})
        for (int before = 0; before < 100; ++before) {
          SCOPED_TRACE(testing::Message()
                       << kind.name << ", call " << static_cast<int>(call)
                       << " after " << before << (for_ever ? ", all" : ""));
          if (!RunWithFault(kind, call, before, for_ever, ENOBUFS)) break;
          ++hits;
          ASSERT_FALSE(HasFailure());
        }
    EXPECT_GT(hits, 0) << static_cast<int>(call);
  }
  EXPECT_TRUE(WaitForDescriptors(descriptors));
}

TEST_F(ExchangeFaultsTest, AnInterruptionEndsNothing) {
  for (const Call call :
       {Call::kConnect, Call::kPoll, Call::kSend, Call::kRecv})
    for (const Kind& kind : kKinds)
      for (int before = 0; before < 100; ++before) {
        SCOPED_TRACE(testing::Message() << kind.name << " " << before);
        if (!RunWithFault(kind, call, before, false, EINTR)) break;
        ASSERT_FALSE(HasFailure());
      }
}

TEST_F(ExchangeFaultsTest, ALookUpWithoutAThreadFails) {
  Exchange exchange({.limits = kPatient});
  Arm(Call::kThread, 0, true, EAGAIN);
  const ExchangeResult result = exchange.Connect("localhost", server_.port());
  EXPECT_TRUE(Disarm());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kResolving);
  EXPECT_EQ(result.error, EAI_AGAIN);
}

// What fails on this side ends it, also if the peer never pauses.
TEST_F(ExchangeFaultsTest, AFloodDoesNotHideAFailure) {
  Server flooding([](Socket& peer) {
    is_peer = true;
    const std::string piece(1 << 16, 'x');
    while (peer.Send(piece)) {
    }
  });
  Exchange exchange({.limits = {.total = std::nullopt, .idle = std::nullopt}});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", flooding.port()));
  Reply reply;
  Arm(Call::kEventfd, 0, true, EMFILE);
  const ExchangeResult result =
      exchange.Converse(kLarge, [](auto, const auto&) { return false; });
  EXPECT_TRUE(Disarm());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kSending);
  EXPECT_EQ(result.error, EMFILE);
}

// The peer has closed its sending direction and reads nothing.
TEST_F(ExchangeFaultsTest, AsksForAnAcknowledgementNowAndThen) {
  Pipe done;
  Server server([&](Socket& peer) {
    is_peer = true;
    shutdown(peer.number(), SHUT_WR);
    char byte = 0;
    EXPECT_EQ(read(done.ends[0], &byte, 1), 1);
  });
  Exchange exchange(
      {.limits = {.total = 60s, .idle = 400ms}, .half_close = true});
  ASSERT_TRUE(exchange.Connect("127.0.0.1", server.port()));
  const std::string body(300'000, 'x');
  Reply reply;
  ioctls = 0;
  const ExchangeResult result = exchange.Converse(body, reply.UntilTheEnd());
  done.Write("x");
  EXPECT_EQ(result.end, ExchangeEnd::kPeerClosed);
  EXPECT_EQ(result.sent, body.size());
  EXPECT_GE(ioctls, 2);
  EXPECT_LE(ioctls, 50);
}

}  // namespace
}  // namespace fairlead::internal::exchange_faults_test
