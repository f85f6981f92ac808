#pragma once
// A decoded RTM_NEWLINK / RTM_DELLINK: a kernel interface.
#include <cstdint>
#include <optional>
#include <string>

#include "nollo/EthAddr.h"

namespace KorFeeds {

struct NlLink {
  bool add = true;  // RTM_NEWLINK; false: RTM_DELLINK
  uint32_t ifindex = 0;
  std::string name;        // IFLA_IFNAME
  bool up = false;         // IFF_UP and IFF_LOWER_UP (or IFF_RUNNING)
  uint32_t master = 0;     // IFLA_MASTER: a bridge, bond or VRF device
  uint32_t parent = 0;     // IFLA_LINK: the lower device of a VLAN
  std::string kind;        // IFLA_LINKINFO/IFLA_INFO_KIND: "vlan", "vrf", "veth", "bridge"...
  uint16_t vlanId = 0;     // IFLA_VLAN_ID of a "vlan" link
  uint32_t vrfTable = 0;   // IFLA_VRF_TABLE of a "vrf" link
  std::optional<Nollo::EthAddr> mac;  // IFLA_ADDRESS when 6 bytes
  bool operator==(NlLink const&) const = default;
};

}  // namespace KorFeeds
