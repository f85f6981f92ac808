#pragma once
// The IPv6 neighbour machine of a VRF (see NeighSmT).
#include "kor/adj/NeighSmT.h"

namespace Kor {

using Ip6NeighSm = NeighSmT<Nollo::Ipv6>;

}  // namespace Kor
