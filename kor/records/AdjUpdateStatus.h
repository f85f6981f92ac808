#pragma once
// The platform's answer to creating, updating or syncing an L2 adjacency.
// The L2 adjacency helper turns it into the adjacency's L2AdjState.
// Values outside the list print as "AdjUpdateStatus(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class AdjUpdateStatus : uint8_t {
  adjUpdateFail,
  adjUpdateSuccess,
  adjUpdateNotReady,
};

KOR_EXPORT char const* toString(AdjUpdateStatus v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, AdjUpdateStatus v);

}  // namespace Kor
