// Host names to IPv4 addresses, by the system's resolver.

#include "fairlead/net/resolve.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

namespace fairlead {

bool silent = false;

namespace {

using Answers = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

// Ends a silent run that failed.
[[noreturn]] void FailSilently() {
  std::printf("-33");
  std::exit(-1);  // NOLINT(concurrency-mt-unsafe): the main thread runs alone.
}

// Calls getaddrinfo for the IPv4 stream addresses of a host and returns its
// result. The service only satisfies the call.
int Ask(const std::string& host, Answers& answers) {
  addrinfo hints = {};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* first = nullptr;
  const int code = getaddrinfo(host.c_str(), "80", &hints, &first);
  if (code == 0) answers.reset(first);
  return code;
}

const char* DottedText(const addrinfo& answer) {
  const auto* address = reinterpret_cast<const sockaddr_in*>(answer.ai_addr);
  return inet_ntoa(address->sin_addr);  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace

std::vector<std::string> resolveDnsFull(const std::string& host) {
  std::vector<std::string> addresses;
  Answers answers(nullptr, &freeaddrinfo);
  if (const int code = Ask(host, answers); code != 0) {
    if (silent) FailSilently();
    std::printf("Error (%d): dns failed while resolving %s\n", code,
                host.c_str());
    return addresses;
  }
  for (const addrinfo* answer = answers.get(); answer != nullptr;
       answer = answer->ai_next) {
    if (const char* text = DottedText(*answer); text != nullptr) {
      addresses.emplace_back(text);
      if (!silent) std::printf("dns resolved: %s\n", text);
    } else {
      if (silent) FailSilently();
      std::puts("Error: dns failed while resolving");
    }
  }
  return addresses;
}

void sleep_ms(std::int32_t ms) {
  std::this_thread::sleep_for(
      std::chrono::seconds(ms / 1000) +
      std::chrono::nanoseconds(std::int64_t{ms % 1000} * 1000000));
}

}  // namespace fairlead
