#include "kor/records/RouteType.h"

#include <string>

namespace Kor {

RouteType routeTypeOfFec(Quill::Fib::FecType type, size_t viaCount) {
  using Quill::Fib::FecType;
  switch (type) {
    case FecType::forward:
    case FecType::tunnel: return viaCount ? RouteType::forwardRoute : RouteType::invalidRoute;
    case FecType::drop: return RouteType::dropRoute;
    case FecType::receive: return RouteType::receiveRoute;
    case FecType::receiveBcast: return RouteType::bcastReceiveRoute;
    case FecType::slowReceive: return RouteType::slowReceiveRoute;
    case FecType::attached: return RouteType::attachedRoute;
    case FecType::nexthopGroup: return RouteType::nexthopGroupRoute;
  }
  return RouteType::invalidRoute;
}

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
