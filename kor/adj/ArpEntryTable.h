#pragma once
// The IPv4 neighbour directory of a VRF (see NeighEntryTableT).
#include "kor/adj/NeighEntryTableT.h"
#include "nollo/Ipv4.h"

namespace Kor {

using ArpEntryTable = NeighEntryTableT<Nollo::Ipv4>;

}  // namespace Kor
