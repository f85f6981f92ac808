#pragma once
// Routing state of a VLAN interface, one per VLAN in
// L3Status::vlanRoutingState: which kinds of routing are on for it (IPv4
// unicast, IPv6 unicast, IPv4 multicast, MPLS). All off prints "OFF".
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

struct RoutingState {
  bool v4uc = false;
  bool v6uc = false;
  bool v4mc = false;
  bool mpls = false;

  bool any() const { return v4uc || v6uc || v4mc || mpls; }
  bool operator==(RoutingState const&) const = default;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, RoutingState const& v);

}  // namespace Kor
