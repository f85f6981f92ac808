#pragma once
// The key of one entry of the chip's translation tables: the port and what
// the frame carries - its outer tag and optionally its inner one - or, for
// the port's native translation, the native VLAN (one per port and table).
// Printed as `show chip` lists it: "Ethernet1 100", "Ethernet1 100.200",
// "Ethernet1 native 5".
#include <compare>
#include <cstdint>
#include <ostream>

#include "models/bridging/VlanXlateKey.h"
#include "nollo/IntfId.h"

namespace SoftChip {

struct XlateEntryKey {
  Nollo::IntfId port;
  bool native = false;
  Bridging::VlanXlateKey match;

  auto operator<=>(XlateEntryKey const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, XlateEntryKey const& k) {
  os << k.port.str() << ' ';
  if (k.native) os << "native ";
  return os << k.match;
}

}  // namespace SoftChip
