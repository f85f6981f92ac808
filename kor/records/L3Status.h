#pragma once
// The one shared record of the library's unicast L3 state, created by the
// hosting agent and handed to vrfRootSmFactory. It holds which VRFs exist and
// under which ids (vrfName and vrfId are written and removed as a pair, by
// vrfIdPairIs / vrfIdPairDel), the per-VRF VrfL3Status children (created and
// deleted by the VRF root only), the route hand-over lists adjInfoList /
// adjInfo6List that the route machines write and platform code reads (open
// addressing: a million routes), the adjacency collections of the adjacency
// machine, resource-full flags and review requests. Derived attributes
// (routingEnabledInAnyVrf, v4SyncPendingInAnyVrf, numUnprogrammedRoutes, ...)
// are computed on demand from the children and never stored.
#include <cstdint>
#include <string>

#include "kor/records/AdjEntry.h"
#include "kor/records/IntfAdjEntryList.h"
#include "kor/records/L2AdjKey.h"
#include "kor/records/L2Adjacency.h"
#include "kor/records/NextHopEntryList.h"
#include "kor/records/NextHopL2InfoCollection.h"
#include "kor/common/KorExport.h"
#include "kor/common/VrfName.h"
#include "kor/records/AdjInfo.h"
#include "kor/records/BfdStatusInfo.h"
#include "kor/records/RoutingState.h"
#include "kor/records/VrfAndPrefixT.h"
#include "kor/records/VrfId.h"
#include "kor/records/VrfL3Status.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/urpf/UrpfStatus.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "nollo/IpPrefix.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT L3Status : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<L3Status> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(HardwareRoutingEnabledRefCount)
    VIX_HANDLER(HardwareRouting6EnabledRefCount)
    VIX_HANDLER(HardwareV4RoutingEnabled)
    VIX_HANDLER(HardwareV6RoutingEnabled)
    VIX_HANDLER(HardwareRouterMacProgrammed)
    VIX_HANDLER(RouterMac)
    VIX_HANDLER(Routing6Enabled)
    VIX_HANDLER(MulticastRoutingEnabled)
    VIX_HANDLER(StaticMulticastRoutingEnabled)
    VIX_HANDLER(MplsRoutingEnabled)
    VIX_HANDLER(MrouteZombieEnabled)
    VIX_KEY_HANDLER(uint32_t, PvlanL3Intf)
    VIX_KEY_HANDLER(uint32_t, VlanRoutingState)
    VIX_HANDLER(Ip6MulticastL2AcePgmed)
    VIX_HANDLER(SuspendRouteUpdates)
    VIX_HANDLER(SuspendIp6RouteUpdates)
    VIX_KEY_HANDLER(Nollo::Ip6Prefix, Ip6OverflowRoute)
    VIX_HANDLER(Ipv4FibRoutes)
    VIX_HANDLER(Ipv6FibRoutes)
    VIX_HANDLER(Ipv4UnProgrammedRoutes)
    VIX_HANDLER(Ipv6UnProgrammedRoutes)
    VIX_HANDLER(Ipv4ParentDropRoutes)
    VIX_HANDLER(Ipv6ParentDropRoutes)
    VIX_HANDLER(UnicastReviewPending)
    VIX_HANDLER(MulticastReviewPending)
    VIX_HANDLER(Unicast6ReviewPending)
    VIX_HANDLER(RoutingResourceFull)
    VIX_HANDLER(AdjResourceFull)
    VIX_HANDLER(Ip6RoutingResourceFull)
    VIX_HANDLER(VrfResourceFull)
    VIX_HANDLER(NumTimesRoutingEnabled)
    VIX_HANDLER(NumTimesRouting6Enabled)
    VIX_HANDLER(NumTimesMcastRoutingEnabled)
    VIX_HANDLER(IntfVlanIdTable)
    VIX_KEY_HANDLER(Vix::Ptr<AdjEntry>, AdjUpdateList)
    VIX_KEY_HANDLER(Vix::Ptr<AdjEntry>, AdjUpdate6List)
    VIX_KEY_HANDLER(Nollo::IntfId, TunnelL2Info)
    VIX_KEY_HANDLER(Nollo::IntfId, Tunnel6L2Info)
    VIX_KEY_HANDLER(VrfAndPrefix, AdjInfoList)
    VIX_KEY_HANDLER(VrfAndIp6Prefix, AdjInfo6List)
    VIX_KEY_HANDLER(Vix::Ptr<NextHopEntryList>, ResolvedAddr)
    VIX_KEY_HANDLER(Vix::Ptr<NextHopEntryList>, ResolvedIp6Addr)
    VIX_KEY_HANDLER(L2AdjKey, L2AdjList)
    VIX_KEY_HANDLER(Vix::Ptr<AdjEntry>, NexthopAdjUpdateList)
    VIX_HANDLER(NexthopAdjEntryCount)
    VIX_KEY_HANDLER(NextHopL2InfoCollection, NextHopsToL2Adj)
    VIX_KEY_HANDLER(Nollo::IntfId, IntfToAdjEntry)
    VIX_KEY_HANDLER(Nollo::IntfId, HwLagIdChange)
    VIX_HANDLER(BatchEnabled)
    VIX_KEY_HANDLER(VrfId, VrfName)
    VIX_KEY_HANDLER(Kor::VrfName, VrfId)
    VIX_KEY_HANDLER(Kor::VrfName, VrfL3Status)
    VIX_KEY_HANDLER(Nollo::IntfId, L3IntfVrfId)
    VIX_HANDLER(WaitForRoutingDisabledRefCnt)
    VIX_HANDLER(UrpfRoutingDisable)
    VIX_HANDLER(UrpfRoutingEnable)
    VIX_HANDLER(UrpfRoutingDisableDone)
    VIX_HANDLER(UrpfEnabled)
    VIX_HANDLER(RemOverrideV4Urpf)
    VIX_HANDLER(EgressRaclSharingOverrideV4Urpf)
    VIX_KEY_HANDLER(Nollo::IntfId, Urpf4Status)
    VIX_KEY_HANDLER(Nollo::IntfId, Urpf6Status)
    VIX_KEY_HANDLER(Nollo::IntfId, Urpf6StatusUnresolved)
    VIX_HANDLER(FecShuffleVersion)
    VIX_HANDLER(BfdV4StatusInfo)
    VIX_HANDLER(BfdV6StatusInfo)
    VIX_HANDLER(Resource4FullLog)
    VIX_HANDLER(Resource6FullLog)
    VIX_HANDLER(Initialized)
  };

  explicit L3Status(std::string name);

  // Derived summaries over vrfL3Status, computed on demand.
  bool routingEnabledInAnyVrf() const;
  bool routing6EnabledInAnyVrf() const;
  bool routingEnabledInDefaultVrf() const;
  bool routing6EnabledInDefaultVrf() const;

  VIX_ATTR(uint32_t, hardwareRoutingEnabledRefCount, HardwareRoutingEnabledRefCount)
  VIX_ATTR(uint32_t, hardwareRouting6EnabledRefCount, HardwareRouting6EnabledRefCount)
  VIX_ATTR(bool, hardwareV4RoutingEnabled, HardwareV4RoutingEnabled)
  VIX_ATTR(bool, hardwareV6RoutingEnabled, HardwareV6RoutingEnabled)
  VIX_ATTR(bool, hardwareRouterMacProgrammed, HardwareRouterMacProgrammed)
  VIX_ATTR(Nollo::EthAddr, routerMac, RouterMac)
  VIX_ATTR(bool, routing6Enabled, Routing6Enabled)
  VIX_ATTR(bool, multicastRoutingEnabled, MulticastRoutingEnabled)
  VIX_ATTR(bool, staticMulticastRoutingEnabled, StaticMulticastRoutingEnabled)
  VIX_ATTR(bool, mplsRoutingEnabled, MplsRoutingEnabled)
  VIX_ATTR(bool, mrouteZombieEnabled, MrouteZombieEnabled)
  VIX_HASH_MAP(uint32_t, bool, pvlanL3Intf, PvlanL3Intf)
  VIX_HASH_MAP(uint32_t, RoutingState, vlanRoutingState, VlanRoutingState)
  VIX_ATTR(bool, ip6MulticastL2AcePgmed, Ip6MulticastL2AcePgmed)
  VIX_ATTR(bool, suspendRouteUpdates, SuspendRouteUpdates)
  VIX_ATTR(bool, suspendIp6RouteUpdates, SuspendIp6RouteUpdates)
  VIX_HASH_MAP(Nollo::Ip6Prefix, bool, ip6OverflowRoute, Ip6OverflowRoute)
  VIX_COUNTER(uint64_t, ipv4FibRoutes, Ipv4FibRoutes)
  VIX_COUNTER(uint64_t, ipv6FibRoutes, Ipv6FibRoutes)
  VIX_COUNTER(uint64_t, ipv4UnProgrammedRoutes, Ipv4UnProgrammedRoutes)
  VIX_COUNTER(uint64_t, ipv6UnProgrammedRoutes, Ipv6UnProgrammedRoutes)
  VIX_COUNTER(uint64_t, ipv4ParentDropRoutes, Ipv4ParentDropRoutes)
  VIX_COUNTER(uint64_t, ipv6ParentDropRoutes, Ipv6ParentDropRoutes)
  VIX_COUNTER(uint64_t, unicastReviewPending, UnicastReviewPending)
  VIX_COUNTER(uint64_t, multicastReviewPending, MulticastReviewPending)
  VIX_COUNTER(uint64_t, unicast6ReviewPending, Unicast6ReviewPending)
  VIX_ATTR(bool, routingResourceFull, RoutingResourceFull)
  VIX_ATTR(bool, adjResourceFull, AdjResourceFull)
  VIX_ATTR(bool, ip6RoutingResourceFull, Ip6RoutingResourceFull)
  // Set by the platform while its VRF table has no room for another VRF; its
  // clearing makes the VRF root retry the VRFs the chip refused.
  VIX_ATTR(bool, vrfResourceFull, VrfResourceFull)
  VIX_COUNTER(uint32_t, numTimesRoutingEnabled, NumTimesRoutingEnabled)
  VIX_COUNTER(uint32_t, numTimesRouting6Enabled, NumTimesRouting6Enabled)
  VIX_COUNTER(uint32_t, numTimesMcastRoutingEnabled, NumTimesMcastRoutingEnabled)
  VIX_ATTR(Vix::Ptr<IntfVlanId::Table const>, intfVlanIdTable, IntfVlanIdTable)
  VIX_HASH_MAP(Vix::Ptr<AdjEntry>, uint32_t, adjUpdateList, AdjUpdateList)
  VIX_HASH_MAP(Vix::Ptr<AdjEntry>, uint32_t, adjUpdate6List, AdjUpdate6List)
  VIX_HASH_MAP(Nollo::IntfId, bool, tunnelL2Info, TunnelL2Info)
  VIX_HASH_MAP(Nollo::IntfId, bool, tunnel6L2Info, Tunnel6L2Info)
  VIX_HASH_MAP(VrfAndPrefix, Vix::Ptr<AdjInfo>, adjInfoList, AdjInfoList)
  VIX_HASH_MAP(VrfAndIp6Prefix, Vix::Ptr<AdjInfo>, adjInfo6List, AdjInfo6List)
  VIX_HASH_MAP(Vix::Ptr<NextHopEntryList>, bool, resolvedAddr, ResolvedAddr)
  VIX_HASH_MAP(Vix::Ptr<NextHopEntryList>, bool, resolvedIp6Addr, ResolvedIp6Addr)
  VIX_HASH_MAP(L2AdjKey, Vix::Ptr<L2Adjacency>, l2AdjList, L2AdjList)
  VIX_HASH_MAP(Vix::Ptr<AdjEntry>, bool, nexthopAdjUpdateList, NexthopAdjUpdateList)
  VIX_COUNTER(uint64_t, nexthopAdjEntryCount, NexthopAdjEntryCount)
  VIX_ORDERED_MAP(NextHopL2InfoCollection, Vix::Ptr<L2Adjacency>, nextHopsToL2Adj, NextHopsToL2Adj)
  VIX_CHILD_MAP(Nollo::IntfId, IntfAdjEntryList, intfToAdjEntry, IntfToAdjEntry)
  VIX_HASH_MAP(Nollo::IntfId, bool, hwLagIdChange, HwLagIdChange)
  VIX_ATTR(bool, batchEnabled, BatchEnabled)

 public:
  // vrfName and vrfId are one relation seen from both sides: written together
  // by vrfIdPairIs and removed together by vrfIdPairDel.
  void vrfIdPairIs(Kor::VrfName const& name, VrfId id);
  void vrfIdPairDel(Kor::VrfName const& name);
  Kor::VrfName vrfName(VrfId const& id) const;
  bool vrfNameHas(VrfId const& id) const { return vrfName_.count(id) != 0; }
  std::map<VrfId, Kor::VrfName> const& vrfNameMap() const { return vrfName_; }
  VrfId vrfId(Kor::VrfName const& name) const;
  bool vrfIdHas(Kor::VrfName const& name) const { return vrfId_.count(name) != 0; }
  std::map<Kor::VrfName, VrfId> const& vrfIdMap() const { return vrfId_; }

 private:
  std::map<VrfId, Kor::VrfName> vrfName_;
  std::map<Kor::VrfName, VrfId> vrfId_;

  VIX_CHILD_MAP(Kor::VrfName, VrfL3Status, vrfL3Status, VrfL3Status)
  VIX_HASH_MAP(Nollo::IntfId, VrfId, l3IntfVrfId, L3IntfVrfId)

 public:
  bool waitForRoutingDisabledInVrfs() const;
  bool waitForRouting6DisabledInVrfs() const;

  VIX_ATTR(uint32_t, waitForRoutingDisabledRefCnt, WaitForRoutingDisabledRefCnt)
  VIX_COUNTER(uint32_t, urpfRoutingDisable, UrpfRoutingDisable)
  VIX_COUNTER(uint32_t, urpfRoutingEnable, UrpfRoutingEnable)
  VIX_ATTR(bool, urpfRoutingDisableDone, UrpfRoutingDisableDone)
  VIX_ATTR(bool, urpfEnabled, UrpfEnabled)
  VIX_ATTR(bool, remOverrideV4Urpf, RemOverrideV4Urpf)
  VIX_ATTR(bool, egressRaclSharingOverrideV4Urpf, EgressRaclSharingOverrideV4Urpf)
  VIX_HASH_MAP(Nollo::IntfId, Urpf::UrpfStatus, urpf4Status, Urpf4Status)
  VIX_HASH_MAP(Nollo::IntfId, Urpf::UrpfStatus, urpf6Status, Urpf6Status)
  VIX_HASH_MAP(Nollo::IntfId, Urpf::UrpfStatus, urpf6StatusUnresolved, Urpf6StatusUnresolved)
  VIX_ATTR(uint32_t, fecShuffleVersion, FecShuffleVersion)

 public:
  bool v4SyncPendingInAnyVrf() const;
  bool v6SyncPendingInAnyVrf() const;
  bool unprogrammedV4RoutesInAnyVrf() const;
  bool unprogrammedV6RoutesInAnyVrf() const;
  uint64_t numUnprogrammedRoutes() const;
  // An adjacency that goes leaves the platform's update lists
  // (adjUpdateList, adjUpdate6List, nexthopAdjUpdateList).
  void adjEntryUpdatesDel(Vix::Ptr<AdjEntry> const& adjEntry);
  uint64_t numUnprogrammedV6Routes() const;
  uint64_t numParentDropRoutes() const;
  uint64_t numParentDropV6Routes() const;

  // Owned, created with the status ("bfdV4StatusInfo", "bfdV6StatusInfo").
  VIX_ATTR(Vix::Ptr<BfdStatusInfo>, bfdV4StatusInfo, BfdV4StatusInfo)
  VIX_ATTR(Vix::Ptr<BfdStatusInfo>, bfdV6StatusInfo, BfdV6StatusInfo)
  VIX_ATTR(bool, resource4FullLog, Resource4FullLog)
  VIX_ATTR(bool, resource6FullLog, Resource6FullLog)
  VIX_ATTR(bool, initialized, Initialized)
};

}  // namespace Kor
