#pragma once
// The IPv4 route machine of a VRF (see RouteSmT).
#include "kor/l3/RouteSmT.h"

namespace Kor {

using RouteSm = RouteSmT<Nollo::Ipv4>;

}  // namespace Kor
