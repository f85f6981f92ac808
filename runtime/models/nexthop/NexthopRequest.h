#pragma once
// One next-hop request: a set of next hops (one address family) to forward
// to, ECMP, in a VRF.
#include <set>
#include <string>

#include "nollo/IpGenAddr.h"

namespace Nexthop {

struct NexthopRequest {
  std::string vrf = "default";
  std::set<Nollo::IpGenAddr> nexthops;
  bool operator==(NexthopRequest const&) const = default;
  auto operator<=>(NexthopRequest const&) const = default;
};

}  // namespace Nexthop
