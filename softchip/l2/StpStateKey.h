#pragma once
// Key of the chip's port-state table: a hardware topology id and a port.
// Printed "<topoId>/<port>", ordered by topology, then port.
#include <compare>
#include <ostream>

#include "nollo/IntfId.h"

namespace SoftChip {

struct StpStateKey {
  int topoId = 0;
  Nollo::IntfId intf;
  auto operator<=>(StpStateKey const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, StpStateKey const& k) { return os << k.topoId << "/" << k.intf; }

}  // namespace SoftChip
