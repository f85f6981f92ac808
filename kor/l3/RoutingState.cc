#include "kor/l3/RoutingState.h"

#include <string>

namespace Kor {

char const* toString(RoutingState v) {
  switch (v) {
    case RoutingState::routingDisabled: return "routingDisabled";
    case RoutingState::routingEnabled: return "routingEnabled";
    case RoutingState::routingDeferred: return "routingDeferred";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, RoutingState v) {
  if (char const* s = toString(v)) return os << s;
  return os << "RoutingState(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
