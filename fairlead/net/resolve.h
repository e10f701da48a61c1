// Host names to IPv4 addresses, the quiet flag, and a sleep.

#ifndef FAIRLEAD_NET_RESOLVE_H_
#define FAIRLEAD_NET_RESOLVE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// The process-wide quiet flag of resolveDnsFull(). Set it before threads run.
FAIRLEAD_EXPORT extern bool silent;

/// Returns the IPv4 addresses of a host, a name or a dotted address, as dotted
/// texts in the order of `getaddrinfo` (POSIX), with duplicates. Reads the host
/// to its first zero byte. Prints "dns resolved: ADDRESS" for each. If
/// `getaddrinfo` returns an error, prints "Error (-2): dns failed while
/// resolving HOST" and returns nothing. An address without a text is left out:
/// "Error: dns failed while resolving". If `silent`, prints no address; a
/// failure prints "-33" without a newline and ends the process with exit status
/// -1 (255 to a shell).
///
/// Not thread-safe (`inet_ntoa`): call it before starting threads, and in a
/// child of `fork()` only if the parent had a single thread. Blocks while name
/// servers are queried, up to many seconds; a dotted address needs no query.
FAIRLEAD_EXPORT std::vector<std::string> resolveDnsFull(
    const std::string& host);

/// Sleeps `ms` milliseconds despite signals; not if negative. Thread-safe.
FAIRLEAD_EXPORT void sleep_ms(std::int32_t ms);

}  // namespace fairlead

#endif  // FAIRLEAD_NET_RESOLVE_H_
