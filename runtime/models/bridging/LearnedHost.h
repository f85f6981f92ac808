#pragma once
// One entry of a VLAN's MAC table: the layer-2 interface the MAC was learned
// or configured on (an Ethernet port, a member port or a port channel, the
// CPU, or a VXLAN interface for a host behind a remote VTEP), its type and
// how often it moved between interfaces (a wrap-around count).
#include <cstdint>
#include <ostream>

#include "models/bridging/EntryType.h"
#include "nollo/IntfId.h"

namespace Bridging {

struct LearnedHost {
  Nollo::IntfId intf;
  EntryType entryType = EntryType::learnedDynamicMac;
  uint32_t moves = 0;

  bool operator==(LearnedHost const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, LearnedHost const& h) {
  return os << h.intf << " " << h.entryType;
}

}  // namespace Bridging
