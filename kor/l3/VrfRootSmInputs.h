#pragma once
// Everything vrfRootSmFactory hands to the VRF root, in the documented order
// of the factory's inputs (the leading bool first). The VRF root keeps what
// it reads itself and passes the rest on to the per-VRF machines. Inputs
// marked mandatory must be non-null (the factory throws "null ValidPtr");
// the others may be null until the work that reads them arrives.
//
// How VRFs are announced: a VRF exists for the VRF root while both
// routingVrfInfoDir and routing6VrfInfoDir map its name to a RoutingInfo
// entity (the default VRF included). Removing it from either deletes the VRF;
// replacing its entity deletes and re-creates it.
#include "kor/adj/L2AdjHelper.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/helpers/RouteSmHelperT.h"
#include "kor/helpers/RoutingStatusSmHelper.h"
#include "kor/helpers/VrfHelper.h"
#include "kor/records/L3Status.h"
#include "kor/records/KorCommonMulticastData.h"
#include "kor/records/ResilientEcmpConfig.h"
#include "models/bridging/Config.h"
#include "models/bridging/Status.h"
#include "models/cli/AgentCommandRequestStatus.h"
#include "models/cli/RequestDir.h"
#include "models/interface/AllIntfStatusDir.h"
#include "models/interface/VlanIntfConfigDir.h"
#include "models/ip/AllVrfStatusLocal.h"
#include "models/ip/IntfVlanIdTable.h"
#include "models/ip/Status.h"
#include "models/ip/VrfCapability.h"
#include "models/ip6/Status.h"
#include "models/ledra/EntityManager.h"
#include "models/mlag/Status.h"
#include "models/urpf/Config.h"
#include "models/mpls/RoutingInfo.h"
#include "models/multicast/StaticRouteConfig.h"
#include "models/nexthopgroup/ResolvedNexthopGroupStatus.h"
#include "models/nexthopgroup/Status.h"
#include "models/nexthopgroup/WatchedNexthopGroupConfig.h"
#include "models/routing/AdjReviewEvent.h"
#include "models/routing/FilteredVrfLists.h"
#include "models/routing/L3Config.h"
#include "models/routing/PackedArgs.h"
#include "models/routing/Route6ReactorConfig.h"
#include "models/routing/RouteReactorConfig.h"
#include "models/routing/SequenceConfig.h"
#include "models/routing/SequenceStatus.h"
#include "models/routing/VrfSequenceConfigDir.h"
#include "models/routing/VrfSequenceStatusDir.h"
#include "models/routing/fhrp/VirtualRouterMacStatus.h"
#include "models/routing/hardware/Config.h"
#include "models/routing/hardware/RouteStatus.h"
#include "models/routing/hardware/Status.h"
#include "models/routing6/VrfInfoDir.h"
#include "models/routing6/hardware/RouteStatus.h"
#include "models/tunnel/KorTunnelConfig.h"
#include "models/tunnel/KorTunnelStatus.h"
#include "models/vxlan/VxlanHwStatusDir.h"
#include "quill/ArpTable.h"
#include "quill/VrfIdMap.h"

namespace Kor {

template <class T>
using In = Vix::Ptr<T const>;
template <class T>
using Out = Vix::Ptr<T>;

struct VrfRootSmInputs {
  // The VRF root allocates VRF ids itself; when false they come from the
  // hardware route status and a VRF waits for its id there.
  bool allocateVrfId = true;
  In<Ip::AllVrfStatusLocal> allVrfStatusLocal;
  Out<KorHelper::VrfHelper> vrfHelper;
  In<Ip::VrfCapability> vrfCapability;                           // mandatory
  Out<KorCommonSmData> acsd;                                     // mandatory
  Out<KorCommonMulticastData> acmd;
  In<Routing::L3Config> l3Config;
  Out<L3Status> l3Status;                                        // mandatory
  In<IntfVlanId::Table> intfVlanIdTable;
  Out<Ip::Status> ipStatus;
  Out<Ip6::Status> ip6Status;
  In<Routing::Fhrp::VirtualRouterMacStatus> vrMacStatus;
  In<Bridging::Config> bridgingConfig;
  Out<Bridging::Status> bridgingStatus;
  In<Interface::VlanIntfConfigDir> vlanIntfConfigDir;
  In<Interface::AllIntfStatusDir> allIntfStatusDir;
  In<Routing::PackedArgs> packedArgs;                            // mandatory
  In<Routing::Hardware::RouteStatus> routingHwRouteStatus;       // mandatory
  In<Routing6::Hardware::RouteStatus> routing6HwRouteStatus;     // mandatory
  In<Mpls::RoutingInfo> mplsRoutingInfo;
  In<Routing::VrfInfoDir> routingVrfInfoDir;                     // mandatory
  In<Routing6::VrfInfoDir> routing6VrfInfoDir;                   // mandatory
  In<Routing::FilteredVrfLists> filteredVrfLists;
  Out<KorHelper::RoutingStatusSmHelper> routingStatusSmHelper;
  Out<KorHelper::RouteSmHelper> routeSmHelper;
  Out<KorHelper::Route6SmHelper> route6SmHelper;
  In<NexthopGroup::Status> nexthopGroupStatus;
  In<Vxlan::VxlanHwStatusDir> vxlanHwStatusDir;
  In<Routing::AdjReviewEvent> adjReviewEvent;
  // The platform's routing capabilities (maxEcmp, ...); none: no limit known.
  In<Routing::Hardware::Status> routingHwStatus;
  // The hardware routing configuration the route machines read (route
  // limit, parent drop routes, deletion delay, ICMP unreachable, GRE key
  // forwarding); none: the machines' defaults.
  In<Routing::Hardware::Config> routingHwConfig;
  Out<L2AdjHelper> l2AdjHelper;
  In<Routing::RouteReactorConfig> routeReactorConfig;
  In<Routing::Route6ReactorConfig> route6ReactorConfig;
  Out<NexthopGroup::WatchedNexthopGroupConfig> watchedNexthopGroupConfig;
  Out<NexthopGroup::ResolvedNexthopGroupStatus> resolvedNexthopGroupStatus;
  In<Tunnel::KorTunnelConfig> korTunnelConfig;
  Out<Tunnel::KorTunnelStatus> korTunnelStatus;
  In<Routing::SequenceConfig> routingSequenceConfig;
  Out<Routing::SequenceStatus> routingSequenceStatus;
  In<Routing::VrfSequenceConfigDir> vrfSequenceConfigDir;
  Out<Routing::VrfSequenceStatusDir> vrfSequenceStatusDir;
  In<Multicast::StaticRouteConfig> staticMcastRouteConfig;
  Out<Ledra::EntityManager> entityManager;                       // mandatory
  Out<Cli::RequestDir> cliRequestDir;
  Out<Cli::AgentCommandRequestStatus> agentCommandRequestStatus;
  In<Mlag::Status> mlagStatus;
  In<Urpf::Config> urpfConfig;
  // The shared ARP table (and, with it, the IPv6 neighbour table).
  In<Quill::Arp::ArpTable> arpTableStatus;
  In<Quill::Arp::NeighTable> neighTableStatus;
  In<Quill::Arp::VrfIdMap> arpVrfIdMap;
  // Resilient ECMP prefixes; none: no VRF gets resilient ECMP machines.
  In<ResilientEcmpConfig> resilientEcmpConfig;
};

}  // namespace Kor
