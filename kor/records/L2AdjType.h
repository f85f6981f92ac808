#pragma once
// What an L2 adjacency serves: routes, a next-hop group, or a flow.
// Values outside the list print as "L2AdjType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class L2AdjType : uint8_t {
  routingAdj,
  nexthopAdj,
  flowAdj,
};

KOR_EXPORT char const* toString(L2AdjType v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, L2AdjType v);

}  // namespace Kor
