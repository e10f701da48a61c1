// The addresses of a host name, within a limit of time, as a value.

#ifndef FAIRLEAD_NET_HOST_LOOKUP_H_
#define FAIRLEAD_NET_HOST_LOOKUP_H_

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// What a look-up found. Plain value.
struct HostLookup {
  bool timed_out = false;
  int error = 0;  ///< A result of `getaddrinfo` (POSIX); 0 if it succeeded.
  int system_error = 0;  ///< POSIX `errno` if `error` is EAI_SYSTEM; else 0.
  std::vector<std::string> addresses;  ///< IPv4, dotted, each once.
};

/// Looks up the IPv4 addresses of a host, in the order of `getaddrinfo`. Prints
/// nothing.
///
/// A dotted address is not looked up. A name is, on a thread of its own,
/// because the system's look-up knows no limit: if the time is over, that
/// thread is left behind, and ends when the name servers' own limit, often 10
/// to 30 seconds, is over.
/// @param host a name or a dotted address; a zero byte ends it
/// @param limit nothing: as long as the system takes
/// @throws std::bad_alloc
/// @par Thread safety
/// Thread-safe.
FAIRLEAD_EXPORT HostLookup
LookUpHost(const std::string& host,
           std::optional<std::chrono::milliseconds> limit = std::nullopt);

}  // namespace fairlead

#endif  // FAIRLEAD_NET_HOST_LOOKUP_H_
