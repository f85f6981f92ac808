#pragma once
// The vias of an IPv4 adjacency (AdjVia) and of an IPv6 adjacency (AdjVia6).
#include "kor/records/AdjViaT.h"

namespace Kor {

using AdjVia = AdjViaT<Nollo::Ipv4>;
using AdjVia6 = AdjViaT<Nollo::Ipv6>;

}  // namespace Kor
