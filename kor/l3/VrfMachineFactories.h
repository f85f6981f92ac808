#pragma once
// The exported factories of the per-VRF machines and of the L2 adjacency
// helper, one per class, named after it (<lowerCamelClass>Factory). The VRF
// root builds a VRF's machines through them and the agent builds the helper
// through l2AdjHelperFactory. Each checks its mandatory inputs (the common
// data, and the records the machine writes or cannot work without) and
// refuses a missing one with "null ValidPtr", before anything is built;
// optional inputs may be null as for the constructors.
#include "kor/adj/AdjSm.h"
#include "kor/adj/ArpSm.h"
#include "kor/adj/Ip6NeighSm.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/adj/NexthopGroupRouteSm.h"
#include "kor/common/KorExport.h"
#include "kor/l3/Route6Sm.h"
#include "kor/l3/RouteSm.h"
#include "kor/l3/RoutingStatusSm.h"

namespace Kor {

KOR_EXPORT Vix::Ptr<ArpSm> arpSmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                                        Vix::Ptr<VrfL3Status> const& vrfL3Status,
                                        Vix::Ptr<Bridging::Status const> const& bridgingStatus,
                                        Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                                        Vix::Ptr<Vxlan::VxlanHwStatusDir const> const& vxlanHwStatusDir);
KOR_EXPORT Vix::Ptr<Ip6NeighSm> ip6NeighSmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
                                                  Vix::Ptr<VrfL3Status> const& vrfL3Status,
                                                  Vix::Ptr<Bridging::Status const> const& bridgingStatus,
                                                  Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
                                                  Vix::Ptr<Vxlan::VxlanHwStatusDir const> const& vxlanHwStatusDir);
KOR_EXPORT Vix::Ptr<RoutingStatusSm> routingStatusSmFactory(
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
    Vix::Ptr<Multicast::StaticRouteConfig const> const& staticMcastRouteConfig);
KOR_EXPORT Vix::Ptr<NexthopGroupRouteSm> nexthopGroupRouteSmFactory(
    Vix::Ptr<KorCommonSmData> const& acsd, VrfName const& vrfName,
    Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watched,
    Vix::Ptr<NexthopGroup::Status const> const& status = nullptr);
KOR_EXPORT Vix::Ptr<AdjSm> adjSmFactory(
    VrfId vrfId, VrfName const& vrfName, Vix::Ptr<KorCommonSmData> const& acsd,
    Vix::Ptr<Routing::L3Config const> const& l3Config, Vix::Ptr<L3Status> const& l3Status,
    Vix::Ptr<Quill::Fib::ForwardingStatus const> const& forwardingStatus,
    Vix::Ptr<Quill::Fib6::ForwardingStatus const> const& forwarding6Status,
    Vix::Ptr<Routing::Hardware::Status const> const& routingHwStatus, Vix::Ptr<L2AdjHelper> const& l2AdjHelper,
    Vix::Ptr<IntfVlanId::Table const> const& intfVlanIdTable,
    Vix::Ptr<Routing::AdjReviewEvent const> const& adjReviewEvent,
    Vix::Ptr<NexthopGroupRouteSm> const& nexthopGroupRouteSm,
    Vix::Ptr<NexthopGroup::Status const> const& nexthopGroupStatus,
    Vix::Ptr<NexthopGroup::WatchedNexthopGroupConfig> const& watchedNexthopGroupConfig);
KOR_EXPORT Vix::Ptr<RouteSm> routeSmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, VrfId vrfId,
                                            RouteSm::Inputs const& inputs);
KOR_EXPORT Vix::Ptr<Route6Sm> route6SmFactory(Vix::Ptr<KorCommonSmData> const& acsd, VrfRoot* vrfRoot, VrfId vrfId,
                                              Route6Sm::Inputs const& inputs);
KOR_EXPORT Vix::Ptr<L2AdjHelper> l2AdjHelperFactory(Vix::Ptr<KorCommonSmData> const& acsd,
                                                    Vix::Ptr<L3Status> const& l3Status,
                                                    Vix::Ptr<Routing::Hardware::Config const> const& hwConfig,
                                                    Vix::Ptr<Interface::AllIntfStatusDir const> const& allIntfStatusDir,
                                                    Vix::Ptr<KorHelper::AdjSmHelper> const& adjSmHelper);

}  // namespace Kor
