#pragma once
// How one path of an L2 adjacency forwards: to a resolved neighbour, to the
// CPU (to resolve it, or as a receive kind), dropped, through a tunnel or a
// next-hop group.
// Values outside the list print as "NextHopEntryType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class NextHopEntryType : uint8_t {
  nextHopArpRequired,
  nextHopCpu,
  nextHopArpResolved,
  nextHopDrop,
  nextHopCpuSlow,
  nextHopCpuBcast,
  nextHopGroup,
  nextHopTunnel,
  nextHopArpDrop,
  nextHopRouteOverflowDrop,
  nextHopFlow,
};

KOR_EXPORT char const* toString(NextHopEntryType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, NextHopEntryType v);

}  // namespace Kor
