#pragma once
// What a route does with its packets; the route machines compute it per prefix
// and hand it over in AdjInfo.
// Values outside the list print as "RouteType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"
#include "quill/FecType.h"

namespace Kor {

enum class RouteType : uint8_t {
  invalidRoute,
  forwardRoute,
  receiveRoute,
  dropRoute,
  attachedRoute,
  nexthopGroupRoute,
  slowReceiveRoute,
  bcastReceiveRoute,
  nexthopRoute,
};

KOR_EXPORT char const* toString(RouteType v);
// What a FEC of this type and number of vias asks of the route and adjacency
// machines: a forwarding FEC without vias has nowhere to go (invalid).
KOR_EXPORT RouteType routeTypeOfFec(Quill::Fib::FecType type, size_t viaCount);
KOR_EXPORT std::ostream& operator<<(std::ostream& os, RouteType v);

}  // namespace Kor
