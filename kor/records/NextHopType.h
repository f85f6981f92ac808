#pragma once
// Kind of egress a next hop resolves to. The last four members are the ones
// the adjacency layer branches on; the first three cover unresolved, punted
// and dropped next hops.
// Values outside the list print as "NextHopType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class NextHopType : uint8_t {
  unknownNextHop,
  cpuPort,
  dropPort,
  physicalPort,
  vlanFloodset,
  portChannel,
  ipTunnel,
};

KOR_EXPORT char const* toString(NextHopType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, NextHopType v);

}  // namespace Kor
