// The lookup of host names, which the system gives no limit of time.

#include "fairlead/net/name_lookup.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/net/host_lookup.h"

namespace fairlead::internal {
namespace {

NameLookup LookUp(const std::string& host, int flags) {
  addrinfo wanted = {};
  wanted.ai_flags = flags;
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  NameLookup found;
  found.error = getaddrinfo(host.c_str(), nullptr, &wanted, &list);
  if (found.error == EAI_SYSTEM) found.system_error = errno;
  if (found.error != 0) return found;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list,
                                                                 &freeaddrinfo);
  for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
    const in_addr address =
        reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr;
    const bool known = std::ranges::any_of(
        found.addresses, [&](in_addr a) { return a.s_addr == address.s_addr; });
    if (!known) found.addresses.push_back(address);
  }
  return found;
}

// What a lookup's thread and the one that waits for it share. The thread keeps
// it alive if nobody waits any more.
class SharedLookup {
 public:
  void Set(NameLookup found) {
    const std::lock_guard lock(mutex_);
    found_ = std::move(found);
    found_cv_.notify_one();
  }

  std::optional<NameLookup> WaitUntil(Deadline deadline) {
    std::unique_lock lock(mutex_);
    const auto is_there = [this] { return found_.has_value(); };
    if (deadline)
      found_cv_.wait_until(lock, *deadline, is_there);
    else
      found_cv_.wait(lock, is_there);
    return std::move(found_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable found_cv_;
  std::optional<NameLookup> found_;  // Guarded by mutex_.
};

NameLookup LookUpWithoutThrowing(const std::string& host) noexcept try {
  return LookUp(host, 0);
} catch (...) {
  return {.error = EAI_MEMORY, .system_error = 0, .addresses = {}};
}

}  // namespace

std::optional<NameLookup> LookUpName(const std::string& host,
                                     Deadline deadline) {
  NameLookup found = LookUp(host, AI_NUMERICHOST);
  if (found.error != EAI_NONAME) return found;
  const auto shared = std::make_shared<SharedLookup>();
  try {
    const BlockedSignals blocked(AllSignals());
    std::thread([shared, host] {
      shared->Set(LookUpWithoutThrowing(host));
    }).detach();
  } catch (const std::system_error&) {
    return NameLookup{.error = EAI_AGAIN, .system_error = 0, .addresses = {}};
  }
  return shared->WaitUntil(deadline);
}

std::string LookupErrorText(int error, int system_error) {
  if (error == 0) return "it has no IPv4 address";
  if (error != EAI_SYSTEM) return gai_strerror(error);
  return std::error_code(system_error, std::generic_category()).message();
}

std::string Dotted(in_addr address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  inet_ntop(AF_INET, &address, text.data(), text.size());
  return text.data();
}

}  // namespace fairlead::internal

namespace fairlead {

HostLookup LookUpHost(const std::string& host,
                      std::optional<std::chrono::milliseconds> limit) {
  const auto found = internal::LookUpName(
      host, internal::DeadlineAfter(std::chrono::steady_clock::now(), limit));
  HostLookup lookup = {
      .timed_out = !found, .error = 0, .system_error = 0, .addresses = {}};
  if (!found) return lookup;
  lookup.error = found->error;
  lookup.system_error = found->system_error;
  for (const in_addr address : found->addresses)
    lookup.addresses.push_back(internal::Dotted(address));
  return lookup;
}

}  // namespace fairlead
