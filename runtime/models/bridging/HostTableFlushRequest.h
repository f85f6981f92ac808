#pragma once
// One request to flush dynamic MAC entries: of one VLAN (0: every VLAN) on
// one interface, an Ethernet port or a port channel (none: every interface).
// vlan 0 and no interface ask for a flush of the whole table.
#include <cstdint>
#include <ostream>

#include "nollo/IntfId.h"

namespace Bridging {

struct HostTableFlushRequest {
  uint16_t vlan = 0;
  Nollo::IntfId intf;

  bool operator==(HostTableFlushRequest const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, HostTableFlushRequest const& r) {
  return os << "vlan " << r.vlan << " intf " << r.intf;
}

}  // namespace Bridging
