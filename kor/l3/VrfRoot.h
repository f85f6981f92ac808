#pragma once
// The routing machinery of one VRF, created by VrfRootSm::createVrf and owned
// by the VRF root. It holds the VRF's name and id, the routing information
// entities it was created from (a replaced entity makes the VRF root delete
// and re-create it), its VrfL3Status and its state machines, which it creates
// on its own handleInitialized (doStartSm) and deletes in doStopSm, each in
// its fixed order. Its machines report the end of their initial sync here.
// hwState is the platform's last answer to programming the VRF, written by
// the VRF root, which retries the VRF while it is not installed.
#include <cstdint>

#include "kor/adj/AdjSm.h"
#include "kor/adj/ArpSm.h"
#include "kor/adj/Ip6NeighSm.h"
#include "kor/common/KorBaseSm.h"
#include "kor/common/VrfName.h"
#include "kor/adj/NexthopGroupRouteSm.h"
#include "kor/l3/Route6Sm.h"
#include "kor/l3/RouteSm.h"
#include "kor/l3/RoutingStatusSm.h"
#include "kor/records/VrfHwState.h"
#include "kor/records/VrfId.h"
#include "kor/records/VrfL3Status.h"
#include "models/nexthopgroup/WatchedNexthopGroupConfig.h"
#include "models/routing/RoutingInfo.h"

namespace Kor {

class VrfRootSm;

class KOR_EXPORT VrfRoot : public KorBaseSm {
 public:
  static constexpr uint32_t noArpQuillVrfId = ~0u;

  VrfRoot(VrfRootSm* vrfRootSm, VrfName const& vrfName, VrfId vrfId,
          Vix::Ptr<Routing::RoutingInfo const> const& routingInfo,
          Vix::Ptr<Routing::RoutingInfo const> const& routing6Info, Vix::Ptr<VrfL3Status> const& vrfL3Status);
  ~VrfRoot() override;

  VrfName const& vrfName() const { return vrfName_; }
  VrfId vrfId() const { return vrfId_; }
  uint32_t arpQuillVrfId() const { return arpQuillVrfId_; }
  void arpQuillVrfIdIs(uint32_t id);
  Vix::Ptr<Routing::RoutingInfo const> const& routingInfo() const { return routingInfo_; }
  Vix::Ptr<Routing::RoutingInfo const> const& routing6Info() const { return routing6Info_; }
  Vix::Ptr<VrfL3Status> const& vrfL3Status() const { return vrfL3Status_; }
  VrfHwState hwState() const { return hwState_; }
  void hwStateIs(VrfHwState s) { hwState_ = s; }
  // How many times the platform was asked again after a refusal.
  uint32_t hwRetries() const { return hwRetries_; }
  void hwRetriesInc() { ++hwRetries_; }
  Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watchedNexthopGroupConfig() const {
    return watchedNexthopGroupConfig_;
  }

  Vix::Ptr<ArpSm> const& korArpSm() const { return korArpSm_; }
  Vix::Ptr<Ip6NeighSm> const& korIp6NeighSm() const { return korIp6NeighSm_; }
  Vix::Ptr<RoutingStatusSm> const& korRoutingStatusSm() const { return korRoutingStatusSm_; }
  Vix::Ptr<AdjSm> const& korAdjSm() const { return korAdjSm_; }
  Vix::Ptr<RouteSm> const& korRouteSm() const { return korRouteSm_; }
  Vix::Ptr<Route6Sm> const& korRoute6Sm() const { return korRoute6Sm_; }
  // What one route machine (IPv4, or IPv6 when v6) still has to do, read
  // here so that a host reads it through this exported class: the route
  // machine templates are instantiated over the runtime's address types,
  // which the shared library does not export.
  struct RouteWork {
    size_t unprogrammed = 0;
    size_t forReview = 0;
    size_t pendingDeletions = 0;
  };
  RouteWork routeWork(bool v6) const;
  Vix::Ptr<NexthopGroupRouteSm> const& korNexthopGroupRouteSm() const { return korNexthopGroupRouteSm_; }

  void handleInitialized() override;
  void doStartSm();
  void doStopSm();
  // This VRF's IPv4 / IPv6 initial sync is over: the VRF root checks whether
  // it was the last one.
  void handleEndOfV4Sync();
  void handleEndOfV6Sync();

 private:
  VrfRootSm* vrfRootSm_;
  VrfName vrfName_;
  VrfId vrfId_;
  uint32_t arpQuillVrfId_ = noArpQuillVrfId;
  Vix::Ptr<Routing::RoutingInfo const> routingInfo_;
  Vix::Ptr<Routing::RoutingInfo const> routing6Info_;
  Vix::Ptr<VrfL3Status> vrfL3Status_;
  VrfHwState hwState_ = VrfHwState::vrfHwPending;
  uint32_t hwRetries_ = 0;
  Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> watchedNexthopGroupConfig_;
  Vix::Ptr<ArpSm> korArpSm_;
  Vix::Ptr<Ip6NeighSm> korIp6NeighSm_;
  Vix::Ptr<RoutingStatusSm> korRoutingStatusSm_;
  Vix::Ptr<AdjSm> korAdjSm_;
  Vix::Ptr<RouteSm> korRouteSm_;
  Vix::Ptr<Route6Sm> korRoute6Sm_;
  Vix::Ptr<NexthopGroupRouteSm> korNexthopGroupRouteSm_;
};

}  // namespace Kor
