// Resolving, against answers made here: getaddrinfo, freeaddrinfo, inet_ntoa
// and nanosleep are this program's own, and go on to the system's unless a test
// says otherwise.

#include "fairlead/net/resolve.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/testing/captured_output.h"

namespace fairlead {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What is called instead of the system; an empty function calls the system.
struct Calls {
  std::function<int(const char*, const char*, const addrinfo*, addrinfo**)>
      getaddrinfo;
  std::function<void(addrinfo*)> freeaddrinfo;
  std::function<char*(in_addr)> inet_ntoa;
  std::function<int(const timespec*, timespec*)> nanosleep;
} calls;

// The system's call of that name.
template <typename Function>
Function* System(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define FAIRLEAD_SYSTEM(name) System<decltype(::name)>(#name)

}  // namespace
}  // namespace fairlead

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the
// system's headers have no names of use to a reader.
extern "C" {

FAIRLEAD_EXPORT int getaddrinfo(const char* host, const char* service,
                                const addrinfo* hints, addrinfo** answers) {
  using fairlead::calls;
  if (calls.getaddrinfo)
    return calls.getaddrinfo(host, service, hints, answers);
  return fairlead::FAIRLEAD_SYSTEM(getaddrinfo)(host, service, hints, answers);
}

FAIRLEAD_EXPORT void freeaddrinfo(addrinfo* answers) noexcept {
  using fairlead::calls;
  if (calls.freeaddrinfo) return calls.freeaddrinfo(answers);
  fairlead::FAIRLEAD_SYSTEM(freeaddrinfo)(answers);
}

FAIRLEAD_EXPORT char* inet_ntoa(in_addr address) noexcept {
  using fairlead::calls;
  if (calls.inet_ntoa) return calls.inet_ntoa(address);
  return fairlead::FAIRLEAD_SYSTEM(inet_ntoa)(address);
}

FAIRLEAD_EXPORT int nanosleep(const timespec* time, timespec* rest) {
  using fairlead::calls;
  if (calls.nanosleep) return calls.nanosleep(time, rest);
  return fairlead::FAIRLEAD_SYSTEM(nanosleep)(time, rest);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace fairlead {
namespace {

// The answers of a resolver that knows these addresses.
class Answers {
 public:
  explicit Answers(const std::vector<const char*>& addresses)
      : addresses_(addresses.size()), answers_(addresses.size()) {
    for (std::size_t i = 0; i < addresses.size(); ++i) {
      addresses_[i].sin_family = AF_INET;
      addresses_[i].sin_port = htons(80);
      addresses_[i].sin_addr.s_addr = inet_addr(addresses[i]);
      answers_[i].ai_addr = reinterpret_cast<sockaddr*>(&addresses_[i]);
      if (i > 0) answers_[i - 1].ai_next = &answers_[i];
    }
  }

  addrinfo* first() { return answers_.empty() ? nullptr : answers_.data(); }

 private:
  std::vector<sockaddr_in> addresses_;
  std::vector<addrinfo> answers_;
};

struct Resolved {
  std::vector<std::string> addresses;
  std::string output;
};

class ResolveTest : public testing::Test {
 protected:
  ~ResolveTest() override {
    calls = {};
    silent = false;
  }

  static Resolved Resolve(const std::string& host) {
    internal::CapturedOutput output;
    Resolved resolved;
    resolved.addresses = resolveDnsFull(host);
    resolved.output = output.Take();
    return resolved;
  }

  // Lets the resolver give these answers, and counts what is released.
  void Answer(const std::vector<const char*>& addresses) {
    answers_ = Answers(addresses);
    calls.getaddrinfo = [this](const char*, const char*, const addrinfo*,
                               addrinfo** answers) {
      *answers = answers_.first();
      return 0;
    };
    calls.freeaddrinfo = [this](addrinfo* answers) {
      EXPECT_EQ(answers, answers_.first());
      ++released_;
    };
  }

  static void Fail(int code) {
    calls.getaddrinfo = [code](const char*, const char*, const addrinfo*,
                               addrinfo**) { return code; };
  }

  // Lets `inet_ntoa` refuse one address.
  static void Refuse(const char* address) {
    calls.inet_ntoa = [address](in_addr asked) -> char* {
      if (asked.s_addr == inet_addr(address)) return nullptr;
      return FAIRLEAD_SYSTEM(inet_ntoa)(asked);
    };
  }

  Answers answers_{{}};
  int released_ = 0;
};

struct Ended {
  std::string output;
  int status;
};

// Resolves in a process of its own, which would end with status 0.
Ended ResolveInChild() {
  std::fflush(stdout);
  std::array<int, 2> ends;
  EXPECT_EQ(pipe(ends.data()), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    resolveDnsFull("host.test");
    std::fflush(stdout);
    _exit(0);
  }
  close(ends[1]);
  Ended ended = {};
  std::array<char, 256> block;
  for (ssize_t got = 0; (got = read(ends[0], block.data(), block.size())) > 0;)
    ended.output.append(block.data(), static_cast<std::size_t>(got));
  close(ends[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  ended.status = WEXITSTATUS(status);
  return ended;
}

TEST_F(ResolveTest, IsNotSilentByItself) { EXPECT_FALSE(silent); }

// The system's own resolver, which asks nobody for these.
TEST_F(ResolveTest, GivesADottedAddressBack) {
  for (const char* address :
       {"192.0.2.7", "127.0.0.1", "0.0.0.0", "255.255.255.255"}) {
    const Resolved resolved = Resolve(address);
    EXPECT_THAT(resolved.addresses, ElementsAre(address));
    EXPECT_EQ(resolved.output, "dns resolved: " + std::string(address) + "\n");
  }
}

TEST_F(ResolveTest, GivesADottedAddressBackSilently) {
  silent = true;
  const Resolved resolved = Resolve("192.0.2.7");
  EXPECT_THAT(resolved.addresses, ElementsAre("192.0.2.7"));
  EXPECT_EQ(resolved.output, "");
}

TEST_F(ResolveTest, AsksForIpv4StreamAddressesOfThePortEighty) {
  int asked = 0;
  calls.getaddrinfo = [&](const char* host, const char* service,
                          const addrinfo* hints, addrinfo** answers) {
    ++asked;
    EXPECT_STREQ(host, "host.test");
    EXPECT_STREQ(service, "80");
    addrinfo expected = {};
    expected.ai_family = AF_INET;
    expected.ai_socktype = SOCK_STREAM;
    expected.ai_protocol = IPPROTO_TCP;
    EXPECT_EQ(std::memcmp(hints, &expected, sizeof(expected)), 0);
    *answers = nullptr;
    return 0;
  };
  Resolve("host.test");
  EXPECT_EQ(asked, 1);
}

TEST_F(ResolveTest, KeepsTheOrderOfTheResolver) {
  Answer({"192.0.2.9", "192.0.2.1", "198.51.100.200"});
  const Resolved resolved = Resolve("host.test");
  EXPECT_THAT(resolved.addresses,
              ElementsAre("192.0.2.9", "192.0.2.1", "198.51.100.200"));
  EXPECT_EQ(resolved.output,
            "dns resolved: 192.0.2.9\n"
            "dns resolved: 192.0.2.1\n"
            "dns resolved: 198.51.100.200\n");
  EXPECT_EQ(released_, 1);
}

TEST_F(ResolveTest, KeepsDuplicates) {
  Answer({"192.0.2.1", "192.0.2.2", "192.0.2.1"});
  EXPECT_THAT(Resolve("host.test").addresses,
              ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.1"));
}

TEST_F(ResolveTest, PrintsNoProgressSilently) {
  silent = true;
  Answer({"192.0.2.1", "192.0.2.2"});
  const Resolved resolved = Resolve("host.test");
  EXPECT_THAT(resolved.addresses, ElementsAre("192.0.2.1", "192.0.2.2"));
  EXPECT_EQ(resolved.output, "");
  EXPECT_EQ(released_, 1);
}

TEST_F(ResolveTest, GivesNothingForAnEmptyAnswer) {
  for (const bool quiet : {false, true}) {
    silent = quiet;
    Answer({});
    const Resolved resolved = Resolve("host.test");
    EXPECT_THAT(resolved.addresses, IsEmpty());
    EXPECT_EQ(resolved.output, "");
  }
}

TEST_F(ResolveTest, TellsTheCodeOfAFailure) {
  const std::pair<int, const char*> failures[] = {
      {EAI_NONAME, "Error (-2): dns failed while resolving host.test\n"},
      {EAI_AGAIN, "Error (-3): dns failed while resolving host.test\n"},
      {EAI_SYSTEM, "Error (-11): dns failed while resolving host.test\n"},
      {1, "Error (1): dns failed while resolving host.test\n"},
  };
  for (const auto& [code, line] : failures) {
    Fail(code);
    const Resolved resolved = Resolve("host.test");
    EXPECT_THAT(resolved.addresses, IsEmpty());
    EXPECT_EQ(resolved.output, line);
  }
}

TEST_F(ResolveTest, TellsAHostNameAsItIs) {
  Fail(EAI_NONAME);
  EXPECT_EQ(Resolve("").output, "Error (-2): dns failed while resolving \n");
  EXPECT_EQ(Resolve("%s%d").output,
            "Error (-2): dns failed while resolving %s%d\n");
}

TEST_F(ResolveTest, SkipsAnAddressWithoutAText) {
  Answer({"192.0.2.1", "192.0.2.2", "192.0.2.3"});
  Refuse("192.0.2.2");
  const Resolved resolved = Resolve("host.test");
  EXPECT_THAT(resolved.addresses, ElementsAre("192.0.2.1", "192.0.2.3"));
  EXPECT_EQ(resolved.output,
            "dns resolved: 192.0.2.1\n"
            "Error: dns failed while resolving\n"
            "dns resolved: 192.0.2.3\n");
  EXPECT_EQ(released_, 1);
}

TEST_F(ResolveTest, EndsTheProcessOnASilentFailure) {
  silent = true;
  Fail(EAI_NONAME);
  const Ended ended = ResolveInChild();
  EXPECT_EQ(ended.output, "-33");
  EXPECT_EQ(ended.status, 255);
}

TEST_F(ResolveTest, EndsTheProcessOnAnAddressWithoutATextSilently) {
  silent = true;
  Answer({"192.0.2.1", "192.0.2.2"});
  Refuse("192.0.2.2");
  const Ended ended = ResolveInChild();
  EXPECT_EQ(ended.output, "-33");
  EXPECT_EQ(ended.status, 255);
}

TEST_F(ResolveTest, GoesOnAfterAFailureThatIsNotSilent) {
  Fail(EAI_NONAME);
  const Ended ended = ResolveInChild();
  EXPECT_EQ(ended.output, "Error (-2): dns failed while resolving host.test\n");
  EXPECT_EQ(ended.status, 0);
}

// What sleep_ms() asks the system for, as seconds and nanoseconds.
using Sleeps = std::vector<std::pair<std::int64_t, std::int64_t>>;

class SleepTest : public testing::Test {
 protected:
  ~SleepTest() override { calls = {}; }

  static Sleeps SleepsOf(std::int32_t ms) {
    Sleeps sleeps;
    calls.nanosleep = [&](const timespec* time, timespec*) {
      sleeps.emplace_back(time->tv_sec, time->tv_nsec);
      return 0;
    };
    sleep_ms(ms);
    calls = {};
    return sleeps;
  }
};

TEST_F(SleepTest, SplitsMillisecondsIntoSecondsAndTheRest) {
  EXPECT_EQ(SleepsOf(1500), (Sleeps{{1, 500000000}}));
  EXPECT_EQ(SleepsOf(1), (Sleeps{{0, 1000000}}));
  EXPECT_EQ(SleepsOf(999), (Sleeps{{0, 999000000}}));
  EXPECT_EQ(SleepsOf(1000), (Sleeps{{1, 0}}));
  EXPECT_EQ(SleepsOf(INT_MAX), (Sleeps{{2147483, 647000000}}));
}

TEST_F(SleepTest, DoesNotSleepForZeroOrLess) {
  for (const int ms : {0, -1, -999, -1000, -1500, INT_MIN})
    EXPECT_EQ(SleepsOf(ms), Sleeps{}) << ms;
}

TEST_F(SleepTest, SleepsOnAfterASignal) {
  Sleeps sleeps;
  calls.nanosleep = [&](const timespec* time, timespec* rest) {
    sleeps.emplace_back(time->tv_sec, time->tv_nsec);
    if (sleeps.size() > 1) return 0;
    *rest = {0, 5};
    errno = EINTR;
    return -1;
  };
  sleep_ms(1500);
  EXPECT_EQ(sleeps, (Sleeps{{1, 500000000}, {0, 5}}));
}

TEST_F(SleepTest, SleepsForReal) {
  const auto start = std::chrono::steady_clock::now();
  sleep_ms(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start,
            std::chrono::milliseconds(20));
}

}  // namespace
}  // namespace fairlead
