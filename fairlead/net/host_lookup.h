// The addresses of a host name, within a limit of time, as a value.

#ifndef FAIRLEAD_NET_HOST_LOOKUP_H_
#define FAIRLEAD_NET_HOST_LOOKUP_H_

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// What a lookup found. Plain value.
struct HostLookup {
  bool timed_out = false;
  int error = 0;  ///< A result of `getaddrinfo` (POSIX); 0 if it succeeded.
  int system_error = 0;  ///< POSIX `errno` if `error` is EAI_SYSTEM; else 0.
  std::vector<std::string> addresses;  ///< IPv4, dotted, each once.
};

/// Looks up the IPv4 addresses of a host, in the order of `getaddrinfo`.
/// Thread-safe. Prints nothing. Throws only std::bad_alloc.
///
/// A dotted address needs no lookup. A name is looked up on a thread of its
/// own, because the system's lookup has no limit. If the time is over, that
/// thread goes on until the name servers' own timeout ends it, often 10 to 30
/// seconds.
/// @param host a name or a dotted address; a zero byte ends it
/// @param limit nothing: as long as the system takes
FAIRLEAD_EXPORT HostLookup
LookUpHost(const std::string& host,
           std::optional<std::chrono::milliseconds> limit = std::nullopt);

}  // namespace fairlead

#endif  // FAIRLEAD_NET_HOST_LOOKUP_H_
