#pragma once
// IPv6 interface status of the IP agent: the same record as the IPv4 one (the
// VRF each routed interface is currently bound to), published separately.
#include "models/ip/Status.h"

namespace Ip6 {

using Status = Ip::Status;

}  // namespace Ip6
