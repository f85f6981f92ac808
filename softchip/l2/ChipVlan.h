#pragma once
// One row of the chip's "vlan" table: the VLAN's members (interface ->
// tagged), the ports that accept frames of the VLAN (ingress) and those that
// send them (egress). Read by the packet path as it is.
#include <map>
#include <ostream>
#include <set>

#include "nollo/IntfId.h"

namespace SoftChip {

struct ChipVlan {
  std::map<Nollo::IntfId, bool> members;
  std::set<Nollo::IntfId> ingress;
  std::set<Nollo::IntfId> egress;
  bool operator==(ChipVlan const&) const = default;
};

// "members [Ethernet1(t), Ethernet2(u)] ingress [Ethernet1] egress [Ethernet1]"
inline std::ostream& operator<<(std::ostream& os, ChipVlan const& v) {
  os << "members [";
  char const* sep = "";
  for (auto const& [intf, tagged] : v.members) {
    os << sep << intf << (tagged ? "(t)" : "(u)");
    sep = ", ";
  }
  for (auto const* set : {&v.ingress, &v.egress}) {
    os << (set == &v.ingress ? "] ingress [" : "] egress [");
    sep = "";
    for (auto const& intf : *set) {
      os << sep << intf;
      sep = ", ";
    }
  }
  return os << ']';
}

}  // namespace SoftChip
