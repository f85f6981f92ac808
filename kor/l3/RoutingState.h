#pragma once
// Routing state of a VLAN: off, on, or on but waiting until its routes are
// handed over (deferred enabling).
// Values outside the list print as "RoutingState(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

enum class RoutingState : uint8_t {
  routingDisabled,
  routingEnabled,
  routingDeferred,
};

KOR_EXPORT char const* toString(RoutingState v);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, RoutingState v);

}  // namespace Kor
