#pragma once
// A resolved next hop handed to platform code through L3Status::resolvedAddr
// (IPv4) / resolvedIp6Addr (IPv6): the address and its neighbour
// information as published in the VRF's next-hop list at that time.
#include "kor/records/NextHopList.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "nollo/IpGenAddr.h"
#include "vix/Ptr.h"

namespace Kor {

class KOR_EXPORT NextHopEntryList : public Vix::PtrInterface {
 public:
  NextHopEntryList() = default;
  NextHopEntryList(VrfName const& vrfName, Nollo::IpGenAddr const& ipAddr, Vix::Ptr<NextHopList const> const& nextHopList)
      : vrfName_(vrfName), ipAddr_(ipAddr), nextHopList_(nextHopList) {}

  VrfName const& vrfName() const { return vrfName_; }
  Nollo::IpGenAddr const& ipAddr() const { return ipAddr_; }
  Vix::Ptr<NextHopList const> const& nextHopList() const { return nextHopList_; }

 private:
  VrfName vrfName_;
  Nollo::IpGenAddr ipAddr_;
  Vix::Ptr<NextHopList const> nextHopList_;
};

}  // namespace Kor
