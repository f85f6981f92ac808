#pragma once
// The IPv6 route machine of a VRF (see RouteSmT).
#include "kor/l3/RouteSmT.h"

namespace Kor {

using Route6Sm = RouteSmT<Nollo::Ipv6>;

}  // namespace Kor
