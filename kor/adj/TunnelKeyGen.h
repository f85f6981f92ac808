#pragma once
// Names a tunnel of either address family by its end points; the key of the
// L2 adjacency helper's tunnel bookkeeping.
#include <compare>
#include <ostream>

#include "kor/adj/TunnelKey.h"
#include "nollo/IpGenAddr.h"

namespace Kor {

struct TunnelKeyGen {
  Nollo::IpGenAddr srcIpAddr;
  Nollo::IpGenAddr dstIpAddr;

  TunnelKeyGen() = default;
  TunnelKeyGen(Nollo::IpGenAddr src, Nollo::IpGenAddr dst) : srcIpAddr(src), dstIpAddr(dst) {}
  TunnelKeyGen(TunnelKey const& k) : srcIpAddr(k.srcIpAddr), dstIpAddr(k.dstIpAddr) {}
  bool isV6() const { return dstIpAddr.isV6(); }
  auto operator<=>(TunnelKeyGen const&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, TunnelKeyGen const& k) {
  return os << k.srcIpAddr << "->" << k.dstIpAddr;
}

}  // namespace Kor
