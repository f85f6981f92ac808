#pragma once
// What a route does with its packets; the route machines compute it per prefix
// and hand it over in AdjInfo.
// Values outside the list print as "RouteType(<number>)".
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

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
KOR_EXPORT std::ostream& operator<<(std::ostream& os, RouteType v);

}  // namespace Kor
