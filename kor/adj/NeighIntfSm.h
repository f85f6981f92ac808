#pragma once
// The IPv6 neighbour machine of one routed interface (see NeighIntfSmT).
#include "kor/adj/NeighIntfSmT.h"

namespace Kor {

using NeighIntfSm = NeighIntfSmT<Nollo::Ipv6>;

}  // namespace Kor
