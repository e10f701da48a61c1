// Exchanges with a host whose addresses the test makes: getaddrinfo and
// freeaddrinfo are this program's own, and go on to the system's for any other
// host.

#include <arpa/inet.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/host_lookup.h"
#include "fairlead/net/loopback_testing.h"

namespace fairlead::internal::exchange_lookup_test {
namespace {

constexpr std::string_view kHost = "made.example";

// What a lookup of kHost gives.
struct Answer {
  int error = 0;
  int system_error = 0;
  std::vector<in_addr_t> addresses;  // In host order.
};
Answer answer;

// Whether a lookup of kHost waits. Then it finds nothing.
std::atomic<bool> lookups_wait = false;
std::atomic<int> waiting = 0;  // How many do.

// An entry of the list, and the address that it points to.
struct Entry {
  addrinfo info = {};
  sockaddr_in address = {};
};
std::vector<Entry> entries;

addrinfo* MakeList() {
  entries.assign(answer.addresses.size(), {});
  addrinfo* next = nullptr;
  for (std::size_t i = entries.size(); i-- > 0;) {
    Entry& entry = entries[i];
    entry.address.sin_family = AF_INET;
    entry.address.sin_addr.s_addr = htonl(answer.addresses[i]);
    entry.info.ai_addr = reinterpret_cast<sockaddr*>(&entry.address);
    entry.info.ai_next = std::exchange(next, &entry.info);
  }
  return next;
}

template <typename Function>
Function* System(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace fairlead::internal::exchange_lookup_test

using namespace fairlead::internal::exchange_lookup_test;

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the
// system's headers have no names of use to a reader.
extern "C" {

FAIRLEAD_EXPORT int getaddrinfo(const char* host, const char* service,
                                const addrinfo* hints, addrinfo** answers) {
  if (host != kHost)
    return System<decltype(::getaddrinfo)>("getaddrinfo")(host, service, hints,
                                                          answers);
  if ((hints->ai_flags & AI_NUMERICHOST) != 0) return EAI_NONAME;
  if (lookups_wait) {
    ++waiting;
    lookups_wait.wait(true);
    return EAI_NONAME;
  }
  errno = answer.system_error;
  if (answer.error == 0) *answers = MakeList();
  return answer.error;
}

FAIRLEAD_EXPORT void freeaddrinfo(addrinfo* answers) noexcept {
  if (!entries.empty() && answers == &entries.front().info) return;
  System<decltype(::freeaddrinfo)>("freeaddrinfo")(answers);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace fairlead::internal::exchange_lookup_test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = ExchangeEvent::Kind;
using Event = std::tuple<Kind, std::string, int>;

constexpr in_addr_t kFirst = 0x7F000002;   // 127.0.0.2
constexpr in_addr_t kSecond = 0x7F000003;  // 127.0.0.3

// A port that neither takes nor refuses a connection: its backlog is full, so
// that the system drops further attempts.
class FullPort {
 public:
  explicit FullPort(in_addr_t host, std::uint16_t port = 0) {
    address_.sin_family = AF_INET;
    address_.sin_port = htons(port);
    address_.sin_addr.s_addr = htonl(host);
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    socklen_t size = sizeof(address_);
    if (bind(listener_.number(), address, size) != 0 ||
        getsockname(listener_.number(), address, &size) != 0 ||
        listen(listener_.number(), 0) != 0)
      std::abort();
    for (const Socket& client : clients_)
      connect(client.number(), address, size);
  }

  std::uint16_t port() const { return ntohs(address_.sin_port); }

 private:
  static Socket NewSocket(int flags = 0) {
    return Socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
  }

  Socket listener_ = NewSocket();
  std::array<Socket, 3> clients_ = {NewSocket(SOCK_NONBLOCK),
                                    NewSocket(SOCK_NONBLOCK),
                                    NewSocket(SOCK_NONBLOCK)};
  sockaddr_in address_ = {};
};

class ExchangeLookupTest : public testing::Test {
 protected:
  ~ExchangeLookupTest() override {
    answer = {};
    entries.clear();
  }

  // An exchange that notes its events.
  Exchange ExchangeWithin(const ExchangeLimits& limits) {
    return Exchange(
        {.limits = limits, .on_event = [this](const ExchangeEvent& event) {
           events_.emplace_back(event.kind, event.address, event.error);
         }});
  }

  ExchangeResult Connect(const ExchangeLimits& limits, std::uint16_t port) {
    return ExchangeWithin(limits).Connect(std::string(kHost), port);
  }

  std::vector<Event> events_;
};

TEST_F(ExchangeLookupTest, ALookUpThatTakesTooLongIsLeft) {
  lookups_wait = true;
  const HostLookup lookup = LookUpHost(std::string(kHost), 10ms);
  const ExchangeResult result = Connect({.total = 10ms}, 7000);
  const ExchangeResult silent =
      Connect({.total = 60s, .first_byte = 10ms}, 7000);
  while (waiting < 3) std::this_thread::yield();
  lookups_wait = false;
  lookups_wait.notify_all();
  EXPECT_TRUE(lookup.timed_out);
  EXPECT_THAT(lookup.addresses, IsEmpty());
  EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  EXPECT_EQ(result.phase, ExchangePhase::kResolving);
  EXPECT_EQ(silent.end, ExchangeEnd::kSilence);
  EXPECT_EQ(silent.phase, ExchangePhase::kResolving);
  EXPECT_EQ(silent.Text(), "the peer was silent");
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(ExchangeLookupTest, TheTimeOfTheFirstByteEndsConnecting) {
  const FullPort full(kFirst);
  answer.addresses = {kFirst};
  for (const ExchangeLimits::Limit total :
       {ExchangeLimits::Limit(60s), ExchangeLimits::Limit()}) {
    events_.clear();
    const ExchangeResult result =
        Connect({.total = total, .first_byte = 50ms}, full.port());
    EXPECT_EQ(result.end, ExchangeEnd::kSilence);
    EXPECT_EQ(result.phase, ExchangePhase::kConnecting);
    EXPECT_THAT(events_, ElementsAre(Event(Kind::kResolved, "127.0.0.2", 0),
                                     Event(Kind::kConnecting, "127.0.0.2", 0),
                                     Event(Kind::kNotConnected, "127.0.0.2",
                                           ETIMEDOUT)));
  }
}

// Afterwards the time of silence counts, from one byte to the next.
TEST_F(ExchangeLookupTest, TheTimeOfTheFirstByteEndsWithThatByte) {
  for (const bool answers : {true, false}) {
    Server server([&](Socket& peer) {
      if (answers) {
        peer.Send("a");
        std::this_thread::sleep_for(800ms);
        peer.Send("b");
      }
      peer.ReceiveEnd();
    });
    Exchange exchange(
        {.limits = {.total = 60s, .idle = 60s, .first_byte = 400ms}});
    Reply reply;
    const ExchangeResult result =
        exchange.Run("127.0.0.1", server.port(), "", reply.Until(2));
    EXPECT_EQ(result.end, answers ? ExchangeEnd::kDone : ExchangeEnd::kSilence);
    EXPECT_EQ(reply.text, answers ? "ab" : "");
  }
}

TEST_F(ExchangeLookupTest, TriesTheSecondAddressWhereTheFirstFails) {
  const Listener listener = std::move(Listener(kSecond).Listen());
  answer.addresses = {kFirst, kSecond};
  Exchange exchange = ExchangeWithin(kPatient);
  const ExchangeResult result =
      exchange.Connect(std::string(kHost), PortOf(listener));
  EXPECT_TRUE(result) << result.Text();
  EXPECT_EQ(result.address, "127.0.0.3");
  EXPECT_THAT(events_,
              ElementsAre(Event(Kind::kResolved, "127.0.0.2", 0),
                          Event(Kind::kResolved, "127.0.0.3", 0),
                          Event(Kind::kConnecting, "127.0.0.2", 0),
                          Event(Kind::kNotConnected, "127.0.0.2", ECONNREFUSED),
                          Event(Kind::kConnecting, "127.0.0.3", 0),
                          Event(Kind::kConnected, "127.0.0.3", 0)));
  const Socket peer = listener.Accept();
  EXPECT_TRUE(exchange.Converse("hello", {}));
  EXPECT_EQ(peer.Receive(5), "hello");
}

TEST_F(ExchangeLookupTest, TriesNoAddressAfterTheOneThatAnswers) {
  const Listener listener = std::move(Listener(kFirst).Listen());
  answer.addresses = {kFirst, kSecond};
  const ExchangeResult result = Connect(kPatient, PortOf(listener));
  EXPECT_TRUE(result);
  EXPECT_EQ(result.address, "127.0.0.2");
  EXPECT_EQ(events_.back(), Event(Kind::kConnected, "127.0.0.2", 0));
}

TEST_F(ExchangeLookupTest, TriesEachAddressOnce) {
  const Listener refusing(kFirst);
  answer.addresses = {kFirst, kSecond, kFirst};
  const ExchangeResult result = Connect(kPatient, PortOf(refusing));
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.address, "127.0.0.3");
  EXPECT_EQ(events_.size(), 6u);  // Each is resolved, tried, and refuses.
}

TEST_F(ExchangeLookupTest, HasTheErrorOfTheLastAddress) {
  const FullPort full(kFirst);
  constexpr ExchangeLimits kLimits = {.total = 60s, .connect = 50ms};
  answer.addresses = {kFirst, kSecond};
  EXPECT_EQ(Connect(kLimits, full.port()).error, ECONNREFUSED);
  answer.addresses = {kSecond, kFirst};
  EXPECT_EQ(Connect(kLimits, full.port()).error, ETIMEDOUT);
}

// What the first address has taken is gone for the second.
TEST_F(ExchangeLookupTest, TriesAllAddressesWithinOneLimit) {
  const FullPort first(kFirst);
  const FullPort second(kSecond, first.port());
  answer.addresses = {kFirst, kSecond};
  const ExchangeResult result =
      Connect({.total = 1600ms, .connect = 800ms}, first.port());
  EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  EXPECT_EQ(result.phase, ExchangePhase::kConnecting);
  EXPECT_EQ(result.address, "127.0.0.3");
}

TEST_F(ExchangeLookupTest, TriesNoAddressOnceTheTimeIsOver) {
  const FullPort full(kFirst);
  answer.addresses = {kFirst, kSecond};
  const ExchangeResult result =
      Connect({.total = 100ms, .connect = 1s}, full.port());
  EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  EXPECT_EQ(result.address, "127.0.0.2");
}

// The first does not answer, and has a share of the time.
TEST_F(ExchangeLookupTest, LeavesTimeForTheSecondAddress) {
  const FullPort full(kFirst);
  answer.addresses = {kFirst, kSecond};
  const ExchangeResult result = Connect({.total = 400ms}, full.port());
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.error, ECONNREFUSED);
  EXPECT_EQ(result.address, "127.0.0.3");
}

TEST_F(ExchangeLookupTest, TheLastAddressHasTheRestOfTheTime) {
  const FullPort first(kFirst);
  const FullPort second(kSecond, first.port());
  answer.addresses = {kFirst, kSecond};
  const ExchangeResult result = Connect({.total = 100ms}, first.port());
  EXPECT_EQ(result.end, ExchangeEnd::kTimeOver);
  EXPECT_EQ(result.address, "127.0.0.3");
}

TEST_F(ExchangeLookupTest, NamesTheErrorOfTheSystem) {
  answer = {.error = EAI_SYSTEM, .system_error = EMFILE, .addresses = {}};
  const ExchangeResult result = Connect(kPatient, 1);
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.phase, ExchangePhase::kResolving);
  EXPECT_EQ(result.error, EAI_SYSTEM);
  EXPECT_EQ(result.system_error, EMFILE);
  EXPECT_EQ(result.Text(), "the name was not resolved: Too many open files");

  const HostLookup found = LookUpHost(std::string(kHost));
  EXPECT_EQ(found.error, EAI_SYSTEM);
  EXPECT_EQ(found.system_error, EMFILE);
}

// The system leaves something in errno often.
TEST_F(ExchangeLookupTest, AnotherErrorIsNotTheSystems) {
  answer = {.error = EAI_AGAIN, .system_error = EMFILE, .addresses = {}};
  const ExchangeResult result = Connect(kPatient, 1);
  EXPECT_EQ(result.error, EAI_AGAIN);
  EXPECT_EQ(result.system_error, 0);
  EXPECT_EQ(result.Text(), std::string("the name was not resolved: ") +
                               gai_strerror(EAI_AGAIN));
  EXPECT_EQ(LookUpHost(std::string(kHost)).system_error, 0);
}

TEST_F(ExchangeLookupTest, AHostMayHaveNoAddress) {
  const ExchangeResult result = Connect(kPatient, 1);
  EXPECT_EQ(result.end, ExchangeEnd::kFailed);
  EXPECT_EQ(result.error, 0);
  EXPECT_EQ(result.Text(), "the name was not resolved: it has no IPv4 address");
  EXPECT_THAT(LookUpHost(std::string(kHost)).addresses, IsEmpty());
}

}  // namespace
}  // namespace fairlead::internal::exchange_lookup_test
