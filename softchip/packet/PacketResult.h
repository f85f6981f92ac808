#pragma once
// What the packet path did with one frame: the VLAN (and filtering database)
// it was bridged in, the copies that left, sorted by port, and - when none
// left - why ("ingress port not in vlan 10", "port Ethernet3 blocking in
// vlan 10", ...). `show`-style text and JSON come from the agent.
#include <optional>
#include <string>
#include <vector>

#include "softchip/packet/EgressCopy.h"

namespace SoftChip {

struct PacketResult {
  std::optional<uint16_t> vlan;
  std::vector<EgressCopy> copies;
  std::string drop;
};

}  // namespace SoftChip
