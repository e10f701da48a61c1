// Host names to IPv4 addresses, the quiet flag, and a sleep.

#ifndef FAIRLEAD_NET_RESOLVE_H_
#define FAIRLEAD_NET_RESOLVE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// Whether the process is to be quiet: false unless the program sets it, once
/// and before other threads run.
///
/// Where it is true, resolveDnsFull() prints no progress and a failure of it
/// ends the process.
FAIRLEAD_EXPORT extern bool silent;

/// The IPv4 addresses of a host as dotted texts such as "192.0.2.7", in the
/// order in which the system's resolver (`getaddrinfo`, POSIX) gives them;
/// duplicates are kept.
///
/// `host` is a name or a dotted address; a zero byte ends it. What happens is
/// told in lines on standard output:
///
/// - for each address: "dns resolved: ADDRESS";
/// - where the resolver fails: "Error (CODE): dns failed while resolving HOST",
///   CODE being what `getaddrinfo` returned, such as -2 for an unknown host;
/// - for an address without a text, which is skipped: "Error: dns failed while
///   resolving".
///
/// Where `silent` is true, an address prints nothing, and either failure prints
/// "-33" without the end of a line and ends the process with exit status -1
/// (255 to a shell).
///
/// @return the addresses; empty after a failure, or if the resolver knows none:
///     look before taking the first one
/// @par Thread safety
/// For one thread at a time, in which no other uses `inet_ntoa`: call it before
/// others start. In a child of `fork()`, call it only if the parent had a
/// single thread: the system's resolver may otherwise wait for a lock that
/// another thread of the parent held.
/// @par Cost
/// Blocks for as long as the system asks its name servers, which can be many
/// seconds; a dotted address asks nobody.
/// @par Example
/// @code
/// const auto found = fairlead::resolveDnsFull("localhost");
/// if (found.empty()) return;
/// fairlead::NetClient server;
/// server.addr.sin_addr.s_addr = inet_addr(found.front().c_str());
/// @endcode
FAIRLEAD_EXPORT std::vector<std::string> resolveDnsFull(
    const std::string& host);

/// Lets the calling thread sleep for `ms` milliseconds; for 0 or less, not at
/// all. A signal handled meanwhile does not shorten the sleep.
///
/// @par Thread safety
/// May be called from any number of threads.
FAIRLEAD_EXPORT void sleep_ms(std::int32_t ms);

}  // namespace fairlead

#endif  // FAIRLEAD_NET_RESOLVE_H_
