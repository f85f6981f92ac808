#include "kor/l3/RouteType.h"

#include <string>

namespace Kor {

char const* toString(RouteType v) {
  switch (v) {
    case RouteType::invalidRoute: return "invalidRoute";
    case RouteType::forwardRoute: return "forwardRoute";
    case RouteType::receiveRoute: return "receiveRoute";
    case RouteType::dropRoute: return "dropRoute";
    case RouteType::attachedRoute: return "attachedRoute";
    case RouteType::nexthopGroupRoute: return "nexthopGroupRoute";
    case RouteType::slowReceiveRoute: return "slowReceiveRoute";
    case RouteType::bcastReceiveRoute: return "bcastReceiveRoute";
    case RouteType::nexthopRoute: return "nexthopRoute";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, RouteType v) {
  if (char const* s = toString(v)) return os << s;
  return os << "RouteType(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
