#pragma once
// The configuration of one tunnel interface: its encapsulation, its end
// points (one address family), the VRF whose routes carry the encapsulated
// packets (the underlay) and, for GRE, an optional key.
#include <cstdint>
#include <string>

#include "models/tunnel/TunnelType.h"
#include "nollo/IpGenAddr.h"

namespace Tunnel {

struct TunnelIntfConfig {
  TunnelType type = TunnelType::ipInIp;
  Nollo::IpGenAddr src;
  Nollo::IpGenAddr dst;
  std::string underlayVrf = "default";
  bool hasGreKey = false;
  uint32_t greKey = 0;
  bool operator==(TunnelIntfConfig const&) const = default;
};

}  // namespace Tunnel
