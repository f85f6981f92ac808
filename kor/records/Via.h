#pragma once
// The via of an IPv4 adjacency (Via) and of an IPv6 adjacency (Via6).
#include "kor/records/ViaT.h"

namespace Kor {

using Via = ViaT<Nollo::Ipv4>;
using Via6 = ViaT<Nollo::Ipv6>;

}  // namespace Kor
