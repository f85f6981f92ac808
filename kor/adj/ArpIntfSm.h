#pragma once
// The IPv4 neighbour machine of one routed interface (see NeighIntfSmT).
#include "kor/adj/NeighIntfSmT.h"

namespace Kor {

using ArpIntfSm = NeighIntfSmT<Nollo::Ipv4>;

}  // namespace Kor
