#include "kor/l3/VrfMachineFactories.h"

namespace Kor {

namespace {

// Every machine takes the common data; the factories name the rest they
// need by building a ValidPtr of each, which throws "null ValidPtr".
void requireCommonData(Vix::Ptr<KorCommonSmData> const& acsd) { Vix::ValidPtr<KorCommonSmData> valid(acsd); }

}  // namespace

Vix::Ptr<ArpSm> arpSmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                             Vix::Ptr<VrfL3Status> const& vrfL3Status,
                             Vix::Ptr<Bridging::Status const> const& bridgingStatus,
                             Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                             Vix::Ptr<Vxlan::VxlanHwStatusDir const> const& vxlanHwStatusDir) {
  requireCommonData(acsd);
  return Vix::makePtr<ArpSm>(acsd, vrfName, vrfL3Status, bridgingStatus, intfVlanIdTable, vxlanHwStatusDir);
}

Vix::Ptr<Ip6NeighSm> ip6NeighSmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                                       Vix::Ptr<VrfL3Status> const& vrfL3Status,
                                       Vix::Ptr<Bridging::Status const> const& bridgingStatus,
                                       Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                                       Vix::Ptr<Vxlan::VxlanHwStatusDir const> const& vxlanHwStatusDir) {
  requireCommonData(acsd);
  return Vix::makePtr<Ip6NeighSm>(acsd, vrfName, vrfL3Status, bridgingStatus, intfVlanIdTable, vxlanHwStatusDir);
}

Vix::Ptr<RoutingStatusSm> routingStatusSmFactory(
    Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
    Vix::Ptr<Routing::RoutingInfo const> const& routingInfo, Vix::Ptr<Routing::RoutingInfo const> const& routing6Info,
    Vix::Ptr<L3Status> const& l3Status, Vix::Ptr<VrfL3Status> const& vrfL3Status,
    Vix::Ptr<Bridging::Config const> const& bridgingConfig, Vix::Ptr<Mlag::Status const> const& mlagStatus,
    Vix::Ptr<Urpf::Config const> const& urpfConfig, Vix::Ptr<Ip::Status const> const& ipStatus,
    Vix::Ptr<Ip::Status const> const& ip6Status, Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
    Vix::Ptr<KorHelper::RoutingStatusSmHelper> const& statusHelper,
    Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir,
    Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus,
    Vix::Ptr<Mpls::RoutingInfo const> const& mplsRoutingInfo,
    Vix::Ptr<Multicast::StaticRouteConfig const> const& staticMcastRouteConfig) {
  requireCommonData(acsd);
  Vix::ValidPtr<Routing::RoutingInfo const> info(routingInfo), info6(routing6Info);
  Vix::ValidPtr<L3Status> l3(l3Status);
  Vix::ValidPtr<VrfL3Status> vrf(vrfL3Status);
  return Vix::makePtr<RoutingStatusSm>(acsd, vrfName, routingInfo, routing6Info, l3Status, vrfL3Status,
                                       bridgingConfig, mlagStatus, urpfConfig, ipStatus, ip6Status, intfVlanIdTable,
                                       statusHelper, allIntfStatusDir, routingHwStatus, mplsRoutingInfo,
                                       staticMcastRouteConfig);
}

Vix::Ptr<NexthopGroupRouteSm> nexthopGroupRouteSmFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                                         VrfName const& vrfName,
                                                         Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watched,
                                                         Vix::Ptr<NexthopGroup::Status const> const& status) {
  requireCommonData(acsd);
  return Vix::makePtr<NexthopGroupRouteSm>(acsd, vrfName, watched, status);
}

Vix::Ptr<AdjSm> adjSmFactory(VrfId vrfId, VrfName const& vrfName, Vix::Ptr<KorCommonSmData> const& acsd,
                             Vix::Ptr<Routing::L3Config const> const& l3Config, Vix::Ptr<L3Status> const& l3Status,
                             Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus,
                             Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status,
                             Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus,
                             Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
                             Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                             Vix::Ptr<Routing::AdjReviewEvent const> const& adjReviewEvent,
                             Vix::Ptr<NexthopGroupRouteSm> const& nexthopGroupRouteSm,
                             Vix::Ptr<NexthopGroup::Status const> const& nexthopGroupStatus,
                             Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watchedNexthopGroupConfig) {
  requireCommonData(acsd);
  Vix::ValidPtr<L3Status> l3(l3Status);
  return Vix::makePtr<AdjSm>(vrfId, vrfName, acsd, l3Config, l3Status, forwardingStatus, forwarding6Status,
                             routingHwStatus, l2AdjHelper, intfVlanIdTable, adjReviewEvent, nexthopGroupRouteSm,
                             nexthopGroupStatus, watchedNexthopGroupConfig);
}

namespace {

template <class Sm>
Vix::Ptr<Sm> routeSmFactoryT(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, VrfId vrfId,
                             typename Sm::Inputs const& inputs) {
  requireCommonData(acsd);
  Vix::ValidPtr<L3Status> l3(inputs.l3Status);
  Vix::ValidPtr<VrfL3Status> vrf(inputs.vrfL3Status);
  Vix::ValidPtr<AdjSm> adj(inputs.adjSm);
  return Vix::makePtr<Sm>(acsd, vrfRoot, vrfId, inputs);
}

}  // namespace

Vix::Ptr<RouteSm> routeSmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, VrfId vrfId,
                                 RouteSm::Inputs const& inputs) {
  return routeSmFactoryT<RouteSm>(acsd, vrfRoot, vrfId, inputs);
}

Vix::Ptr<Route6Sm> route6SmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, VrfId vrfId,
                                   Route6Sm::Inputs const& inputs) {
  return routeSmFactoryT<Route6Sm>(acsd, vrfRoot, vrfId, inputs);
}

Vix::Ptr<L2AdjHelper> l2AdjHelperFactory(Vix::Ptr<KorCommonSmData> const& acsd, Vix::Ptr<L3Status> const& l3Status,
                                         Vix::Ptr<Routing::Hardware::Config const> const& hwConfig,
                                         Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir,
                                         Vix::Ptr<KorHelper::AdjSmHelper> const& adjSmHelper) {
  requireCommonData(acsd);
  Vix::ValidPtr<L3Status> l3(l3Status);
  return Vix::makePtr<L2AdjHelper>(acsd, l3Status, hwConfig, allIntfStatusDir, adjSmHelper);
}

}  // namespace Kor
