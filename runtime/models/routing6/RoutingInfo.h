#pragma once
// IPv6 routing information per VRF: the same entity as the IPv4 one, filed
// under the IPv6 routing agent's namespace.
#include "models/routing/RoutingInfo.h"

namespace Routing6 {

using RoutingInfo = Routing::RoutingInfo;

}  // namespace Routing6
