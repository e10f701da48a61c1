// The text label of a peer. Not installed.

#ifndef FAIRLEAD_NET_PEER_LABEL_H_
#define FAIRLEAD_NET_PEER_LABEL_H_

#include <netinet/in.h>

#include <cstdint>
#include <string>

#include "fairlead/net/tcp_client.h"
#include "fairlead/text/strings.h"

namespace fairlead::internal {

// Returns "10.0.0.5:8080"; "unicast:7000" if the address is 0, "NONE" if the
// port is 0.
inline std::string PeerLabel(const NetClient& peer) {
  const std::uint16_t port = ntohs(peer.addr.sin_port);
  if (port == 0) return "NONE";
  const std::uint32_t address = ntohl(peer.addr.sin_addr.s_addr);
  if (address == 0) return "unicast:" + inttostr(port);

  std::string label;
  for (int shift = 24; shift >= 0; shift -= 8) {
    label += inttostr((address >> shift) & 0xFF);
    label += shift > 0 ? '.' : ':';
  }
  return label += inttostr(port);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_PEER_LABEL_H_
