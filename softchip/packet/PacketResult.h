#pragma once
// What the packet path did with one frame: the VLAN (and filtering database)
// it was bridged in, the copies that left, sorted by port, and - when none
// left - why ("ingress port Ethernet1 not in vlan 10", "port Ethernet3 not
// forwarding in vlan 10", ...; docs/packet-path.md lists them). `fid` is
// the filtering database the VLAN learns in (the VLAN itself unless the
// chip's vlan-fid table shares one); unset when the frame found no VLAN.
// `show`-style text and JSON come from the agent.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "softchip/packet/EgressCopy.h"

namespace SoftChip {

struct PacketResult {
  std::optional<uint16_t> vlan;
  std::optional<uint16_t> fid;
  std::vector<EgressCopy> copies;
  std::string drop;
};

}  // namespace SoftChip
