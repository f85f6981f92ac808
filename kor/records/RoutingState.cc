#include "kor/records/RoutingState.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, RoutingState const& v) {
  if (!v.any()) return os << "OFF";
  return os << "v4uc: " << v.v4uc << ", v6uc: " << v.v6uc << ", v4mc: " << v.v4mc << ", MPLS: " << v.mpls;
}

}  // namespace Kor
