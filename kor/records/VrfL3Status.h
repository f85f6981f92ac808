#pragma once
// The L3 state of one VRF, child of L3Status keyed by the VRF name. Exists
// exactly while the VRF root has a VrfRoot for the VRF. Written by that VRF's
// route, adjacency, ARP and routing status machines; read by the platform and
// summed up by the derived attributes of L3Status. Adjacency collections
// keyed by FEC id never hold invalidFecId_.
#include <cstdint>

#include "kor/records/AdjEntry.h"
#include "kor/records/AdjEntrySet.h"
#include "kor/records/NextHopList.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "kor/records/AdjReviewType.h"
#include "kor/records/FecIdMap.h"
#include "nollo/IntfId.h"
#include "nollo/IpAddr4.h"
#include "nollo/IpAddr6.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT VrfL3Status : public Vix::Entity {
 public:
  using FecId = Quill::Fib::FecId;

  class Notifiee : public Vix::NotifieeOf<VrfL3Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(VrfName)
    VIX_HANDLER(RoutingEnabled)
    VIX_HANDLER(Routing6Enabled)
    VIX_HANDLER(WaitForRoutingDisabled)
    VIX_HANDLER(WaitForRouting6Disabled)
    VIX_HANDLER(SkipRouteReview)
    VIX_HANDLER(SkipRoute6Review)
    VIX_HANDLER(RoutesForReview)
    VIX_HANDLER(Routes6ForReview)
    VIX_KEY_HANDLER(Nollo::IpAddr4, NextHopList)
    VIX_KEY_HANDLER(Nollo::IpAddr6, NextHop6List)
    VIX_KEY_HANDLER(Quill::Fib::FecId, AdjEntryList)
    VIX_KEY_HANDLER(Quill::Fib::FecId, AdjEntryReviewList)
    VIX_KEY_HANDLER(Quill::Fib::FecId, AdjEntryPrefixWalkList)
    VIX_KEY_HANDLER(Quill::Fib::FecId, AdjEntryIp6PrefixWalkList)
    VIX_KEY_HANDLER(Quill::Fib::FecId, AdjEntryReviewCnt)
    VIX_KEY_HANDLER(Nollo::IpAddr4, NextHopToAdjEntry)
    VIX_KEY_HANDLER(Nollo::IpAddr6, NextHopToAdj6Entry)
    VIX_KEY_HANDLER(Nollo::IntfId, TunnelToAdjEntry)
    VIX_KEY_HANDLER(Nollo::IntfId, Tunnel6ToAdjEntry)
    VIX_KEY_HANDLER(Quill::Fib::FecId, AdjEntryTunnelList)
    VIX_KEY_HANDLER(Quill::Fib::FecId, AdjEntry6TunnelList)
    VIX_HANDLER(SequenceProgrammed)
    VIX_HANDLER(Sequence6Programmed)
    VIX_KEY_HANDLER(uint32_t, L3Intf)
    VIX_HANDLER(EndOfV4SyncDone)
    VIX_HANDLER(EndOfV6SyncDone)
    VIX_HANDLER(NextHopEntryListCollReq)
    VIX_HANDLER(NumUnprogrammedRoutes)
    VIX_HANDLER(NumUnprogrammedV6Routes)
    VIX_HANDLER(NumParentDropRoutes)
    VIX_HANDLER(NumParentDropV6Routes)
  };

  explicit VrfL3Status(VrfName const& vrfName) : Entity(vrfName.str()), vrfName_(vrfName) {}

  VIX_ATTR(VrfName, vrfName, VrfName)
  VIX_ATTR(bool, routingEnabled, RoutingEnabled)
  VIX_ATTR(bool, routing6Enabled, Routing6Enabled)
  VIX_ATTR(bool, waitForRoutingDisabled, WaitForRoutingDisabled)
  VIX_ATTR(bool, waitForRouting6Disabled, WaitForRouting6Disabled)
  VIX_ATTR(bool, skipRouteReview, SkipRouteReview)
  VIX_ATTR(bool, skipRoute6Review, SkipRoute6Review)
  VIX_ATTR(bool, routesForReview, RoutesForReview)
  VIX_ATTR(bool, routes6ForReview, Routes6ForReview)
  VIX_HASH_MAP(Nollo::IpAddr4, Vix::Ptr<NextHopList>, nextHopList, NextHopList)
  VIX_HASH_MAP(Nollo::IpAddr6, Vix::Ptr<NextHopList>, nextHop6List, NextHop6List)
  KOR_FEC_ID_MAP(Vix::Ptr<AdjEntry>, adjEntryList, AdjEntryList)
  KOR_FEC_ID_MAP(AdjReviewType, adjEntryReviewList, AdjEntryReviewList)
  KOR_FEC_ID_MAP(bool, adjEntryPrefixWalkList, AdjEntryPrefixWalkList)
  KOR_FEC_ID_MAP(bool, adjEntryIp6PrefixWalkList, AdjEntryIp6PrefixWalkList)
  KOR_FEC_ID_MAP(uint64_t, adjEntryReviewCnt, AdjEntryReviewCnt)
  VIX_HASH_MAP(Nollo::IpAddr4, Vix::Ptr<AdjEntrySet>, nextHopToAdjEntry, NextHopToAdjEntry)
  VIX_HASH_MAP(Nollo::IpAddr6, Vix::Ptr<AdjEntrySet>, nextHopToAdj6Entry, NextHopToAdj6Entry)
  VIX_HASH_MAP(Nollo::IntfId, Vix::Ptr<AdjEntrySet>, tunnelToAdjEntry, TunnelToAdjEntry)
  VIX_HASH_MAP(Nollo::IntfId, Vix::Ptr<AdjEntrySet>, tunnel6ToAdjEntry, Tunnel6ToAdjEntry)
  KOR_FEC_ID_MAP(bool, adjEntryTunnelList, AdjEntryTunnelList)
  KOR_FEC_ID_MAP(bool, adjEntry6TunnelList, AdjEntry6TunnelList)
  VIX_ATTR(uint64_t, sequenceProgrammed, SequenceProgrammed)
  VIX_ATTR(uint64_t, sequence6Programmed, Sequence6Programmed)
  VIX_HASH_MAP(uint32_t, bool, l3Intf, L3Intf)
  VIX_ATTR(bool, endOfV4SyncDone, EndOfV4SyncDone)
  VIX_ATTR(bool, endOfV6SyncDone, EndOfV6SyncDone)
  VIX_COUNTER(uint64_t, nextHopEntryListCollReq, NextHopEntryListCollReq)
  VIX_COUNTER(uint32_t, numUnprogrammedRoutes, NumUnprogrammedRoutes)
  VIX_COUNTER(uint32_t, numUnprogrammedV6Routes, NumUnprogrammedV6Routes)
  VIX_COUNTER(uint32_t, numParentDropRoutes, NumParentDropRoutes)
  VIX_COUNTER(uint32_t, numParentDropV6Routes, NumParentDropV6Routes)
};

}  // namespace Kor
