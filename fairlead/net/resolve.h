// Host names to IPv4 addresses, the quiet flag, and a sleep.

#ifndef FAIRLEAD_NET_RESOLVE_H_
#define FAIRLEAD_NET_RESOLVE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// The process-wide quiet flag, for resolveDnsFull(). Set it before threads
/// run.
FAIRLEAD_EXPORT extern bool silent;

/// Returns the IPv4 addresses of a host, a name or a dotted address, as dotted
/// texts in the order of `getaddrinfo` (POSIX), with duplicates; empty if none
/// is known. A zero byte ends the host. Prints to standard output:
/// - "dns resolved: ADDRESS" for each address;
/// - "Error (CODE): dns failed while resolving HOST" if `getaddrinfo` fails,
///   with its result, such as -2 for an unknown host;
/// - "Error: dns failed while resolving" for an address without a text, which
///   is skipped.
///
/// If `silent` is true, an address prints nothing, and a failure prints "-33"
/// without a newline and ends the process with exit status -1 (255 to a shell).
/// @par Thread safety
/// Not thread-safe (`inet_ntoa`): call it before starting other threads. In a
/// child of `fork()`, call it only if the parent had a single thread.
/// @par Cost
/// Blocks while name servers are queried, which can be many seconds; a dotted
/// address needs no query.
FAIRLEAD_EXPORT std::vector<std::string> resolveDnsFull(
    const std::string& host);

/// Suspends the calling thread for `ms` milliseconds, whatever signals it
/// handles; returns at once if `ms` is 0 or negative. Thread-safe.
FAIRLEAD_EXPORT void sleep_ms(std::int32_t ms);

}  // namespace fairlead

#endif  // FAIRLEAD_NET_RESOLVE_H_
