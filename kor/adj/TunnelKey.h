#pragma once
// Names an IPv4 tunnel by its end points (see TunnelKeyGen for either family).
#include <compare>
#include <ostream>

#include "nollo/IpAddr4.h"

namespace Kor {

struct TunnelKey {
  Nollo::IpAddr4 srcIpAddr;
  Nollo::IpAddr4 dstIpAddr;
  auto operator<=>(TunnelKey const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, TunnelKey const& k) {
  return os << k.srcIpAddr << "->" << k.dstIpAddr;
}

}  // namespace Kor
