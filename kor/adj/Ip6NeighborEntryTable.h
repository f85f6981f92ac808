#pragma once
// The IPv6 neighbour directory of a VRF (see NeighEntryTableT).
#include "kor/adj/NeighEntryTableT.h"
#include "nollo/Ipv6.h"

namespace Kor {

using Ip6NeighborEntryTable = NeighEntryTableT<Nollo::Ipv6>;

}  // namespace Kor
