#pragma once
// The VRFs the IPv6 routing agent announces: the same directory as the IPv4
// one, filed under the IPv6 routing agent's namespace.
#include "models/routing/VrfInfoDir.h"

namespace Routing6 {

using VrfInfoDir = Routing::VrfInfoDir;

}  // namespace Routing6
