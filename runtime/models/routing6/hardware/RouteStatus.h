#pragma once
// IPv6 hardware route status: the same entity as the IPv4 one, filed under the
// IPv6 namespace. A VRF's id must be the same in both.
#include "models/routing/hardware/RouteStatus.h"

namespace Routing6::Hardware {

using RouteStatus = Routing::Hardware::RouteStatus;
using VrfStatus = Routing::Hardware::VrfStatus;

}  // namespace Routing6::Hardware
