#pragma once
// Neighbour information of one next-hop address in a VRF: per VLAN on which
// the address is resolved, its NextHopInfo (normally one VLAN; two when the
// address is known on two interfaces). Held in VrfL3Status::nextHopList
// (IPv4) / nextHop6List (IPv6), written only by the ARP and neighbour
// machines. A published list is never changed in place: the writer publishes
// a changed copy, so every change reaches the VRF status's notifiees as a
// notification for the address. Never published empty.
#include <cstddef>
#include <map>
#include <ostream>
#include <string>

#include "kor/records/NextHopInfo.h"
#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "vix/Ptr.h"

namespace Kor {

class KOR_EXPORT NextHopList : public Vix::PtrInterface {
 public:
  using InfoMap = std::map<VlanId, NextHopInfo>;

  NextHopList() = default;
  explicit NextHopList(InfoMap info) : nextHopInfo_(std::move(info)) {}

  // The info on a VLAN (NextHopInfo{} when none).
  NextHopInfo nextHopInfo(VlanId vlan) const {
    auto it = nextHopInfo_.find(vlan);
    return it == nextHopInfo_.end() ? NextHopInfo() : it->second;
  }
  bool nextHopInfoHas(VlanId vlan) const { return nextHopInfo_.count(vlan) != 0; }
  size_t nextHopInfoSize() const { return nextHopInfo_.size(); }
  InfoMap const& nextHopInfoMap() const { return nextHopInfo_; }

  // The same list with `info` on `vlan` / without `vlan`.
  Vix::Ptr<NextHopList> withNextHopInfo(VlanId vlan, NextHopInfo const& info) const;
  Vix::Ptr<NextHopList> withoutNextHopInfo(VlanId vlan) const;

  // "vlan 10: physicalPort Ethernet1 00:00:00:00:00:01; vlan 20: ...".
  std::string str() const;
  bool operator==(NextHopList const& o) const { return nextHopInfo_ == o.nextHopInfo_; }

 private:
  InfoMap nextHopInfo_;
};

KOR_EXPORT std::ostream& operator<<(std::ostream& os, NextHopList const& l);

}  // namespace Kor
