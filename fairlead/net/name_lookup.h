// Looks up a host name within a limit of time. Not installed.

#ifndef FAIRLEAD_NET_NAME_LOOKUP_H_
#define FAIRLEAD_NET_NAME_LOOKUP_H_

#include <netinet/in.h>

#include <optional>
#include <string>
#include <vector>

#include "fairlead/net/deadline.h"

namespace fairlead::internal {

struct NameLookup {
  int error = 0;         // Of getaddrinfo.
  int system_error = 0;  // The errno of an EAI_SYSTEM.
  std::vector<in_addr> addresses;
};

// Returns the IPv4 addresses of a host, each once, or nothing at the deadline.
// The lookup of a name then goes on in a thread of its own.
std::optional<NameLookup> LookUpName(const std::string& host,
                                     Deadline deadline);

// Returns why a lookup gave no address; the error is that of getaddrinfo.
std::string LookupErrorText(int error, int system_error);

// Returns the address as a dotted text.
std::string Dotted(in_addr address);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_NAME_LOOKUP_H_
