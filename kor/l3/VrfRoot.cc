#include "kor/l3/VrfRoot.h"

#include <initializer_list>

#include "kor/l3/VrfMachineFactories.h"
#include "kor/adj/ResilientEcmpSmT.h"
#include "kor/l3/VrfRootSm.h"

namespace Kor {

VrfRoot::VrfRoot(VrfRootSm* vrfRootSm, VrfName const& vrfName, VrfId vrfId,
                 Vix::Ptr<Routing::RoutingInfo const> const& routingInfo,
                 Vix::Ptr<Routing::RoutingInfo const> const& routing6Info, Vix::Ptr<VrfL3Status> const& vrfL3Status)
    : KorBaseSm(vrfRootSm->acsd(), "KorVrfRootSm"), vrfRootSm_(vrfRootSm), vrfName_(vrfName), vrfId_(vrfId),
      routingInfo_(routingInfo), routing6Info_(routing6Info), vrfL3Status_(vrfL3Status),
      watchedNexthopGroupConfig_(Vix::makePtr<NexthopGroup::WatchedNexthopGroupConfig>(vrfName.str())) {}

VrfRoot::~VrfRoot() { doStopSm(); }

void VrfRoot::arpQuillVrfIdIs(uint32_t id) {
  arpQuillVrfId_ = id;
  if (korArpSm_) korArpSm_->arpQuillVrfIdIs(id);
  if (korIp6NeighSm_) korIp6NeighSm_->arpQuillVrfIdIs(id);
}

void VrfRoot::handleInitialized() { doStartSm(); }

void VrfRoot::doStartSm() {
  if (korArpSm_) return;
  KOR_TRACE(1, "doStartSm, vrf: " << vrfName_);
  auto const& in = vrfRootSm_->inputs();
  auto const& acsd = this->acsd();
  auto* em = in.entityManager.ptr();
  // The ARP machine comes first so that neighbour information is there
  // before anything resolves next hops; the route machines come after the
  // adjacency machine they hand their prefixes to.
  korArpSm_ = arpSmFactory(acsd, vrfName_, vrfL3Status_, in.bridgingStatus, in.intfVlanIdTable,
                                   in.vxlanHwStatusDir);
  korArpSm_->arpQuillVrfIdIs(arpQuillVrfId_);
  KOR_TRACE(5, "Create korArpSm, vrf: " << vrfName_);
  korRoutingStatusSm_ =
      routingStatusSmFactory(acsd, vrfName_, routingInfo_, routing6Info_, in.l3Status, vrfL3Status_,
                                    in.bridgingConfig, in.mlagStatus, in.urpfConfig, in.ipStatus, in.ip6Status,
                                    in.intfVlanIdTable, in.routingStatusSmHelper, in.allIntfStatusDir,
                                    in.routingHwStatus, in.mplsRoutingInfo, in.staticMcastRouteConfig);
  KOR_TRACE(5, "Create korRoutingStatusSm, vrf: " << vrfName_);
  korNexthopGroupRouteSm_ = nexthopGroupRouteSmFactory(acsd, vrfName_, watchedNexthopGroupConfig_, in.nexthopGroupStatus);
  KOR_TRACE(5, "Create korNexthopGroupRouteSm, vrf: " << vrfName_);
  korAdjSm_ = adjSmFactory(vrfId_, vrfName_, acsd, in.l3Config, in.l3Status,
                                  em->forwardingStatus<Nollo::Ipv4>(vrfName_.str()),
                                  em->forwardingStatus<Nollo::Ipv6>(vrfName_.str()), in.routingHwStatus,
                                  in.l2AdjHelper, in.intfVlanIdTable, in.adjReviewEvent, korNexthopGroupRouteSm_,
                                  in.nexthopGroupStatus, watchedNexthopGroupConfig_);
  // The VRF root ends the L2 adjacency helper's sync when the last adjacency
  // machine has reviewed every FEC.
  korAdjSm_->reviewDrainedHandlerIs([this] { vrfRootSm_->handleAdjReviewDrained(); });
  KOR_TRACE(5, "Create korAdjSm, vrf: " << vrfName_);
  korRouteSm_ = routeSmFactory(
      acsd, this, vrfId_,
      RouteSm::Inputs{in.l3Config, in.l3Status, vrfL3Status_, em->routeStatus<Nollo::Ipv4>(vrfName_.str()),
                      em->forwardingStatus<Nollo::Ipv4>(vrfName_.str()), in.routingHwStatus,
                      in.routingSequenceConfig, korAdjSm_, in.routeSmHelper});
  korRouteSm_->hwConfigIs(in.routingHwConfig);
  KOR_TRACE(5, "Create korRouteSm, vrf: " << vrfName_);
  korIp6NeighSm_ = ip6NeighSmFactory(acsd, vrfName_, vrfL3Status_, in.bridgingStatus, in.intfVlanIdTable,
                                             in.vxlanHwStatusDir);
  korIp6NeighSm_->arpQuillVrfIdIs(arpQuillVrfId_);
  KOR_TRACE(5, "Create korIp6NeighSm, vrf: " << vrfName_);
  korRoute6Sm_ = route6SmFactory(
      acsd, this, vrfId_,
      Route6Sm::Inputs{in.l3Config, in.l3Status, vrfL3Status_, em->routeStatus<Nollo::Ipv6>(vrfName_.str()),
                       em->forwardingStatus<Nollo::Ipv6>(vrfName_.str()), in.routingHwStatus,
                       in.routingSequenceConfig, korAdjSm_, in.route6SmHelper});
  korRoute6Sm_->hwConfigIs(in.routingHwConfig);
  KOR_TRACE(5, "Create korRoute6Sm, vrf: " << vrfName_);
  // The resilient ECMP machines come after the route machines they ask for
  // reviews; the adjacency machine owns them and deletes them first.
  if (in.resilientEcmpConfig) {
    auto r4 = Vix::makePtr<ResilientEcmpSm>(acsd, vrfName_, korAdjSm_.ptr(), in.resilientEcmpConfig,
                                            in.routingHwStatus);
    r4->routeReviewHandlerIs([rsm = korRouteSm_.ptr()](Nollo::IpPrefix const& p) { rsm->doReviewResilientRoute(p); });
    korAdjSm_->resilientEcmpSmIs(r4);
    auto r6 = Vix::makePtr<ResilientEcmp6Sm>(acsd, vrfName_, korAdjSm_.ptr(), in.resilientEcmpConfig,
                                             in.routingHwStatus);
    r6->routeReviewHandlerIs([rsm = korRoute6Sm_.ptr()](Nollo::Ip6Prefix const& p) { rsm->doReviewResilientRoute(p); });
    korAdjSm_->resilientEcmp6SmIs(r6);
    KOR_TRACE(5, "Create resilientEcmpSm, vrf: " << vrfName_);
  }

  korArpSm_->initializedIs(true);
  korRoutingStatusSm_->initializedIs(true);
  korNexthopGroupRouteSm_->initializedIs(true);
  korAdjSm_->initializedIs(true);
  korRouteSm_->initializedIs(true);
  korIp6NeighSm_->initializedIs(true);
  korRoute6Sm_->initializedIs(true);
  // Every machine of the VRF takes part in self-verification.
  for (KorBaseSm* sm : std::initializer_list<KorBaseSm*>{
           korArpSm_.ptr(), korRoutingStatusSm_.ptr(), korNexthopGroupRouteSm_.ptr(), korAdjSm_.ptr(),
           korRouteSm_.ptr(), korIp6NeighSm_.ptr(), korRoute6Sm_.ptr()})
    acsd->verifiableSmAdd(sm);
}

void VrfRoot::doStopSm() {
  if (!korArpSm_) return;
  KOR_TRACE(1, "doStopSm, vrf: " << vrfName_);
  // Routing status goes first so nothing switches routing while the rest is
  // torn down; the adjacency side goes before the route machines that use it.
  // Each machine is destroyed where its root lets go of it: the route
  // machines give up the adjacency machine (and fall silent) first, the
  // adjacency machine its resilient ECMP machines, and it is the last holder
  // of the next-hop group machine.
  korRoutingStatusSm_ = nullptr;
  KOR_TRACE(5, "Delete korRoutingStatusSm, vrf: " << vrfName_);
  if (korRouteSm_) korRouteSm_->doReleaseAdjSm();
  if (korRoute6Sm_) korRoute6Sm_->doReleaseAdjSm();
  if (korAdjSm_) {
    korAdjSm_->resilientEcmpSmIs(nullptr);
    korAdjSm_->resilientEcmp6SmIs(nullptr);
  }
  korAdjSm_ = nullptr;
  KOR_TRACE(5, "Delete korAdjSm, vrf: " << vrfName_);
  korNexthopGroupRouteSm_ = nullptr;
  KOR_TRACE(5, "Delete korNexthopGroupRouteSm, vrf: " << vrfName_);
  korRouteSm_ = nullptr;
  KOR_TRACE(5, "Delete korRouteSm, vrf: " << vrfName_);
  korArpSm_ = nullptr;
  KOR_TRACE(5, "Delete korArpSm, vrf: " << vrfName_);
  korIp6NeighSm_ = nullptr;
  KOR_TRACE(5, "Delete korIp6NeighSm, vrf: " << vrfName_);
  korRoute6Sm_ = nullptr;
  KOR_TRACE(5, "Delete korRoute6Sm, vrf: " << vrfName_);
}

void VrfRoot::handleEndOfV4Sync() { vrfRootSm_->handleEndOfSync(); }

void VrfRoot::handleEndOfV6Sync() { vrfRootSm_->handleEndOfV6Sync(); }

VrfRoot::RouteWork VrfRoot::routeWork(bool v6) const {
  RouteWork w;
  auto fill = [&w](auto const& sm) {
    if (!sm) return;
    w.unprogrammed = sm->unprogrammedRoutes();
    w.forReview = sm->routesForReviews();
    w.pendingDeletions = sm->pendingDeletions();
  };
  if (v6) fill(korRoute6Sm_);
  else fill(korRouteSm_);
  return w;
}

}  // namespace Kor
