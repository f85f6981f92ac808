#pragma once
// The IPv4 ARP machine of a VRF (see NeighSmT).
#include "kor/adj/NeighSmT.h"

namespace Kor {

using ArpSm = NeighSmT<Nollo::Ipv4>;

}  // namespace Kor
