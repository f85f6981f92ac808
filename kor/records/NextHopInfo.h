#pragma once
// Where one next hop lives at layer 2 within one VLAN: the kind of egress,
// the layer-2 interface, the next hop's MAC and, for a host behind a VXLAN
// tunnel, the remote VTEP (never 0.0.0.0 for ipTunnel). A value type.
#include <ostream>
#include <string>

#include "kor/common/KorExport.h"
#include "kor/records/NextHopType.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "nollo/IpAddr4.h"

namespace Kor {

class KOR_EXPORT NextHopInfo {
 public:
  NextHopInfo() = default;
  NextHopInfo(NextHopType nextHopType, Nollo::IntfId intfId, Nollo::EthAddr ethAddr,
              Nollo::IpAddr4 tunnelDstIpAddr = Nollo::IpAddr4())
      : nextHopType_(nextHopType), intfId_(intfId), ethAddr_(ethAddr), tunnelDstIpAddr_(tunnelDstIpAddr) {}

  NextHopType nextHopType() const { return nextHopType_; }
  Nollo::IntfId intfId() const { return intfId_; }
  Nollo::EthAddr ethAddr() const { return ethAddr_; }
  Nollo::IpAddr4 tunnelDstIpAddr() const { return tunnelDstIpAddr_; }

  // "physicalPort Ethernet1 00:00:00:00:00:01" (+ " tunnelDst 1.1.1.1" for ipTunnel).
  std::string str() const;
  bool operator==(NextHopInfo const&) const = default;

 private:
  NextHopType nextHopType_ = NextHopType::unknownNextHop;
  Nollo::IntfId intfId_;
  Nollo::EthAddr ethAddr_;
  Nollo::IpAddr4 tunnelDstIpAddr_;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, NextHopInfo const& i);

}  // namespace Kor
